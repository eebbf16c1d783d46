#!/usr/bin/env python3
"""The peak of memory of a whole run, the hook's and its decoder's, with a large picture attached: both stream it. The
application knows the picture by its pixels alone, so the run has decoded all of it."""

import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent / "faults"))

from fault_stage import FaultStage
from test_command import command_line, exit_with

MEBIBYTES = 16
SIZE = 5000, 4000  # 80 MB of pixels

# A process begins with the peak of the one that started it, so a small one has to stand between. What it is told of
# the run it waits for is the highest peak among the run's processes.
MEASURE = """
import os, sys
child = os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ)
_, status, usage = os.wait4(child, 0)
print(usage.ru_maxrss)
sys.exit(os.waitstatus_to_exitcode(status))
"""


def main():
    programs = command_line(__doc__, "sorvane-hook and sorvane-standin").parse_args().programs
    with FaultStage("pixels", programs, SIZE) as stage:
        result = stage.play([sys.executable, "-I", "-S", "-c", MEASURE])
        outcome = stage.outcome()
    if result.status != 0 or outcome != stage.scenario.outcome:
        print(f"status {result.status}, {outcome}, {result.error!r}")
        return 1
    peak = int(result.output.splitlines()[-1])  # in KiB, after the hook's answer
    print(f"{peak} KiB")
    return 0 if peak < MEBIBYTES * 1024 else 1


if __name__ == "__main__":
    exit_with(main)
