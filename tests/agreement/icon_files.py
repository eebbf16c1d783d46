"""Icons and cursors, written field by field."""

import random
import struct

from dib_files import WINDOWS, padded
from reference import premultiplied

ICON, CURSOR = 1, 2


def file(pictures, kind=ICON, offsets=None, gap=b'', reserved=0, count=None):
    """`pictures`: of each its width, height, depth and data."""
    offset = 6 + 16 * len(pictures) + len(gap)
    directory = struct.pack('<HHH', 0, kind, len(pictures) if count is None else count)
    for i, (width, height, depth, data) in enumerate(pictures):
        directory += struct.pack('<BBBBHHII', width & 255, height & 255, 0, reserved, 1, depth,
                                 len(data), offsets[i] if offsets else offset)
        offset += len(data)
    return directory + gap + b''.join(picture[3] for picture in pictures)


class Mask:
    """Random bits: the pixels that are transparent."""

    def __init__(self, width, height, seed=0):
        chance = random.Random('%s' % ((width, height, seed),))
        self.rows = [[chance.randrange(2) for _ in range(width)] for _ in range(height)]

    def packed(self, top_down=False):
        lines = []
        for row in self.rows if top_down else self.rows[::-1]:
            bits = ''.join(str(bit) for bit in row) + '0' * (-len(row) % 8)
            lines.append(padded(int(bits, 2).to_bytes(len(bits) // 8, 'big')))
        return b''.join(lines)


def picture(bitmap, mask, form=WINDOWS, mask_data=None, **more):
    """A bitmap and its mask as a picture of an icon."""
    data = bitmap.description(form, height=2 * bitmap.height, **more) + bitmap.plain()
    data += mask.packed() if mask_data is None else mask_data
    return bitmap.width, bitmap.height, bitmap.depth, data


def masked(bitmap, mask):
    """What a bitmap and its mask look like."""
    return [[premultiplied(*bitmap.colour(stored)[:3], 0 if clear else 255)
             for stored, clear in zip(row, bits)] for row, bits in zip(bitmap.rows, mask.rows)]


def with_alpha(bitmap):
    """What a bitmap of 32 bits looks like whose fourth byte is alpha."""
    return [[premultiplied(*bitmap.colour(stored)[:3], stored >> 24) for stored in row]
            for row in bitmap.rows]
