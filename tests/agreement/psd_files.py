"""PSD and PSB files written section by section."""

import random
import struct

from reference import premultiplied
from runs import equal_values

BITS, GREY, INDEXED, RGB, CMYK, MULTICHANNEL, DUOTONE, LAB = 0, 1, 2, 3, 4, 7, 8, 9
COLOURS = {BITS: 1, GREY: 1, INDEXED: 1, RGB: 3, CMYK: 4, MULTICHANNEL: 3, DUOTONE: 1, LAB: 3}


def resource(number, data, name=b''):
    name = bytes((len(name),)) + name
    return (b'8BIM' + struct.pack('>H', number) + name + bytes(len(name) % 2) +
            struct.pack('>I', len(data)) + data + bytes(len(data) % 2))


def block(name, data, large=False):
    return b'8BIM' + name + struct.pack('>Q' if large else '>I', len(data)) + data + bytes(
        -len(data) % 4)


def packed_bits(row, chance):
    data, at = b'', 0
    while at < len(row):
        run = equal_values(row, at)
        if run > 1:
            data += bytes((257 - run, row[at]))
        else:
            run = min(chance.randint(1, 128), len(row) - at)
            data += bytes((run - 1,)) + row[at:at + run]
        if chance.random() < 0.1:
            data += b'\x80'
        at += run
    return data


class Picture:
    """Random samples in one of PSD's modes, channel by channel."""

    def __init__(self, width, height, mode, depth, more_channels=0, seed=0):
        chance = random.Random('%s' % ((width, height, mode, depth, more_channels, seed),))
        self.width, self.height, self.mode, self.depth = width, height, mode, depth
        self.count = COLOURS[mode] + more_channels
        self.planes = []
        for _ in range(self.count):
            plane = []
            while len(plane) < width * height:
                plane += [chance.randrange(1 << depth)] * chance.choice((1, 1, 1, 2, 9, 150))
            self.planes.append(plane[:width * height])
        self.palette = [tuple(chance.randrange(256) for _ in range(3)) for _ in range(256)]
        self.chance = chance

    def pixel(self, samples, transparent):
        most = (1 << self.depth) - 1
        colours = list(samples[:COLOURS[self.mode]])
        if self.mode == INDEXED:
            return premultiplied(*self.palette[colours[0]], 255)
        if self.mode == BITS:
            return premultiplied(*(255 * (1 - colours[0]),) * 3, 255)
        alpha = most
        if transparent and self.mode != CMYK:
            alpha = samples[COLOURS[self.mode]]
            if alpha:
                colours = [(2 * most * max(0, c - most + alpha) + alpha) // (2 * alpha)
                           for c in colours]
        if self.depth == 16:
            colours = [(c * 255 + 32767) // 65535 for c in colours]
            alpha = (alpha * 255 + 32767) // 65535
        if self.mode == CMYK:
            # Stored is what the ink leaves.
            colours = [(c * colours[3] + 127) // 255 for c in colours[:3]]
        return premultiplied(*(colours * 3 if len(colours) == 1 else colours), alpha)

    def pixels(self, transparent=False):
        pixels = [self.pixel(samples, transparent) for samples in zip(*self.planes)]
        return [pixels[y * self.width:][:self.width] for y in range(self.height)]

    def blended(self):
        """Makes the colours such as can be seen through their alpha on white."""
        most = (1 << self.depth) - 1
        alphas = self.planes[COLOURS[self.mode]]
        for plane in self.planes[:COLOURS[self.mode]]:
            plane[:] = [max(c, most - a) for c, a in zip(plane, alphas)]

    def rows(self):
        for plane in self.planes:
            for y in range(self.height):
                row = plane[y * self.width:][:self.width]
                if self.depth == 16:
                    yield struct.pack('>%dH' % self.width, *row)
                elif self.depth == 8:
                    yield bytes(row)
                else:
                    bits = ''.join(map(str, row)) + '0' * (-len(row) % 8)
                    yield int(bits, 2).to_bytes(len(bits) // 8, 'big')

    def data(self, runs, large):
        if not runs:
            return b'\0\0' + b''.join(self.rows())
        packed = [packed_bits(row, self.chance) for row in self.rows()]
        lengths = struct.pack('>%d%s' % (len(packed), 'I' if large else 'H'), *map(len, packed))
        return b'\0\1' + lengths + b''.join(packed)

    def file(self, runs=False, large=False, resources=b'', layers=b'', data=None, table=None):
        if table is None:
            table = bytes(colour[i] for i in range(3) for colour in self.palette)
            table *= self.mode == INDEXED
        return (b'8BPS' + struct.pack('>H6xHIIHH', 1 + large, self.count, self.height, self.width,
                                      self.depth, self.mode) +
                struct.pack('>I', len(table)) + table +
                struct.pack('>I', len(resources)) + resources +
                struct.pack('>Q' if large else '>I', len(layers)) + layers +
                (self.data(runs, large) if data is None else data))


def layers(count, large=False, body=b'', blocks=b''):
    """The section of the layers: their number is all that is read of them."""
    info = struct.pack('>h', count) + body
    info += bytes(len(info) % 2)
    form = '>Q' if large else '>I'
    return struct.pack(form, len(info)) + info + struct.pack('>I', 0) + blocks


def layers_after(blocks, large=False):
    """The section where the layers lie in blocks after the usual section."""
    return bytes(8 if large else 4) + struct.pack('>I', 6) + bytes(6) + blocks
