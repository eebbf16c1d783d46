"""Cases of JPEG files."""

import struct

import colour_spaces
import jpeg_files
import tags
from jpeg_files import (decoded, decoded_inks, encoded, exif_segment, icc_segments, ppm, segment,
                        with_segments)
from reference import answer, premultiplied, uniform_digest

SAMPLINGS = {'4:4:4': '1x1', '4:2:2': '2x1', '4:2:0': '2x2', '4:4:0': '1x2', '4:1:1': '4x1',
             '4:1:0': '4x2'}
METHODS = {'baseline': (), 'progressive': ('-progressive',), 'optimized': ('-optimize',),
           'restart in blocks': ('-restart', '2B'), 'restart in rows': ('-restart', '1'),
           'progressive with restart': ('-progressive', '-restart', '3B'),
           'arithmetic': ('-arithmetic',)}


def every_form(checker):
    for width, height in ((1, 1), (7, 5), (16, 16), (45, 33), (64, 70)):
        picture = ppm(width, height)
        for method, options in METHODS.items():
            forms = {name: ('-sample', sample) for name, sample in SAMPLINGS.items()}
            forms['grey'] = ('-grayscale',)
            forms['RGB'] = ('-rgb',)
            for form, more in forms.items():
                jpeg = encoded(picture, *options, *more)
                checker.answers('%s, %s, %dx%d' % (form, method, width, height), jpeg,
                                answer(decoded(jpeg)))


def orientations(checker):
    for form in (('-sample', '2x2'), ('-progressive',), ('-grayscale',)):
        jpeg = encoded(ppm(37, 22), *form)
        rows = decoded(jpeg)
        for orientation in range(1, 9):
            for order in '<>':
                turned = with_segments(jpeg, exif_segment(tags.exif(orientation, order)))
                checker.answers('orientation %d, %s, %s' % (orientation, order, form[0]), turned,
                                answer(rows, orientation))
    for kind in (tags.BYTE, tags.LONG):
        for order in '<>':
            checker.answers('orientation of type %d, %s' % (kind, order), with_segments(
                jpeg, exif_segment(tags.exif(6, order, kind=kind))), answer(rows, 6))


def exif_oddities(checker):
    jpeg = encoded(ppm(20, 10))
    rows = decoded(jpeg)
    six = exif_segment(tags.exif(6))
    upright = {
        'orientation 0': tags.exif(0),
        'orientation 9': tags.exif(9),
        'orientation 65535': tags.exif(65535),
        'an orientation of two values': tags.exif(6, count=2),
        'an orientation that is a signed number': tags.exif(6, '<', kind=tags.SIGNED_SHORT),
        'no data': b'',
        'a byte order alone': b'MM',
        'noise': bytes(range(256)) * 20,
        'a directory beyond the end': b'MM\0*\xff\xff\xff\xf0',
        'a directory cut short': tags.exif(6)[:-9],
        'two byte orders': b'IM' + tags.exif(6)[2:],
        'a wrong mark': b'MM\0\x2b' + tags.exif(6)[4:],
    }
    for name, data in upright.items():
        checker.answers(name + ' is upright', with_segments(jpeg, exif_segment(data)),
                        answer(rows))
    checker.answers('the first Exif counts', with_segments(jpeg, six + exif_segment(tags.exif(3))),
                    answer(rows, 6))
    checker.answers('Exif after other data of its marker',
                    with_segments(jpeg, segment(0xe1, b'http://ns.adobe.com/xap/1.0/\0<x/>') + six),
                    answer(rows, 6))
    checker.answers('an orientation in the entry of another directory is not followed',
                    with_segments(jpeg, exif_segment(
                        b'MM\0*\0\0\0\x08\0\0\0\0\0\x0e' + tags.exif(6)[8:])), answer(rows))


def colours(checker):
    for form, make in (('-rgb', tags.rgb_profile), ('-grayscale', tags.grey_profile)):
        jpeg = encoded(ppm(30, 20), form)
        expected = answer(decoded(jpeg))
        same, other = make(tags.SRGB_CURVE), make(tags.gamma_curve(1.8))
        other += bytes(500)

        def answers(name, segments):
            checker.answers(name + ', ' + form, with_segments(jpeg, segments), expected)

        def converts(name, segments):
            checker.answers_otherwise(name + ', ' + form, with_segments(jpeg, segments), expected)

        answers('a profile of sRGB', icc_segments(same))
        answers('a profile of sRGB in pieces', icc_segments(same, 5))
        answers('a profile of sRGB in pieces out of order', icc_segments(same, 3, (2, 0, 1)))
        converts('another profile', icc_segments(other))
        converts('another profile in pieces', icc_segments(other, 255))
        converts('another profile in pieces out of order', icc_segments(other, 3, (1, 2, 0)))
        answers('a profile without its last piece is as none', icc_segments(other, 3, (0, 1)))
        answers('a profile with a piece twice is as none', icc_segments(other, 3, (0, 1, 1, 2)))
        answers('a profile of zeros is as none', icc_segments(bytes(900)))
        answers('a marker that is no profile', segment(0xe2, b'FPXR\0' + bytes(40)))


def inks(checker):
    for size in ((1, 1), (7, 5), (45, 33), (64, 70)):
        for form, options in (('baseline', {}), ('progressive', {'progressive': True}),
                              ('optimized', {'optimize': True})):
            jpeg = jpeg_files.encoded_inks(*size, **options)
            checker.answers('CMYK %s, %dx%d' % (form, *size), jpeg, answer(decoded_inks(jpeg)))
        for sampling, factors in SAMPLINGS.items():
            luma = tuple(int(factor) for factor in factors.split('x'))
            factors = (luma, (1, 1), (1, 1), luma)
            # One scan of all channels holds ten blocks at most.
            for interleaved in (True, False)[sampling == '4:1:0':]:
                for restart in (0, 1, 3):
                    for mark in (None, 0, 2):
                        jpeg = jpeg_files.coefficients(*size, factors, mark, restart, interleaved)
                        checker.answers('four channels, %s, %dx%d, Adobe %s, restart %d%s' % (
                            sampling, *size, mark, restart, ' interleaved' * interleaved), jpeg,
                            answer(decoded_inks(jpeg)))
    jpeg = jpeg_files.encoded_inks(37, 22)
    rows = decoded_inks(jpeg)
    for orientation in range(1, 9):
        checker.answers('inks of orientation %d' % orientation, with_segments(
            jpeg, exif_segment(tags.exif(orientation))), answer(rows, orientation))
    for length in range(jpeg.index(b'\xff\xda') + 20, len(jpeg), len(jpeg) // 20):
        cut = jpeg[:length]
        checker.answers('inks cut after %d bytes' % length, cut, answer(decoded_inks(cut)))
    offset = jpeg.index(b'\xff\xc0')
    checker.rejects('five channels', jpeg[:offset + 9] + b'\5' + jpeg[offset + 10:])


def inks_of_profiles(checker):
    """Patches of one colour, such as do not depend on how it is rounded."""
    for space in colour_spaces.INKS:
        found = 0
        for device, _ in space.colours(25, 255):
            jpeg = jpeg_files.patch_of_inks(device)
            stored = jpeg_files.inks(jpeg)[0][0]
            colour = space.colour([value / 255 for value in stored])
            if colour is None:
                continue
            found += 1
            tagged = with_segments(jpeg, icc_segments(space.profile, 2, (1, 0)))
            rows = [[premultiplied(*colour, 255)] * 16] * 16
            checker.answers('%s, %s' % (space.name, stored), tagged, answer(rows))
        checker.check('most patches are tried', found > 10, found)
    jpeg = jpeg_files.patch_of_inks((10, 200, 90, 30))
    for name, profile in (('RGB', colour_spaces.DISPLAY_P3.profile),
                          ('a table cut short', colour_spaces.INKS[0].profile[:2000]),
                          ('no table', tags.profile({}, space=b'CMYK', connection=b'Lab '))):
        checker.answers('inks with a profile of %s are untagged' % name,
                        with_segments(jpeg, icc_segments(profile)), answer(decoded_inks(jpeg)))


def damage(checker):
    for form in (('-sample', '2x2'), ('-progressive',), ('-grayscale',), ('-restart', '1')):
        jpeg = encoded(ppm(61, 47), *form)
        first_scan = jpeg.index(b'\xff\xda')
        for length in range(first_scan + 20, len(jpeg), max(1, len(jpeg) // 40)):
            cut = jpeg[:length]
            checker.answers('cut after %d of %d bytes, %s' % (length, len(jpeg), form[0]), cut,
                            answer(decoded(cut)))
        for length in range(0, first_scan, 7):
            checker.rejects('cut after %d bytes, before any pixel' % length, jpeg[:length])
        checker.answers('garbage after the end, ' + form[0], jpeg + b'\xff\xd8garbage' * 20000,
                        answer(decoded(jpeg)))
    whole = encoded(ppm(50, 50), '-restart', '1')
    for offset in range(whole.index(b'\xff\xda') + 30, len(whole), 97):
        hurt = whole[:offset] + bytes((whole[offset] ^ 0x10,)) + whole[offset + 1:]
        checker.answers('a byte changed at %d' % offset, hurt, answer(decoded(hurt)))


def resized(jpeg, width, height):
    """The file declaring another size than its own."""
    offset = max(jpeg.find(b'\xff\xc0'), jpeg.find(b'\xff\xc2'))
    return jpeg[:offset + 5] + struct.pack('>HH', height, width) + jpeg[offset + 9:]


def sizes(checker):
    jpeg = encoded(ppm(16, 16), '-grayscale')
    for width, height in ((0, 5), (5, 0), (8000, 8000), (65535, 65535), (65500, 917), (65501, 1)):
        checker.rejects('%dx%d is not decoded' % (width, height), resized(jpeg, width, height))
    row = bytes(x * y & 255 for x in range(4000) for y in (1, 3, 7))
    large = encoded(b'P6\n4000 3000\n255\n' + row * 3000)
    line = decoded(large, 3000)
    for orientation, pixels in ((1, line), (2, line[::-1])):
        checker.answers_within_memory(
            'a large picture of orientation %d' % orientation,
            with_segments(large, exif_segment(tags.exif(orientation))),
            '%s 4000 3000\n' % uniform_digest(4000, 3000, b''.join(pixels)), 16)


def scans(checker):
    small = encoded(ppm(40, 40), '-progressive')
    repeated = jpeg_files.with_scans(small, 500)
    checker.answers('hundreds of scans', repeated, answer(decoded(repeated)))
    checker.rejects('more scans than a picture can have', jpeg_files.with_scans(small, 2800))
    four = jpeg_files.encoded_inks(40, 40, progressive=True)
    repeated = jpeg_files.with_scans(four, 2800)
    checker.answers('as many scans as only four channels can have', repeated,
                    answer(decoded_inks(repeated)))
    checker.rejects('more scans than four channels can have', jpeg_files.with_scans(four, 3600))
    flat = encoded(b'P5\n6000 6000\n255\n' + bytes(36_000_000), '-progressive')
    checker.rejects_within('a large picture of 2,600 scans',
                           jpeg_files.with_scans(flat, 2600), 2)


def segments(checker):
    jpeg = encoded(ppm(16, 16))
    many = b''.join(segment(marker, bytes(65000)) for marker in (0xe1, 0xe2, 0xed, 0xfe))
    checker.answers_within_memory('segments of 26 MB are skipped',
                                  with_segments(jpeg, many * 100), answer(decoded(jpeg)), 16)


CASES = (every_form, orientations, exif_oddities, colours, inks, inks_of_profiles, damage, sizes, scans, segments)
