#!/usr/bin/env python3
"""Pictures whose decoder hangs: each has 10 seconds, all of one run together 20, and every file its digest."""

import hashlib
import json
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent / "cases"))

import pictures
from stage import Stage, USUAL_CLIENT
from test_command import command_line, exit_with

TIME = 20  # seconds
ROOM = 2  # for a busy machine
COUNT = 4

# Writes down the seconds that it is given.
HANGING_DECODER = """#!/bin/sh
echo "$1" >>{log}
exec /bin/sleep 60
"""


def play(stage, programs):
    """The run's seconds, the identities that it asks about, and what its decoders were given."""
    # Decoders are looked for beside the program.
    hook = stage.scratch / "sorvane-hook"
    shutil.copy(programs / "sorvane-hook", hook)
    decoder = stage.scratch / "sorvane-pixels"
    decoder.write_text(HANGING_DECODER.format(log=stage.scratch / "given"))
    decoder.chmod(0o755)
    stage.enrol(b"token-of-codex", {}, [])
    files = []
    for number in range(COUNT):
        files.append(stage.workspace / f"{number}.png")
        files[-1].write_bytes(pictures.png((number + 1, 1), "ff0000ff"))
    event = {"prompt": "hello", "cwd": str(stage.workspace), "attachments": [str(file) for file in files]}
    requests = stage.scratch / "requests"
    application = subprocess.Popen(
        [programs / "sorvane-standin", "serve", "--root", stage.root, "--log", requests], stdout=subprocess.PIPE)
    try:
        application.stdout.readline()
        began = time.monotonic()
        subprocess.run(
            [hook, "--agent", "codex", "--client-id", USUAL_CLIENT, "--credential-file", stage.credential],
            input=json.dumps(event).encode(), check=True, stdout=subprocess.DEVNULL,
            env={b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)})
        seconds = time.monotonic() - began
    finally:
        application.terminate()
        application.wait()
        application.stdout.close()
    digests = [{"sha256": hashlib.sha256(file.read_bytes()).hexdigest()} for file in files]
    asked = json.loads(requests.read_bytes())["attachments"]
    return seconds, asked == digests, (stage.scratch / "given").read_text().split()


def main():
    programs = command_line(__doc__, "sorvane-hook and sorvane-standin").parse_args().programs
    stage = Stage(Path(__file__).parent, b"codex", {})
    try:
        seconds, digests, given = play(stage, programs)
    finally:
        stage.remove()
    print(f"{seconds:.2f} s, decoders of {given} s")
    return 0 if TIME <= seconds < TIME + ROOM and digests and given == ["10", "10"] else 1


if __name__ == "__main__":
    exit_with(main)
