"""Cases of TGA files."""

import other_readers
from reference import answer, uniform_digest
from tga_files import FROM_THE_RIGHT, FROM_THE_TOP, GREY, INDEXED, TRUE_COLOUR, Picture

FORMS = ((INDEXED, 8, 15), (INDEXED, 8, 16), (INDEXED, 8, 24), (INDEXED, 8, 32), (INDEXED, 16, 24),
         (TRUE_COLOUR, 15, 0), (TRUE_COLOUR, 16, 0), (TRUE_COLOUR, 24, 0), (TRUE_COLOUR, 32, 0),
         (GREY, 8, 0), (GREY, 16, 0))
FOOTER = bytes(8) + b'TRUEVISION-XFILE.\0'


def every_form(checker):
    for kind, depth, palette_depth in FORMS:
        for runs in (False, True):
            for corner in (0, FROM_THE_RIGHT, FROM_THE_TOP, FROM_THE_RIGHT | FROM_THE_TOP):
                for size in ((1, 1), (7, 5), (33, 4), (300, 2)):
                    picture = Picture(*size, kind, depth, palette_depth,
                                      500 if depth == 16 else None)
                    data, rows = picture.file(runs, corner), picture.pixels()
                    name = 'kind %d of %d bits, palette of %d%s, corner %x, %dx%d' % (
                        kind, depth, palette_depth, ' in runs' if runs else '', corner, *size)
                    checker.answers(name, data, answer(rows))
                    # Pillow has neither 15 bits nor long palettes, and no rounding of 5 bits.
                    if palette_depth in (0, 24) and (depth in (8, 24, 32) or kind == GREY):
                        checker.check(name + ', to Pillow', other_readers.pillow(data) == rows)
                    # ImageMagick leaves the rows as they come.
                    if size == (33, 4) and corner == FROM_THE_TOP and (kind, depth) in (
                            (TRUE_COLOUR, 24), (TRUE_COLOUR, 32), (GREY, 8)):
                        checker.check(name + ', to ImageMagick',
                                      other_readers.imagemagick(data, 'tga') == rows)


def oddities(checker):
    for kind, depth, palette_depth in FORMS:
        picture = Picture(21, 9, kind, depth, palette_depth, 40 if kind == INDEXED else None)
        expected = answer(picture.pixels())
        name = ', kind %d of %d bits' % (kind, depth)
        checker.answers('runs across rows' + name, picture.file(True, across=True), expected)
        checker.answers('a text' + name, picture.file(text=b'made by hand' * 21), expected)
        checker.answers('more after it' + name, picture.file(True) + bytes(300_000) + FOOTER,
                        expected)
    late = Picture(21, 9, INDEXED, 8, 24, 40, first=100)
    checker.answers('a palette that begins late', late.file(), answer(late.pixels()))
    short = Picture(21, 9, INDEXED, 8, 24, 40)
    short.rows[3] = [39, 40, 255] * 7
    checker.answers('what the palette lacks is black', short.file(), answer(short.pixels()))
    alpha = Picture(21, 9, TRUE_COLOUR, 32)
    checker.answers('alpha that is not counted', alpha.file(attributes=0), answer(alpha.pixels()))
    bit = Picture(21, 9, TRUE_COLOUR, 16)
    checker.answers('a bit of alpha is not read', bit.file(attributes=1), answer(bit.pixels()))
    true = Picture(21, 9, TRUE_COLOUR, 24, 24, 30)
    checker.answers('a palette of a true-colour picture', true.file(), answer(true.pixels()))


def damage(checker):
    for kind, depth, palette_depth in FORMS:
        picture = Picture(9, 4, kind, depth, palette_depth, 20 if kind == INDEXED else None)
        for runs in (False, True):
            whole = picture.file(runs)
            for length in range(0, len(whole), 1 + len(whole) // 40):
                checker.rejects('cut after %d of %d bytes, kind %d of %d bits%s' % (
                    length, len(whole), kind, depth, ' in runs' if runs else ''), whole[:length])
    data = Picture(9, 4, TRUE_COLOUR, 24).file()
    for offset, value in ((1, 2), (1, 1), (2, 0), (2, 1), (2, 4), (2, 8), (2, 32), (3, 1), (5, 1),
                         (7, 24), (12, 0), (14, 0), (16, 8), (16, 1), (16, 64), (17, 0x40),
                         (17, 0x80)):
        checker.rejects('%d at %d' % (value, offset),
                        data[:offset] + bytes((value,)) + data[offset + 1:] + bytes(9999))
    large = Picture(1, 1, GREY, 8)
    for width, height in ((8000, 8000), (65535, 65535), (65535, 916)):
        large.width, large.height = width, height
        checker.rejects('%dx%d' % (width, height), large.file())
    large.width, large.height = 65535, 915
    header = large.file(True)[:18]
    checker.answers('65535x915 is within the budget', header + b'\xff\x07' * (65535 * 915 // 128 + 1),
                    '%s 65535 915\n' % uniform_digest(65535, 915, b'\7\7\7\xff' * 65535))


CASES = (every_form, oddities, damage)
