"""What the commands of the tests have in common: where the programs are, and that a test may be skipped."""

import argparse
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77


class Skipped(Exception):
    """This machine lacks what the test needs."""


def require_strace():
    tracer = shutil.which("strace")
    if tracer is None or subprocess.run([tracer, "-qq", "-o", "/dev/null", "true"], capture_output=True).returncode:
        raise Skipped("strace is needed, and the right to trace")


def folder(path):
    return Path(path).resolve()


def command_line(description, programs="sorvane-hook"):
    """A parser of command lines that say where these programs are."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", type=folder, required=True, help=f"the folder of {programs}")
    return parser


def exit_with(main):
    """Ends the process with the test's status, or prints what is missing and ends with 77."""
    try:
        sys.exit(main())
    except Skipped as reason:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
