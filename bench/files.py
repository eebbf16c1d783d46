"""The pictures that are measured: drawn once, kept in a folder of the build."""

import hashlib
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

from measuring import Command, output_of

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/agreement"))

import tags


@dataclass
class Picture:
    name: str
    kind: str
    width: int
    height: int
    against_floor: float = None  # at most so many times the wall time of the floor
    against_peer: float = None  # at most so much of the best peer's
    tagged: bool = False
    file: Path = None
    digest: str = None  # of its pixels; of a tagged picture every colour engine has its own


def pictures():
    return [
        Picture("4K screenshot, PNG", "screenshot", 3840, 2160, 0.80, 0.20),
        Picture("4K photograph, PNG", "photograph", 3840, 2160, 0.85, 0.24),
        Picture("1200 x 800 screenshot, PNG", "screenshot", 1200, 800, 1.35, 0.20),
        Picture("4000 x 3000 photograph, JPEG", "jpeg", 4000, 3000, None, 0.33),
        Picture("4K screenshot, PNG, Display P3", "screenshot", 3840, 2160, None, 0.20, tagged=True),
    ]


def profiles(folder):
    """Display P3, which tagged pictures carry, and sRGB, which one of the peers wants to be shown."""
    display, srgb = folder / "display-p3.icc", folder / "srgb.icc"
    display.write_bytes(tags.rgb_profile(primaries=tags.DISPLAY_P3))
    srgb.write_bytes(tags.rgb_profile())
    return display, srgb


def digest_of_pixmap(pixmap):
    head, size, depth, pixels = pixmap.split(b"\n", 3)
    assert (head, depth) == (b"P6", b"255")
    rgba = bytearray(b"\xff") * (len(pixels) // 3 * 4)
    for channel in range(3):
        rgba[channel::4] = pixels[channel::3]
    return hashlib.sha256(size.replace(b" ", b"x") + b":rgba8-srgb:" + rgba).hexdigest()


def draw_jpeg(draw, picture):
    pixels = picture.file.with_suffix(".ppm")
    output_of(Command([draw, "pixels", str(picture.width), str(picture.height), pixels]))
    subprocess.run(["cjpeg", "-quality", "90", "-outfile", picture.file, pixels], check=True)
    pixels.unlink()
    decoded = subprocess.run(["djpeg", "-pnm", picture.file], check=True, capture_output=True).stdout
    return digest_of_pixmap(decoded)


def draw_png(draw, picture, profile):
    words = [draw, picture.kind, str(picture.width), str(picture.height), picture.file]
    return output_of(Command(words + ([profile] if picture.tagged else []))).strip()


def make(folder, draw):
    """The pictures as files; what an earlier run drew with the same program is taken again."""
    folder.mkdir(exist_ok=True)
    display, srgb = profiles(folder)
    made = pictures()
    for picture in made:
        name = f"{picture.kind}-{picture.width}x{picture.height}" + ("-p3" if picture.tagged else "")
        picture.file = folder / (name + (".jpg" if picture.kind == "jpeg" else ".png"))
        note = picture.file.with_suffix(".digest")
        if not note.exists() or note.stat().st_mtime < draw.stat().st_mtime:
            jpeg = picture.kind == "jpeg"
            note.write_text(draw_jpeg(draw, picture) if jpeg else draw_png(draw, picture, display))
        picture.digest = None if picture.tagged else note.read_text()
    return made, srgb
