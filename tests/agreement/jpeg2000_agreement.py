"""Cases of JPEG 2000 files."""

import random
import struct

import tags
from jpeg2000_files import (BARE, BOXED, GREY, INKS, SRGB, YCC, box, codestream, coding, decoded,
                            encoded, named, palette, profiled, raw, tile_parts, with_colour)
from reference import answer, premultiplied, uniform_digest
from samples import Samples, soft

METHODS = {'one tile': (), 'tiles': ('-t', '17,13', '-n', '3'), 'plain colours': ('-mct', '0'),
           'one resolution': ('-n', '1'), 'small blocks': ('-b', '4,4'),
           'by position': ('-p', 'PCRL'), 'markers': ('-SOP', '-EPH'), 'parts': ('-TP', 'R'),
           'lazy': ('-M', '63')}


def without_loss(checker):
    for width, height in ((1, 1), (7, 5), (45, 33)):
        for channels in (1, 2, 3, 4):
            for bits in (8, 16):
                png = soft(width, height, channels, bits)
                for kind in (BOXED, BARE):
                    checker.answers('%s, %d channels of %d bits, %dx%d' %
                                    (kind, channels, bits, width, height),
                                    encoded(png.png(), kind, '-n', '1'), answer(png.pixels()))
    picture = soft(45, 33, 3)
    for name, options in METHODS.items():
        checker.answers(name, encoded(picture.png(), BOXED, *options), answer(picture.pixels()))


def with_loss(checker):
    for channels in (1, 3, 4):
        for options in (('-r', '8'), ('-I', '-r', '10'), ('-q', '30', '-t', '40,40', '-n', '4')):
            picture = encoded(soft(90, 70, channels).png(), BOXED, *options)
            checker.answers('%d channels, %s' % (channels, ' '.join(options)), picture,
                            answer(decoded(picture, BOXED).pixels()))


def depths(checker):
    chance = random.Random(1)
    for bits in range(1, 17):
        for sign, lift in (('u', 0), ('s', 1 << bits - 1)):
            for count in (1, 3):
                planes = [[chance.randrange(1 << bits) for _ in range(20 * 12)]
                          for _ in range(count)]
                data, form = raw([[value - lift for value in plane] for plane in planes],
                                 20, 12, bits, sign)
                pixels = list(zip(*planes))
                expected = Samples([pixels[y * 20:(y + 1) * 20] for y in range(12)], bits)
                checker.answers('%d channels of %d bits, %s' % (count, bits, sign),
                                encoded(data, BOXED, *form, '-n', '1', suffix='.raw'),
                                answer(expected.with_bits(16 if bits > 8 else 8).pixels()))


def luma_pixel(y, blue, red):
    def stored(value):
        return int(min(max(value, 0), 65535) + 0.5)
    y, blue, red = y * 257, blue * 257 - 32896, red * 257 - 32896
    wide = (y + 1.402 * red, y - 0.344136 * blue - 0.714136 * red, y + 1.772 * blue)
    return premultiplied(*((stored(value) + 128) // 257 for value in wide), 255)


def luma(checker):
    chance = random.Random(2)
    for steps, (across, down) in {'1x1:1x1:1x1': (1, 1), '1x1:2x1:2x1': (2, 1),
                                  '1x1:2x2:2x2': (2, 2)}.items():
        width, height = 22, 16
        small = -(-width // across), -(-height // down)
        planes = [[chance.randrange(256) for _ in range(w * h)]
                  for w, h in ((width, height), small, small)]
        data, form = raw(planes, width, height, 8, steps=steps)
        jp2 = encoded(data, BOXED, *form, '-mct', '0', '-n', '1', suffix='.raw')
        rows = [[luma_pixel(planes[0][y * width + x],
                            *(plane[y // down * small[0] + x // across] for plane in planes[1:]))
                 for x in range(width)] for y in range(height)]
        checker.answers('luma and colours, ' + steps, with_colour(jp2, named(YCC)), answer(rows))


def inks(checker):
    chance = random.Random(3)
    planes = [[chance.randrange(256) for _ in range(16 * 10)] for _ in range(4)]
    data, form = raw(planes, 16, 10, 8)
    jp2 = encoded(data, BOXED, *form, '-n', '1', suffix='.raw')
    pixels = [premultiplied(*(((255 - black) * (255 - ink) + 127) // 255
                              for ink in (cyan, magenta, yellow)), 255)
              for cyan, magenta, yellow, black in zip(*planes)]
    checker.answers('inks', with_colour(jp2, named(INKS)),
                    answer([pixels[y * 16:(y + 1) * 16] for y in range(10)]))


def colours(checker):
    picture = soft(30, 20, 3)
    jp2 = encoded(picture.png(), BOXED, '-n', '3')
    expected = answer(picture.pixels())
    checker.answers('a profile of sRGB', with_colour(jp2, profiled(tags.rgb_profile())), expected)
    for space in (14, 24, 99):
        checker.rejects('colour space %d' % space, with_colour(jp2, named(space)))
    chance = random.Random(4)
    entries = [tuple(chance.randrange(256) for _ in range(3)) for _ in range(200)]
    grey = Samples([[(chance.randrange(200),) for _ in range(24)] for _ in range(18)], 8)
    indexed = with_colour(encoded(grey.png(), BOXED, '-n', '3'), named(SRGB), *palette(entries))
    checker.answers('a palette', indexed, answer(
        [[premultiplied(*entries[value], 255) for (value,) in row] for row in grey.rows]))
    checker.answers('grey by name', with_colour(encoded(grey.png(), BOXED, '-n', '3'), named(GREY)),
                    answer(grey.pixels()))


def damage(checker):
    for kind in (BOXED, BARE):
        for options in ((), ('-t', '40,40', '-n', '4'), ('-r', '8')):
            picture = encoded(soft(96, 80, 3).png(), kind, *options)
            steps = range(0, len(picture), max(1, len(picture) // 40))
            for length in (*steps, len(picture) - 2, len(picture) - 1):
                checker.rejects('%s %s cut after %d of %d bytes' %
                                (kind, options, length, len(picture)), picture[:length])


def missing_parts(checker):
    source = soft(48, 40, 3).png()
    for kind in (BOXED, BARE):
        for name, options in {'tiles': ('-t', '16,16', '-n', '3'),
                              'parts of a tile': ('-r', '20,10,5', '-TP', 'R'),
                              'parts of tiles': ('-t', '24,24', '-n', '3', '-TP', 'R')}.items():
            picture = encoded(source, kind, *options)
            parts = tile_parts(picture)
            checker.check('%s are there to be taken away' % name, len(parts) > 1, len(parts))
            checker.answers('all ' + name, picture,
                            answer(decoded(picture, kind).pixels()))
            for begin, end in parts:
                checker.rejects('one of %d %s is missing' % (len(parts), name),
                                picture[:begin] + picture[end:])


def sizes(checker):
    picture = bytearray(encoded(soft(40, 40, 3).png(), BARE))
    for width, height in ((0, 40), (8000, 8000), (60_000_001, 1), (1 << 31, 1)):
        picture[8:16] = struct.pack('>II', width, height)
        checker.rejects('%dx%d is not decoded' % (width, height), bytes(picture))


def bombs(checker):
    picture = soft(40, 40, 3)
    for kind in (BOXED, BARE):
        data = encoded(picture.png(), kind)
        checker.answers_within_memory('%s before 100 MB' % kind, data + bytes(100_000_000),
                                      answer(picture.pixels()), 160)
    jp2 = encoded(picture.png(), BOXED)
    offset = jp2.index(b'jp2c') - 4
    for name, boxes in {'a million boxes': box(b'free', b'') * 1_000_000,
                        'a box longer than any buffer': box(b'free', bytes(20_000_000))}.items():
        checker.answers(name + ' before the picture', jp2[:offset] + boxes + jp2[offset:],
                        answer(picture.pixels()))


def declared_sizes(checker):
    """A hundred bytes can declare what takes gigabytes, and the file is rejected before that."""
    budget = 7500, 8000
    grey = answer([[b'\x80\x80\x80\xff'] * 40] * 30)
    for name, settings in {
            'precincts of 1 x 1': dict(precincts=(1,), data=bytes(300)),
            'precincts of 2 x 2': dict(precincts=(2,), data=bytes(300)),
            'precincts of 8 x 8': dict(precincts=(8,), data=bytes(300)),
            'code blocks of 4 x 4': dict(block=(4, 4), data=bytes(1)),
            '65,535 layers': dict(layers=65_535, data=bytes(65_535)),
            '65,535 layers of few bytes': dict(layers=65_535, data=bytes(100)),
    }.items():
        checker.costs('sixty million pixels with ' + name, codestream(budget, **settings), 64, 1)
        small = codestream((40, 30), **{**settings, 'data': bytes(70_000)})
        checker.costs('the same of a small picture with ' + name, small, 64, 1, grey)
    checker.costs('a row of sixty million pixels', codestream((60_000_000, 1), data=bytes(1)), 64, 1)
    checker.costs('tiles of 32 x 32', codestream(budget, tile=(32, 32), data=bytes(1), tiles=58_750),
                  64, 1)
    checker.costs('tiles of 64 x 64', codestream(
        budget, tile=(64, 64), data=bytes(1), tiles=118 * 125), 1000, 8,
                  '%s 7500 8000\n' % uniform_digest(7500, 8000, b'\x80\x80\x80\xff' * 7500))
    told = coding(precincts=(1,))
    late = codestream(budget, data=bytes(300))
    late = late.replace(b'\xff\x93', told + b'\xff\x93')
    late = late.replace(struct.pack('>I', 314), struct.pack('>I', 314 + len(told)))
    checker.costs('precincts of 1 x 1 that a tile declares', late, 64, 1)


CASES = (without_loss, with_loss, depths, luma, inks, colours, damage, missing_parts, sizes,
         declared_sizes, bombs)
