#!/usr/bin/env python3
"""Plays runs whose reads and writes move a few bytes only, and runs whose calls are interrupted again and again.

Status 77: this machine lacks the right to trace.
"""

import sys

sys.dont_write_bytecode = True

from calls import learn
from fault_stage import FaultStage, SCENARIOS
from report import main
from test_command import command_line, require_strace

INTERRUPTIBLE = ("read", "write", "openat", "sendto", "recvfrom", "poll", "connect", "waitid", "renameat2")

# An interrupted call is made again, but for these: no file of ours keeps one waiting, and the link is given up.
GIVEN_UP = ("openat", "connect")


def expect_usual(stage, what, result, report):
    if (result.output, stage.outcome()) != (stage.usual_output, stage.scenario.outcome):
        report.found.append(f"{stage.name}: {what}: {stage.outcome()}, {result.error!r}")


def interrupt(stage, name, when, expected, report):
    words = ["-e", f"trace={name}", "-e", f"inject={name}:error=EINTR:when={when}"]
    result = stage.play(["strace", "-qq", "-o", stage.trace, *words])
    what = f"{name} {when} EINTR"
    report.add(what, stage, result)
    report.add_hit(f"{stage.name}: {name}", "INJECTED" in stage.trace.read_text(errors="replace"))
    if expected:
        expect_usual(stage, what, result, report)


def interrupted(stage, quick, report):
    """Each call that may be interrupted, at its first, second or third time and then at every other one; and each read
    but the link's alone."""
    calls = learn(stage)["hook"]
    for name in INTERRUPTIBLE:
        numbers = [number for called, number in calls if called == name]
        for first in numbers[:1 if quick else 3]:
            interrupt(stage, name, f"{first}+2", name not in (*GIVEN_UP, "read"), report)
    connected = next((at for at, (name, _) in enumerate(calls) if name == "connect"), len(calls))
    after = [call for call in calls[connected:] if call[0] == "read"]
    for name, number in calls:
        if name == "read" and (name, number) not in after[:1]:
            interrupt(stage, name, number, True, report)


def short_counts(stage, programs, quick, report):
    for most in (1, 100) if quick else (1, 2, 3, 7, 70, 100, 1000):
        result = stage.play([programs / "short_counts", str(most)])
        report.add(f"{most} bytes at a time", stage, result)
        # The decoder writes its answer, of less than 100 bytes, in one call or not at all.
        if stage.name not in ("pixels", "large") or most >= 100:
            expect_usual(stage, f"{most} bytes at a time", result, report)


def play(options, report):
    for name in SCENARIOS:
        with FaultStage(name, options.programs) as stage:
            stage.rehearse()
            interrupted(stage, options.quick, report)
            short_counts(stage, options.programs, options.quick, report)


if __name__ == "__main__":
    parser = command_line(__doc__, "sorvane-hook and short_counts")
    parser.add_argument("--all", dest="quick", action="store_false", help="every value")
    main(play, parser, require_strace)
