"""Colour spaces as profiles have them, and what their colours are in sRGB, in double precision."""

import itertools
import math
import random
import struct

import tags

WHITE = (0.9642, 1.0, 0.8249)
SRGB_POINTS = (0.3127, 0.3290, 0.64, 0.33, 0.30, 0.60, 0.15, 0.06)
BRADFORD = ((0.8951, 0.2664, -0.1614), (-0.7502, 1.7135, 0.0367), (0.0389, -0.0685, 1.0296))
ADOBE_RGB = ((0.60974, 0.31111, 0.01947), (0.20528, 0.62567, 0.06087), (0.14919, 0.06322, 0.74457))


def times(matrix, vector):
    return tuple(sum(a * b for a, b in zip(row, vector)) for row in matrix)


def product(left, right):
    return tuple(zip(*(times(left, column) for column in zip(*right))))


def inverse(matrix):
    (a, b, c), (d, e, f), (g, h, i) = matrix
    rows = ((e * i - f * h, c * h - b * i, b * f - c * e),
            (f * g - d * i, a * i - c * g, c * d - a * f),
            (d * h - e * g, b * g - a * h, a * e - b * d))
    determinant = a * rows[0][0] + b * rows[1][0] + c * rows[2][0]
    return tuple(tuple(value / determinant for value in row) for row in rows)


def diagonal(values):
    return tuple(tuple(value * (i == j) for j in range(3)) for i, value in enumerate(values))


def adapted(points):
    """White and primaries, x and y each, to XYZ under the profiles' white."""
    white, *primaries = ((x / y, 1, (1 - x - y) / y) for x, y in zip(points[::2], points[1::2]))
    primaries = tuple(zip(*primaries))
    scaled = product(primaries, diagonal(times(inverse(primaries), white)))
    gains = [b / a for a, b in zip(times(BRADFORD, white), times(BRADFORD, WHITE))]
    return product(product(inverse(BRADFORD), product(diagonal(gains), BRADFORD)), scaled)


TO_SRGB = inverse(adapted(SRGB_POINTS))


def levels(xyz):
    """sRGB's levels, 0 to 255, before they are rounded."""
    for light in times(TO_SRGB, xyz):
        light = min(max(light, 0.0), 1.0)
        yield 255 * (12.92 * light if light <= 0.0031308 else 1.055 * light ** (1 / 2.4) - 0.055)


def xyz_of_lab(lab):
    y = (lab[0] + 16) / 116
    roots = (y + lab[1] / 500, y, y - lab[2] / 200)
    return tuple(w * (t ** 3 if t > 24 / 116 else 108 / 841 * (t - 16 / 116))
                 for w, t in zip(WHITE, roots))


class ColourSpace:
    """`xyz`: from device values of 0 to 1."""

    def __init__(self, name, channels, profile, xyz, margin=0.05):
        self.name, self.channels, self.profile = name, channels, profile
        self.xyz, self.margin = xyz, margin

    def colour(self, device):
        """Red, green and blue; None where one lies too near the middle between two levels."""
        exact = list(levels(self.xyz(device)))
        if any(abs(level - math.floor(level) - 0.5) < self.margin for level in exact):
            return None
        return tuple(round(level) for level in exact)

    def colours(self, count, top, seed=0):
        """Random device colours of integers up to `top`, with their red, green and blue."""
        chance = random.Random('%s' % ((self.name, top, seed),))
        found = []
        while len(found) < count:
            darkest = chance.choice((top, top // 4, top // 12))
            device = tuple(chance.randint(0, darkest) for _ in range(self.channels))
            colour = self.colour([value / top for value in device])
            if colour:
                found.append((device, colour))
        return found


def matrix_space(name, primaries, curve, light):
    matrix = tuple(zip(*(tags.stored(*primary) for primary in primaries)))
    return ColourSpace(name, 3, tags.rgb_profile(curve, primaries),
                       lambda device: times(matrix, [light(value) for value in device]))


def grey_space(name, profile, light):
    return ColourSpace(name, 1, profile, lambda device: [w * light(device[0]) for w in WHITE])


def gamma_light(gamma):
    return lambda value: value ** gamma


DISPLAY_P3 = matrix_space('Display P3', tags.DISPLAY_P3, tags.SRGB_CURVE, tags.srgb_light)
ADOBE = matrix_space('Adobe RGB', ADOBE_RGB, tags.gamma_curve(563 / 256), gamma_light(563 / 256))
GREY = grey_space('grey of gamma 2.2', tags.grey_profile(tags.formula_curve(2.2)),
                  gamma_light(*tags.stored(2.2)))


class Table:
    """Curves and a grid of Lab, in one of the older forms: of 8 bits (mft1) or 16 (mft2)."""

    def __init__(self, form, channels, grid):
        self.form, self.channels, self.grid = form, channels, grid
        self.top = {b'mft1': 255, b'mft2': 65535}[form]
        self.end = {b'mft1': 255, b'mft2': 65280}[form]
        self.curve = [round(self.top * (i / 255) ** 0.8) for i in range(256)]
        steps = [i / (grid - 1) for i in range(grid)]
        self.nodes = {node: self.encoded([steps[i] for i in node])
                      for node in itertools.product(range(grid), repeat=channels)}

    def encoded(self, device):
        inks = self.channels == 4
        light = 1 - 0.9 * device[3] if inks else 1
        r, g, b = (light * (1 - value if inks else value) for value in device[:3])
        lab = (8 + 30 * r + 50 * g + 12 * b, 90 * (r - g) + 10 * b, 60 * (r + g) - 110 * b)
        scaled = (lab[0] / 100, (lab[1] + 128) / 255, (lab[2] + 128) / 255)
        return tuple(min(max(round(value * self.end), 0), self.top) for value in scaled)

    def tag(self):
        number = {b'mft1': 'B', b'mft2': 'H'}[self.form]
        values = self.curve * self.channels
        values += [value for node in self.nodes.values() for value in node]
        line = [0, self.top] if self.form == b'mft2' else list(range(256))
        values += line * 3
        head = struct.pack('>4s4xBBBx', self.form, self.channels, 3, self.grid)
        head += tags.fixed(1, 0, 0, 0, 1, 0, 0, 0, 1)
        if self.form == b'mft2':
            head += struct.pack('>HH', 256, 2)
        return head + struct.pack('>%d%s' % (len(values), number), *values)

    def xyz(self, device):
        positions = []
        for value in device:
            below = min(int(value * 255), 254)
            part = value * 255 - below
            light = self.curve[below] * (1 - part) + self.curve[below + 1] * part
            positions.append(light / self.top * (self.grid - 1))
        lightness, a, b = self.at((), positions)
        return xyz_of_lab((lightness / self.end * 100, a / self.end * 255 - 128,
                           b / self.end * 255 - 128))

    def at(self, corner, positions):
        """Linear along the first of four channels, tetrahedral among the last three."""
        lows = [min(int(position), self.grid - 2) for position in positions]
        parts = [position - low for position, low in zip(positions, lows)]
        if len(positions) == 4:
            ends = [self.at((lows[0] + i,), positions[1:]) for i in (0, 1)]
            return [x * (1 - parts[0]) + y * parts[0] for x, y in zip(*ends)]
        node = list(corner) + lows
        result = list(self.nodes[tuple(node)])
        for part, channel in sorted(((p, i) for i, p in enumerate(parts)), reverse=True):
            before = self.nodes[tuple(node)]
            node[len(corner) + channel] += 1
            after = self.nodes[tuple(node)]
            result = [r + part * (y - x) for r, x, y in zip(result, before, after)]
        return result

    def space(self, name):
        kind = {'space': b'CMYK' if self.channels == 4 else b'RGB ', 'connection': b'Lab '}
        return ColourSpace(name, self.channels, tags.profile({b'A2B0': self.tag()}, **kind),
                           self.xyz, margin=0.15)


TABLES = tuple(Table(form, 3, grid).space('a table of %d bits' % bits)
               for form, grid, bits in ((b'mft1', 7, 8), (b'mft2', 9, 16)))
INKS = tuple(Table(form, 4, grid).space('inks by a table of %d bits' % bits)
             for form, grid, bits in ((b'mft1', 4, 8), (b'mft2', 5, 16)))
