"""JPEG files made and decoded by the standard tools (cjpeg, djpeg), and their markers."""

import random
import struct
import subprocess

from reference import premultiplied

END = b'\xff\xd9'


def ppm(width, height, seed=0):
    """Soft colours with some hard edges: all coefficients are in use."""
    chance = random.Random('%s' % ((width, height, seed),))
    data = bytearray()
    for y in range(height):
        for x in range(width):
            edge = 90 if (x // 5 + y // 7) % 2 else 0
            data += bytes((x * 9 + edge + c * 40 + y * (3 + c) + chance.randint(0, 9)) & 255
                          for c in range(3))
    return b'P6\n%d %d\n255\n' % (width, height) + bytes(data)


def encoded(picture, *options):
    return subprocess.run(('cjpeg', '-quality', '85') + options, input=picture,
                          stdout=subprocess.PIPE, check=True).stdout


def decoded(jpeg, equal_rows=0):
    """The stored rows of opaque pixels; a warning, as for a cut file, is no obstacle. The tool
    gives up on a file that is cut inside a segment: it is then shown what stands before that. With
    `equal_rows`, the number of rows, which must all be the same, the first of them alone."""
    run = subprocess.run(('djpeg',), input=jpeg, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if not run.stdout:
        marker = max(jpeg.rindex(b'\xff' + bytes((code,))) for code in b'\xc4\xda' if
                     b'\xff' + bytes((code,)) in jpeg)
        return decoded(jpeg[:marker] + END)
    kind, size, _, data = run.stdout.split(b'\n', 3)
    width, height = (int(number) for number in size.split())
    step = {b'P5': 1, b'P6': 3}[kind]
    if equal_rows:
        first = data[:width * step]
        if data != first * equal_rows:
            raise ValueError('the rows differ')
        data, height = first, 1
    pixels = [data[i:i + step] for i in range(0, len(data), step)]
    pixels = [premultiplied(*(pixel * (3 // step)), 255) for pixel in pixels]
    rows = [pixels[y * width:(y + 1) * width] for y in range(height)]
    return rows[0] if equal_rows else rows


def segment(marker, body):
    return b'\xff' + bytes((marker,)) + struct.pack('>H', len(body) + 2) + body


def exif_segment(exif):
    return segment(0xe1, b'Exif\0\0' + exif)


def icc_segments(profile, pieces=1, order=None):
    size = -(-len(profile) // pieces)
    made = [segment(0xe2, b'ICC_PROFILE\0' + bytes((i + 1, pieces)) + profile[i * size:][:size])
            for i in range(pieces)]
    return b''.join(made[i] for i in (order or range(pieces)))


def with_segments(jpeg, segments):
    """The file with more segments right behind its first marker."""
    return jpeg[:2] + segments + jpeg[2:]


def with_scans(jpeg, count):
    """The file with its last scan, and the tables before it, repeated `count` times more."""
    place, scan = 2, 0
    while jpeg[place + 1] != 0xd9:
        if jpeg[place + 1] == 0xda:
            start = scan or place
            place += 2
            while jpeg[place] != 0xff or jpeg[place + 1] == 0 or 0xd0 <= jpeg[place + 1] <= 0xd7:
                place += 1
            last, scan = jpeg[start:place], place
        else:
            place += 2 + struct.unpack('>H', jpeg[place + 2:place + 4])[0]
    return jpeg[:place] + last * count + jpeg[place:]
