#!/usr/bin/env python3
"""Plays runs whose reads and writes move a few bytes only, and runs whose calls are interrupted again and again.

Status 77: this machine lacks the right to trace.
"""

import sys

sys.dont_write_bytecode = True

from calls import learn
from report import main
from scene import ROADS, Scene
from test_command import command_line, require_strace

INTERRUPTIBLE = ("read", "write", "openat", "sendto", "recvfrom", "poll", "connect", "waitid", "renameat2")


def interrupted(scene, quick, report):
    """Each call that may be interrupted, at its first, second or third time and then at every other one."""
    calls = learn(scene)["hook"]
    for name in INTERRUPTIBLE:
        numbers = [number for called, number in calls if called == name]
        for first in numbers[:1 if quick else 3]:
            words = ["-e", f"trace={name}", "-e", f"inject={name}:error=EINTR:when={first}+2"]
            report.add(f"{name} {first}+2 EINTR", scene, scene.play(["strace", "-qq", "-o", scene.trace, *words]))
            report.add_hit(f"{scene.name}: {name}", "INJECTED" in scene.trace.read_text(errors="replace"))


def short_counts(scene, programs, quick, report):
    for most in (1, 100) if quick else (1, 2, 3, 7, 70, 100, 1000):
        result = scene.play([programs / "short_counts", str(most)])
        report.add(f"{most} bytes at a time", scene, result)
        # The decoder says its answer, of less than 100 bytes, at once or not at all.
        if scene.name not in ("pixels", "large") or most >= 100:
            if (result.output, scene.outcome()) != (scene.usual_output, scene.road.outcome):
                report.found.append(f"{scene.name}: {most} bytes at a time: {scene.outcome()}, {result.error!r}")


def play(options, report):
    for name in ROADS:
        with Scene(name, options.programs) as scene:
            scene.rehearse()
            interrupted(scene, options.quick, report)
            short_counts(scene, options.programs, options.quick, report)


if __name__ == "__main__":
    parser = command_line(__doc__, "sorvane-hook and short_counts")
    parser.add_argument("--all", dest="quick", action="store_false", help="every value")
    main(play, parser, require_strace)
