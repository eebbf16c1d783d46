"""Cases of pictures in other colours than sRGB's: every converted level is known beforehand, since
no colour in the pictures lies near the middle between two levels."""

import struct
import zlib

import jpeg_files
import png_files
import tags
from colour_spaces import (ADOBE, DISPLAY_P3, GREY, INKS, SRGB_POINTS, TABLES, WHITE, ColourSpace,
                           adapted, gamma_light, levels, times, xyz_of_lab)
from jpeg_files import icc_segments, with_segments
from png_agreement import SRGB_CHROMATICITIES, chromaticities_chunk, gamma_chunk, icc_chunk
from png_files import GREY_ALPHA, PALETTE, RGB, RGBA, Picture, chunk
from reference import answer, premultiplied, uniform_digest

P3_POINTS = (0.3127, 0.3290, 0.68, 0.32, 0.265, 0.69, 0.15, 0.06)
SRGB_CHUNK = chunk(b'sRGB', b'\0')
SIZE = (16, 9)


def picture_in(space, colour_type, depth):
    """A picture of the space's colours, and what it looks like in sRGB."""
    picture = Picture(*SIZE, colour_type, depth, seed=9)
    top = (1 << depth) - 1
    if colour_type == PALETTE:
        colours = space.colours(256, 255)
    else:
        colours = space.colours(SIZE[0] * SIZE[1], top)
    has_alpha = colour_type in (GREY_ALPHA, RGBA)
    looks = []
    for y, row in enumerate(picture.rows):
        looks.append([])
        for x, stored in enumerate(row):
            index = stored[0] if colour_type == PALETTE else y * SIZE[0] + x
            device, colour = colours[index]
            alpha = 255
            if has_alpha:
                alpha = (stored[-1] * 255 + 32767) // 65535 if depth == 16 else stored[-1]
                device += stored[-1:]
            if colour_type != PALETTE:
                row[x] = device
            looks[-1].append(premultiplied(*(colour * (3 // len(colour))), alpha))
    if colour_type == PALETTE:
        picture.palette = [device for device, _ in colours]
    return picture, looks


def every_space(checker):
    for space in (DISPLAY_P3, ADOBE, *TABLES):
        for colour_type, depth in ((RGB, 8), (RGB, 16), (RGBA, 8), (RGBA, 16), (PALETTE, 8)):
            picture, looks = picture_in(space, colour_type, depth)
            for interlaced in (False, True):
                checker.answers('%s, colour type %d, depth %d' % (space.name, colour_type, depth),
                                picture.file(interlaced, icc_chunk(space.profile)), answer(looks))
    for colour_type in (png_files.GREY, GREY_ALPHA):
        for depth in (8, 16):
            picture, looks = picture_in(GREY, colour_type, depth)
            checker.answers('%s, colour type %d, depth %d' % (GREY.name, colour_type, depth),
                            picture.file(before=icc_chunk(GREY.profile)), answer(looks))


def gamma_space(gamma, points, channels=3):
    """What gAMA and cHRM say."""
    light = gamma_light(100000 / gamma)
    if channels == 1:
        return ColourSpace('gAMA', 1, b'', lambda device: [w * light(device[0]) for w in WHITE])
    matrix = adapted(points)
    return ColourSpace('gAMA and cHRM', 3, b'',
                       lambda device: times(matrix, [light(value) for value in device]))


def gamma_and_chromaticities(checker):
    for gamma in (45455, 55556, 100000):
        for points in (SRGB_POINTS, P3_POINTS):
            chunks = (gamma_chunk(gamma) +
                      chromaticities_chunk([round(value * 100000) for value in points]))
            if (gamma, points) == (45455, SRGB_POINTS):
                continue
            for colour_type, depth, channels in ((RGB, 8, 3), (RGBA, 16, 3), (PALETTE, 8, 3),
                                                 (png_files.GREY, 8, 1), (GREY_ALPHA, 16, 1)):
                picture, looks = picture_in(gamma_space(gamma, points, channels), colour_type,
                                            depth)
                name = 'gAMA %d with cHRM, colour type %d' % (gamma, colour_type)
                checker.answers(name, picture.file(before=chunks), answer(looks))
                checker.answers(name + ' after the sRGB chunk',
                                picture.file(before=SRGB_CHUNK + chunks), answer(picture.pixels()))


def precedence(checker):
    picture, looks = picture_in(DISPLAY_P3, RGB, 8)
    same = answer(picture.pixels())
    profile = icc_chunk(DISPLAY_P3.profile)
    gamma = gamma_chunk(55556) + chromaticities_chunk(SRGB_CHROMATICITIES)
    checker.answers('a profile goes before the sRGB chunk',
                    picture.file(before=SRGB_CHUNK + profile), answer(looks))
    checker.answers('a profile goes before gAMA and cHRM', picture.file(before=gamma + profile),
                    answer(looks))
    broken = {
        'a profile of grey': GREY.profile,
        'a profile of inks': INKS[0].profile,
        'a profile of no display': DISPLAY_P3.profile.replace(b'mntr', b'link'),
        'a profile cut short': DISPLAY_P3.profile[:300],
        'a profile of a table cut short': TABLES[0].profile[:900],
        'a profile of zeros': bytes(500),
        'a profile of a later standard': b'%b\5\x10%b' % (DISPLAY_P3.profile[:8],
                                                         DISPLAY_P3.profile[10:]),
    }
    by_gamma, gamma_looks = picture_in(gamma_space(55556, SRGB_POINTS), RGB, 8)
    for name, bad in broken.items():
        bad = icc_chunk(struct.pack('>I', len(bad)) + bad[4:])
        checker.answers(name + ' is as none', picture.file(before=bad), same)
        checker.answers(name + ' leaves it to the sRGB chunk',
                        picture.file(before=SRGB_CHUNK + bad), same)
        checker.answers(name + ' leaves it to gAMA and cHRM',
                        by_gamma.file(before=gamma + bad), answer(gamma_looks))
    for name, points in (('of zeros', (0,) * 8), ('on one line', (31270, 32900) + (33000,) * 6)):
        checker.answers('chromaticities %s are as none' % name, picture.file(
            before=gamma_chunk(55556) + chromaticities_chunk(points)), same)


def srgb_in_every_way(checker):
    curves = {'a formula': tags.SRGB_CURVE,
              '1024 samples': tags.sampled_curve(tags.srgb_light, 1024),
              '4096 samples': tags.sampled_curve(tags.srgb_light, 4096)}
    profiles = {'sRGB by ' + name: tags.rgb_profile(curve) for name, curve in curves.items()}
    profiles['sRGB, rounded'] = tags.rgb_profile(primaries=(
        (0.4361, 0.2225, 0.0139), (0.3851, 0.7169, 0.0971), (0.1431, 0.0606, 0.7141)))
    profiles['sRGB of version 4'] = b'%b\4\0%b' % (profiles['sRGB by a formula'][:8],
                                                  profiles['sRGB by a formula'][10:])
    for colour_type, depth in ((RGB, 8), (RGBA, 16), (PALETTE, 4)):
        picture = Picture(31, 17, colour_type, depth)
        untagged = checker.run(picture.file())
        checker.check('an untagged picture has an answer', untagged == (answer(picture.pixels()), 0))
        statements = {name: icc_chunk(profile) for name, profile in profiles.items()}
        statements['the sRGB chunk'] = SRGB_CHUNK
        statements['gAMA and cHRM'] = gamma_chunk(45455) + chromaticities_chunk(SRGB_CHROMATICITIES)
        for name, chunks in statements.items():
            checker.check('PNG, %s, is as untagged' % name,
                          checker.run(picture.file(before=chunks)) == untagged)
    for form in (('-rgb',), ('-sample', '2x2'), ('-progressive',)):
        jpeg = jpeg_files.encoded(jpeg_files.ppm(31, 17), *form)
        untagged = checker.run(jpeg)
        checker.check('an untagged JPEG has an answer', untagged[1] == 0)
        for name, profile in profiles.items():
            checker.check('JPEG, %s, is as untagged' % name, checker.run(
                with_segments(jpeg, icc_segments(profile, 3))) == untagged)


def one_picture_in_two_files(checker):
    for form in (('-rgb',), ('-sample', '2x2'), ('-progressive',)):
        jpeg = jpeg_files.encoded(jpeg_files.ppm(90, 41), *form)
        rows = jpeg_files.decoded(jpeg)
        picture = Picture(90, 41, RGB, 8)
        picture.rows = [[tuple(pixel[:3]) for pixel in row] for row in rows]
        for space in (DISPLAY_P3, ADOBE, TABLES[1]):
            answers = {checker.run(with_segments(jpeg, icc_segments(space.profile, 2))),
                       checker.run(picture.file(before=icc_chunk(space.profile))),
                       checker.run(picture.file(True, icc_chunk(space.profile)))}
            checker.check('%s: JPEG and PNG of the same pixels agree, %s' % (space.name, form[0]),
                          len(answers) == 1 and answers.pop()[1] == 0)


def large_pictures(checker):
    width, height = 2000, 1500
    for space in (DISPLAY_P3, *TABLES):
        for depth in (8, 16):
            colours = space.colours(100, (1 << depth) - 1) * (width // 100)
            row = b'\0' + png_files.packed([v for device, _ in colours for v in device], depth)
            looks = b''.join(bytes(colour) + b'\xff' for _, colour in colours)
            data = (png_files.SIGNATURE + png_files.header(width, height, RGB, depth) +
                    icc_chunk(space.profile) +
                    chunk(b'IDAT', zlib.compress(row * height, 1)) + chunk(b'IEND'))
            checker.answers_within_memory('%s, a large picture, depth %d' % (space.name, depth), data,
                                          '%s %d %d\n' % (uniform_digest(width, height, looks),
                                                          width, height), 16)


def hostile_profiles(checker):
    picture, looks = picture_in(DISPLAY_P3, RGB, 8)
    expected = answer(picture.pixels())

    def table(tag, name=b'A2B0', space=b'RGB '):
        return tags.profile({name: tag}, space=space, connection=b'Lab ')

    huge = struct.pack('>4s4xBBBx', b'mft2', 3, 3, 255) + tags.fixed(1, 0, 0, 0, 1, 0, 0, 0, 1)
    steps = b'mpet' + struct.pack('>4xHHI', 3, 3, 100_000)
    steps += struct.pack('>II', 16 + 800_000, 60) * 100_000
    steps += b'matf' + struct.pack('>4xHH12f', 3, 3, *(0,) * 12)
    none = {
        'a table of 255 points without them': table(huge + struct.pack('>HH', 2, 2) + bytes(99)),
        'a table of a hundred thousand steps': table(steps, b'D2B0'),
        'a hundred tags': tags.profile({b't%03d' % i: bytes(8) for i in range(101)}),
    }
    for name, profile in none.items():
        checker.answers_within_memory(name + ' is as none',
                                      picture.file(before=icc_chunk(profile)), expected, 128)
    both = tags.rgb_profile(primaries=tags.DISPLAY_P3, D2B0=steps)
    checker.answers('a hundred thousand steps beside matrix and curves',
                    picture.file(before=icc_chunk(both)), answer(looks))
    # As many points as fit, so that the engine has to calculate all of them for a few pixels.
    points = 139
    whole = huge.replace(b'\3\3\xff', b'\3\3' + bytes((points,))) + struct.pack('>HH', 2, 2)
    whole += struct.pack('>2H', 0, 65535) * 3 + b'\x80' * (6 * points ** 3)
    whole += struct.pack('>2H', 0, 65535) * 3
    middle = 0x8080 / 256
    colour = levels(xyz_of_lab((middle / 255 * 100, middle - 128, middle - 128)))
    pixel = premultiplied(*(round(level) for level in colour), 255)
    checker.answers('the largest table', picture.file(before=icc_chunk(table(whole))),
                    answer([[pixel] * SIZE[0]] * SIZE[1]))


CASES = (every_space, gamma_and_chromaticities, precedence, srgb_in_every_way,
         one_picture_in_two_files, large_pictures, hostile_profiles)
