"""Cases of BMP files."""

import struct

import other_readers
import tags
from agreement_test import LONG_TIMEOUT
from dib_files import (ALPHA_BIT_FIELDS, ALPHA_MASK, CORE, END_OF_PICTURE, END_OF_ROW, HEADERS,
                       MASKS, OS2, OS2_SHORT, RLE4, RLE8, RLE24, WINDOWS, WINDOWS4, WINDOWS5,
                       Bitmap, literals, move, run, run_lengths)
from reference import answer, uniform_digest

SIZES = ((1, 1), (7, 3), (8, 2), (9, 5), (33, 4))
OTHER_MASKS = {
    16: ((0xf800, 0x7e0, 0x1f, 0), (0x7c00, 0x3e0, 0x1f, 0x8000), (0xf00, 0xf0, 0xf, 0xf000),
         (0x1f, 0x7e0, 0xf800, 0), (0x1, 0x2, 0xfffc, 0), (0, 0xff, 0, 0)),
    24: ((0xff, 0xff00, 0xff0000, 0), (0xf80000, 0x3f000, 0x7f, 0)),
    32: ((0xff, 0xff00, 0xff0000, 0xff000000), (0xff0000, 0xff00, 0xff, 0xff000000),
         (0xff000000, 0xff0000, 0xff00, 0xff), (0x3ff00000, 0xffc00, 0x3ff, 0xc0000000),
         (0xffffffff, 0, 0, 0), (0x7fff, 0x18000, 0x1fe0000, 0)),
}


def judged(checker, name, data, rows, pillow=False, imagemagick=False):
    """The answer, and what the other readers make of the same file."""
    checker.answers(name, data, answer(rows))
    if pillow:
        checker.check(name + ', to Pillow', other_readers.pillow(data) == rows)
    if imagemagick:
        checker.check(name + ', to ImageMagick', other_readers.imagemagick(data, 'bmp') == rows)


def every_form(checker):
    for form in HEADERS:
        for depth in (1, 2, 4, 8, 16, 24, 32):
            for top_down in (False, True):
                for size in SIZES:
                    if top_down and form == CORE:
                        continue
                    bitmap = Bitmap(*size, depth)
                    # Pillow knows fewer headers and depths, spreads 5 bits without rounding, and
                    # looks for a sign at the wrong offset of OS/2's palettes.
                    known = form in (CORE, WINDOWS, WINDOWS4, WINDOWS5) and depth not in (2, 16)
                    judged(checker, 'header of %d, %d bits%s, %dx%d' % (
                        form, depth, ', top down' if top_down else '', *size),
                           bitmap.file(form, top_down), bitmap.pixels(), pillow=known,
                           imagemagick=form == WINDOWS and depth != 2 and depth < 16 and
                           size == (9, 5))


def masks(checker):
    for depth, choices in OTHER_MASKS.items():
        for chosen in choices:
            for form in (WINDOWS, MASKS, ALPHA_MASK, WINDOWS4, WINDOWS5):
                if chosen[3] and form == MASKS:
                    continue
                bitmap = Bitmap(21, 6, depth, chosen)
                more = {'compression': ALPHA_BIT_FIELDS} if form == WINDOWS and chosen[3] else {}
                whole = depth == 32 and set(chosen) <= {0xff, 0xff00, 0xff0000, 0xff000000}
                judged(checker, 'masks %x %x %x %x, header of %d' % (*chosen, form),
                       bitmap.file(form, **more), bitmap.pixels(),
                       pillow=whole and form in (WINDOWS4, WINDOWS5))
    bitmap = Bitmap(5, 4, 32, (0xff0000, 0xff00, 0xff, 0))
    checker.answers('masks without alpha are opaque', bitmap.file(), answer(bitmap.pixels()))
    for wrong in ((0xf0f000, 0xff00, 0xff, 0), (0, 0, 0, 0), (0xff0000, 0xff00, 0x5, 0)):
        checker.rejects('masks %x %x %x' % wrong[:3], Bitmap(5, 4, 32, wrong).file())
    checker.rejects('a mask beyond the pixel', Bitmap(5, 4, 16, (0x1f0000, 0x3e0, 0x1f, 0)).file())


def palettes(checker):
    for depth, colours in ((1, 1), (4, 3), (8, 100), (8, 1)):
        for form in (CORE, OS2_SHORT, WINDOWS, OS2):
            bitmap = Bitmap(17, 9, depth, colours=colours)
            checker.answers('%d colours in %d bits, header of %d: the others are black' %
                            (colours, depth, form), bitmap.file(form), answer(bitmap.pixels()))
    full = Bitmap(17, 9, 8)
    checker.answers('a number of colours of 0 is all of them', full.file(used=0),
                    answer(full.pixels()))
    checker.answers('a palette ends where the pixels begin', full.file(used=70_000),
                    answer(full.pixels()))
    long = Bitmap(17, 9, 4, colours=20)
    checker.answers('a palette longer than its depth', long.file(), answer(long.pixels()))
    checker.answers('a palette longer than its depth, no offset of the pixels', long.file(offset=0),
                    answer(long.pixels()))
    true = Bitmap(5, 5, 24)
    true.palette = [(1, 2, 3)] * 7
    checker.answers('a palette of a true-colour picture', true.file(), answer(true.pixels()))
    checker.answers('a palette of a true-colour picture, no offset of the pixels',
                    true.file(offset=0), answer(true.pixels()))


def offsets(checker):
    for form in (CORE, WINDOWS, WINDOWS5):
        for depth in (4, 24):
            bitmap = Bitmap(10, 6, depth)
            expected = answer(bitmap.pixels())
            name = ', header of %d, %d bits' % (form, depth)
            checker.answers('a gap before the pixels' + name, bitmap.file(form, gap=b'gap' * 999),
                            expected)
            checker.answers('no offset of the pixels' + name, bitmap.file(form, offset=0), expected)
            checker.answers('more after the pixels' + name, bitmap.file(form) + bytes(300_000),
                            expected)
            checker.rejects('pixels inside the header' + name, bitmap.file(form, offset=20))
            for offset in (5000, 2**31, 2**32 - 1):
                checker.rejects('pixels at %d' % offset + name, bitmap.file(form, offset=offset))


def run_length_codings(checker):
    for kind, depth, form in ((RLE4, 4, WINDOWS), (RLE8, 8, WINDOWS), (RLE8, 8, OS2),
                              (RLE4, 4, WINDOWS5), (RLE24, 24, OS2)):
        for size in SIZES + ((300, 3), (64, 30)):
            bitmap = Bitmap(*size, depth)
            data = run_lengths(bitmap, kind, size)
            rows = bitmap.pixels()
            judged(checker, 'coding %d, header of %d, %dx%d' % (kind, form, *size),
                   bitmap.file(form, compression=kind, data=data), rows,
                   pillow=kind == RLE8 and form != OS2,
                   imagemagick=kind != RLE24 and form == WINDOWS and size == (64, 30))
            checker.answers('coding %d, top down, %dx%d' % (kind, *size),
                            bitmap.file(form, compression=kind, data=data, top_down=True),
                            answer(rows[::-1]))
            checker.answers('coding %d without its end, %dx%d' % (kind, *size),
                            bitmap.file(form, compression=kind, data=data[:-2]), answer(rows))
            checker.rejects('coding %d cut short, %dx%d' % (kind, *size),
                            bitmap.file(form, compression=kind, data=data[:-3]))


def passed_over(checker):
    """Pixels that no run covers are of the first colour, as to the other readers; newer ones reject
    some of the files."""
    def seen(kind, rows, data, imagemagick=True):
        bitmap = Bitmap(5, len(rows), {RLE8: 8, RLE4: 4, RLE24: 24}[kind], seed=1)
        bitmap.rows = rows
        file = bitmap.file(OS2 if kind == RLE24 else WINDOWS, compression=kind, data=data)
        judged(checker, 'coding %d: %s' % (kind, data.hex()), file, bitmap.pixels(),
               imagemagick=imagemagick and kind != RLE24 and
               other_readers.imagemagick(file, 'bmp') is not None)

    seen(RLE8, [[0] * 5, [0, 0, 0, 4, 4], [7, 7, 0, 0, 0]],
         run(2, 7) + move(1, 1) + run(2, 4) + END_OF_PICTURE)
    seen(RLE8, [[0] * 5, [0] * 5, [0] * 5], END_OF_PICTURE)
    seen(RLE8, [[6] * 5, [0, 9, 9, 0, 0], [3, 0, 0, 0, 0]], run(1, 3) + END_OF_ROW + move(1, 0) +
         run(2, 9) + END_OF_ROW + run(5, 6) + END_OF_PICTURE)
    seen(RLE4, [[1, 2, 3, 0, 0], [5, 6, 5, 0, 0]], run(3, 0x56) + END_OF_ROW +
         literals(3, b'\x12\x30') + END_OF_ROW + END_OF_PICTURE)
    seen(RLE24, [[0] * 5, [0x030201] * 2 + [0] * 3], run(2, 1, 2, 3) + END_OF_PICTURE)
    seen(RLE8, [[8] * 5, [4] * 5], run(9, 4) + END_OF_ROW + run(200, 8), imagemagick=False)
    seen(RLE8, [[8] * 5, [0] * 5], move(255, 0) + run(3, 7) + END_OF_ROW + run(5, 8),
         imagemagick=False)
    seen(RLE4, [[0] * 5, [1, 2, 1, 2, 1]], run(5, 0x12) + move(0, 255), imagemagick=False)


def colours(checker):
    bitmap = Bitmap(12, 5, 24)
    other = tags.rgb_profile(tags.gamma_curve(1.8))
    for space, name in ((0x73524742, 'sRGB'), (0x57696e20, 'Windows'), (0, 'calibrated'),
                        (0x4c494e4b, 'a linked profile'), (1, 'unknown')):
        for form in (WINDOWS4, WINDOWS5):
            checker.answers('colours: %s, header of %d' % (name, form),
                            bitmap.file(form, space=space), answer(bitmap.pixels()))
    for top_down in (False, True):
        for depth in (4, 24):
            bitmap = Bitmap(12, 5, depth)
            expected = answer(bitmap.pixels())
            name = ', %d bits%s' % (depth, ', top down' if top_down else '')
            checker.answers('a profile of sRGB' + name,
                            bitmap.profiled_file(tags.rgb_profile(), top_down), expected)
            checker.answers('a profile of sRGB after a gap' + name, bitmap.profiled_file(
                tags.rgb_profile(), top_down, bytes(100_000)), expected)
            checker.answers_otherwise('another profile' + name,
                                      bitmap.profiled_file(other, top_down), expected)
            checker.answers('a profile that is cut short is as none' + name,
                            bitmap.profiled_file(other, top_down)[:-9], expected)
    checker.answers('a profile of zeros is as none', bitmap.profiled_file(bytes(500)), expected)
    for offset, length in ((2**32 - 1, 500), (200, 2**32 - 1), (0, 500)):
        checker.answers('a profile of %d bytes at %d is as none' % (length, offset), bitmap.file(
            WINDOWS5, space=0x4d424544, profile_offset=offset, profile_length=length), expected)
    grey = Bitmap(12, 5, 8)
    grey.palette = [(i, i, i) for i in range(256)]
    judged(checker, 'a palette of greys', grey.file(), grey.pixels(), True, True)


def cut_files(checker):
    for depth in (1, 8, 16, 24, 32):
        bitmap = Bitmap(11, 7, depth)
        whole = bitmap.file()
        for length in range(0, len(whole), 1 + len(whole) // 60):
            checker.rejects('cut after %d of %d bytes' % (length, len(whole)), whole[:length])


def declared(width, height, depth=24, compression=0):
    """A file of 1000 bytes of pixels, whatever its header says."""
    return (b'BM' + struct.pack('<IHHI', 0, 0, 0, 54) +
            struct.pack('<IIIHHIIIIII', 40, width & 0xffffffff, height & 0xffffffff, 1, depth,
                        compression, 0, 0, 0, 0, 0) + bytes(1000))


def wrong_headers(checker):
    checker.answers('an ordinary one', declared(2, 2), answer([[b'\0\0\0\xff'] * 2] * 2))
    for width, height in ((0, 5), (5, 0), (-5, 5), (8000, 8000), (2**31 - 1, 2**31 - 1),
                          (60_000_001, 1), (1, 60_000_001), (1, -60_000_001), (1, -2**31)):
        for compression, depth in ((0, 24), (0, 1), (1, 8)):
            checker.rejects('%dx%d' % (width, height), declared(width, height, depth, compression))
    for depth in (0, 3, 5, 15, 31, 48, 64, 65535):
        checker.rejects('%d bits' % depth, declared(2, 2, depth))
    for compression, depth in ((1, 4), (1, 24), (2, 8), (3, 8), (4, 8), (4, 24), (5, 24), (6, 8),
                               (7, 24), (11, 8), (2**32 - 1, 24)):
        checker.rejects('compression %d of %d bits' % (compression, depth),
                        declared(2, 2, depth, compression))
    for form in (0, 11, 13, 39, 41, 48, 65, 125, 2**32 - 1):
        checker.rejects('a header of %d' % form,
                        b'BM' + struct.pack('<IHHII', 0, 0, 0, 54, form) + bytes(5000))


def sizes(checker):
    two = Bitmap(1, 1, 1)
    pixels = b''.join(bytes(two.palette[int(bit)]) + b'\xff' for bit in format(0x5a, '08b'))
    for width, height in ((60_000_000, 1), (4000, 15_000)):
        two.width, two.height = width, height
        checker.answers('%dx%d is within the budget' % (width, height),
                        two.file(data=b'\x5a' * (width // 8 * height)),
                        '%s %d %d\n' % (uniform_digest(width, height, pixels * (width // 8)),
                                        width, height))
    tall = Bitmap(1, 1, 8)
    tall.height = 60_000_000
    first = bytes(tall.palette[0]) + b'\xff'
    checker.answers('a picture of nothing but its end',
                    tall.file(compression=RLE8, data=END_OF_PICTURE),
                    '%s 1 60000000\n' % uniform_digest(1, 60_000_000, first), LONG_TIMEOUT)
    still = Bitmap(4, 4, 8)
    checker.rejects('moves that go nowhere',
                    still.file(compression=RLE8, data=move(0, 0) * 3_000_000))
    screen = Bitmap(1, 1, 32)
    screen.width, screen.height = 1920, 1080
    row = bytes(range(256)) * 30
    opaque = b''.join(row[i:i + 3][::-1] + b'\xff' for i in range(0, len(row), 4))
    checker.answers_within_memory('rows from top to bottom are not kept',
                                  screen.file(data=row * 1080, top_down=True), '%s 1920 1080\n' %
                                  uniform_digest(1920, 1080, opaque), 16)


CASES = (every_form, masks, palettes, offsets, run_length_codings, passed_over, colours, cut_files,
         wrong_headers, sizes)
