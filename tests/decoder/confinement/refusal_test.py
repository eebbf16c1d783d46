#!/usr/bin/env python3
"""Whatever the system refuses of a decoder's confinement: no picture is decoded without it, and the doctor says so.

The tracer makes each call of the confinement fail once. Status 77: this machine lacks the tracer.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parents[2] / "cases"))

import pictures
from test_command import command_line, exit_with, require_strace

CALLS = ("timer_create", "timer_settime", "prctl", "prlimit64", "landlock_create_ruleset", "landlock_restrict_self")
# Each limit is asked for and then set, Landlock is asked for its version and then for a ruleset.
LIMITS = ["RLIMIT_CPU", "RLIMIT_AS", "RLIMIT_NOFILE", "RLIMIT_FSIZE", "RLIMIT_CORE"]
OURS = {
    "timer_create": ["SIGKILL"],
    "timer_settime": ["tv_sec=10"],
    "prctl": ["PR_SET_PDEATHSIG", "PR_SET_NO_NEW_PRIVS", "PR_SET_DUMPABLE", "PR_SET_SECCOMP"],
    "prlimit64": [limit for limit in LIMITS for _ in range(2)],
}
REASON = re.compile(rb"reason the decoder cannot be confined: [A-Za-z_ -]+: Operation not permitted\n")


def run(command, picture):
    done = subprocess.run(command, input=picture, capture_output=True, check=False, env={})
    return done.returncode, done.stdout


def calls_of(program, picture, folder):
    """The confinement's calls in order, each with its name, its number among those of the name, and its first words."""
    trace = Path(folder) / "trace"
    run(["strace", "-qq", "-o", trace, "-e", "trace=" + ",".join(CALLS), program, "10"], picture)
    seen, calls = {}, []
    for name, words in re.findall(r"^(\w+)\((.*)", trace.read_text(), re.MULTILINE):
        seen[name] = seen.get(name, 0) + 1
        own = re.search(r"|".join(OURS[name]), words) if name in OURS else re.search("", "")
        if own:
            calls.append((name, seen[name], own[0]))
    return calls


def opens_of_score(program, picture, folder):
    """The number of the opening of the file that holds the score, among all openings."""
    trace = Path(folder) / "trace"
    run(["strace", "-qq", "-o", trace, "-e", "trace=openat", program, "10"], picture)
    lines = trace.read_text().splitlines()
    return next(i for i, line in enumerate(lines, 1) if "oom_score_adj" in line)


def faults_of(program, doctor, picture, folder):
    identity = run([program, "10"], picture)
    if identity[0] != 0 or not identity[1]:
        return [f"decodes nothing: {identity}"]
    calls = calls_of(program, picture, folder)
    faults = [f"does not call {name} with {words}" for name, words in OURS.items()
              if [own for called, _, own in calls if called == name] != words]

    def refused(name, number, error, *words):
        inject = f"inject={name}:error={error}:when={number}"
        return run(["strace", "-qq", "-o", "/dev/null", "-e", "trace=" + name, "-e", inject, program, "10", *words],
                   picture)

    for name, number, _ in calls:
        if refused(name, number, "EPERM") != (1, b""):
            faults.append(f"decodes though call {number} of {name} has failed")
        status, words = refused(name, number, "EPERM", "explain")
        if status != 0 or not REASON.fullmatch(words):
            faults.append(f"explains the failure of call {number} of {name} by {words!r}, with status {status}")
    # Being the first to go when memory runs out is no part of it.
    score = f"inject=openat:error=EACCES:when={opens_of_score(program, picture, folder)}"
    if run(["strace", "-qq", "-o", "/dev/null", "-e", "trace=openat", "-e", score, program, "10"], picture) != identity:
        faults.append("does not decode where its score for want of memory cannot be written")
    for error in ("ENOSYS", "EOPNOTSUPP"):
        if refused("landlock_create_ruleset", 1, error) != identity:
            faults.append(f"does not decode where there is no Landlock ({error})")
    file = Path(folder) / "picture"
    file.write_bytes(picture)
    told = run(["strace", "-f", "-qq", "-o", "/dev/null", "-e", "trace=prctl", "-e", "inject=prctl:error=EPERM", doctor,
                "identity", file], b"")[1]
    if b"cannot be confined" not in told:
        faults.append(f"is not told of by the doctor: {told!r}")
    return faults


def main():
    programs = command_line(__doc__, "sorvane-pixels and sorvane-doctor").parse_args().programs
    require_strace()
    samples = {"sorvane-pixels": pictures.png((2, 2), "ff0000ff"), "sorvane-pixels-extra": b"P6 1 1 255\nabc"}
    faults = 0
    for name, picture in samples.items():
        with tempfile.TemporaryDirectory() as folder:
            for fault in faults_of(programs / name, programs / "sorvane-doctor", picture, folder):
                faults += 1
                print(f"{name} {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    exit_with(main)
