"""Cases of JPEG XL files."""

import zlib

import jpeg_files
import png_files
import tags
from jpeg_xl_files import LOSSLESS, SIGNATURE, animated, decoded, encoded, noise
from reference import answer, upright
from samples import Samples, soft


def without_loss(checker):
    for width, height in ((1, 1), (7, 5), (45, 33), (300, 20)):
        for channels in (1, 2, 3, 4):
            for bits in (8, 16):
                picture = soft(width, height, channels, bits)
                jxl = encoded(picture.png(), *LOSSLESS)
                checker.answers('%d channels of %d bits, %dx%d' % (channels, bits, width, height),
                                jxl, answer(picture.pixels()))
    for bits in (1, 2, 4, 5, 7, 10, 12):
        picture = soft(40, 30, 3, 8 if bits < 8 else 16).with_bits(bits)
        jxl = encoded(picture.png(), '--override_bitdepth=%d' % bits, *LOSSLESS)
        checker.answers('%d bits' % bits, jxl, answer(picture.pixels()))


def containers(checker):
    picture = soft(40, 30, 3)
    bare = encoded(picture.png(), *LOSSLESS)
    boxed = encoded(picture.png(), '--container=1', *LOSSLESS)
    checker.check('the two forms', bare[:2] == b'\xff\x0a' and boxed.startswith(SIGNATURE))
    for name, jxl in (('bare', bare), ('boxed', boxed)):
        checker.answers(name, jxl, answer(picture.pixels()))
        checker.answers_within_memory(name + ' before 100 MB', jxl + bytes(100_000_000),
                                      answer(picture.pixels()), 32)


def with_loss(checker):
    for channels in (1, 2, 3, 4):
        for options in (('-d', '1'), ('-d', '3'), ('-d', '1', '-p'), ('-d', '1', '-m', '1'),
                        ('-d', '2', noise(3200))):
            jxl = encoded(soft(90, 70, channels).png(), *options)
            checker.answers('%d channels, %s' % (channels, ' '.join(options)), jxl,
                            answer(decoded(jxl).pixels()))


def orientations(checker):
    jpeg = jpeg_files.encoded(jpeg_files.ppm(37, 22), '-sample', '1x1')
    for orientation in range(1, 9):
        turned = jpeg_files.with_segments(jpeg, jpeg_files.exif_segment(tags.exif(orientation)))
        for options in (('-j', '0', *LOSSLESS), ('-j', '0', '-d', '1'), ('-j', '1')):
            jxl = encoded(turned, *options, suffix='.jpg')
            # Not the turned file's own pixels: what the tool scatters as it rounds, it has turned before.
            stored = decoded(encoded(jpeg, *options, suffix='.jpg')).pixels()
            checker.answers('orientation %d, %s' % (orientation, ' '.join(options)), jxl,
                            answer(stored, orientation))
    rows = decoded(encoded(jpeg, '-j', '0', *LOSSLESS, suffix='.jpg')).pixels()
    turned = jpeg_files.with_segments(jpeg, jpeg_files.exif_segment(tags.exif(6)))
    checker.check('the tool turns as we do', upright(rows, 6) == decoded(
        encoded(turned, '-j', '0', *LOSSLESS, suffix='.jpg')).pixels())


def animations(checker):
    pictures = [soft(60, 40, 3, seed=seed) for seed in range(20)]
    jxl = encoded(animated(pictures), *LOSSLESS)
    expected = answer(pictures[0].pixels())
    checker.answers('the first of twenty', jxl, expected)
    checker.answers('the first, cut within the second', jxl[:len(jxl) // 12], expected)
    checker.rejects('cut within the first', jxl[:len(jxl) // 40])


def colours(checker):
    picture = soft(40, 30, 3)
    srgb = ('-x', 'color_space=RGB_D65_SRG_Rel_SRG')
    checker.answers('sRGB by name', encoded(picture.png(), *srgb, *LOSSLESS),
                    answer(picture.pixels()))
    png = picture.png()
    iccp = png_files.chunk(b'iCCP', b'p\0\0' + zlib.compress(tags.rgb_profile()))
    tagged = png[:33] + iccp + png[33:]
    checker.answers('a profile of sRGB', encoded(tagged, *LOSSLESS), answer(picture.pixels()))
    wide = ('-x', 'color_space=RGB_D65_DCI_Rel_SRG')
    white = encoded(Samples([[(255,) * 3] * 40] * 30, 8).png(), *wide, '-d', '1')
    checker.answers('white of wide colours, coded for the eye', white,
                    answer([[b'\xff' * 4] * 40] * 30))
    for name in ('RGB_D65_202_Rel_PeQ', 'RGB_D65_202_Rel_HLG'):
        for options in (LOSSLESS, ('-d', '1')):
            checker.rejects('high dynamic range, ' + name, encoded(
                soft(40, 30, 3, 16).png(), '-x', 'color_space=' + name, *options))


def damage(checker):
    for options in (LOSSLESS, ('-d', '1'), ('--container=1', '-d', '1')):
        jxl = encoded(soft(96, 80, 4).png(), *options)
        for length in list(range(0, len(jxl), max(1, len(jxl) // 40))) + [len(jxl) - 1]:
            checker.rejects('%s cut after %d of %d bytes' % (options, length, len(jxl)),
                            jxl[:length])


CASES = (without_loss, containers, with_loss, orientations, animations, colours, damage)
