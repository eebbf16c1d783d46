#!/usr/bin/env python3
"""What one run of sorvane-hook without pictures opens, starts and links: nothing that it does not need.

Whoever waits for a prompt waits for this program to start. Status 77: this machine lacks the tools.
"""

import json
import os
import platform
import re
import shutil
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent / "cases"))

from stage import account_at, Stage, USUAL_CLIENT
from test_command import command_line, exit_with, require_strace, Skipped

C_LIBRARY = re.compile(r"(libc|ld-linux[^.]*|ld-musl[^.]*|ld64|ld)\.so.*")
LOADER_FILES = ["/etc/ld.so.cache", "/etc/ld.so.preload"]
USER_DATABASE = ["/etc/nsswitch.conf", "/etc/passwd"]
# How often memory is mapped depends on sizes outside this test.
MEMORY = {"brk", "mmap", "munmap", "mprotect"}
# The loader's and the C library's own calls, before anything of ours.
LOADING = MEMORY | {"access", "arch_prctl", "close", "fstat", "getrandom", "openat", "pread64", "prlimit64", "read",
                    "readlink", "readlinkat", "rseq", "set_robust_list", "set_tid_address"}
if platform.machine() == "aarch64":  # libcrypto tries whether an instruction is there
    LOADING |= {"rt_sigaction", "rt_sigprocmask"}
READING_A_FILE = ["openat", "fstat", "read", "read", "close"]
RUN = [
    "rt_sigaction", "rt_sigaction",  # a broken pipe, a file-size limit
    "prlimit64", "prctl",  # no core file, no reader of the memory
    *READING_A_FILE,  # the manifest
    *READING_A_FILE,  # the credential
    "ioctl", "read", "read",  # the event, and first how much of it waits
    "fstat",  # is there a directory of agents?
    "getrandom", "openat", "write", "close",  # the observation
    "fstat", "renameat2", "unlink", "chmod",  # over the last one, which is a file
    "exit_group",
]
# On a file system where names cannot be exchanged.
RUN_WITHOUT_EXCHANGE = ["rename" if name == "unlink" else name for name in RUN]
# A process whose memory nobody may read tells a tracer without root's rights no paths.
STAY_READABLE = ["-e", "inject=prctl:retval=0"]
WATCHED = "trace=?open,openat,?openat2,?creat,?execve,?execveat,?clone,?clone3,?fork,?vfork,socket,prctl"


def needed_libraries(program):
    text = subprocess.run(["readelf", "-d", program], capture_output=True, check=True, text=True).stdout
    return re.findall(r"\(NEEDED\).*\[(.*)\]", text)


def calls_of_a_run(stage, hook, environment, watched):
    """The watched system calls of a run that finds no picture, but for its own start."""
    stage.enrol(b"token-of-codex", {}, [])
    observation = stage.agents / "codex-hook-state.json"
    observation.write_bytes(b"{}")
    trace = stage.scratch / "trace"
    arguments = ["--agent", "codex", "--client-id", USUAL_CLIENT, "--credential-file", stage.credential]
    run = subprocess.run(
        ["strace", "-f", "-qq", "-o", trace, "-e", watched, "-e", "signal=none", *STAY_READABLE, hook, *arguments],
        input=b'{"prompt":"hello"}', env=environment, capture_output=True, check=False)
    if run.returncode != 0:
        sys.exit(f"the run failed: {run}")
    if json.loads(observation.read_bytes()).get("outcome") != "no-image-identities":
        sys.exit("the run did something else")
    return trace.read_text().splitlines()[1:]


def is_known(call, stage, known):
    path = re.search(r'\bopen\w*\(.*?"((?:[^"\\]|\\.)*)"', call)
    if not path:
        return False
    name = path[1]
    temporary = re.fullmatch(re.escape(str(stage.agents)) + r"/\.[0-9a-f-]{36}", name)
    # The loader tries where a library may lie; what it does not find costs little and is not ours to choose.
    missed = "= -1 ENOENT" in call and ".so" in name
    return name in known or temporary or missed or C_LIBRARY.fullmatch(os.path.basename(name))


def faults_of(hook, process):
    stage = Stage(Path(__file__).parent, b"codex", process)
    try:
        known = [str(stage.agents / "codex.json"), str(stage.credential), *LOADER_FILES]
        if "account-home" in process:
            environment = account_at(stage)
            known += USER_DATABASE
        else:
            environment = {b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)}
        calls = calls_of_a_run(stage, hook, environment, WATCHED)
        if "account-home" in process:
            # What stands in for the user database is preloaded into getent, which the hook starts.
            hook_itself = calls[0].split()[0] + " "
            asked = sum("execve(" in call and "/getent" in call.split(", ")[0] for call in calls)
            if asked != 1:
                return [f"getent {asked} times"]
            calls = [call for call in calls if call.startswith(hook_itself) and "clone" not in call]
        return [call for call in calls if "prctl(" not in call and not is_known(call, stage, known)]
    finally:
        stage.remove()


def order_faults(hook):
    """What a run calls beyond what it must, or does not call: everything it does is written down above."""
    stage = Stage(Path(__file__).parent, b"codex", {})
    try:
        environment = {b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)}
        calls = calls_of_a_run(stage, hook, environment, "trace=all")
    finally:
        stage.remove()
    calls = [call for call in calls if "(" in call]
    start = next((i for i, call in enumerate(calls) if "rt_sigaction(SIGPIPE" in call), len(calls))
    names = [re.sub(r"^\d+ +(\w+)\(.*", r"\1", call) for call in calls]
    names = ["fstat" if name in {"newfstatat", "statx", "stat"} else name for name in names]
    stray = [name for name in names[:start] if name not in LOADING]
    run = [name for name in names[start:] if name not in MEMORY]
    return [f"calls {name} before it begins" for name in stray] + (
        [] if run in (RUN, RUN_WITHOUT_EXCHANGE) else [f"calls {run}, not {RUN}"])


def main():
    hook = command_line(__doc__).parse_args().programs / "sorvane-hook"
    require_strace()
    if shutil.which("readelf") is None:
        raise Skipped("readelf is needed")
    faults = [f"needs {name}" for name in needed_libraries(hook) if not C_LIBRARY.fullmatch(name)]
    faults += order_faults(hook)
    for process in ({}, {"account-home": []}):
        try:
            faults += [f"calls {call}" for call in faults_of(hook, process)]
        except Skipped as reason:
            print(f"not tried with the account's home: {reason}")
    for fault in faults:
        print(f"sorvane-hook {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    exit_with(main)
