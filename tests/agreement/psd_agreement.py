"""Cases of PSD and PSB files."""

import subprocess

import other_readers
import tags
from psd_files import (BITS, CMYK, DUOTONE, GREY, INDEXED, LAB, MULTICHANNEL, RGB, Picture,
                       block, layers, layers_after, resource)
from reference import answer, uniform_digest

FORMS = ((BITS, 1), (GREY, 8), (GREY, 16), (INDEXED, 8), (RGB, 8), (RGB, 16), (CMYK, 8), (CMYK, 16),
         (DUOTONE, 8), (DUOTONE, 16))
ICC = 1039


def every_form(checker):
    for mode, depth in FORMS:
        for runs in (False, True):
            for large in (False, True):
                for size in ((1, 1), (7, 5), (16, 3), (300, 4)):
                    picture = Picture(*size, mode, depth)
                    data, rows = picture.file(runs, large), picture.pixels()
                    name = 'mode %d of %d bits%s%s, %dx%d' % (
                        mode, depth, ' in runs' if runs else '', ', large' if large else '', *size)
                    checker.answers(name, data, answer(rows))
                    # Pillow has no large documents and no 16 bits, and takes single bits for
                    # light, where the format counts ink.
                    if not large and depth == 8 and mode != CMYK:
                        checker.check(name + ', to Pillow', other_readers.pillow(data) == rows)
                    # ImageMagick rejects palettes, and has inks of its own.
                    if size == (7, 5) and depth < 16 and mode in (BITS, GREY, RGB):
                        checker.check(name + ', to ImageMagick',
                                      other_readers.imagemagick(data, 'psd') == rows)
                    checker.answers(name + ', more channels',
                                    Picture(*size, mode, depth, 2).file(runs, large),
                                    answer(Picture(*size, mode, depth, 2).pixels()))


def alpha(checker):
    for mode in (GREY, RGB, CMYK):
        for depth in (8, 16):
            for large in (False, True):
                picture = Picture(40, 9, mode, depth, 1)
                picture.blended()
                clear, opaque = answer(picture.pixels(True)), answer(picture.pixels())
                name = ', mode %d of %d bits%s' % (mode, depth, ', large' if large else '')

                def shows(what, expected, section):
                    checker.answers(what + name, picture.file(True, large, layers=section),
                                    expected)

                shows('alpha of the layers', clear, layers(-1, large))
                shows('layers without alpha', opaque, layers(1, large))
                shows('layers and a long body', clear, layers(-3, large, bytes(999_999)))
                shows('an empty section', opaque, b'')
                shows('a section of zeros', opaque, bytes(12))
                shows('layers in a block', clear, layers_after(
                    block(b'Patt', bytes(99)) + block(b'Lr16', b'\xff\xff' + bytes(50), large),
                    large))
                shows('layers without alpha in a block', opaque, layers_after(
                    block(b'Lr16', b'\0\1' + bytes(50), large), large))
                shows('a block that says so', clear, layers_after(
                    block(b'Mt16', b'', large), large))
                shows('a block beyond its section', opaque, layers_after(
                    b'8BIMPatt\xff\xff\xff\xff' + bytes(20), large))
                shows('blocks that are none', opaque, layers_after(bytes(200), large))
    seen = Picture(40, 9, RGB, 8, 1)
    seen.planes[3] = [0, 255] * 180
    seen.blended()
    data = seen.file(layers=layers(-1))
    checker.check('alpha to ImageMagick',
                  other_readers.imagemagick(data, 'psd') == seen.pixels(True))
    checker.answers('no channel for the alpha', Picture(9, 9, RGB, 8).file(layers=layers(-1)),
                    answer(Picture(9, 9, RGB, 8).pixels()))


def colours(checker):
    other = {GREY: tags.grey_profile(tags.gamma_curve(1.8)),
             RGB: tags.rgb_profile(tags.gamma_curve(1.8))}
    srgb = {GREY: tags.grey_profile(tags.SRGB_CURVE), RGB: tags.rgb_profile()}
    around = resource(1005, bytes(17), b'resolution') + resource(1033, bytes(100_001), b'odd')
    for mode in (GREY, RGB):
        picture = Picture(9, 6, mode, 8)
        expected = answer(picture.pixels())
        name = ', mode %d' % mode
        checker.answers('a profile of sRGB' + name, picture.file(
            resources=around + resource(ICC, srgb[mode]) + around), expected)
        checker.answers_otherwise('another profile' + name, picture.file(
            resources=around + resource(ICC, other[mode]) + around), expected)
        checker.answers('a profile of zeros is as none' + name,
                        picture.file(resources=resource(ICC, bytes(501))), expected)
        checker.answers_within_memory('a profile of 20 MB is as none' + name, picture.file(
            resources=resource(ICC, other[mode] + bytes(20_000_000))), expected, 16)
        checker.answers('a resource beyond its section' + name, picture.file(
            resources=resource(ICC, other[mode])[:-99]), expected)
        checker.answers('resources that are none' + name, picture.file(resources=bytes(99)),
                        expected)
        checker.answers('a resource cut short' + name, picture.file(resources=around[:7]), expected)


def streamed(checker, head, count, tail):
    """The program's output when `count` MiB of zeros stand between head and tail."""
    process = subprocess.Popen((checker.program, '60'), stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, env={})
    process.stdin.write(head)
    for _ in range(count):
        process.stdin.write(bytes(1 << 20))
    process.stdin.write(tail)
    process.stdin.close()
    output = process.stdout.read().decode()
    process.wait()
    process.stdout.close()
    return output


def damage(checker):
    for mode, depth in FORMS:
        for runs in (False, True):
            whole = Picture(9, 4, mode, depth).file(runs)
            for length in range(0, len(whole), 1 + len(whole) // 40):
                checker.rejects('cut after %d of %d bytes, mode %d of %d bits%s' % (
                    length, len(whole), mode, depth, ' in runs' if runs else ''), whole[:length])
    picture = Picture(9, 4, RGB, 8)
    for mode, depth in ((BITS, 8), (INDEXED, 16), (RGB, 1), (RGB, 32), (LAB, 8), (MULTICHANNEL, 8)):
        checker.rejects('mode %d of %d bits' % (mode, depth), Picture(4, 4, mode, depth).file()
                        if depth < 32 else picture.file().replace(b'\0\x08\0\3', b'\0\x20\0\3'))
    checker.rejects('too few channels', picture.file().replace(b'\0\3\0\0\0\4', b'\0\2\0\0\0\4'))
    checker.rejects('a compression that is not read', picture.file(data=b'\0\2' + bytes(999)))
    checker.rejects('a short palette', Picture(4, 4, INDEXED, 8).file(table=bytes(767)))


def run_lengths(checker):
    checker.rejects('a run beyond its row', Picture(4, 1, GREY, 8).file(
        data=b'\0\1\0\2' + b'\xf0\1'))
    one = Picture(4, 1, GREY, 8)
    one.planes = [[9] * 4]
    checker.answers('a run to the end of its row', one.file(data=b'\0\1\0\2' + b'\xfd\x09'),
                    answer(one.pixels()))
    checker.answers('many empty runs', one.file(
        data=b'\0\1\0\2' + b'\x80' * 1_000_000 + b'\xfd\x09'), answer(one.pixels()))
    checker.answers('more after it', one.file() + bytes(300_000), answer(one.pixels()))


def sizes(checker):
    one = Picture(4, 1, GREY, 8)
    for width, height in ((0, 5), (5, 0), (8000, 8000), (2**32 - 1, 2**32 - 1), (60_000_001, 1)):
        one.width, one.height = width, height
        checker.rejects('%dx%d' % (width, height), one.file(data=b'\0\0' + bytes(999)))
    one.width, one.height = 60_000_000, 1
    checker.answers('60000000x1 is within the budget', one.file(
        data=b'\0\0' + b'\7' * 60_000_000),
                    '%s 60000000 1\n' % uniform_digest(60_000_000, 1, b'\7\7\7\xff' * 60_000_000))


def sizes_of_layers(checker):
    small = Picture(9, 4, RGB, 8, 1)
    whole = small.file(large=True, layers=layers(2, True))
    offset = whole.index(layers(2, True)) - 8
    for claimed in (2**40, 2**63, 2**64 - 1):
        checker.rejects('layers of %d bytes' % claimed, whole[:offset] + claimed.to_bytes(8, 'big') +
                        whole[offset + 8:])
    gigabytes = 2 << 30
    head = whole[:offset] + (gigabytes + 20).to_bytes(8, 'big') + gigabytes.to_bytes(8, 'big')
    tail = bytes(12) + small.data(False, True)
    output = streamed(checker, head, gigabytes >> 20, tail)
    checker.check('layers of 2 GiB', output == answer(small.pixels()), output)


CASES = (every_form, alpha, colours, damage, run_lengths, sizes, sizes_of_layers)
