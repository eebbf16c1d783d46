"""Cases of PNG files."""

import struct
import zlib

import png_files
import tags
from png_files import GREY, GREY_ALPHA, PALETTE, RGB, RGBA, Picture, chunk
from reference import answer, premultiplied, uniform_digest

SRGB_CHROMATICITIES = (31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000)
TEXT = chunk(b'tEXt', b'Comment\0made by hand')


def icc_chunk(profile):
    return chunk(b'iCCP', b'a profile\0\0' + zlib.compress(profile))


def gamma_chunk(gamma):
    return chunk(b'gAMA', struct.pack('>I', gamma))


def chromaticities_chunk(values):
    return chunk(b'cHRM', struct.pack('>8I', *values))


def every_form(checker):
    for colour_type, depths in png_files.DEPTHS.items():
        for depth in depths:
            for transparent in (False, True):
                if transparent and colour_type in (GREY_ALPHA, RGBA):
                    continue
                for interlaced in (False, True):
                    for size in ((1, 1), (1, 9), (9, 1), (3, 5), (13, 11), (33, 17)):
                        picture = Picture(*size, colour_type, depth, transparent)
                        name = 'colour type %d, depth %d%s%s, %dx%d' % (
                            colour_type, depth, ', tRNS' if transparent else '',
                            ', interlaced' if interlaced else '', *size)
                        checker.answers(name, picture.file(interlaced), answer(picture.pixels()))


def interlaced_sizes(checker):
    for width in range(1, 10):
        for height in range(1, 10):
            for colour_type, depth in ((RGBA, 8), (GREY, 1)):
                picture = Picture(width, height, colour_type, depth)
                checker.answers('interlaced passes of %dx%d, colour type %d' %
                                (width, height, colour_type), picture.file(True),
                                answer(picture.pixels()))


def wide_rows(checker):
    for colour_type, depth in ((RGB, 8), (RGBA, 16), (PALETTE, 2)):
        for orientation in (1, 2, 3, 6):
            picture = Picture(3001, 3, colour_type, depth)
            checker.answers('a row longer than a block, colour type %d, orientation %d' %
                            (colour_type, orientation),
                            picture.file(before=chunk(b'eXIf', tags.exif(orientation)), pieces=7),
                            answer(picture.pixels(), orientation))


def sixteen_bits(checker):
    values = [0, 1, 127, 128, 129, 256, 257, 32767, 32768, 65278, 65407, 65408, 65534, 65535]
    values += [257 * v + d for v in (1, 64, 127, 200, 254) for d in (-129, -128, 128, 129)]
    picture = Picture(len(values), 1, GREY, 16)
    picture.rows = [[(value,) for value in values]]
    checker.answers('16 bits are rounded to the nearest of 8', picture.file(),
                    answer(picture.pixels()))
    picture = Picture(256, 256, GREY_ALPHA, 8)
    picture.rows = [[(value, alpha) for value in range(256)] for alpha in range(256)]
    checker.answers('every value is multiplied by every alpha', picture.file(),
                    answer(picture.pixels()))


def known_pixels(checker):
    red = Picture(1, 1, RGB, 8)
    red.rows = [[(255, 0, 0)]]
    checker.answers('one red pixel is FF 00 00 FF', red.file(), answer([[b'\xff\0\0\xff']]))
    clear = Picture(2, 1, RGBA, 8)
    clear.rows = [[(9, 200, 77, 0), (255, 255, 255, 0)]]
    checker.answers('a transparent pixel is four zero bytes', clear.file(),
                    answer([[bytes(4), bytes(4)]]))


def other_chunks(checker):
    picture = Picture(12, 7, RGB, 8, seed=3)
    expected = answer(picture.pixels())
    checker.answers('a text chunk before the pixels changes nothing', picture.file(before=TEXT),
                    expected)
    checker.answers('a text chunk after the pixels changes nothing', picture.file(after=TEXT),
                    expected)
    checker.answers('what follows the end changes nothing', picture.file() + b'garbage' * 50000,
                    expected)
    checker.answers('pixels in many small chunks', picture.file(pieces=50), expected)
    big = chunk(b'tEXt', b'Comment\0' + bytes(30_000_000))
    checker.answers_within_memory('a text of 30 MB is skipped', picture.file(before=big),
                                  expected, 16)
    whole = picture.file()
    begin = whole.index(b'IDAT') - 4
    huge = chunk(b'tEXt', b'Comment\0' + bytes(64 << 20))
    checker.answers_within_memory('texts of 1 GiB are skipped',
                                  [whole[:begin], *[huge] * 16, whole[begin:]], expected, 16)
    many = chunk(b'eXIf', bytes(100_000)) * 500
    checker.answers_within_memory('a chunk that is repeated 500 times fills no memory',
                                  picture.file(before=chunk(b'eXIf', tags.exif(1)) + many),
                                  expected, 16)
    animated = (chunk(b'acTL', struct.pack('>II', 2, 0)) +
                chunk(b'fcTL', struct.pack('>IIIIIHHBB', 0, 12, 7, 0, 0, 1, 10, 0, 0)))
    frame = (chunk(b'fcTL', struct.pack('>IIIIIHHBB', 1, 12, 7, 0, 0, 1, 10, 0, 0)) +
             chunk(b'fdAT', struct.pack('>I', 2) + zlib.compress(bytes(7 * 37))))
    checker.answers('of an animated picture the default image counts',
                    picture.file(before=animated, after=frame), expected)


def profile_chunks(grey):
    """Names and chunks with a profile, and whether they mean sRGB."""
    own, foreign = ((tags.grey_profile, tags.rgb_profile) if grey else
                    (tags.rgb_profile, tags.grey_profile))
    plain = tags.gamma_curve(2.2)
    other = own(plain)
    return (
        ('a profile with the sRGB curve by formula', icc_chunk(own(tags.SRGB_CURVE)), True),
        ('a profile with the sRGB curve of 1024 samples',
         icc_chunk(own(tags.sampled_curve(tags.srgb_light, 1024))), True),
        ('a profile of gamma 2.2 is not sRGB', icc_chunk(other), False),
        ('a profile goes before the sRGB chunk', chunk(b'sRGB', b'\0') + icc_chunk(other), False),
        ('a profile for other channels is as none', icc_chunk(foreign(plain)), True),
        ('a profile of zeros is as none', icc_chunk(struct.pack('>I', 500) + bytes(496)), True),
        ('a profile that does not inflate is as none',
         chunk(b'iCCP', b'a profile\0\0' + zlib.compress(other)[:40]), True),
        ('a profile whose chunk fails its checksum is as none', icc_chunk(other)[:-1] + b'?', True),
    )


# Names and chunks without a profile, and whether they mean sRGB.
COLOUR_CHUNKS = (
    ('the sRGB chunk', chunk(b'sRGB', b'\0'), True),
    ('the sRGB chunk goes before gAMA and cHRM', chunk(b'sRGB', b'\1') + gamma_chunk(100000) +
     chromaticities_chunk((31270, 32900) + (33000,) * 6), True),
    ('gAMA alone changes nothing', gamma_chunk(100000), True),
    ('cHRM alone changes nothing', chromaticities_chunk((33000,) * 8), True),
    ('gAMA and cHRM of sRGB', gamma_chunk(45455) + chromaticities_chunk(SRGB_CHROMATICITIES), True),
    ('gAMA of another curve with cHRM of sRGB',
     gamma_chunk(55556) + chromaticities_chunk(SRGB_CHROMATICITIES), False),
    ('gAMA of sRGB with other primaries', gamma_chunk(45455) +
     chromaticities_chunk((31270, 32900, 68000, 32000, 26500, 69000, 15000, 6000)), False),
)


def colours(checker):
    huge = icc_chunk(struct.pack('>I', 200_000_000) + bytes(199_999_996))
    for colour_type in (GREY, RGB, PALETTE, RGBA):
        picture = Picture(6, 5, colour_type, 8, seed=4)
        expected = answer(picture.pixels())

        def compare(rows):
            for name, before, means_srgb in rows:
                check = checker.answers if means_srgb else checker.answers_otherwise
                check('%s, colour type %d' % (name, colour_type), picture.file(before=before),
                      expected)

        compare(profile_chunks(colour_type == GREY))
        checker.answers_within_memory('a profile of 200 MB is as none, colour type %d' %
                                      colour_type, picture.file(before=huge), expected, 16)
        compare(COLOUR_CHUNKS)


def orientations(checker):
    for interlaced in (False, True):
        for colour_type, depth in ((RGB, 8), (GREY_ALPHA, 16), (PALETTE, 1)):
            for orientation in range(1, 9):
                for order in '<>':
                    picture = Picture(11, 6, colour_type, depth, seed=orientation)
                    checker.answers(
                        'orientation %d%s, colour type %d, %s' %
                        (orientation, ' interlaced' if interlaced else '', colour_type, order),
                        picture.file(interlaced, chunk(b'eXIf', tags.exif(orientation, order))),
                        answer(picture.pixels(), orientation))
    picture = Picture(11, 6, RGB, 8)
    for kind in (tags.BYTE, tags.LONG):
        checker.answers('orientation of type %d' % kind,
                        picture.file(before=chunk(b'eXIf', tags.exif(6, kind=kind))),
                        answer(picture.pixels(), 6))
    turned = chunk(b'eXIf', tags.exif(6))
    checker.answers('orientation 0 is upright', picture.file(before=chunk(b'eXIf', tags.exif(0))),
                    answer(picture.pixels()))
    checker.answers('an orientation whose chunk fails its checksum is as none',
                    picture.file(before=turned[:-1] + b'?'), answer(picture.pixels()))
    late_orientations(checker)
    checker.answers('upright, told after the pixels',
                    picture.file(after=chunk(b'eXIf', tags.exif(1))), answer(picture.pixels()))
    checker.answers('the first orientation counts', picture.file(before=turned, after=chunk(
        b'eXIf', tags.exif(3))), answer(picture.pixels(), 6))


def late_orientations(checker):
    for interlaced in (False, True):
        for colour_type, depth in ((RGB, 8), (PALETTE, 8), (GREY_ALPHA, 16), (PALETTE, 1)):
            for orientation in range(1, 9):
                picture = Picture(11, 6, colour_type, depth, seed=orientation)
                checker.answers(
                    'orientation %d after the pixels%s, colour type %d, depth %d' %
                    (orientation, ' interlaced' if interlaced else '', colour_type, depth),
                    picture.file(interlaced, after=TEXT + chunk(b'eXIf', tags.exif(orientation))) +
                    b'garbage' * 50_000, answer(picture.pixels(), orientation))
    picture = Picture(300, 200, RGBA, 8)
    turned = chunk(b'eXIf', tags.exif(6))
    profile = icc_chunk(tags.rgb_profile(tags.gamma_curve(2.2)))
    before = picture.file(before=profile + turned)
    checker.answers('a turn after the pixels, with a profile',
                    picture.file(before=profile, after=turned), checker.run(before)[0])
    large = chunk(b'tEXt', b'Comment\0' + bytes(20_000_000))
    for orientation in (1, 6):
        checker.answers_within_memory('orientation %d after the pixels of a file of 20 MB' %
                                      orientation, picture.file(before=large, after=chunk(
                                          b'eXIf', tags.exif(orientation))),
                                      answer(picture.pixels(), orientation), 10)
    damaged = chunk(b'IDAT')[:-1] + b'?'
    checker.rejects('a turn after the pixels, and damage after it',
                    picture.file(after=turned + damaged))


def cut_files(checker):
    picture = Picture(24, 19, RGBA, 8)
    for interlaced in (False, True):
        whole = picture.file(interlaced)
        for length in list(range(0, len(whole), 23)) + list(range(len(whole) - 16, len(whole))):
            checker.rejects('cut after %d of %d bytes' % (length, len(whole)), whole[:length])


def damaged_chunks(checker):
    palette = Picture(9, 9, PALETTE, 8)
    for name in (b'IHDR', b'PLTE', b'IDAT', b'IEND'):
        whole = bytearray(palette.file())
        offset = whole.index(name)
        whole[offset + 4 + struct.unpack('>I', whole[offset - 4:offset])[0]] ^= 1
        checker.rejects('a wrong checksum of ' + name.decode(), bytes(whole))
    checker.rejects('no palette', palette.file().replace(b'PLTE', b'pLTE'))


def wrong_checksums_of_pixels(checker):
    picture = Picture(24, 19, RGBA, 8)
    data = zlib.compress(picture.raw(False))
    wrong = data[:-1] + bytes((data[-1] ^ 1,))
    file = picture.file(data=wrong)
    checker.rejects('a wrong checksum of the compressed data', file)
    for name, parts in (
            ('a wrong checksum that comes after all pixels are there', (wrong[:-4], wrong[-4:])),
            ('a wrong checksum of the compressed data that is cut in two',
             (wrong[:-4], wrong[-4:-2], wrong[-2:]))):
        chunks = b''.join(chunk(b'IDAT', part) for part in parts)
        checker.rejects(name, file.replace(chunk(b'IDAT', wrong), chunks))


def damaged_pixels(checker):
    picture = Picture(24, 19, RGBA, 8)
    raw = picture.raw(False)
    data = zlib.compress(raw)
    checker.rejects('pixel data apart from the others', picture.file(after=TEXT + chunk(b'IDAT')))
    checker.rejects('compressed data without their checksum', picture.file(data=data[:-4]))
    checker.rejects('a row too few', picture.file(data=zlib.compress(raw[:-97])))
    checker.rejects('an unknown filter', picture.file(data=zlib.compress(b'\x09' + raw[1:])))
    checker.answers('a row too many', picture.file(data=zlib.compress(raw + bytes(97))),
                    answer(picture.pixels()))
    checker.answers('bytes after the compressed data', picture.file(data=data + b'more'),
                    answer(picture.pixels()))
    wide = Picture(400, 3, GREY, 8)
    wide.rows = [wide.rows[0]] * 3
    understated = b'\x08\x1d' + zlib.compress((b'\0' + bytes(v for v, in wide.rows[0])) * 3)[2:]
    checker.answers('compressed data that declare a smaller window than they use',
                    wide.file(data=understated), answer(wide.pixels()))
    checker.rejects('compressed data that declare a larger window than there is',
                    picture.file(data=b'\x88\x1c' + data[2:]))


def damaged_text(checker):
    picture = Picture(24, 19, RGBA, 8)
    text = bytearray(picture.file(before=TEXT))
    text[text.index(b'made')] ^= 1
    checker.answers('a wrong checksum of a text', bytes(text), answer(picture.pixels()))


def sizes(checker):
    for width, height in ((0, 5), (5, 0), (0, 0), (2**31 - 1, 2**31 - 1), (2**31 - 1, 1),
                          (1, 2**31 - 1), (2**32 - 1, 1), (65536, 65536), (60_000_001, 1),
                          (1, 60_000_001), (8000, 8000)):
        for interlaced in (False, True):
            data = (png_files.SIGNATURE + png_files.header(width, height, GREY, 1, interlaced) +
                    chunk(b'IDAT', zlib.compress(bytes(9))) + chunk(b'IEND'))
            checker.rejects('%dx%d is not decoded' % (width, height), data)
    for width, height in ((7500, 8000), (8000, 7500), (60_000_000, 1), (1, 60_000_000)):
        line = bytes((0b10110010,)) * (width // 8 + 1)
        row = bytes((0,)) + line[:-(-width // 8)]
        data = (png_files.SIGNATURE + png_files.header(width, height, GREY, 1) +
                chunk(b'IDAT', zlib.compress(row * height, 1)) + chunk(b'IEND'))
        bits = ''.join(format(byte, '08b') for byte in line[:1])
        pixels = b''.join(premultiplied(*(255 * int(bit),) * 3, 255) for bit in bits)
        expected = '%s %d %d\n' % (uniform_digest(
            width, height, (pixels * len(line))[:4 * width]), width, height)
        name = '%dx%d is exactly the budget' % (width, height)
        if width == 1:
            checker.costs(name, data, 16, 4, expected)
        elif width < 10_000:
            checker.answers_within_memory(name, data, expected, 16)
        else:
            checker.answers(name, data, expected)


def declared_sizes(checker):
    """Rows as wide as the budget: a file that is cut takes next to nothing."""
    head = png_files.header(60_000_000, 1, RGBA, 16, True)
    checker.costs('sixty million pixels wide, interlaced, cut', png_files.SIGNATURE + head +
                  struct.pack('>I', 1000) + b'IDAT' + b'\x78\x9c' + bytes(6), 32, 1)
    widths = (7_500_000, 7_500_000, 15_000_000, 30_000_000)
    deflate = zlib.compressobj(1)
    data = b''.join(deflate.compress(bytes(1 + 8 * width)) for width in widths) + deflate.flush()
    checker.costs('sixty million pixels wide, interlaced', png_files.SIGNATURE + head +
                  chunk(b'IDAT', data) + chunk(b'IEND'), 720, 6,
                  '%s 60000000 1\n' % uniform_digest(60_000_000, 1, bytes(240_000_000)))
    tall = png_files.header(1, 60_000_000, RGBA, 16)
    deflate = zlib.compressobj(1)
    data = b''.join(deflate.compress((bytes((4,)) + bytes(8)) * 1_000_000) for _ in range(60))
    checker.costs('sixty million pixels high, of 16 bits', png_files.SIGNATURE + tall +
                  chunk(b'IDAT', data + deflate.flush()) + chunk(b'IEND'), 16, 4,
                  '%s 1 60000000\n' % uniform_digest(1, 60_000_000, bytes(4)))


CASES = (every_form, interlaced_sizes, wide_rows, sixteen_bits, known_pixels, other_chunks, colours,
         orientations, cut_files, damaged_chunks, wrong_checksums_of_pixels, damaged_pixels,
         damaged_text, sizes, declared_sizes)
