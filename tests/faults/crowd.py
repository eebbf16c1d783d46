#!/usr/bin/env python3
"""Many runs at once, each with a picture, against one application that takes them one by one and delays each
answer; and the peak of the memory of all of them and their decoders. Every run must end in an allowed way, and the
observation be whole at every moment."""

import contextlib
import os
import sys
import threading
import time
from collections import Counter
from pathlib import Path

sys.dont_write_bytecode = True

from fault_stage import FaultStage
from report import main
from test_command import command_line

DELAY = 100  # milliseconds
SIZE = (1200, 800)  # a window on the screen
SECONDS = 30  # the agents' own timeout; a machine has fewer processors than this has runs
PAUSE = 0.02  # seconds between two looks at the memory


def proportional_kib(process):
    """What a process takes, its share of what it shares with others included."""
    with contextlib.suppress(OSError), open(f"/proc/{process}/smaps_rollup") as file:
        for line in file:
            if line.startswith("Pss:"):
                return int(line.split()[1])
    return 0


def descendants():
    """All processes of the runs: the children of this one and theirs. A child belongs to the thread that made it."""
    waiting, found = [os.getpid()], []
    while waiting:
        with contextlib.suppress(OSError):
            for path in list(Path(f"/proc/{waiting.pop()}/task").glob("*/children")):
                children = [int(word) for word in path.read_text().split()]
                waiting += children
                found += children
    return found


class Watch:
    """The highest sum of the runs' memory, and whether the observation was ever torn."""

    def __init__(self, stage, others):
        self.stage, self.others = stage, others
        self.most, self.processes, self.torn = 0, 0, []
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self.look)
        self.thread.start()

    def look(self):
        while not self.ended.wait(PAUSE):
            processes = [process for process in descendants() if process not in self.others]
            self.most = max(self.most, sum(map(proportional_kib, processes)))
            self.processes = max(self.processes, len(processes))
            self.torn += self.stage.observation_faults(any_mode=True)

    def stop(self):
        self.ended.set()
        self.thread.join()


def play_at_once(stage, runs):
    """All at once, since each waits for its event until all have been started: each result, and the watch."""
    stage.reset()
    results = []

    def one(process, began):
        results.append(stage.end(process, began))

    processes = [stage.start() for _ in range(runs)]
    began = time.monotonic()
    watch = Watch(stage, {stage.application.pid})
    threads = [threading.Thread(target=one, args=(process, began)) for process in processes]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    watch.stop()
    return results, watch


def play(options, report):
    with FaultStage("pixels", options.programs, SIZE, ("--misbehave", f"delay:{DELAY}")) as stage:
        stage.max_seconds = SECONDS
        began = time.monotonic()
        results, watch = play_at_once(stage, options.runs)
        seconds = time.monotonic() - began
        for result in results:
            report.add("one of many", stage, result)
        report.found += watch.torn
    ends = Counter("answer" if result.output else result.error.decode().strip() or "silence" for result in results)
    for end, count in ends.most_common():
        print(f"{count:>5} {end}")
    print(f"{seconds:.1f} s in all, the longest run {max(result.seconds for result in results):.1f} s")
    print(f"{watch.most / 1024:.0f} MiB in {watch.processes} processes at the highest")


if __name__ == "__main__":
    parser = command_line(__doc__)
    parser.add_argument("--runs", type=int, default=200)
    main(play, parser)
