#!/usr/bin/env python3
"""Plays runs that lack something: memory by both its limits, stack, room for files; and runs that are stopped and
continued all the time."""

import contextlib
import os
import signal
import subprocess
import sys
import threading
import time

sys.dont_write_bytecode = True

from fault_stage import FaultStage, SCENARIOS
from report import main
from test_command import command_line

KIB, MIB = 1024, 1024 * 1024
LEAST_STACK = 32 * KIB  # what the frames of a run take; no system gives less than a hundred times that
USAGE = b"Sorvane: Invalid arguments: Agent identity is required.\n"


def limited(limit, value):
    return ["prlimit", f"--{limit}={value}:{value}", "--"]


def least_to_start(stage, limit, high):
    """The least that the system itself needs to begin the program, to a page: with less, nothing of ours runs."""
    low = 0
    while high - low > 4 * KIB:
        middle = (low + high) // 2
        run = subprocess.run([*limited(limit, middle), stage.bin / "sorvane-hook"], capture_output=True, check=False,
                             stdin=subprocess.DEVNULL)
        if (run.returncode, run.stderr) == (0, USAGE):
            high = middle
        else:
            low = middle
    return high


def sweep(stage, limit, span, step, report):
    """From the least on in steps; prints from where on the run ends as usual."""
    least = max(least_to_start(stage, limit, 64 * MIB), LEAST_STACK if limit == "stack" else 0)
    usual = None
    for value in range(least, least + span, step):
        result = stage.play(limited(limit, value))
        report.add(f"{limit} {value // KIB} KiB", stage, result)
        good = stage.outcome() == stage.scenario.outcome and result.output == stage.usual_output
        usual = (value if usual is None else usual) if good else None
    reached = f"as usual from {usual // KIB} KiB" if usual else "never as usual"
    if usual is None:
        report.found.append(f"{stage.name}: {limit}: never as usual")
    print(f"{stage.name:<11}{limit:<6} {least // KIB:>6} to {(least + span) // KIB:>6} KiB: {reached}")


def files(stage, quick, report):
    """A limit on the size of files, of every number of bytes up to more than an observation has."""
    for size in range(0, 200, 23 if quick else 1):
        report.add(f"file size {size}", stage, stage.play(limited("fsize", size)))


def stop_and_continue(stage, runs, report):
    """Stops and continues a run all the time, which interrupts its waiting calls, some of them on sockets for good."""
    for _ in range(runs):
        stage.reset()
        began = time.monotonic()
        process = stage.start()
        ended = threading.Event()

        def signal_often():
            while not ended.is_set():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(process.pid, signal.SIGSTOP)
                    os.kill(process.pid, signal.SIGCONT)
                time.sleep(0.0002)

        thread = threading.Thread(target=signal_often)
        thread.start()
        try:
            output = process.stdout, process.stderr
            process.stdin.write(stage.event)
            process.stdin.close()
            texts = [stream.read() for stream in output]
        finally:
            ended.set()
            thread.join()
        result = stage.result(*texts, process, began)
        report.add("stopped and continued", stage, result)


def play(options, report):
    quick = options.quick
    for name in SCENARIOS:
        with FaultStage(name, options.programs) as stage:
            stage.rehearse()
            if not quick or name == "pixels":
                for limit, span in (("as", 24 * MIB), ("data", 4 * MIB)):
                    sweep(stage, limit, span, span // 10 if quick else 32 * KIB, report)
                sweep(stage, "stack", 2 * MIB, 300 * KIB if quick else 16 * KIB, report)
            files(stage, quick, report)
            stop_and_continue(stage, 1 if quick else 50, report)


if __name__ == "__main__":
    parser = command_line(__doc__)
    parser.add_argument("--all", dest="quick", action="store_false", help="every value")
    main(play, parser)
