"""Device-independent bitmaps, as BMP files and icons hold them, written field by field."""

import random
import struct

from reference import premultiplied

PLAIN, RLE8, RLE4, BIT_FIELDS, RLE24, ALPHA_BIT_FIELDS = 0, 1, 2, 3, 4, 6
CORE, OS2_SHORT, WINDOWS, MASKS, ALPHA_MASK, OS2, WINDOWS4, WINDOWS5 = HEADERS = (
    12, 16, 40, 52, 56, 64, 108, 124)
MASKS_555 = (0x7c00, 0x3e0, 0x1f, 0)
MASKS_888 = (0xff0000, 0xff00, 0xff, 0)


def shift_of(mask):
    return (mask & -mask).bit_length() - 1


def scaled(value, mask):
    """A channel of a pixel's value in 8 bits, rounded to the nearest."""
    if not mask:
        return 0
    top = mask >> shift_of(mask)
    return (2 * 255 * ((value & mask) >> shift_of(mask)) + top) // (2 * top)


def padded(row, multiple=4):
    return row + bytes(-len(row) % multiple)


class Bitmap:
    """Random stored pixels: indices in a palette, or values under masks."""

    def __init__(self, width, height, depth, masks=None, colours=None, seed=0):
        chance = random.Random('%s' % ((width, height, depth, masks, colours, seed),))
        self.width, self.height, self.depth = width, height, depth
        self.own_masks = masks
        self.masks = masks or (MASKS_555 if depth == 16 else MASKS_888)
        self.rows = [[chance.randrange(1 << depth) for _ in range(width)] for _ in range(height)]
        self.palette = []
        if depth <= 8:
            count = 1 << depth if colours is None else colours
            self.palette = [tuple(chance.randrange(256) for _ in range(3)) for _ in range(count)]
        self.profile = None

    def colour(self, stored):
        """A stored pixel as red, green, blue and alpha, not premultiplied."""
        if self.depth <= 8:
            known = stored < len(self.palette)
            return (self.palette[stored] if known else (0, 0, 0)) + (255,)
        red, green, blue = (scaled(stored, mask) for mask in self.masks[:3])
        return red, green, blue, scaled(stored, self.masks[3]) if self.masks[3] else 255

    def pixels(self):
        return [[premultiplied(*self.colour(stored)) for stored in row] for row in self.rows]

    def packed(self, row):
        if self.depth > 8:
            return padded(b''.join(value.to_bytes(self.depth // 8, 'little') for value in row))
        bits = ''.join(format(value, '0%db' % self.depth) for value in row)
        bits += '0' * (-len(bits) % 8)
        return padded(bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8)))

    def plain(self, top_down=False):
        return b''.join(self.packed(row) for row in (self.rows if top_down else self.rows[::-1]))

    def description(self, form=WINDOWS, compression=None, top_down=False, height=None, used=None,
                    space=0, profile_offset=0, profile_length=0):
        """The header with its masks and palette."""
        height = self.height if height is None else height
        if compression is None:
            compression = BIT_FIELDS if self.own_masks else PLAIN
        used = (len(self.palette) if used is None else used) & 0xffffffff
        if form == CORE:
            header = struct.pack('<IHHHH', form, self.width, height, 1, self.depth)
        else:
            header = struct.pack('<IIiHHIIIIII', form, self.width, -height if top_down else height,
                                 1, self.depth, compression, 0, 2835, 2835, used, 0)
            if form in (MASKS, ALPHA_MASK, WINDOWS4, WINDOWS5):
                header += struct.pack('<4I', *self.masks)
            if form in (WINDOWS4, WINDOWS5):
                header += struct.pack('<I48x', space)
            if form == WINDOWS5:
                header += struct.pack('<IIII', 4, profile_offset, profile_length, 0)
            header = header[:form] + bytes(max(0, form - len(header)))
        if form == WINDOWS and compression in (BIT_FIELDS, ALPHA_BIT_FIELDS):
            header += struct.pack('<4I', *self.masks)[:12 if compression == BIT_FIELDS else 16]
        return header + b''.join(bytes(colour[::-1]) + b'\x7f' * (form != CORE)
                                 for colour in self.palette)

    def file(self, form=WINDOWS, top_down=False, gap=b'', data=None, offset=None, **more):
        """A BMP file. `gap` stands before the pixels, `data` instead of them."""
        description = self.description(form, top_down=top_down, **more)
        data = self.plain(top_down) if data is None else data
        start = 14 + len(description) + len(gap)
        return (b'BM' + struct.pack('<IHHI', start + len(data), 0, 0,
                                    start if offset is None else offset) +
                description + gap + data)

    def profiled_file(self, profile, top_down=False, between=b''):
        """A BMP file with its profile after the pixels."""
        data = self.plain(top_down)
        offset = len(self.description(WINDOWS5)) + len(data) + len(between)
        return self.file(WINDOWS5, top_down, space=0x4d424544, profile_offset=offset,
                         profile_length=len(profile), data=data + between + profile)


def run(count, *values):
    return bytes((count,) + values)


def literals(count, data):
    return bytes((0, count)) + padded(data, 2)


END_OF_ROW, END_OF_PICTURE = b'\0\0', b'\0\1'


def move(right, up):
    return bytes((0, 2, right, up))


def run_lengths(bitmap, kind, seed=0):
    """The rows coded in runs and literals of random length."""
    chance = random.Random('%s' % (seed,))
    unit = {RLE4: lambda values: bytes((a << 4 | b) for a, b in zip(values[::2],
                                                                    (values[1:] + [9])[::2])),
            RLE8: bytes,
            RLE24: lambda values: b''.join(v.to_bytes(3, 'little') for v in values)}[kind]
    data = b''
    for row in bitmap.rows[::-1]:
        x = 0
        while x < len(row):
            count = min(chance.randint(1, 40), len(row) - x)
            if chance.random() < 0.5 and count >= 3:
                data += literals(count, unit(row[x:x + count]))
            else:
                row[x:x + count] = [row[x]] * count
                if kind == RLE4 and count > 1:
                    row[x + 1:x + count:2] = [row[x] ^ 5] * len(row[x + 1:x + count:2])
                data += bytes((count,)) + (unit([row[x], row[x] ^ 5]) if kind == RLE4
                                           else unit([row[x]]))
            x += count
        data += END_OF_ROW
    return data[:-2] + END_OF_PICTURE
