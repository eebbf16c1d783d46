#!/usr/bin/env python3
"""Plays runs whose observation has a disk that is full, or that may only be read.

Status 77: this machine lacks the right to mount.
"""

import contextlib
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True

from report import main
from scene import BEFORE, Scene
from test_command import command_line, Skipped


@contextlib.contextmanager
def mounted(scene, size):
    """Has the directory of the agents on a file system of its own, as small as may be."""
    agents = scene.stage.agents
    kept = scene.stage.scratch / "agents"
    shutil.copytree(agents, kept, dirs_exist_ok=True)
    command = ["mount", "-t", "tmpfs", "-o", f"size={size}", "none", agents]
    if shutil.which("mount") is None or subprocess.run(command, capture_output=True, check=False).returncode:
        raise Skipped("mount is needed, and the right to it")
    try:
        shutil.copytree(kept, agents, dirs_exist_ok=True)
        yield agents
    finally:
        subprocess.run(["umount", "-l", agents], check=True)


def disks(scene, report):
    with mounted(scene, "20k") as agents:
        # The old observation takes its page, and what is left is filled.
        scene.reset()
        with contextlib.suppress(OSError), open(agents / "filling", "wb") as filling:
            while True:
                filling.write(bytes(4096))
                filling.flush()
        for _ in range(3):
            report.add("full disk", scene, scene.play_on())
        if scene.observation.read_bytes() != BEFORE:
            report.found.append("the disk was not full")
    with mounted(scene, "64k") as agents:
        scene.reset()
        subprocess.run(["mount", "-o", "remount,ro", agents], check=True)
        report.add("read-only disk", scene, scene.play_on())
        if scene.observation.read_bytes() != BEFORE:
            report.found.append("the disk was not read-only")
        subprocess.run(["mount", "-o", "remount,rw", agents], check=True)


def play(options, report):
    for name in ("reference", "pixels", "no-image"):
        with Scene(name, options.programs) as scene:
            scene.rehearse()
            disks(scene, report)


if __name__ == "__main__":
    main(play, command_line(__doc__))
