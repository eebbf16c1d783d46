"""Cases of icons and cursors."""

import struct

import other_readers
import png_files
from dib_files import CORE, WINDOWS5, Bitmap
from icon_files import CURSOR, ICON, Mask, file, masked, picture, with_alpha
from reference import answer, uniform_digest

SIZES = ((1, 1), (7, 5), (16, 16), (31, 8), (32, 32), (33, 9))


def every_form(checker):
    for depth in (1, 4, 8, 16, 24, 32):
        for size in SIZES:
            for kind in (ICON, CURSOR):
                bitmap, mask = Bitmap(*size, depth), Mask(*size)
                icon = file([picture(bitmap, mask)], kind)
                rows = with_alpha(bitmap) if depth == 32 else masked(bitmap, mask)
                name = '%s of %d bits, %dx%d' % ('icon' if kind == ICON else 'cursor', depth,
                                                 *size)
                checker.answers(name, icon, answer(rows))
                # They spread 5 bits without rounding.
                if kind == ICON and depth != 16:
                    checker.check(name + ', to Pillow', other_readers.pillow(icon) == rows)
                if kind == ICON and depth != 16 and size == (16, 16):
                    checker.check(name + ', to ImageMagick',
                                  other_readers.imagemagick(icon, 'ico') == rows)


def other_bitmaps(checker):
    bitmap, mask = Bitmap(9, 6, 4), Mask(9, 6)
    for form in (CORE, WINDOWS5):
        checker.answers('a header of %d' % form, file([picture(bitmap, mask, form)]),
                        answer(masked(bitmap, mask)))
    own = Bitmap(9, 6, 32, (0xff, 0xff00, 0xff0000, 0xff000000))
    checker.answers('masks with alpha', file([picture(own, mask, WINDOWS5)]), answer(own.pixels()))
    opaque = Bitmap(9, 6, 32, (0xff, 0xff00, 0xff0000, 0))
    checker.answers('masks without alpha', file([picture(opaque, mask)]),
                    answer(masked(opaque, mask)))
    upside = Bitmap(9, 6, 24)
    data = upside.description(height=12, top_down=True) + upside.plain(True) + mask.packed(True)
    checker.answers('top down', file([(9, 6, 24, data)]), answer(masked(upside, mask)))


def alpha(checker):
    bitmap, mask = Bitmap(12, 7, 32), Mask(12, 7)
    checker.answers('where there is alpha there need be no mask',
                    file([picture(bitmap, mask, mask_data=b'')]), answer(with_alpha(bitmap)))
    bitmap.rows = [[stored & 0xffffff for stored in row] for row in bitmap.rows]
    checker.answers('where all alpha is 0 the mask decides', file([picture(bitmap, mask)]),
                    answer(masked(bitmap, mask)))
    checker.rejects('where all alpha is 0 there must be a mask',
                    file([picture(bitmap, mask, mask_data=b'')]))
    bitmap.rows[3][4] |= 1 << 24
    checker.answers('one pixel of alpha is enough', file([picture(bitmap, mask)]),
                    answer(with_alpha(bitmap)))


def pngs(checker):
    for colour_type, depth, interlaced in ((png_files.RGBA, 8, False), (png_files.PALETTE, 4, True),
                                           (png_files.GREY_ALPHA, 16, False)):
        png = png_files.Picture(40, 25, colour_type, depth)
        data = png.file(interlaced)
        for kind in (ICON, CURSOR):
            icon = file([(0, 0, 32, data)], kind)
            checker.answers('a PNG of colour type %d, kind %d' % (colour_type, kind), icon,
                            answer(png.pixels()))
        checker.rejects('a PNG of colour type %d cut short' % colour_type,
                        file([(0, 0, 32, data[:-13])]))


def directories(checker):
    bitmap, mask = Bitmap(8, 8, 24), Mask(8, 8)
    first, second = picture(bitmap, mask), picture(Bitmap(16, 16, 32), Mask(16, 16))
    expected = answer(masked(bitmap, mask))
    checker.answers('the first picture counts', file([first, second]), expected)
    checker.answers('the size in the directory does not', file([(99, 3, 7, first[3])]), expected)
    checker.answers('a gap before the picture', file([first], gap=bytes(100_000)), expected)
    checker.answers('more after it', file([first]) + b'more' * 100_000, expected)
    checker.answers('a byte of 255 from another writer', file([first], reserved=255), expected)
    checker.answers('the first in the directory lies after the second',
                    file([first, second], offsets=(6 + 32 + len(second[3]), 6 + 32))[:38] +
                    second[3] + first[3], expected)
    many = [first] + [second] * 65_534
    offset = 6 + 16 * len(many)
    whole = file([entry[:3] + (b'',) for entry in many], offsets=[offset] * len(many)) + first[3]
    checker.answers_within_memory('65,535 entries', whole, expected, 16)
    checker.rejects('65,535 entries that are not there', file([first], count=65_535)[:60])
    checker.rejects('no entry', file([first], count=0))
    for offset in (0, 6, 21, 2**24 - 1, 2**31, 2**32 - 1):
        checker.rejects('a picture at %d' % offset, file([first], offsets=[offset]))


def sizes_and_damage(checker):
    for depth in (1, 24):
        bitmap, mask = Bitmap(11, 7, depth), Mask(11, 7)
        whole = file([picture(bitmap, mask)])
        for length in range(0, len(whole), 5):
            checker.rejects('cut after %d of %d bytes' % (length, len(whole)), whole[:length])
    bitmap, mask = Bitmap(4, 4, 8), Mask(4, 4)
    for width, height in ((0, 8), (8, 0), (8, 1), (8000, 16_000), (60_000_001, 2), (2**31 - 1, 2),
                          (1, 2**31 - 1)):
        data = struct.pack('<IIIHHIIIIII', 40, width, height, 1, 8, 0, 0, 0, 0, 0, 0) + bytes(9000)
        checker.rejects('%dx%d' % (width, height), file([(0, 0, 8, data)]))
    width, height = 7500, 8000
    flat = Bitmap(1, 1, 1)
    flat.width, flat.height = width, height
    data = (flat.description(height=2 * height) + bytes((width + 31) // 32 * 4) * 2 * height)
    checker.answers('a large one', file([(0, 0, 1, data)]), '%s %d %d\n' % (
        uniform_digest(width, height, (bytes(flat.palette[0]) + b'\xff') * width), width, height))


CASES = (every_form, other_bitmaps, alpha, pngs, directories, sizes_and_damage)
