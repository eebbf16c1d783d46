"""What other readers see in a file: rows of pixels of four premultiplied bytes."""

import io
import subprocess

from PIL import Image

from reference import premultiplied


def rows_of(rgba, width, height):
    pixels = [premultiplied(*rgba[i:i + 4]) for i in range(0, 4 * width * height, 4)]
    return [pixels[y * width:(y + 1) * width] for y in range(height)]


def pillow(data):
    with Image.open(io.BytesIO(data)) as image:
        return rows_of(image.convert('RGBA').tobytes(), *image.size)


def imagemagick(data, kind):
    """`kind`: the format's name there. Its warnings, which end it with another status than 0,
    are no obstacle, as long as it gives pixels; without them nothing is returned."""
    shown = subprocess.run(('convert', kind + ':-[0]', '-format', '%w %h\n', '-write', 'info:-',
                            '-depth', '8', 'rgba:-'), input=data, stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL).stdout
    size, _, rgba = shown.partition(b'\n')
    return rows_of(rgba, *(int(number) for number in size.split())) if rgba else None
