"""Portable maps, written so that every value in them is known."""

import random
import struct

from reference import premultiplied

KINDS = {1: (1, 4, 1), 2: (2, 5, 1), 3: (3, 6, 3)}


def eight_bits(value, maximum):
    """Rounded to the nearest; values beyond 255 by way of 16 bits."""
    if maximum < 256:
        return (2 * 255 * value + maximum) // (2 * maximum)
    wide = (2 * 65535 * value + maximum) // (2 * maximum)
    return (wide * 255 + 32767) // 65535


class Picture:
    """Random values; with an even number of channels the last is alpha."""

    def __init__(self, width, height, channels, maximum, seed=0):
        chance = random.Random('%s' % ((width, height, channels, maximum, seed),))
        self.width, self.height, self.channels, self.maximum = width, height, channels, maximum
        self.rows = [[tuple(chance.randint(0, maximum) for _ in range(channels))
                      for _ in range(width)] for _ in range(height)]

    def pixel(self, values):
        values = [eight_bits(value, self.maximum) for value in values]
        alpha = values.pop() if len(values) % 2 == 0 else 255
        return premultiplied(*(values * 3 if len(values) == 1 else values), alpha)

    def pixels(self):
        return [[self.pixel(values) for values in row] for row in self.rows]

    def values(self):
        return [value for row in self.rows for pixel in row for value in pixel]

    def data(self):
        form = 'H' if self.maximum > 255 else 'B'
        return struct.pack('>%d%s' % (len(self.values()), form), *self.values())

    def header(self, number, space=b'\n'):
        fields = [b'P%d' % number, b'%d' % self.width, b'%d' % self.height]
        if number not in (1, 4):
            fields.append(b'%d' % self.maximum)
        return space.join(fields) + space[-1:]

    def in_bytes(self, **more):
        return self.header(5 if self.channels == 1 else 6, **more) + self.data()

    def in_text(self, space=b' ', **more):
        values = space.join(b'%d' % value for value in self.values())
        return self.header(2 if self.channels == 1 else 3, **more) + values + b'\n'

    def bits_in_bytes(self):
        """Of values 0 and 1, where 1 is white."""
        data = b''
        for row in self.rows:
            bits = ''.join(str(1 - value) for value, in row) + '1' * (-len(row) % 8)
            data += int(bits, 2).to_bytes(len(bits) // 8, 'big')
        return self.header(4) + data

    def bits_in_text(self, space=b''):
        return self.header(1) + space.join(b'%d' % (1 - value) for value in self.values())

    def pam(self, kind, before=b'', depth=None):
        return (b'P7\n%sWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\n%sENDHDR\n' % (
            before, self.width, self.height, depth or self.channels, self.maximum,
            b'TUPLTYPE %s\n' % kind if kind else b'') + self.data())
