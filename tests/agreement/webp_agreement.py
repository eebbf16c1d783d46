"""Cases of WebP files."""

import hashlib
import io
import pathlib
import random
import struct
import subprocess

from PIL import Image

import tags
import webp_files
from colour_spaces import ADOBE
from reference import answer, on_canvas, premultiplied, uniform_digest
from webp_files import (ALPHA, ANIMATION, EXIF, ICC, alpha_chunk, animation, chunk, decoded,
                        encoded, even, finished, frame, header, lossless, pam, pixel_chunks, riff)

CLEAR = bytes(4)
RED = (200, 100, 50)
SEEDS = pathlib.Path(__file__).parents[1] / 'fuzz/seeds/webp'


def noise(width, height, colours=0, alphas=(255,), seed=0):
    """Random pixels, of so many colours if a number is given."""
    chance = random.Random('%s' % ((width, height, colours, alphas, seed),))
    choice = [chance.randbytes(3) + bytes((chance.choice(alphas),)) for _ in range(colours)]

    def pixel():
        if colours:
            return chance.choice(choice)
        return chance.randbytes(3) + bytes((chance.choice(alphas),))
    return [[pixel() for _ in range(width)] for _ in range(height)]


def soft(width, height, alpha=False, seed=0):
    """Soft colours with some hard edges, and soft alpha."""
    chance = random.Random('%s' % ((width, height, alpha, seed),))

    def pixel(x, y):
        edge = 90 if (x // 5 + y // 7) % 2 else 0
        return bytes((x * 9 + edge + c * 40 + y * (3 + c) + chance.randint(0, 9)) & 255
                     for c in range(3)) + bytes(((x * 5 + y * 7) & 255 if alpha else 255,))
    return [[pixel(x, y) for x in range(width)] for y in range(height)]


def lossless_forms(checker):
    pictures = {'%d colours' % n: lambda *size, n=n: noise(*size, n)
                for n in (1, 2, 3, 4, 5, 16, 17, 200)}
    pictures['noise'] = noise
    pictures['soft colours'] = soft
    pictures['noise with alpha'] = lambda *size: noise(*size, 0, tuple(range(256)))
    pictures['few colours with alpha'] = lambda *size: noise(*size, 9, (0, 1, 128, 255))
    pictures['soft colours with alpha'] = lambda *size: soft(*size, True)
    for name, make in pictures.items():
        for size in ((1, 1), (1, 7), (9, 1), (8, 8), (33, 21), (70, 65)):
            for level in {33: ('0', '6', '9'), 70: ('3', '6')}.get(size[0], ('5',)):
                rows = make(*size)
                checker.answers('lossless, %s, %dx%d, level %s' % (name, *size, level),
                                lossless(rows, '-z', level), answer(finished(rows)))


METHODS = {'plain': (), 'hasty': ('-m', '0'), 'careful': ('-m', '6'), 'coarse': ('-q', '0'),
           'fine': ('-q', '100'), 'one segment': ('-segments', '1'),
           'limited partition': ('-partition_limit', '50', '-low_memory'),
           'sharp filter': ('-f', '100', '-sharpness', '7', '-strong'),
           'simple filter': ('-nostrong', '-f', '60'), 'no filter': ('-f', '0'),
           'sharp colours': ('-sharp_yuv',), 'like a JPEG': ('-jpeg_like',)}


def lossy_forms(checker):
    for size in ((1, 1), (2, 3), (7, 5), (16, 16), (17, 33), (45, 70), (130, 47)):
        for alpha in (False, True):
            picture = pam(soft(*size, alpha))
            for method, options in METHODS.items():
                webp = encoded(picture, *options)
                checker.answers('lossy, %s, %dx%d, alpha %s' % (method, *size, alpha), webp,
                                answer(decoded(webp)))


def other_readers(checker):
    """The standard tool's own decoder, and a file that the tool cannot make."""
    webp = (SEEDS / 'lossy-eight-partitions').read_bytes()
    checker.answers('eight partitions', webp, answer(decoded(webp)))
    for alpha in (False, True):
        webp = encoded(pam(soft(61, 44, alpha)), '-q', '60')
        made = subprocess.run(('dwebp', '-quiet', '-pam', '-o', '-', '--', '-'), input=webp,
                              stdout=subprocess.PIPE, check=True).stdout.split(b'ENDHDR\n', 1)[1]
        step = len(made) // (61 * 44)
        pixels = [made[i:i + 4] if step == 4 else made[i:i + 3] + b'\xff'
                  for i in range(0, len(made), step)]
        checker.answers('as dwebp reads it, alpha %s' % alpha, webp, answer(finished(
            [pixels[i:i + 61] for i in range(0, len(pixels), 61)])))


def alpha_forms(checker):
    for size in ((1, 1), (1, 5), (5, 1), (16, 16), (23, 17)):
        colours = encoded(pam(soft(*size)))
        straight = webp_files.straight(colours)
        for plane_name, plane in {
                'soft': [[(x * 11 + y * 5) & 255 for x in range(size[0])] for y in range(size[1])],
                'noise': [[p[0] for p in row] for row in noise(*size)],
                'two values': [[255 * (p[0] & 1) for p in row] for row in noise(*size)],
                'none': [[255] * size[0]] * size[1],
        }.items():
            rows = [[pixel[:3] + bytes((value,)) for pixel, value in zip(*both)]
                    for both in zip(straight, plane)]
            for kind in range(4):
                for compressed in (False, True):
                    webp = riff(header(ALPHA, *size), alpha_chunk(plane, kind, compressed),
                                pixel_chunks(colours))
                    checker.answers('alpha of %s, filter %d, compressed %s, %dx%d' % (
                        plane_name, kind, compressed, *size), webp, answer(finished(rows)))
    for quality in ('0', '50', '100'):
        for kind in ('none', 'fast', 'best'):
            webp = encoded(pam(soft(50, 40, True)), '-alpha_q', quality, '-alpha_filter', kind)
            checker.answers('alpha of quality %s, filter %s' % (quality, kind), webp,
                            answer(decoded(webp)))


def orientations(checker):
    rows = soft(21, 12, True)
    clear = frame(4, 2, 9, 6, even(9, 6, *RED, 255))
    forms = {
        'lossless': (pixel_chunks(lossless(rows)), finished(rows)),
        'lossy': (pixel_chunks(encoded(pam(rows))), decoded(encoded(pam(rows)))),
        'animation': (animation() + clear, on_canvas(
            [[premultiplied(*RED, 255)] * 9] * 6, 21, 12, 4, 2)),
    }
    for name, (pixels, expected) in forms.items():
        flags = EXIF | ANIMATION * (name == 'animation')
        for orientation in range(1, 9):
            for order in '<>':
                for prefix in (b'', b'Exif\0\0'):
                    exif = chunk(b'EXIF', prefix + tags.exif(orientation, order))
                    before = header(flags, 21, 12)
                    called = '%s of orientation %d %s%s, Exif ' % (
                        name, orientation, order, ' after its name' if prefix else '')
                    checker.answers(called + 'after the pixels', riff(before, pixels, exif),
                                    answer(expected, orientation))
                    checker.answers(called + 'before the pixels', riff(before, exif, pixels),
                                    answer(expected, orientation))


def exif_oddities(checker):
    rows = soft(21, 12)
    pixels, expected = pixel_chunks(lossless(rows)), finished(rows)
    six, three = (chunk(b'EXIF', tags.exif(orientation)) for orientation in (6, 3))
    extended = header(EXIF, 21, 12)

    def answers(name, webp, orientation=1):
        checker.answers(name, webp, answer(expected, orientation))

    answers('Exif that is not announced', riff(header(0, 21, 12), pixels, six))
    answers('Exif of a file without a header', riff(pixels, six))
    answers('Exif that is announced and never comes', riff(extended, pixels))
    for kind in (tags.BYTE, tags.LONG):
        answers('orientation of type %d' % kind,
                riff(extended, chunk(b'EXIF', tags.exif(6, kind=kind)), pixels), 6)
    answers('the first Exif counts', riff(extended, pixels, six, three), 6)
    answers('the first Exif counts, even when it says nothing',
            riff(extended, chunk(b'EXIF', b'nothing'), pixels, six))
    answers('Exif after other chunks', riff(extended, pixels, chunk(b'XMP ', b'<x/>'),
                                             chunk(b'what', bytes(99999)), six), 6)
    answers('Exif of an odd length, unpadded at the end',
            riff(extended, pixels, chunk(b'EXIF', tags.exif(6) + b'?'))[:-1], 6)
    answers('Exif after the end of the container', riff(extended, pixels) + six)
    large = riff(extended, pixels, chunk(b'EXIF', tags.exif(8) + bytes(100_000_000)))
    checker.answers_within_memory('Exif of 100 MB', large, answer(expected, 8), 32)
    whole = riff(extended, pixels, six)
    for length in range(len(whole) - len(six), len(whole), 5):
        checker.rejects('cut before announced Exif has come, at %d' % length, whole[:length])


def colours(checker):
    rows = soft(21, 12)
    pixels = pixel_chunks(lossless(rows))
    expected = answer(finished(rows))
    same = chunk(b'ICCP', tags.rgb_profile())
    other = chunk(b'ICCP', tags.rgb_profile(tags.gamma_curve(1.8)))
    tagged = header(ICC, 21, 12)
    for name, webp in {
            'a profile of sRGB': riff(tagged, same, pixels),
            'the first profile counts': riff(tagged, same, other, pixels),
            'a profile that is not announced': riff(header(0, 21, 12), other, pixels),
            'a profile of a file without a header': riff(other, pixels),
            'a profile after the pixels': riff(tagged, pixels, other),
            'a profile that never comes': riff(tagged, pixels),
            'a profile of zeros': riff(tagged, chunk(b'ICCP', bytes(500)), pixels),
            'an empty profile': riff(tagged, chunk(b'ICCP'), pixels),
            'a profile for other channels':
                riff(tagged, chunk(b'ICCP', tags.grey_profile(tags.gamma_curve(1.8))), pixels),
    }.items():
        checker.answers(name, webp, expected)
    known = ADOBE.colours(21 * 12, 255)
    in_adobe = [[bytes(device) + b'\xff' for device, _ in known]]
    looks = [[premultiplied(*colour, 255) for _, colour in known]]
    checker.answers('another profile',
                    riff(header(ICC, 21 * 12, 1), chunk(b'ICCP', ADOBE.profile),
                         pixel_chunks(lossless(in_adobe))), answer(looks))
    checker.rejects('a profile that is cut', riff(tagged, other)[:-20])


def animations(checker):
    rows = soft(13, 9, True)
    forms = {'lossless': lossless(rows), 'lossy': encoded(pam(rows)),
             'lossy and opaque': encoded(pam(soft(13, 9)))}
    other = frame(0, 0, 30, 20, even(30, 20, 1, 2, 3, 255))
    begin = header(ANIMATION | ALPHA, 30, 20) + animation()
    for name, webp in forms.items():
        pixels, expected = pixel_chunks(webp), decoded(webp)
        for x, y in ((0, 0), (2, 4), (16, 10), (18, 12), (28, 18), (30, 0), (0, 20),
                     (33554430, 33554430)):
            for flags in (0, 1, 2, 3):
                checker.answers('%s frame at %d,%d, flags %d' % (name, x, y, flags),
                                riff(begin, frame(x, y, 13, 9, pixels, flags), other * 3),
                                answer(on_canvas(expected, 30, 20, x, y)))
        checker.answers('unknown chunks around and in a %s frame' % name, riff(
            begin, chunk(b'what', b'ever'), frame(2, 4, 13, 9, chunk(b'odd ', b'odd') + pixels +
                                                  chunk(b'more', bytes(99))), other),
            answer(on_canvas(expected, 30, 20, 2, 4)))
    whole = riff(begin, frame(2, 4, 13, 9, pixels), other, other)
    after = len(begin) + 12 + len(frame(2, 4, 13, 9, pixels))
    for length in range(after, len(whole), 17):
        checker.answers('cut after the first frame, at %d' % length, whole[:length],
                        answer(on_canvas(expected, 30, 20, 2, 4)))
    for name, first in {'no pixels': b'', 'chunks without pixels': chunk(b'what', b'ever'),
                        'alpha alone': chunk(b'ALPH', bytes(200))}.items():
        checker.rejects('a first frame of ' + name, riff(begin, frame(0, 0, 13, 9, first), other))
    checker.rejects('a frame of another size than its pixels',
                    riff(begin, frame(0, 0, 13, 10, pixels)))
    checker.rejects('frames without a header', riff(animation(), frame(0, 0, 13, 9, pixels)))


def containers(checker):
    rows = soft(13, 9, True)
    lossy = encoded(pam(rows))
    pixels, expected = pixel_chunks(lossy), answer(decoded(lossy))
    plain = dict(webp_files.chunks(encoded(pam(soft(13, 9)))))[b'VP8 ']
    opaque = answer(decoded(riff(plain)))
    alpha = dict(webp_files.chunks(lossy))[b'ALPH']
    extended = header(ALPHA, 13, 9)
    unknown = chunk(b'what', b'odd')
    for name, webp, told in (
            ('alpha whose flag is not set', riff(header(0, 13, 9), pixels), expected),
            ('alpha announced that never comes', riff(extended, plain), opaque),
            ('unknown chunks', riff(extended, unknown, pixels, unknown), expected),
            ('unknown chunks between alpha and colours',
             riff(extended, pixels.replace(alpha, alpha + unknown)), expected),
            ('unknown chunks of a file without a header', riff(unknown, plain), opaque),
            ('alpha of a file without a header', riff(alpha, plain), opaque),
            ('two pictures', riff(extended, pixels, plain), expected),
            ('a longer header', riff(chunk(b'VP8X', extended[8:] + b'more'), pixels), expected),
            ('an unpadded end', riff(unknown, even(1, 1, *RED, 255))[:-1]
             if len(even(1, 1, *RED, 255)) % 2 else riff(even(1, 1, *RED, 255)),
             answer([[premultiplied(*RED, 255)]])),
            ('what follows the container', riff(plain) + b'garbage' * 50000, opaque)):
        checker.answers(name, webp, told)
    for name, webp in {
            'a canvas that is wider than the picture': riff(header(0, 14, 9), plain),
            'a canvas that is lower than the picture': riff(header(0, 13, 8), plain),
            'no picture': riff(extended),
            'nothing': riff(),
            'alpha alone': riff(extended, alpha),
            'a header that is too short': riff(chunk(b'VP8X', extended[8:17]), plain),
            'a container that ends before the picture':
                riff(plain)[:4] + struct.pack('<I', len(plain)) + riff(plain)[8:],
            'a container without a size': riff(plain)[:4] + bytes(4) + riff(plain)[8:],
            'an unknown kind of pixels': riff(b'VP8Z' + plain[4:]),
            'alpha of an unknown compression': riff(extended, b'ALPH' + alpha[4:8] + b'\2' +
                                                    alpha[9:], plain),
    }.items():
        checker.rejects(name, webp)


def damage(checker):
    for name, webp in {'lossless': lossless(soft(31, 27, True)),
                       'lossy': encoded(pam(soft(31, 27))),
                       'lossy with alpha': encoded(pam(soft(31, 27, True)))}.items():
        checker.answers(name + ', whole', webp, answer(decoded(webp)))
        for length in list(range(0, len(webp), 29)) + list(range(len(webp) - 6, len(webp) - 1)):
            checker.rejects('%s, cut after %d of %d bytes' % (name, length, len(webp)),
                            webp[:length])
        # The same with sizes that agree with what is left.
        for length in range(40, len(pixel_chunks(webp)) - 12, 41):
            kept = pixel_chunks(webp)[:length]
            if kept[:4] == b'ALPH':
                continue
            checker.rejects('%s, %d bytes of its pixels' % (name, length),
                            riff(chunk(kept[:4], kept[8:])))


def sizes(checker):
    colour = premultiplied(*RED, 255)
    for width, height in ((7500, 8000), (16383, 3662)):
        expected = '%s %d %d\n' % (uniform_digest(width, height, colour * width), width, height)
        checker.answers('%dx%d is within the budget' % (width, height),
                        riff(even(width, height, *RED, 255)), expected)
    turned = riff(header(EXIF, 8000, 7500), even(8000, 7500, *RED, 77),
                  chunk(b'EXIF', tags.exif(6)))
    checker.answers('exactly the budget, turned', turned, '%s 8000 7500\n' % uniform_digest(
        7500, 8000, premultiplied(*RED, 77) * 7500))
    for width, height in ((8000, 8000), (16383, 16383), (16383, 3663)):
        checker.rejects('%dx%d is not decoded' % (width, height),
                        riff(even(width, height, *RED, 255)))
    small = frame(0, 0, 9, 6, even(9, 6, *RED, 255))
    for width, height in ((1 << 24, 1 << 24), (1 << 24, 4), (60_001, 1000), (8000, 8000)):
        checker.rejects('a canvas of %dx%d' % (width, height),
                        riff(header(ANIMATION, width, height), animation(), small))
    for width, height in ((60_000, 1000), (15_000_000, 4), (4, 15_000)):
        covered = min(9, width) * colour
        checker.answers('a canvas of %dx%d' % (width, height),
                        riff(header(ANIMATION, width, height), animation(),
                             frame(0, 0, 9, 1, even(9, 1, *RED, 255))),
                        first_row_answer(width, height, covered))
    large = riff(header(ANIMATION, 9, 9), animation(), frame(0, 0, 16383, 16383,
                                                             even(16383, 16383, *RED, 255)))
    checker.rejects('a frame beyond the budget on a small canvas', large)


def first_row_answer(width, height, covered):
    """The answer for pixels at the beginning of the first row of a transparent canvas."""
    return '%s %d %d\n' % (digest_of(width, height, covered.ljust(4 * width * height, b'\0')), width,
                           height)


def digest_of(width, height, pixels):
    return hashlib.sha256(b'%dx%d:rgba8-srgb:' % (width, height) + pixels).hexdigest()


def large_pictures(checker):
    line = bytes(x * y & 255 for x in range(4000) for y in (1, 3, 7))
    webp = encoded(b'P6\n4000 1500\n255\n' + line * 1500, '-m', '0', '-q', '30')
    with Image.open(io.BytesIO(webp)) as picture:
        pixels = picture.convert('RGBA').tobytes()
    expected = '%s 4000 1500\n' % digest_of(4000, 1500, pixels)
    checker.answers_within_memory('a large lossy picture', webp, expected, 16)


def bombs(checker):
    rows = soft(13, 9, True)
    webp = lossless(rows)
    pixels, expected = pixel_chunks(webp), answer(finished(rows))
    megabyte = bytes(1 << 20)

    def streamed(name, told, flags, *parts):
        size = 4 + sum(len(part) for part in parts) + 18
        checker.answers_within_memory(
            name, [b'RIFF' + struct.pack('<I', size) + b'WEBP', header(flags, 13, 9), *parts],
            told, 16)

    gigabyte = [b'what' + struct.pack('<I', 1 << 30), *[megabyte] * 1024]
    streamed('a gigabyte before the picture', expected, 0, *gigabyte, pixels)
    streamed('a gigabyte after the picture', expected, 0, pixels, *gigabyte)
    exif = chunk(b'EXIF', tags.exif(8))
    streamed('a gigabyte before the Exif data', answer(finished(rows), 8), EXIF, pixels, *gigabyte,
           exif)
    streamed('millions of chunks', answer(finished(rows), 8), EXIF,
           *[chunk(b'what') * 100_000] * 50, pixels, *[chunk(b'what') * 100_000] * 50, exif)
    frames = frame(0, 0, 1, 1, even(1, 1, *RED, 255)) * 10_000
    streamed('a million frames after the first', answer(finished(rows), 8),
           ANIMATION | EXIF, frame(0, 0, 13, 9, pixels), *[frames] * 100, exif)
    profile = [b'ICCP' + struct.pack('<I', 200 << 20), *[megabyte] * 200]
    streamed('a profile of 200 MB', expected, ICC, *profile, pixels)
    longer = pixels[:4] + struct.pack('<I', len(pixels) - 8 + (200 << 20)) + pixels[8:]
    checker.answers_within_memory(
        'pixels with 200 MB after the last one',
        [b'RIFF' + struct.pack('<I', len(longer) + (200 << 20) + 4) + b'WEBP', longer,
         *[megabyte] * 200], expected, 64)


def many_tables(checker):
    webp = riff(webp_files.many_codes(1024, 1024))
    checker.costs('65,536 groups of codes', webp, 420, 4,
                  '%s 1024 1024\n' % uniform_digest(1024, 1024, bytes(4096)))


CASES = (lossless_forms, lossy_forms, other_readers, alpha_forms, orientations, exif_oddities,
         colours, animations, containers, damage, sizes, large_pictures, many_tables, bombs)
