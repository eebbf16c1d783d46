"""Cases of HEIF files: HEIC and AVIF."""

import pathlib
import struct

import tags
from heif_files import (AVIF, FULL_COLOUR, HEIC, LAYERS, LOSSLESS, assembled, box, boxes, clipping,
                        coded_item, colours, declared, decoded, encoded, grid, grid_item, in_idat,
                        in_pieces, inside, items_of, meta, mirroring, overlay_item, profiled,
                        rotation, with_properties, without_end)
from reference import answer, digest, premultiplied, upright
from samples import close, soft

# Files in 4:2:0, and without loss, that libheif 1.15 wrote and read.
KEPT_FOLDER = pathlib.Path(__file__).with_name('heif_kept')
KEPT = {
    'alpha.avif': '3311bce8111321eda2a5d65b8dda649e6ac179e9897bfac67d2aebba81214da4',
    'alpha.heic': '29e29d32c9fe5974bdfeef6edaf2c8f9641ce4b5e9f66584b5e596f6e2dda4f5',
    'colours.avif': 'a67822cf563d7c7b8d2aad2fe04be6c67579faea45aaf0aea814f1d6e142ef6c',
    'colours.heic': '93f13434d4a116718470f752f198063fd3ffc55dd56b0630097a98e643ff5bc1',
    'lossless.avif': '007bb65d0a3a550d2c63a00fdd6bbe2c7190bbe61ae9188c83d01c5cd97b6b97',
    'lossless.heic': '007bb65d0a3a550d2c63a00fdd6bbe2c7190bbe61ae9188c83d01c5cd97b6b97',
}


def shown(heif, rows):
    """The answer for the file's upright pixels, with the size that it declares."""
    return '%s %d %d\n' % (digest(rows), *declared(heif))


def every_form(checker):
    forms = {'4:2:2': ('-p', 'chroma=422'), '4:4:4': FULL_COLOUR, 'lossless': LOSSLESS}
    for kind in (HEIC, AVIF):
        for channels in (1, 2, 3, 4):
            for width, height in ((64, 48), (65, 47), (128, 40)):
                picture = soft(width, height, channels)
                for name, options in forms.items():
                    heif = encoded(picture, kind, *options)
                    checker.answers('%s, %d channels, %s, %dx%d' %
                                    (kind, channels, name, width, height), heif,
                                    shown(heif, decoded(heif).pixels()))


def kept_files(checker):
    """Every release of libheif must answer as the one that they come from. For colours in 4:2:0 the
    newer tools are no reference: they round otherwise than their library."""
    for name, expected in KEPT.items():
        checker.answers('the kept file ' + name, KEPT_FOLDER.joinpath(name).read_bytes(),
                        expected + ' 65 47\n')


def what_was_written(checker):
    """The conversion to YCbCr and back may change the last bit of colours, and none of greys."""
    for kind in (HEIC, AVIF):
        for channels, levels in ((1, 0), (3, 2), (4, 2)):
            picture = soft(40, 32, channels)
            result = decoded(encoded(picture, kind, *LOSSLESS))
            if channels == 1:
                result.rows = [[pixel[:1] for pixel in row] for row in result.rows]
            checker.check('%s keeps %d channels' % (kind, channels),
                          close(picture, result, levels))


def depths(checker):
    for bits in (10, 12):
        for channels in (1, 3, 4):
            heif = encoded(soft(48, 40, channels, 16), HEIC, '-b', str(bits), *LOSSLESS)
            checker.answers('%d bits, %d channels' % (bits, channels), heif,
                            shown(heif, decoded(heif).with_bits(bits).pixels()))


def turns(checker):
    turned = {1: 8, 2: 3, 3: 6}
    for kind, channels in ((HEIC, 3), (AVIF, 3), (AVIF, 4), (HEIC, 1)):
        heif = encoded(soft(48, 32, channels), kind, *FULL_COLOUR)
        rows = decoded(heif).pixels()
        name = '%s, %d channels' % (kind, channels)
        for quarters, orientation in turned.items():
            checker.answers('%s turned by %d' % (name, quarters),
                            with_properties(heif, rotation(quarters)),
                            shown(heif, upright(rows, orientation)))
            checker.answers('%s turned by %d and mirrored' % (name, quarters),
                            with_properties(heif, rotation(quarters), mirroring(1)),
                            shown(heif, upright(upright(rows, orientation), 2)))
        for axis, orientation in ((0, 4), (1, 2)):
            checker.answers('%s mirrored at %d' % (name, axis),
                            with_properties(heif, mirroring(axis)),
                            shown(heif, upright(rows, orientation)))


def clippings(checker):
    for kind in (HEIC, AVIF):
        heif = encoded(soft(48, 32, 3), kind, *FULL_COLOUR)
        rows = decoded(heif).pixels()
        part = [row[10:40] for row in rows[8:28]]
        clip = clipping(30, 20, 2, 4)
        checker.answers('%s clipped' % kind, with_properties(heif, clip),
                        shown(heif, part))
        checker.answers('%s clipped and turned' % kind,
                        with_properties(heif, clip, rotation(3)),
                        shown(heif, upright(part, 6)))


def four_tiles(kind):
    return [encoded(soft(64, 64, 3, seed=number), kind, *LOSSLESS) for number in range(4)]


def grids(checker):
    for kind in (HEIC, AVIF):
        tiles = four_tiles(kind)
        laid = [decoded(tile).pixels() for tile in tiles]
        whole = [left + right for half in (laid[:2], laid[2:]) for left, right in zip(*half)]
        for width, height in ((128, 128), (100, 90), (65, 65)):
            heif = grid(kind, tiles, 2, 2, (width, height))
            rows = decoded(heif).pixels()
            name = '%s, a grid of %dx%d' % (kind, width, height)
            checker.answers(name, heif, answer(rows))
            checker.check(name + ' has every tile where it belongs',
                          rows == [row[:width] for row in whole[:height]])
            checker.answers(name + ', turned', with_properties(heif, rotation(3)),
                            answer(rows, 6))


def damaged_grids(checker):
    for kind in (HEIC, AVIF):
        tiles = four_tiles(kind)
        small = encoded(soft(32, 32, 3), kind)
        pair = tiles[:2]
        for name, heif in {
                'wider than its tiles': grid(kind, tiles, 2, 2, (200, 128)),
                'higher than its tiles': grid(kind, tiles, 2, 2, (128, 200)),
                'one row too high': grid(kind, pair, 2, 1, (128, 65)),
                'of one tile too small': grid(kind, tiles[:1], 1, 1, (128, 128)),
                'without a tile': grid(kind, tiles[:3], 2, 2, (128, 128)),
                'with an unknown tile': grid(kind, tiles[:3], 2, 2, (128, 128), parts=(1, 2, 3, 9)),
                'with a tile coded smaller': grid(kind, tiles[:3] + [small], 2, 2, (128, 128)),
                'of tiles coded smaller': grid(kind, tiles, 2, 2, (256, 256), (128, 128)),
                'that is declared smaller': grid(kind, tiles, 2, 2, (128, 128), declared=(50, 50)),
                'that is its own tile': grid(kind, tiles[:3], 2, 2, (128, 128), parts=(1, 2, 3, 4)),
        }.items():
            checker.rejects('%s, a grid %s' % (kind, name), heif)


def bytes_in_the_description(checker):
    for kind in (HEIC, AVIF):
        for channels in (1, 3, 4):
            heif = encoded(soft(48, 40, channels), kind, *FULL_COLOUR)
            rows = decoded(heif).pixels()
            expected = shown(heif, rows)
            for pieces in (1, 3):
                # What tells how a grid is laid out is no longer than 12 bytes.
                items = {item: in_pieces(data, pieces if len(data) > 12 else 1)
                         for item, data in items_of(heif).items()}
                checker.answers('%s, %d channels, in idat in pieces: %d' % (kind, channels, pieces),
                                in_idat(heif, items), expected)
                checker.answers('%s, %d channels, in idat in pieces: %d, turned' %
                                (kind, channels, pieces),
                                in_idat(with_properties(heif, rotation(3)), items),
                                shown(heif, upright(rows, 6)))
        inside_idat = in_idat(heif, items)
        checker.rejects('%s, idat cut' % kind, inside_idat[:-1])
        begin, end = inside(inside_idat, b'meta')
        checker.answers('%s, all of it in a last box without a length' % kind,
                        inside_idat[:begin] + bytes(4) + inside_idat[begin + 4:], expected)
        whole, short = (inside_idat[:begin] + struct.pack('>I4sQ', 1, b'meta', length) +
                        inside_idat[begin + 8:] for length in (end - begin + 8, 15))
        checker.answers('%s, all of it in a box with a length of 64 bits' % kind, whole, expected)
        checker.rejects('%s, all of it in a box shorter than its header' % kind, short)
        checker.rejects('%s without its idat' % kind, inside_idat.replace(b'idat', b'free'))
        laid = grid(kind, four_tiles(kind), 2, 2, (100, 90))
        items = {item: [data] for item, data in items_of(laid).items()}
        checker.answers('%s, a grid in idat' % kind, in_idat(laid, items),
                        answer(decoded(laid).pixels()))


def layers(checker):
    rows = [[(17 * x, 17 * y, 255 * ((x // 4 + y // 4) % 2)) for x in range(16)]
            for y in range(16)]
    for channels in (4, 3):
        heif = encoded(soft(16, 16, channels), AVIF, *LOSSLESS)
        alpha = [[pixel[3] for pixel in row] for row in decoded(heif).pixels()]
        items = {item: in_pieces(data, 2) for item, data in items_of(heif).items()}
        # The item itself must not say that the layers are luma and chroma.
        said = heif.index(b'nclx')
        heif = heif[:said] + colours(1, 13, 0)[8:] + heif[said + 11:]
        expected = answer([[premultiplied(*colour, a) for colour, a in zip(row, alphas)]
                           for row, alphas in zip(rows, alpha)])
        for name, first in (('in two pieces', LAYERS), ('in one piece', [b''.join(LAYERS)])):
            checker.answers('layers of %d channels, %s' % (channels, name),
                            in_idat(heif, {**items, 1: first}), expected)
    for missing in (1, 8, 9, 100):
        checker.rejects('layers without their last %d bytes' % missing,
                        without_end(in_idat(heif, {**items, 1: LAYERS}), missing))


def premultiplication(checker):
    picture = soft(48, 32, 4)
    for row in picture.rows:
        row[:] = [tuple(min(value, pixel[3]) for value in pixel) for pixel in row]
    heif = encoded(picture, AVIF, '--premultiplied-alpha', *LOSSLESS)
    straight = decoded(heif)
    checker.answers('colours that are multiplied by alpha already', heif, answer(
        [[bytes(min(value, pixel[3]) for value in pixel) for pixel in row]
         for row in straight.rows]))


def exif_says_nothing(checker):
    heif = encoded(soft(40, 24, 3), HEIC, *FULL_COLOUR)
    rows = decoded(heif).pixels()
    begin, end = meta(heif)
    checker.answers('Exif after everything', heif + box(b'Exif', tags.exif(6)),
                    shown(heif, rows))
    checker.check('there is a description', end > begin)


def colour_statements(checker):
    for kind in (HEIC, AVIF):
        heif = encoded(soft(40, 24, 3), kind, *FULL_COLOUR)
        rows = decoded(heif).pixels()
        checker.answers('%s with a profile of sRGB' % kind,
                        with_properties(heif, profiled(tags.rgb_profile())), shown(heif, rows))
        for primaries, transfer in ((1, 13), (1, 1), (2, 2), (1, 2)):
            tagged = with_properties(heif, colours(primaries, transfer))
            checker.answers('%s with colours %d, %d' % (kind, primaries, transfer), tagged,
                            shown(heif, decoded(tagged).pixels()))
        wide = with_properties(heif, colours(12, 13))
        profile = profiled(tags.rgb_profile(primaries=tags.DISPLAY_P3))
        checker.answers('%s, wide colours by number as by profile' % kind, wide,
                        checker.run(with_properties(heif, colours(12, 13), profile))[0])
        checker.check('%s, wide colours are converted' % kind, checker.run(wide) !=
                      checker.run(with_properties(heif, colours(1, 13))))
        for transfer, gamma in ((4, 2.2), (5, 2.8)):
            profile = tags.rgb_profile(curve=tags.formula_curve(gamma, 1, 0, 0, 0))
            checker.answers('%s, a gamma of %.1f by number as by profile' % (kind, gamma),
                            with_properties(heif, colours(1, transfer)),
                            checker.run(with_properties(heif, colours(1, transfer),
                                                        profiled(profile)))[0])
            checker.check('%s, a gamma of %.1f is converted' % (kind, gamma),
                          checker.run(with_properties(heif, colours(1, transfer))) !=
                          checker.run(with_properties(heif, colours(1, 13))))
        for primaries, transfer in ((9, 16), (9, 18), (1, 8), (4, 13), (767, 65535)):
            checker.rejects('%s with colours %d, %d' % (kind, primaries, transfer),
                            with_properties(heif, colours(primaries, transfer)))


def damage(checker):
    for kind in (HEIC, AVIF):
        heif = encoded(soft(96, 80, 3), kind)
        for length in list(range(0, len(heif), max(1, len(heif) // 60))) + [len(heif) - 1]:
            checker.rejects('%s cut after %d of %d bytes' % (kind, length, len(heif)),
                            heif[:length])
        for name in (b'pitm', b'iloc', b'iinf', b'iprp'):
            checker.rejects('%s without %s' % (kind, name.decode()), heif.replace(name, b'free'))


def resized(heif, width, height):
    """The file with another size in all its `ispe` boxes."""
    begin, end = inside(heif, b'iprp', *meta(heif))
    begin, end = inside(heif, b'ipco', begin + 8, end)
    for name, offset, _ in list(boxes(heif, begin + 8, end)):
        if name == b'ispe':
            heif = heif[:offset + 12] + struct.pack('>II', width, height) + heif[offset + 20:]
    return heif


def sizes(checker):
    heif = encoded(soft(64, 64, 3), HEIC)
    for width, height in ((0, 64), (64, 0), (8000, 8000), (60_000_001, 1), (1 << 31, 2)):
        checker.rejects('%dx%d is not decoded' % (width, height), resized(heif, width, height))


def bombs(checker):
    for kind in (HEIC, AVIF):
        heif = encoded(soft(64, 64, 3), kind, *FULL_COLOUR)
        expected = answer(decoded(heif).pixels())
        checker.answers_within_memory('%s before 100 MB' % kind, heif + bytes(100_000_000),
                                      expected, 24)
        checker.answers_within_memory('%s before a box of 100 MB' % kind,
                                      heif + struct.pack('>I4s', 100_000_008, b'free') +
                                      bytes(100_000_000), expected, 24)
        checker.answers_within_memory('%s before a million boxes' % kind,
                                      heif + box(b'free', b'') * 1_000_000, expected, 24)
    checker.rejects('boxes without end', box(b'ftyp', b'heic\0\0\0\0mif1heic') +
                    box(b'free', b'') * 1_000_000)
    checker.rejects('a film', box(b'ftyp', b'msf1\0\0\0\0msf1hevc') + box(b'moov', bytes(500)))


def declared_sizes(checker):
    """Canvases and parts that would take gigabytes or minutes."""
    for kind in (HEIC, AVIF):
        heif = encoded(soft(64, 64, 3), kind, *FULL_COLOUR)
        tile = coded_item(heif, (64, 64))
        over = assembled([overlay_item((64, 64), (2,)), tile])
        checker.answers('%s, an overlay of one picture' % kind, over,
                        answer(decoded(heif).pixels()))
        checker.costs('%s, an overlay on a canvas of 34,000 x 34,000' % kind, assembled(
            [overlay_item((34_000, 34_000), (2,), (64, 64)), tile]), 64, 1)
        checker.costs('%s, an overlay of 60,000 pictures' % kind, assembled(
            [overlay_item((64, 64), (2,) * 60_000), tile]), 96, 8)
        checker.costs('%s, a grid of 14,641 tiles that are one' % kind, assembled(
            [grid_item(121, 121, (7744, 7744), (2,) * 14_641), tile]), 400, 8)
        # Four groups of pictures: each picture's alpha is an overlay of all of the next group.
        first, knot = [2 + 80 * group for group in range(5)], []
        for group in range(3):
            below = range(first[group + 1], first[group + 1] + 40)
            knot += [tile] * 40 + [overlay_item((64, 64), below, None, first[group] + i)
                                   for i in range(40)]
        knot = [overlay_item((64, 64), range(2, 42))] + knot + [tile] * 40
        checker.costs('%s, items that refer to one another' % kind, assembled(knot), 96, 8)


CASES = (every_form, kept_files, what_was_written, depths, turns, clippings, grids, damaged_grids,
         bytes_in_the_description, layers, premultiplication, exif_says_nothing,
         colour_statements, damage, sizes, declared_sizes, bombs)
