"""Other programs that can take a picture's pixel digest, as far as this machine has them."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from measuring import Command

PEERS = Path(__file__).resolve().parent / "peers"


def python_with_pillow():
    """The system's own too: for that one the package manager has the imaging library."""
    for python in (sys.executable, "/usr/bin/python3"):
        if os.path.exists(python) and succeeds([python, "-c", "import PIL"]):
            return python
    return None


def succeeds(words, environment=None):
    return subprocess.run(words, env=environment, capture_output=True, check=False).returncode == 0


def pillow():
    python = python_with_pillow()
    return python and (lambda picture: Command([python, "-I", PEERS / "pillow_peer.py", picture.file]))


def sharp(modules):
    node = shutil.which("node")
    environment = {"PATH": "/usr/bin:/bin", "NODE_PATH": str(modules)}
    if not node or not succeeds([node, "-e", "require('sharp')"], environment):
        return None
    return lambda picture: Command([node, PEERS / "sharp_peer.js", picture.file], environment=environment)


def imagemagick(instruments, srgb):
    convert = shutil.which("magick") or shutil.which("convert-im6") or shutil.which("convert")
    return convert and (lambda picture: Command(
        [PEERS / "imagemagick_peer.sh", convert, instruments / "pixel_digest", str(picture.width), str(picture.height),
         picture.file, *([srgb] if picture.tagged else [])]))


def libvips(instruments):
    program = instruments / "vips_peer"
    return program.exists() and (lambda picture: Command([program, picture.file]))


def installed(instruments, srgb, modules):
    """Each peer's command for a picture, by its name; and the names of those that are missing."""
    peers = {
        "Pillow": pillow(),
        "sharp": sharp(modules),
        "ImageMagick": imagemagick(instruments, srgb),
        "libvips": libvips(instruments),
    }
    here = {name: command for name, command in peers.items() if command}
    return here, [name for name in peers if name not in here]
