#!/usr/bin/env python3
"""The peak of memory of a whole run, the hook's and its decoder's, with a large picture attached: both stream it."""

import json
import os
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent / "cases"))

import pictures
from stage import Stage, USUAL_CLIENT
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


def peak_of_a_run(stage, hook):
    """In KiB."""
    stage.enrol(b"token-of-codex", {}, [])
    picture = stage.workspace / "picture.png"
    picture.write_bytes(pictures.png(SIZE, "0a141eff32465a80"))
    event = {"prompt": "hello", "attachments": [str(picture)]}
    arguments = ["--agent", "codex", "--client-id", USUAL_CLIENT, "--credential-file", stage.credential]
    run = subprocess.run(
        [sys.executable, "-I", "-S", "-c", MEASURE, hook, *arguments], input=json.dumps(event).encode(),
        env={b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)},
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    observation = json.loads((stage.agents / "codex-hook-state.json").read_bytes())
    if observation["attachmentCount"] != 1:
        sys.exit(f"the picture was not seen: {observation}")
    return int(run.stdout)


def main():
    hook = command_line(__doc__).parse_args().programs / "sorvane-hook"
    stage = Stage(Path(__file__).parent, b"codex", {})
    try:
        peak = peak_of_a_run(stage, hook)
    finally:
        stage.remove()
    print(f"{peak} KiB")
    return 0 if peak < MEBIBYTES * 1024 else 1


if __name__ == "__main__":
    exit_with(main)
