"""PNG files written chunk by chunk, so that every pixel in them is known."""

import random
import struct
import zlib

from reference import premultiplied

SIGNATURE = b'\x89PNG\r\n\x1a\n'
GREY, RGB, PALETTE, GREY_ALPHA, RGBA = 0, 2, 3, 4, 6
CHANNELS = {GREY: 1, RGB: 3, PALETTE: 1, GREY_ALPHA: 2, RGBA: 4}
DEPTHS = {GREY: (1, 2, 4, 8, 16), RGB: (8, 16), PALETTE: (1, 2, 4, 8), GREY_ALPHA: (8, 16),
          RGBA: (8, 16)}
PASSES = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
          (0, 1, 1, 2))


def chunk(name, data=b''):
    return struct.pack('>I', len(data)) + name + data + struct.pack('>I', zlib.crc32(name + data))


def header(width, height, colour_type, depth, interlaced=False):
    return chunk(b'IHDR', struct.pack('>IIBBBBB', width, height, depth, colour_type, 0, 0,
                                      1 if interlaced else 0))


def packed(samples, depth):
    if depth == 16:
        return struct.pack('>%dH' % len(samples), *samples)
    if depth == 8:
        return bytes(samples)
    bits = ''.join(format(sample, '0%db' % depth) for sample in samples)
    bits += '0' * (-len(bits) % 8)
    return bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))


def filtered(kind, row, above, step):
    """One row after its filter byte; `step` is the number of bytes to the pixel on the left."""
    left = bytes(step) + row
    corner = bytes(step) + above

    def paeth(a, b, c):
        return min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]

    predictions = {
        0: lambda i: 0,
        1: lambda i: left[i],
        2: lambda i: above[i],
        3: lambda i: (left[i] + above[i]) // 2,
        4: lambda i: paeth(left[i], above[i], corner[i]),
    }
    predict = predictions[kind]
    return bytes((kind,)) + bytes((row[i] - predict(i)) & 255 for i in range(len(row)))


class Picture:
    """Random pixels in one of PNG's forms."""

    def __init__(self, width, height, colour_type, depth, transparent=False, seed=0):
        chance = random.Random('%s' % ((width, height, colour_type, depth, transparent, seed),))
        self.width, self.height = width, height
        self.colour_type, self.depth = colour_type, depth
        top = (1 << depth) - 1
        channels = CHANNELS[colour_type]
        self.rows = [[tuple(chance.randint(0, top) for _ in range(channels))
                      for _ in range(width)] for _ in range(height)]
        self.palette, self.alphas = [], []
        if colour_type == PALETTE:
            self.palette = [tuple(chance.randint(0, 255) for _ in range(3))
                            for _ in range(top + 1)]
            self.alphas = [chance.randint(0, 255) for _ in range(top // 2 + 1)]
            self.alphas *= transparent
        self.key = None
        if transparent and colour_type in (GREY, RGB):
            self.make_near_keys(chance)

    def make_near_keys(self, chance):
        """Some pixels of the transparent colour, and some that differ in their last bit alone."""
        self.key = self.rows[0][0]
        near = self.key[:-1] + (self.key[-1] ^ 1,)
        for row in self.rows:
            for x in range(self.width):
                row[x] = chance.choice((row[x], self.key, near))

    def pixel(self, stored):
        """A stored pixel as four premultiplied bytes."""
        if self.colour_type == PALETTE:
            index = stored[0]
            alpha = self.alphas[index] if index < len(self.alphas) else 255
            return premultiplied(*self.palette[index], alpha)
        top = (1 << self.depth) - 1
        values = [(v * 255 + 32767) // 65535 if self.depth == 16 else v * 255 // top
                  for v in stored]
        alpha = values.pop() if self.colour_type in (GREY_ALPHA, RGBA) else 255
        if self.key is not None and stored == self.key:
            alpha = 0
        colours = values * 3 if len(values) == 1 else values
        return premultiplied(*colours, alpha)

    def pixels(self):
        return [[self.pixel(stored) for stored in row] for row in self.rows]

    def raw(self, interlaced):
        """The rows, each after its filter byte; all five filters take turns."""
        bits = CHANNELS[self.colour_type] * self.depth
        parts = []
        for x0, y0, dx, dy in PASSES if interlaced else ((0, 0, 1, 1),):
            reduced = [row[x0::dx] for row in self.rows[y0::dy]]
            if not reduced or not reduced[0]:
                continue
            above = bytes((len(reduced[0]) * bits + 7) // 8)
            for y, row in enumerate(reduced):
                line = packed([sample for pixel in row for sample in pixel], self.depth)
                parts.append(filtered((y + 1) % 5, line, above, max(1, bits // 8)))
                above = line
        return b''.join(parts)

    def transparency(self):
        if self.colour_type == PALETTE:
            return chunk(b'tRNS', bytes(self.alphas)) if self.alphas else b''
        if self.key is None:
            return b''
        return chunk(b'tRNS', struct.pack('>%dH' % len(self.key), *self.key))

    def file(self, interlaced=False, before=b'', after=b'', data=None, pieces=1):
        """The whole file; `before` and `after` are chunks around the pixels' own."""
        palette = b''
        if self.colour_type == PALETTE:
            palette = chunk(b'PLTE', b''.join(bytes(entry) for entry in self.palette))
        if data is None:
            data = zlib.compress(self.raw(interlaced))
        size = -(-len(data) // pieces)
        pixels = b''.join(chunk(b'IDAT', data[i:i + size]) for i in range(0, len(data), size))
        return (SIGNATURE + header(self.width, self.height, self.colour_type, self.depth,
                                   interlaced) + before + palette + self.transparency() + pixels +
                after + chunk(b'IEND'))
