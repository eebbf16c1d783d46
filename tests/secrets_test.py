#!/usr/bin/env python3
"""A run that is ended by force, at each of its calls: the credential is in nothing that is printed, written or dumped,
memory does not hold it in the end, and no other process of the user's reads it. Status 77: this machine lacks the
tracer."""

import ctypes
import json
import os
import resource
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent / "cases"))

import pictures
from stage import Stage, USUAL_CLIENT
from test_command import command_line, exit_with, require_strace

WORD = b"nobody-may-see-me"
TOKEN = 12 * WORD  # long enough that its blocks are freed as they are, but for their ends
NOBODY = 65534
# The calls of a run after its credential is read, each at a moment when memory holds it.
CALLS = ["ioctl", "socketpair", "socket", "connect", "renameat2", "chmod"]
PTRACE_SEIZE = 0x4206
SIGNALS = ["ABRT", "SEGV", "BUS", "QUIT", "SYS", "XCPU"]


class Runs:
    def __init__(self, stage, programs):
        self.stage = stage
        self.hook = programs / "sorvane-hook"
        stage.enrol(TOKEN, {}, [])
        picture = stage.workspace / "picture.png"
        picture.write_bytes(pictures.png((2, 2), "ff0000ff"))
        self.event = json.dumps(
            {"prompt": "hello", "cwd": str(stage.workspace), "attachments": [str(picture)]}).encode()
        self.environment = {b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)}
        self.arguments = ["--agent", "codex", "--client-id", USUAL_CLIENT, "--credential-file", stage.credential]

    def start(self, tracer=(), user=None):
        return subprocess.Popen(
            [*tracer, self.hook, *self.arguments], cwd=self.stage.workspace, env=self.environment,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, user=user)

    def written(self):
        """Every file on the stage but the credential, with its content."""
        return {path: path.read_bytes() for path in self.stage.top.rglob("*")
                if path.is_file() and path != self.stage.credential}


def faults_of_an_end(runs, call, name):
    """The run gets a deadly signal as it makes the call; a system that writes cores writes one of what lets it."""
    inject = ["-e", f"trace={call}", "-e", f"inject={call}:signal={name}:when=1", "-e", "signal=none"]
    run = runs.start(["strace", "-qq", "-o", "/dev/null", *inject, "--"])
    output = b"".join(run.communicate(runs.event, timeout=30))
    faults = []
    if run.returncode != -getattr(signal, "SIG" + name):
        faults.append(f"ends with {run.returncode}")
    if WORD in output:
        faults.append("prints its credential")
    for path, content in runs.written().items():
        if WORD in content:
            faults.append(f"leaves its credential in {path.name}")
        if path.name.startswith("core"):
            faults.append("leaves a core file")
            path.unlink()
    return [f"{fault} after {name} at {call}" for fault in faults]


def writable_memory(process):
    for line in Path(f"/proc/{process}/maps").read_text().splitlines():
        begin, end = (int(number, 16) for number in line.split()[0].split("-"))
        if line.split()[1].startswith("rw"):
            with open(f"/proc/{process}/mem", "rb", buffering=0) as memory:
                memory.seek(begin)
                yield memory.read(end - begin)


def faults_of_memory(runs):
    """A run that is held at its exit: no copy of the credential is left."""
    run = runs.start(["strace", "-qq", "-o", "/dev/null", "-e", "trace=exit_group", "-e",
                      "inject=exit_group:delay_enter=2000000", "--"])
    run.stdin.write(runs.event)
    run.stdin.flush()
    run.stdin.close()
    run.stderr.readline()  # the last thing that it writes
    process = Path(f"/proc/{run.pid}/task/{run.pid}/children").read_text().split()[0]
    try:
        left = sum(memory.count(WORD) for memory in writable_memory(process))
    except PermissionError:
        print("not tried: only root reads the memory of a hook")
        left = 0
    run.wait(timeout=30)
    for stream in (run.stdout, run.stderr):
        stream.close()
    return [f"keeps {left} words of its credential in memory"] if left else []


def opens(process, name):
    try:
        os.close(os.open(f"/proc/{process}/{name}", os.O_RDONLY))
        return True
    except PermissionError:
        return False


def ways_into(process):
    """By which ways another process of the same user reads this one."""
    ways = [name for name in ("mem", "environ", "maps") if opens(process, name)]
    library = ctypes.CDLL(None)
    return ways + (["ptrace"] if library.ptrace(PTRACE_SEIZE, process, None, None) == 0 else [])


def faults_of_peers(runs):
    """Without root's rights, which are above this: a run that waits for its event, and a peer that looks into it."""
    user = NOBODY if os.geteuid() == 0 else None
    if user is not None:
        for path in [runs.stage.top, *runs.stage.top.rglob("*")]:
            os.chown(path, user, -1)
        shutil.copy(runs.hook, runs.stage.scratch / "sorvane-hook")
        runs.hook = runs.stage.scratch / "sorvane-hook"
    run = runs.start(user=user)
    peer = os.fork()
    if peer == 0:
        if user is not None:
            os.setuid(user)
        # Until the run begins anybody may read what it does not have yet.
        deadline = time.monotonic() + 5
        while opens(run.pid, "mem") and time.monotonic() < deadline:
            time.sleep(0.01)
        os._exit(len(ways_into(run.pid)))
    ways = os.waitstatus_to_exitcode(os.waitpid(peer, 0)[1])
    run.communicate(runs.event, timeout=30)
    return [f"is read by another process in {ways} ways"] if ways else []


def main():
    programs = command_line(__doc__).parse_args().programs
    require_strace()
    _, most = resource.getrlimit(resource.RLIMIT_CORE)
    resource.setrlimit(resource.RLIMIT_CORE, (most, most))
    stage = Stage(Path(__file__).parent, b"codex", {})
    try:
        runs = Runs(stage, programs)
        faults = [fault for call in CALLS for name in SIGNALS for fault in faults_of_an_end(runs, call, name)]
        faults += faults_of_memory(runs)
        faults += faults_of_peers(runs)
    finally:
        stage.remove()
    for fault in faults:
        print(f"sorvane-hook {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    exit_with(main)
