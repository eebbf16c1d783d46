"""Pictures as plain samples, on their way to and from the tools that write and read a format: PNG is
what all of them know."""

import pathlib
import random
import struct
import subprocess
import tempfile
import zlib

import png_files
from reference import premultiplied

KINDS = {1: png_files.GREY, 2: png_files.GREY_ALPHA, 3: png_files.RGB, 4: png_files.RGBA}


def to_bits(value, bits, wanted):
    """Scaled so that both ends stay where they are."""
    full = (1 << bits) - 1
    return (value * ((1 << wanted) - 1) + full // 2) // full


class Samples:
    """Rows of tuples: grey, or red, green and blue, and perhaps a straight alpha."""

    def __init__(self, rows, bits):
        self.rows, self.bits = rows, bits
        self.width, self.height, self.channels = len(rows[0]), len(rows), len(rows[0][0])

    def pixel(self, stored):
        # Through 16 bits, as everything that has more than 8.
        wide = stored if self.bits == 8 else [to_bits(value, self.bits, 16) for value in stored]
        values = [v if self.bits == 8 else (v * 255 + 32767) // 65535 for v in wide]
        alpha = values.pop() if self.channels in (2, 4) else 255
        return premultiplied(*(values * 3 if len(values) == 1 else values), alpha)

    def pixels(self):
        return [[self.pixel(stored) for stored in row] for row in self.rows]

    def with_bits(self, bits):
        """The same with fewer or more bits, and what is lost of them dropped."""
        shift = self.bits - bits
        return Samples([[tuple(value >> shift if shift > 0 else to_bits(value, self.bits, bits)
                               for value in pixel) for pixel in row] for row in self.rows], bits)

    def png(self):
        depth = 8 if self.bits <= 8 else 16
        stored = self if self.bits in (8, 16) else self.with_bits(depth)
        raw = b''.join(b'\0' + png_files.packed([v for pixel in row for v in pixel], depth)
                       for row in stored.rows)
        return (png_files.SIGNATURE +
                png_files.header(self.width, self.height, KINDS[self.channels], depth) +
                png_files.chunk(b'IDAT', zlib.compress(raw)) + png_files.chunk(b'IEND'))


def soft(width, height, channels, bits=8, seed=0):
    """Soft colours with some hard edges; the alpha takes every value."""
    chance = random.Random('%s' % ((width, height, channels, bits, seed),))
    top = (1 << bits) - 1

    def value(x, y, channel):
        edge = 90 if (x // 5 + y // 7) % 2 else 0
        low = x * 5 + edge + channel * 40 + y * (2 + channel) + chance.randint(0, 9)
        return (low % 256 * top // 255 + chance.randint(0, top >> 8)) & top

    return Samples([[tuple(value(x, y, c) for c in range(channels)) for x in range(width)]
                    for y in range(height)], bits)


def from_png(png):
    """Read by netpbm."""
    alpha = png[25] in (4, 6)
    pam = subprocess.run(('pngtopam', *(('-alphapam',) if alpha else ())), input=png,
                         capture_output=True, check=True).stdout
    if alpha:
        head, data = pam.split(b'ENDHDR\n', 1)
        fields = dict(line.split(None, 1) for line in head.splitlines()[1:])
        width, height, depth, top = (int(fields[name]) for name in
                                     (b'WIDTH', b'HEIGHT', b'DEPTH', b'MAXVAL'))
    else:
        kind, size, top, data = pam.split(b'\n', 3)
        width, height = (int(number) for number in size.split())
        depth, top = {b'P5': 1, b'P6': 3}[kind], int(top)
    if top > 255:
        data = struct.unpack('>%dH' % (len(data) // 2), data)
    pixels = [tuple(data[i:i + depth]) for i in range(0, width * height * depth, depth)]
    return Samples([pixels[y * width:(y + 1) * width] for y in range(height)],
                   16 if top > 255 else 8)


def through_tool(data, suffix, wanted, command):
    """What a tool makes of a file. `command` gives its arguments from two paths, of the input with
    its `suffix` and of the output with the `wanted` one."""
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, 'from' + suffix)
        result = pathlib.Path(folder, 'to' + wanted)
        source.write_bytes(data)
        subprocess.run(command(source, result), capture_output=True, check=True)
        return result.read_bytes()


def close(one, other, levels):
    """Whether all samples of two pictures differ by so much at most."""
    return (one.width, one.height) == (other.width, other.height) and all(
        abs(a - b) <= levels
        for row, row2 in zip(one.rows, other.rows) for pixel, pixel2 in zip(row, row2)
        for a, b in zip(pixel, pixel2))
