#!/usr/bin/env python3
"""Plays runs whose observation lies on a disk that is full, or read-only.

Status 77: this machine lacks the right to mount.
"""

import contextlib
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True

from fault_stage import BEFORE, FaultStage
from report import main
from test_command import command_line, Skipped


@contextlib.contextmanager
def mounted(stage, size):
    """Mounts a file system of this size at the directory of the agents."""
    agents = stage.agents
    kept = stage.scratch / "agents"
    shutil.copytree(agents, kept, dirs_exist_ok=True)
    command = ["mount", "-t", "tmpfs", "-o", f"size={size}", "none", agents]
    if shutil.which("mount") is None or subprocess.run(command, capture_output=True, check=False).returncode:
        raise Skipped("mount is needed, and the right to it")
    try:
        shutil.copytree(kept, agents, dirs_exist_ok=True)
        yield agents
    finally:
        subprocess.run(["umount", "-l", agents], check=True)


def disks(stage, report):
    with mounted(stage, "20k") as agents:
        # The old observation takes its page, and what is left is filled.
        stage.reset()
        with contextlib.suppress(OSError), open(agents / "filling", "wb") as filling:
            while True:
                filling.write(bytes(4096))
                filling.flush()
        for _ in range(3):
            report.add("full disk", stage, stage.play_on())
        if stage.observation.read_bytes() != BEFORE:
            report.found.append("the disk was not full")
    with mounted(stage, "64k") as agents:
        stage.reset()
        subprocess.run(["mount", "-o", "remount,ro", agents], check=True)
        report.add("read-only disk", stage, stage.play_on())
        if stage.observation.read_bytes() != BEFORE:
            report.found.append("the disk was not read-only")
        subprocess.run(["mount", "-o", "remount,rw", agents], check=True)


def play(options, report):
    for name in ("reference", "pixels", "no-image"):
        with FaultStage(name, options.programs) as stage:
            stage.rehearse()
            disks(stage, report)


if __name__ == "__main__":
    main(play, command_line(__doc__))
