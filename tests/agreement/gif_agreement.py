"""Cases of GIF files."""

import hashlib
import io
import random

from PIL import Image

import gif_files
from gif_files import TRAILER, comment, control, descriptor, extension, image, screen
from reference import answer, on_canvas, premultiplied, uniform_digest

CLEAR = bytes(4)
BLACK = premultiplied(0, 0, 0, 255)


def colour_map(count, seed=0):
    chance = random.Random('colours %d %d' % (count, seed))
    return [tuple(chance.randint(0, 255) for _ in range(3)) for _ in range(count)]


def random_rows(width, height, count, seed=0):
    """Indices with runs in them, so that every length of code is in use."""
    chance = random.Random('%s' % ((width, height, count, seed),))
    row, rows = [], []
    for _ in range(height):
        row = [chance.randrange(count)]
        while len(row) < width:
            row.append(row[-1] if chance.random() < 0.4 else chance.randrange(count))
        rows.append(row)
    return rows


def painted(rows, colours, transparent=None):
    def pixel(index):
        if index == transparent:
            return CLEAR
        return premultiplied(*colours[index], 255) if index < len(colours) else BLACK
    return [[pixel(index) for index in row] for row in rows]


def every_form(checker):
    for count in (2, 3, 4, 5, 8, 16, 31, 64, 128, 200, 256):
        for width, height in ((1, 1), (1, 9), (9, 1), (5, 3), (37, 21), (8, 8)):
            for interlaced in (False, True):
                for local in (False, True):
                    for transparent in (None, count // 2):
                        checker.answers(
                            '%d colours, %dx%d%s, %s map, transparent %s' %
                            (count, width, height, ' interlaced' if interlaced else '',
                             'local' if local else 'global', transparent),
                            *simple(count, width, height, interlaced, local, transparent))


def simple(count, width, height, interlaced=False, local=False, transparent=None, **options):
    """A file whose frame is its canvas, and what is to be answered."""
    colours, other = colour_map(count), colour_map(count, 1)
    rows = random_rows(width, height, count)
    data = (screen(width, height, other if local else colours) +
            (control(transparent) if transparent is not None else b'') +
            image(rows, 0, 0, colours if local else None, interlaced, **options) + TRAILER)
    return data, answer(painted(rows, colours, transparent))


def interlaced_heights(checker):
    for height in range(1, 34):
        checker.answers('interlaced, %d rows' % height, *simple(16, 3, height, True))


def codes(checker):
    for name, options in {
            'a clear code every 7 codes': {'clear_every': 7},
            'a clear code after every code': {'clear_every': 1},
            'no clear code at the beginning': {'first_clear': False},
            'a full table that is kept': {'keep_full_table': True},
            'blocks of one byte': {'block': 1},
            'blocks of 254 bytes': {'block': 254},
            'wider codes than needed': {'code_size': 8},
            'LZW minimum code size 9': {'code_size': 9},
            'LZW minimum code size 10': {'code_size': 10},
            'LZW minimum code size 11': {'code_size': 11},
            'LZW minimum code size 11 and a full table that is kept': {
                'code_size': 11, 'keep_full_table': True},
            'LZW minimum code size 9, a clear code every 7 codes, blocks of one byte': {
                'code_size': 9, 'clear_every': 7, 'block': 1},
    }.items():
        for count, side in ((2, 9), (2, 220), (17, 60), (250, 90)):
            checker.answers('%s, %d colours, %dx%d' % (name, count, side, side),
                            *simple(count, side, side, **options))
    for count, side in ((2, 300), (256, 130)):
        checker.answers('a full table, %d colours' % count, *simple(count, side, side))


def placed_frames(checker):
    colours = colour_map(32)
    for interlaced in (False, True):
        for x, y in ((0, 0), (1, 0), (0, 1), (3, 4), (9, 6), (10, 7), (11, 8), (65535, 65535)):
            for width, height in ((1, 1), (2, 3), (11, 8), (14, 12), (30, 1), (1, 30)):
                for transparent in (None, 5):
                    rows = random_rows(width, height, 32, x + y)
                    data = (screen(11, 8, colours, background=7) + control(transparent) +
                            image(rows, x, y, None, interlaced) + TRAILER)
                    pixels = painted(rows, colours, transparent)
                    checker.answers('a frame of %dx%d at %d,%d%s, transparent %s' % (
                        width, height, x, y, ' interlaced' if interlaced else '', transparent),
                        data, answer(on_canvas(pixels, 11, 8, x, y)))


def colour_maps(checker):
    four, rows = colour_map(4), random_rows(9, 7, 4)
    wide = random_rows(9, 7, 256)
    checker.answers('an index beyond the colour map is black', screen(9, 7, four) + image(wide),
                    answer(painted(wide, four)))
    checker.answers('an index beyond the colour map may be transparent',
                    screen(9, 7, four) + control(wide[3][4]) + image(wide),
                    answer(painted(wide, four, wide[3][4])))
    checker.answers('a local colour map replaces the global one altogether',
                    screen(9, 7, colour_map(256)) + image(wide, colours=four),
                    answer(painted(wide, four)))
    checker.answers('version 87a', screen(9, 7, four, b'87a') + image(rows) + TRAILER,
                    answer(painted(rows, four)))
    checker.rejects('no colour map', screen(9, 7) + image(rows) + TRAILER)
    checker.answers('a transparent index that no pixel has',
                    screen(9, 7, four) + control(200) + image(rows), answer(painted(rows, four)))


def extensions(checker):
    colours, rows = colour_map(8), random_rows(12, 7, 8)
    begin, frame = screen(12, 7, colours), image(rows)

    def answers(name, before, transparent=None, after=TRAILER):
        checker.answers(name, begin + before + frame + after,
                        answer(painted(rows, colours, transparent)))

    loop = extension(0xff, b'NETSCAPE2.0', 11)[:-1] + b'\x03\x01\0\0\0'
    answers('a loop', loop)
    answers('an empty extension', extension(0xfe, b''))
    answers('an unknown extension', extension(0x42, b'what' * 500))
    answers('a text to be drawn', extension(0x01, bytes(12) + b'text', 12))
    answers('a control extension after other extensions', loop + comment() + control(3), 3)
    answers('a control extension before other extensions', control(3) + comment() + loop, 3)
    answers('the last of two control extensions counts', control(3) + control(4), 4)
    answers('the last of two control extensions counts, if it is without transparency',
            control(3) + control())
    answers('a control extension that is too short', extension(0xf9, b'\1\0\0'))
    answers('a control extension that is empty', extension(0xf9, b''))
    answers('a control extension with more than it needs', extension(0xf9, b'\1\0\0\3\0'), 3)
    answers('a control extension of several blocks', extension(0xf9, b'\1\0\0\3' + b'\1\0\0\4', 4),
            3)
    answers('a control extension after the frame is the next frame\'s', b'', None, control(2) +
            image(random_rows(12, 7, 8, 1)) + TRAILER)
    profile = extension(0xff, b'ICCRGBG1012' + bytes(244), 11)
    answers('a profile is ignored', profile)


def animations(checker):
    colours, rows = colour_map(8), random_rows(12, 7, 8)
    first = screen(12, 7, colours) + control(1, 2) + image(rows)
    expected = answer(painted(rows, colours, 1))
    second = control(2, 1) + image(random_rows(12, 7, 8, 9), colours=colour_map(8, 3))
    checker.answers('of an animation the first frame counts', first + second * 5 + TRAILER,
                    expected)
    checker.answers('a second frame that is cut', first + second[:-9], expected)
    checker.answers('a second frame that is damaged', first + second[:30] + b'\xff' * 40, expected)
    checker.answers('no trailer', first, expected)
    checker.answers('garbage after the frame', first + b'garbage' * 50000, expected)


def other_reader(checker):
    """Files that Pillow wrote and reads back itself."""
    chance = random.Random(8)
    for mode, colours in (('P', 256), ('P', 16), ('L', 256), ('1', 2)):
        for interlaced in (0, 1):
            for size in ((1, 1), (64, 33), (257, 120)):
                picture = Image.new('RGB', size)
                picture.putdata([tuple(chance.randint(0, 255) for _ in range(3))
                                 for _ in range(size[0] * size[1])])
                picture = (picture.quantize(colours) if mode == 'P' else picture.convert(mode))
                file = io.BytesIO()
                picture.save(file, 'GIF', interlace=interlaced)
                checker.answers('Pillow, %s, %d colours, interlace %d, %dx%d' %
                                (mode, colours, interlaced, *size), file.getvalue(),
                                answer(read_back(file)))


def read_back(file):
    picture = Image.open(file).convert('RGBA')
    pixels = [premultiplied(*pixel) for pixel in picture.getdata()]
    width, height = picture.size
    return [pixels[y * width:(y + 1) * width] for y in range(height)]


def cut_files(checker):
    colours = colour_map(64)
    for interlaced in (False, True):
        rows = random_rows(25, 19, 64)
        whole = screen(25, 19, colours) + comment() + control(3) + image(rows, 0, 0, None,
                                                                         interlaced)
        checker.answers('whole', whole, answer(painted(rows, colours, 3)))
        for length in list(range(0, len(whole), 11)) + list(range(len(whole) - 9, len(whole))):
            checker.rejects('cut after %d of %d bytes' % (length, len(whole)), whole[:length])


# A frame of 25 x 19 pixels of one index fills its canvas.
BEGIN = screen(25, 19, colour_map(64))
FRAME = descriptor(0, 0, 25, 19)
EVEN = answer(painted([[5] * 25] * 19, colour_map(64)))


def even_codes(rows, size=6):
    return gif_files.lzw([5] * 25 * rows, size)


def frame_of(codes, size=6):
    return FRAME + bytes((size,)) + gif_files.blocks(codes)


def least_file(checker):
    checker.answers('the least', BEGIN + frame_of(even_codes(19)), EVEN)


def damaged_wide_lzw(checker):
    for size in (9, 10, 11):
        name = 'LZW minimum code size %d' % size
        file = BEGIN + frame_of(even_codes(19, size), size)
        checker.answers(name, file, EVEN)
        for length in range(len(BEGIN + FRAME), len(file)):
            checker.rejects('%s, cut after %d of %d bytes' % (name, length, len(file)),
                            file[:length])
        few = even_codes(18, size)
        late = gif_files.lzw([5] * 400 + [256] + [5] * 74, size)
        for damage, codes in {'a row too few': few, 'a row too few, without an end code': few[:-2],
                              'codes that mean nothing': b'\xff' * 600,
                              'an index of 9 bits': late}.items():
            checker.rejects('%s, %s' % (name, damage), BEGIN + frame_of(codes, size))


def damaged_frames(checker):
    checker.answers('more data than pixels', BEGIN + frame_of(even_codes(30)), EVEN)
    enough, few = frame_of(even_codes(19)), even_codes(18)
    for name, data in {
            'a row too few': frame_of(few),
            'a row too few, without an end code': frame_of(few[:-1]),
            'no data': FRAME + b'\6\0',
            'codes that are too wide': frame_of(even_codes(19), 12),
            'codes that mean nothing': frame_of(b'\xff' * 600),
            'no frame': TRAILER,
            'no frame and no end': b'',
            'an unknown block': b'?' + enough,
    }.items():
        checker.rejects(name, BEGIN + data)
    checker.rejects('an unknown version', BEGIN.replace(b'89a', b'90a') + enough)


def even_file(canvas, frame, colours=((10, 20, 30), (200, 100, 50)), interlaced=False):
    """A frame of the second colour at the canvas's corner."""
    data = gif_files.even_lzw(frame[0] * frame[1], 2, 1)
    return (screen(*canvas, colours) + descriptor(0, 0, *frame, None, interlaced) + b'\2' +
            gif_files.blocks(data))


def sizes(checker):
    colour = premultiplied(200, 100, 50, 255)
    wide = '%s 60000 1000\n' % uniform_digest(60000, 1000, colour * 60000)
    checker.answers_within_memory('60000x1000 is exactly the budget',
                                  even_file((60000, 1000), (60000, 1000)), wide, 16)
    checker.answers('the same, interlaced',
                    even_file((60000, 1000), (60000, 1000), interlaced=True), wide)
    checker.answers_within_memory(
        'a large canvas around a small frame', even_file((7500, 8000), (7500, 1)),
        '%s 7500 8000\n' % first_row_digest(7500, 8000, colour * 7500), 16)
    for canvas, frame in (((65535, 65535), (1, 1)), ((60001, 1000), (1, 1)), ((8000, 8000), (9, 9)),
                          ((0, 5), (1, 1)), ((5, 0), (1, 1)), ((0, 0), (3, 3)), ((5, 5), (0, 5)),
                          ((5, 5), (5, 0)), ((5, 5), (0, 0))):
        checker.rejects('a canvas of %dx%d with a frame of %dx%d' % (*canvas, *frame),
                        even_file(canvas, frame))
    checker.rejects_within('a frame far beyond the budget on a small canvas',
                           even_file((5, 65535), (65535, 65535)), 2)


def first_row_digest(width, height, first):
    """The digest of a row of pixels on top of transparent ones."""
    pixels = first.ljust(4 * width * height, b'\0')
    return hashlib.sha256(b'%dx%d:rgba8-srgb:' % (width, height) + pixels).hexdigest()


def bombs(checker):
    colours, rows = colour_map(8), random_rows(12, 7, 8)
    expected = answer(painted(rows, colours))
    begin, frame = screen(12, 7, colours), image(rows)
    small = image([[1]])
    checker.answers_within_memory('a million frames after the first',
                                  [begin, frame, *[small * 10_000] * 100, TRAILER], expected, 16)
    megabyte = (b'\xff' + bytes(255)) * 4096
    checker.answers_within_memory('a comment of a gigabyte',
                                  [begin, b'!\xfe', *[megabyte] * 1024, b'\0', frame], expected, 16)
    checker.answers_within_memory('20 million comments',
                                  [begin, *[comment(b'') * 200_000] * 100, frame], expected, 16)
    checker.answers_within_memory('a gigabyte of data after the last pixel',
                                  [begin, frame[:-1], *[megabyte] * 1024, b'\0'], expected, 16)


CASES = (every_form, interlaced_heights, codes, placed_frames, colour_maps, extensions, animations,
         other_reader, cut_files, least_file, damaged_wide_lzw, damaged_frames, sizes, bombs)
