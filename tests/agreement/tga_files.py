"""TGA files written field by field."""

import random
import struct

from reference import premultiplied
from runs import equal_values

INDEXED, TRUE_COLOUR, GREY, RUNS = 1, 2, 3, 8
FROM_THE_RIGHT, FROM_THE_TOP = 0x10, 0x20


def colour(stored, depth):
    """A stored colour as red, green, blue and alpha."""
    if depth <= 16:
        return tuple((2 * 255 * (stored >> shift & 31) + 31) // 62 for shift in (10, 5, 0)) + (255,)
    return tuple(stored >> shift & 255 for shift in (16, 8, 0)) + (
        stored >> 24 if depth == 32 else 255,)


class Picture:
    """Random stored pixels, some of them in runs."""

    def __init__(self, width, height, kind, depth, palette_depth=0, colours=None, first=0, seed=0):
        chance = random.Random('%s' % ((width, height, kind, depth, palette_depth, first, seed),))
        self.width, self.height, self.kind, self.depth = width, height, kind, depth
        self.palette_depth, self.first = palette_depth, first
        colours = (1 << depth if colours is None else colours) if palette_depth else 0
        self.palette = [chance.randrange(1 << palette_depth) for _ in range(colours)]
        top = first + colours if kind == INDEXED and palette_depth else 1 << depth
        self.rows = []
        for _ in range(height):
            row = []
            while len(row) < width:
                row += [chance.randrange(top)] * chance.choice((1, 1, 1, 2, 5, 40))
            self.rows.append(row[:width])

    def pixel(self, stored):
        if self.kind == GREY:
            grey, alpha = (stored & 255, stored >> 8) if self.depth == 16 else (stored, 255)
            return premultiplied(grey, grey, grey, alpha)
        if self.kind == TRUE_COLOUR:
            return premultiplied(*colour(stored, self.depth))
        index = stored - self.first
        if not 0 <= index < len(self.palette):
            return b'\0\0\0\xff'
        return premultiplied(*colour(self.palette[index], self.palette_depth))

    def pixels(self):
        return [[self.pixel(stored) for stored in row] for row in self.rows]

    def stored(self, value):
        return value.to_bytes((self.depth + 7) // 8, 'little')

    def in_runs(self, values):
        data, at = b'', 0
        while at < len(values):
            run = equal_values(values, at)
            if run > 1:
                data += bytes((127 + run,)) + self.stored(values[at])
            else:
                while run < 128 and at + run < len(values) and (
                        values[at + run] != values[at + run - 1]):
                    run += 1
                data += bytes((run - 1,)) + b''.join(map(self.stored, values[at:at + run]))
            at += run
        return data

    def file(self, runs=False, corner=0, attributes=None, text=b'', across=False):
        """`across`: runs go on from row to row."""
        if attributes is None:
            attributes = {(TRUE_COLOUR, 32): 8, (GREY, 16): 8}.get((self.kind, self.depth), 0)
        rows = self.rows if corner & FROM_THE_TOP else self.rows[::-1]
        rows = [row[::-1] if corner & FROM_THE_RIGHT else row for row in rows]
        if across:
            rows = [[value for row in rows for value in row]]
        data = b''.join(self.in_runs(row) if runs else b''.join(map(self.stored, row))
                        for row in rows)
        palette = b''.join(value.to_bytes((self.palette_depth + 7) // 8, 'little')
                           for value in self.palette)
        return struct.pack('<BBBHHBHHHHBB', len(text), bool(self.palette_depth),
                           self.kind + RUNS * runs, self.first, len(self.palette),
                           self.palette_depth, 0, 0, self.width, self.height, self.depth,
                           corner | attributes) + text + palette + data
