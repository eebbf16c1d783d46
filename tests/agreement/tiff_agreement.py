"""Cases of TIFF files."""

import hashlib
import io
import pathlib
import struct
import subprocess
import tempfile

from PIL import Image

import tags
import tiff_files
from agreement_test import LONG_TIMEOUT
from jpeg_files import encoded, ppm
from reference import answer, premultiplied, uniform_digest
from tiff_files import (ASSOCIATED, BYTE, CMYK, LONG, MIN_IS_BLACK, MIN_IS_WHITE, PALETTE, RGB,
                        SHORT, UNASSOCIATED, UNDEFINED, UNSPECIFIED, YCBCR, AtOffset, Picture,
                        assembled)

KINDS = {
    'grey': (MIN_IS_BLACK, ()), 'grey, white is zero': (MIN_IS_WHITE, ()),
    'grey with alpha': (MIN_IS_BLACK, (UNASSOCIATED,)),
    'grey multiplied by alpha': (MIN_IS_BLACK, (ASSOCIATED,)),
    'grey, white is zero, multiplied by alpha': (MIN_IS_WHITE, (ASSOCIATED,)),
    'RGB': (RGB, ()), 'RGB with alpha': (RGB, (UNASSOCIATED,)),
    'RGB multiplied by alpha': (RGB, (ASSOCIATED,)),
    'RGB and something': (RGB, (UNSPECIFIED,)),
    'RGB with alpha and more': (RGB, (UNASSOCIATED, UNSPECIFIED, ASSOCIATED)),
    'palette': (PALETTE, ()), 'palette with alpha': (PALETTE, (UNASSOCIATED,)),
    'CMYK': (CMYK, ()), 'CMYK with alpha': (CMYK, (UNASSOCIATED,)),
}

LAYOUTS = {
    'a strip': {}, 'big-endian': {'order': '>'}, 'the directory first': {'early': True},
    'strips': {'rows_per_strip': 4}, 'strips of a row': {'rows_per_strip': 1},
    'tiles': {'tile': (16, 16)}, 'a tile larger than the picture': {'tile': (64, 48)},
    'planar': {'planar': True, 'rows_per_strip': 7, 'order': '>'},
    'planar tiles': {'planar': True, 'tile': (16, 32)},
    'BigTIFF': {'big': True, 'rows_per_strip': 5},
    'big-endian BigTIFF in tiles': {'big': True, 'order': '>', 'tile': (32, 16)},
}


def tool(data, *command):
    """What a tool of the library makes of the file."""
    with tempfile.TemporaryDirectory() as folder:
        before, after = pathlib.Path(folder, 'before.tif'), pathlib.Path(folder, 'after.tif')
        before.write_bytes(data)
        subprocess.run((*command, str(before), str(after)), stderr=subprocess.DEVNULL, check=True)
        return after.read_bytes()


def seen_by_pillow(data):
    """Stored rows of premultiplied pixels; another reader turns pictures, which is undone."""
    image = Image.open(io.BytesIO(data))
    image.load()
    pixels = list(image.convert('RGBA').getdata())
    return [[premultiplied(*pixel) for pixel in pixels[y * image.width:(y + 1) * image.width]]
            for y in range(image.height)]


def every_form(checker):
    for kind, (photometric, extra) in KINDS.items():
        for bits in (1, 2, 4, 8, 16):
            if photometric == PALETTE and bits > 8:
                continue
            picture = Picture(37, 21, photometric, bits, extra)
            expected = answer(picture.pixels())
            for layout, options in LAYOUTS.items():
                if bits not in (1, 8, 16) and layout not in ('a strip', 'tiles'):
                    continue
                checker.answers('%s, %d bits, %s' % (kind, bits, layout),
                                picture.file(**options), expected)


def odd_depths(checker):
    for bits in (3, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15):
        for photometric in (MIN_IS_WHITE, RGB, CMYK):
            for planar in (False, True):
                picture = Picture(19, 6, photometric, bits)
                checker.answers('%d bits, photometric %d, %s' %
                                (bits, photometric, 'planar' if planar else 'interleaved'),
                                picture.file(planar=planar, order='>'), answer(picture.pixels()))
    picture = Picture(19, 6, PALETTE, 12)
    checker.answers('a palette of 4,096 colours', picture.file(), answer(picture.pixels()))
    picture = Picture(19, 6, PALETTE, 16)
    checker.answers('a palette of 65,536 colours', picture.file(), answer(picture.pixels()))
    for bits in (33, 48, 64):
        tags_of = {258: (SHORT, [bits])}
        checker.rejects('%d bits' % bits, Picture(8, 8, MIN_IS_BLACK, 8).file(more=tags_of))
    for kind in (2, 3, 5, 6):
        checker.rejects('samples of format %d' % kind,
                        Picture(8, 8, RGB, 16).file(more={339: (SHORT, [kind] * 3)}))
    undefined = Picture(8, 8, RGB, 16)
    checker.answers('samples of no said format', undefined.file(more={339: (SHORT, [4] * 3)}),
                    answer(undefined.pixels()))


def long_samples(checker):
    for bits in (17, 20, 24, 27, 31, 32):
        for kind in ('grey', 'grey, white is zero', 'RGB', 'RGB multiplied by alpha', 'CMYK'):
            picture = Picture(19, 18, KINDS[kind][0], bits, KINDS[kind][1])
            expected = answer(picture.pixels())
            for layout, options in LAYOUTS.items():
                checker.answers('%s, %d bits, %s' % (kind, bits, layout),
                                picture.file(**options), expected)
    for bits in (24, 32):
        for name in ('LZW', 'Deflate', 'PackBits'):
            for order in '<>':
                picture = Picture(23, 17, RGB, bits, seed=name)
                checker.answers('%s, %d bits, %s' % (name, bits, order),
                                picture.file(compression=name, order=order),
                                answer(picture.pixels()))
    for order in '<>':
        picture = Picture(23, 17, RGB, 32, (UNASSOCIATED,))
        checker.answers('differences of 32 bits, %s' % order,
                        picture.file(compression='LZW', predictor=2, order=order),
                        answer(picture.pixels()))
        for options in (('zstd',), ('lerc',), ('lzma:2',)):
            checker.answers('%s by a tool, 32 bits, %s' % (*options, order),
                            tool(picture.file(order=order), 'tiffcp', '-c', *options, '-s'),
                            answer(picture.pixels()))
    checker.rejects('a palette of indices of 17 bits', Picture(8, 8, MIN_IS_BLACK, 17).file(
        more={262: (SHORT, [PALETTE]), 320: (SHORT, [0] * 3 * (1 << 17))}))


def compressions(checker):
    for name in tiff_files.COMPRESSIONS:
        for photometric, bits in ((MIN_IS_BLACK, 1), (PALETTE, 4), (RGB, 8), (RGB, 16)):
            picture = Picture(53, 40, photometric, bits, seed=name)
            expected = answer(picture.pixels())
            for layout in ({}, {'rows_per_strip': 7}, {'tile': (32, 16)},
                           {'planar': True, 'rows_per_strip': 16}, {'fill_order': 2}):
                checker.answers('%s, photometric %d, %d bits, %s' %
                                (name, photometric, bits, layout),
                                picture.file(compression=name, **layout), expected)
    for name in ('LZW', 'Deflate', 'Adobe Deflate', 'LZMA'):
        for bits in (8, 16):
            for layout in ({}, {'order': '>'}, {'planar': True}, {'tile': (16, 16)},
                           {'rows_per_strip': 1}):
                picture = Picture(41, 33, RGB, bits, (UNASSOCIATED,), seed=name)
                checker.answers('%s of differences, %d bits, %s' % (name, bits, layout),
                                picture.file(compression=name, predictor=2, **layout),
                                answer(picture.pixels()))


def compressions_by_tools(checker):
    for options in (('zstd',), ('zstd:2',), ('lzma:2',), ('lerc',), ('lzw:2',), ('zip:2:p9',)):
        for layout in (('-s',), ('-s', '-r', '3'), ('-t', '-w', '32', '-l', '16'),
                       ('-s', '-p', 'separate')):
            for bits in (8, 16):
                picture = Picture(47, 30, RGB, bits, seed=options)
                data = tool(picture.file(planar='separate' in layout), 'tiffcp', '-c', *options,
                            *layout)
                checker.answers('%s by a tool, %s, %d bits' % (*options, layout, bits), data,
                                answer(picture.pixels()))
    for photometric, extra in ((RGB, ()), (RGB, (UNASSOCIATED,))):
        picture = Picture(47, 30, photometric, 8, extra)
        data = tool(picture.file(), 'tiffcp', '-c', 'webp:75')
        checker.answers('WebP, %d samples' % picture.samples, data, answer(seen_by_pillow(data)))
    bilevel = Picture(83, 61, MIN_IS_WHITE, 1)
    data = tool(bilevel.file(), 'tiffcp', '-c', 'jbig', '-s', '-r', '61')
    checker.answers('JBIG', data, answer(bilevel.pixels()))
    for compression in ('g3', 'g3:1d', 'g3:2d', 'g3:2d:fill', 'g4', 'none'):
        for order in ('msb2lsb', 'lsb2msb'):
            for layout in (('-s', '-r', '61'), ('-s', '-r', '9'), ('-t', '-w', '32', '-l', '32')):
                data = tool(bilevel.file(), 'tiffcp', '-c', compression, '-f', order, *layout)
                checker.answers('%s, %s, %s' % (compression, order, layout), data,
                                answer(bilevel.pixels()))
    for compression in ('tiff_ccitt', 'group3', 'group4', 'packbits', 'tiff_lzw'):
        for mode in ('1', 'L') if compression in ('packbits', 'tiff_lzw') else ('1',):
            image = Image.frombytes('RGB', (60, 50), ppm(60, 50)[-9000:]).convert(mode)
            out = io.BytesIO()
            image.save(out, 'TIFF', compression=compression)
            checker.answers('%s by another writer, %s' % (compression, mode), out.getvalue(),
                            answer(seen_by_pillow(out.getvalue())))


def seen_by_another(checker):
    """The maker's own idea of a TIFF is held against another reader's."""
    for kind, bits in (('grey', 8), ('grey', 1), ('grey, white is zero', 8), ('RGB', 8),
                       ('RGB with alpha', 8), ('grey with alpha', 8), ('RGB and something', 8),
                       ('palette', 8), ('palette', 4), ('palette', 1)):
        for options in ({}, {'tile': (16, 16)}, {'order': '>', 'rows_per_strip': 3},
                        {'compression': 'LZW'}, {'compression': 'PackBits'}):
            data = Picture(30, 20, *KINDS[kind][:1], bits, *KINDS[kind][1:]).file(**options)
            checker.answers('%s, %d bits, %s, as another reader sees it' % (kind, bits, options),
                            data, answer(seen_by_pillow(data)))
    picture = Picture(30, 20, RGB, 8, None, 4)
    checker.answers('four samples of RGB, the fourth without a word', picture.file(),
                    answer(seen_by_pillow(picture.file())))
    checker.answers('that fourth one is alpha', picture.file(), answer(picture.pixels()))


def alpha(checker):
    pairs = [(c, a) for a in range(256) for c in range(a + 1)]
    width = 257
    picture = Picture(width, len(pairs) // width, MIN_IS_BLACK, 8, (ASSOCIATED,))
    picture.rows = [pairs[y * width:(y + 1) * width] for y in range(picture.height)]
    as_stored = [[bytes((c, c, c, a)) for c, a in row] for row in picture.rows]
    checker.answers('what is stored multiplied comes out as it was', picture.file(),
                    answer(as_stored))
    impossible = Picture(3, 1, RGB, 8, (ASSOCIATED,))
    impossible.rows = [[(200, 10, 100, 100), (9, 9, 9, 0), (255, 0, 255, 254)]]
    checker.answers('a colour brighter than its alpha is as bright as that', impossible.file(),
                    answer([[bytes((100, 10, 100, 100)), bytes(4), bytes((254, 0, 254, 254))]]))


def palettes(checker):
    picture = Picture(16, 16, PALETTE, 8)
    picture.rows = [[(x + 16 * y,) for x in range(16)] for y in range(16)]
    expected = answer(picture.pixels())
    full = picture.palette

    def mapped(change):
        entries = [change(colour[i]) for i in range(3) for colour in full]
        return picture.file(more={320: (SHORT, entries)})

    checker.answers('a palette of 8-bit values', mapped(lambda v: v // 257), expected)
    checker.answers('a palette of values in the upper half', mapped(lambda v: v & 0xff00), expected)
    picture.palette = [tuple(v ^ 0x55 for v in colour) for colour in full]
    checker.answers('a palette of 16-bit values', picture.file(), answer(picture.pixels()))
    checker.rejects('a palette too short', picture.file(more={320: (SHORT, [0] * 30), 258:
                                                              (SHORT, [4])}))
    image = Image.frombytes('RGB', (40, 30), ppm(40, 30)[-3600:]).quantize(77)
    out = io.BytesIO()
    image.save(out, 'TIFF')
    checker.answers('a palette by another writer', out.getvalue(),
                    answer(seen_by_pillow(out.getvalue())))


def ycbcr_pieces(width, height, across, down, rows_per_strip, grey):
    """Strips of luminance blocks with their two chrominances; `grey` has none of these."""
    pieces, value = [], 7
    for top in range(0, height, rows_per_strip):
        piece = bytearray()
        for _ in range(-(-min(rows_per_strip, height - top) // down)):
            for _ in range(-(-width // across)):
                for _ in range(across * down):
                    value = (value * 29 + 13) & 255
                    piece.append(value)
                piece += b'\x80\x80' if grey else bytes((value ^ 0x35, value ^ 0xc2))
        pieces.append(bytes(piece))
    return pieces


def ycbcr_file(width, height, across, down, rows_per_strip, grey, compress='none', **options):
    pieces = [tiff_files.compressed(compress, [piece]) for piece in ycbcr_pieces(
        width, height, across, down, rows_per_strip, grey)]
    return assembled({
        256: (LONG, [width]), 257: (LONG, [height]), 258: (SHORT, [8, 8, 8]),
        259: (SHORT, [tiff_files.COMPRESSIONS[compress]]), 262: (SHORT, [YCBCR]),
        277: (SHORT, [3]), 278: (LONG, [rows_per_strip]), 530: (SHORT, [across, down]),
        532: (5, [0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1])}, pieces, **options)


def luminance(checker):
    for across, down in ((1, 1), (2, 1), (1, 2), (2, 2), (4, 1), (4, 2), (4, 4)):
        for compress in ('none', 'LZW', 'Deflate'):
            for rows in (8, 32):
                data = ycbcr_file(22, 19, across, down, rows, False, compress)
                expected = answer(seen_by_pillow(tool(data, 'tiff2rgba', '-c', 'none')))
                checker.answers('YCbCr %dx%d, %s, strips of %d' % (across, down, compress, rows),
                                data, expected)
    for orientation in range(1, 9):
        data = ycbcr_file(16, 3, 1, 1, 2, True)
        stored = b''.join(ycbcr_pieces(16, 3, 1, 1, 2, True))[::3]
        rows = [[bytes((v, v, v, 255)) for v in stored[16 * y:16 * y + 16]] for y in range(3)]
        with tempfile.NamedTemporaryFile(suffix='.tif') as file:
            file.write(data)
            file.flush()
            subprocess.run(('tiffset', '-s', '274', str(orientation), file.name), check=True)
            turned = pathlib.Path(file.name).read_bytes()
        checker.answers('YCbCr without colour, orientation %d' % orientation, turned,
                        answer(rows, orientation))


def jpeg(checker):
    for photometric, option in ((RGB, 'jpeg:90'), (RGB, 'jpeg:80:r'), (MIN_IS_BLACK, 'jpeg:75')):
        for layout in (('-s', '-r', '48'), ('-s', '-r', '16'), ('-t', '-w', '32', '-l', '32'),
                       ('-s', '-r', '16', '-p', 'separate')):
            planar = 'separate' in layout
            if option == 'jpeg:90' and planar:
                continue
            picture = Picture(70, 50, photometric, 8)
            data = tool(picture.file(planar=planar), 'tiffcp', '-c', option, *layout)
            checker.answers('%s, photometric %d, %s' % (option, photometric, layout), data,
                            answer(seen_by_pillow(data)))
    inks = Picture(70, 50, CMYK, 8)
    data = tool(inks.file(), 'tiffcp', '-c', 'jpeg:90', '-r', '16')
    seen = list(Image.open(io.BytesIO(data)).getdata())
    inks.rows = [seen[70 * y:70 * y + 70] for y in range(50)]
    checker.answers('JPEG of inks', data, answer(inks.pixels()))
    for sampling in ('1x1', '2x1', '2x2'):
        picture = encoded(ppm(64, 48), '-sample', sampling)
        across, down = (int(side) for side in sampling.split('x'))
        shared = {256: (LONG, [64]), 257: (LONG, [48]), 258: (SHORT, [8] * 3),
                  262: (SHORT, [YCBCR]), 277: (SHORT, [3]), 278: (LONG, [48]),
                  530: (SHORT, [across, down])}
        data = assembled({**shared, 259: (SHORT, [7])}, [picture])
        checker.answers('a whole JPEG in a strip, ' + sampling, data,
                        answer(seen_by_pillow(data)))
        old = assembled({**shared, 259: (SHORT, [6]), 513: (LONG, [8]),
                         514: (LONG, [len(picture)])}, [picture])
        checker.answers('a JPEG in an old-style TIFF, ' + sampling, old,
                        answer(seen_by_pillow(old)))
        checker.rejects('a JPEG of fewer rows than its strip', assembled(
            {**shared, 259: (SHORT, [7]), 257: (LONG, [56]), 278: (LONG, [56])}, [picture]))
        for cut in (200, len(picture) // 2, len(picture) - 2):
            checker.rejects('a JPEG cut after %d bytes, %s' % (cut, sampling), assembled(
                {**shared, 259: (SHORT, [7])}, [picture[:cut]]))


def orientations(checker):
    for kind, options in (('RGB', {}), ('grey with alpha', {'tile': (16, 16)}),
                          ('palette', {'planar': True}), ('CMYK', {'planar': True, 'order': '>'})):
        photometric, extra = KINDS[kind]
        for orientation in range(1, 9):
            picture = Picture(23, 14, photometric, 8, extra, seed=orientation)
            checker.answers('orientation %d, %s' % (orientation, kind),
                            picture.file(orientation=orientation, **options),
                            answer(picture.pixels(), orientation))
    picture = Picture(23, 14, RGB, 8)
    for orientation in (0, 9, 65535):
        checker.answers('orientation %d is upright' % orientation,
                        picture.file(orientation=orientation), answer(picture.pixels()))
    for kind in (BYTE, LONG):
        for order in '<>':
            for big in (False, True):
                checker.answers('orientation as a number of type %d, %s, %s' % (kind, order, big),
                                picture.file(order=order, big=big, more={274: (kind, [6])}),
                                answer(picture.pixels(), 6))


def colours(checker):
    for photometric, make in ((RGB, tags.rgb_profile), (MIN_IS_BLACK, tags.grey_profile)):
        picture = Picture(12, 9, photometric, 8)
        expected = answer(picture.pixels())
        same, other = make(tags.SRGB_CURVE), make(tags.gamma_curve(1.8))
        checker.answers('a profile of sRGB, photometric %d' % photometric,
                        picture.file(more={34675: (UNDEFINED, same)}), expected)
        checker.answers_otherwise('another profile, photometric %d' % photometric, picture.file(
            more={34675: (UNDEFINED, other)}, order='>', big=True), expected)
        checker.answers('a profile cut short is as none, photometric %d' % photometric,
                        picture.file(more={34675: (UNDEFINED, AtOffset(len(other), 60))}),
                        expected)
    checker.rejects('inks of another kind', Picture(9, 9, CMYK, 8).file(more={332: (SHORT, [2])}))
    for photometric in (4, 8, 9, 10, 32803, 32844, 34892):
        checker.rejects('photometric %d' % photometric,
                        Picture(9, 9, RGB, 8).file(more={262: (SHORT, [photometric])}))


def damage(checker):
    picture = Picture(31, 29, RGB, 8)
    for options in ({}, {'early': True}, {'compression': 'LZW', 'early': True},
                    {'compression': 'PackBits', 'early': True, 'rows_per_strip': 5},
                    {'compression': 'Deflate', 'early': True}, {'early': True, 'planar': True},
                    {'compression': 'LZMA', 'early': True}, {'tile': (16, 16), 'early': True},
                    {'early': True, 'big': True, 'rows_per_strip': 3}):
        whole = picture.file(**options)
        checker.answers('%s, whole' % options, whole, answer(picture.pixels()))
        last = len(whole) - (4 if options else 8)
        for length in (*range(0, last, max(1, len(whole) // 23)), last):
            checker.rejects('%s, cut after %d of %d bytes' % (options, length, len(whole)),
                            whole[:length])
    bilevel = Picture(200, 60, MIN_IS_WHITE, 1)
    for compression in ('g3:1d', 'g3:2d', 'g4', 'jbig', 'zstd', 'webp'):
        plain = bilevel if compression != 'webp' else picture
        whole = tool(plain.file(), 'tiffcp', '-c', compression, '-s', '-r', str(plain.height))
        offset, count = (find_tag(whole, tag) for tag in (273, 279))
        begin = int.from_bytes(whole[offset:offset + 4], 'little')
        length = int.from_bytes(whole[count:count + 4], 'little')
        for cut in (0, 1, length // 3, length // 2):
            shorter = whole[:count] + struct.pack('<I', cut) + whole[count + 4:]
            checker.rejects('%s of %d from %d bytes' % (compression, cut, length), shorter)
            # The pixels of that compression can be anything.
            if compression != 'webp':
                zeros = whole[:begin + cut] + bytes(length - cut) + whole[begin + length:]
                checker.rejects('%s overwritten after %d bytes' % (compression, cut), zeros)
    checksum = picture.file(compression='Deflate')
    end = checksum.index(struct.pack('<HHI', 256, LONG, 1)) - 2
    checksum = checksum[:end - 2] + bytes(2) + checksum[end:]
    checker.rejects('a wrong checksum of the compressed data', checksum)


def find_tag(data, tag):
    """Where the value of a little-endian classic file's tag stands."""
    directory, = struct.unpack_from('<I', data, 4)
    count, = struct.unpack_from('<H', data, directory)
    for i in range(count):
        if struct.unpack_from('<H', data, directory + 2 + 12 * i)[0] == tag:
            return directory + 2 + 12 * i + 8
    raise ValueError(tag)


def directories(checker):
    picture = Picture(20, 10, RGB, 8)
    expected = answer(picture.pixels())
    first = picture.file(early=True, after=8)
    checker.answers('a cycle of directories', first, expected)
    chain = b''.join(struct.pack('<HHHIII', 1, 254, LONG, 1, 0, len(first) + 18 * (i + 1))
                     for i in range(1_000_000))
    checker.answers_within_memory('a million directories after the first',
                                  picture.file(early=True, after=len(first)) + chain, expected, 16)
    pages = [Picture(10 + i, 7, MIN_IS_BLACK, 8, seed=i) for i in range(2)]
    head = pages[0].file(early=True)
    checker.answers('of two pictures the first one counts', pages[0].file(
        early=True, after=len(head)) + pages[1].file()[8:], answer(pages[0].pixels()))
    checker.answers('a directory of previews is not followed',
                    picture.file(more={330: (LONG, [8]), 34665: (LONG, [8]), 254: (LONG, [0])}),
                    expected)
    checker.answers('of two entries of one tag the first counts', twice(picture), expected)
    many = {tag: (LONG, [tag]) for tag in range(40_000, 50_000)}
    checker.answers('ten thousand tags', picture.file(more=many), expected)
    for offset in (0, 1, 7, 5000, 2**31, 2**32 - 1):
        checker.rejects('a directory at %d' % offset,
                        b'II*\0' + struct.pack('<I', offset) + bytes(2000))
    checker.rejects('a directory of nothing', b'II*\0\x08\0\0\0' + bytes(2000))
    checker.rejects('a big directory of more entries than there can be',
                    b'II+\0\x08\0\0\0' + struct.pack('<QQ', 16, 2**61) + bytes(2000))
    checker.rejects("a camera's raw file", picture.file(more={50706: (1, [1, 4, 0, 0])}))
    checker.rejects('a preview with the picture in a directory below',
                    picture.file(more={254: (LONG, [1]), 330: (LONG, [8])}))


def twice(picture):
    """The file with a second width in its directory instead of its orientation."""
    data = bytearray(picture.file(orientation=1))
    offset = find_tag(data, 274) - 8
    data[offset:offset + 12] = struct.pack('<HHII', 256, LONG, 1, 3)
    return bytes(data)


def strips(checker):
    column = Picture(1, 1_000_000, MIN_IS_BLACK, 8)
    column.rows = [((row * 7 & 255,),) for row in range(column.height)]
    data = column.file(rows_per_strip=1)
    pixels = b''.join(bytes((row[0][0],)) * 3 + b'\xff' for row in column.rows)
    digest = hashlib.sha256(b'1x1000000:rgba8-srgb:' + pixels).hexdigest()
    checker.answers_within_memory('a million strips', data, digest + ' 1 1000000\n', 96)
    picture = Picture(40, 30, RGB, 8)
    for count in (10**6, 10**8, 2**32 - 1):
        for tag in (273, 279):
            checker.rejects('tag %d of %d strips that are not there' % (tag, count), picture.file(
                more={278: (LONG, [1])}, rows_per_strip=1)[:0] + with_tag(picture, tag, count))
    for compression in ('LZW', 'Deflate'):
        for length in (0, 1, 10**6, 2**31, 2**32 - 1):
            checker.rejects('%s in a strip that is said to have %d bytes' % (compression, length),
                            picture.file(compression=compression, more={279: (LONG, [length])}))
    for length in (0, 1, 10**6, 2**32 - 1):
        checker.answers('a plain strip that is said to have %d bytes' % length,
                        picture.file(more={279: (LONG, [length])}), answer(picture.pixels()))
    checker.answers('plain strips that are said to be too short', picture.file(
        rows_per_strip=10, more={279: (LONG, [1200, 700, 1])}), answer(picture.pixels()))
    for missing in ([1200, 1200], [1200, 0, 1200]):
        checker.rejects('strips of %s bytes' % missing, picture.file(
            rows_per_strip=10, compression='PackBits', more={279: (LONG, missing)}))


def with_tag(picture, tag, count):
    """The file saying that a tag has so many values, after its end."""
    data = bytearray(picture.file(rows_per_strip=1))
    offset = find_tag(data, tag)
    data[offset - 4:offset + 4] = struct.pack('<II', count, len(data) - 8)
    return bytes(data)


def with_zeros(first, count):
    """The file and `count` MiB of zeros after it."""
    yield first
    for _ in range(count):
        yield bytes(1 << 20)


def much_else(checker):
    picture = Picture(20, 10, RGB, 8)
    expected = answer(picture.pixels())
    first = picture.file(early=True, compression='LZW')
    checker.answers_within_memory('2 GiB after the picture', with_zeros(first, 2048), expected, 16)
    plain = picture.file(early=True)
    checker.answers_within_memory('2 GiB after a plain picture', with_zeros(plain, 2048), expected, 16)
    for name, tag, count in (('a profile', 34675, 200_000_000), ('layers', 37724, 300_000_000),
                             ('a paper', 700, 50_000_000), ('compression tables', 347, 10**8)):
        first = picture.file(early=True, more={tag: (UNDEFINED, AtOffset(count, 4000))})
        checker.answers_within_memory('%s of %d MB is skipped' % (name, count // 10**6),
                                      with_zeros(first.ljust(4000, b'\0'), count >> 20), expected, 16)


def sizes(checker):
    for width, height in ((0, 5), (5, 0), (8000, 8000), (65536, 65536), (60_000_001, 1),
                          (1, 60_000_001), (2**32 - 1, 2**32 - 1), (2**32 - 1, 1)):
        for options in ({}, {'tile': (16, 16)}, {'planar': True}):
            data = Picture(4, 4, RGB, 8).file(more={256: (LONG, [width]), 257: (LONG, [height])},
                                              **options)
            checker.rejects('%dx%d, %s' % (width, height, options), data)
    for width, height in ((7500, 8000), (60_000_000, 1), (1, 60_000_000)):
        line = bytes((0b10110010,)) * (width // 8 + 1)
        data = tiff_files.compressed('Deflate', [line[:-(-width // 8)] * height])
        tags_of = {256: (LONG, [width]), 257: (LONG, [height]), 258: (SHORT, [1]),
                   259: (SHORT, [8]), 262: (SHORT, [1]), 277: (SHORT, [1])}
        bits = ''.join(format(byte, '08b') for byte in line[:1])
        pixels = b''.join(premultiplied(*(255 * int(bit),) * 3, 255) for bit in bits)
        checker.answers('%dx%d is exactly the budget' % (width, height),
                        assembled(tags_of, [data]), '%s %d %d\n' % (uniform_digest(
                            width, height, (pixels * len(line))[:4 * width]), width, height),
                        LONG_TIMEOUT if width == 1 else None)
    huge = Picture(4, 4, RGB, 8)
    for tile in ((2**31, 16), (16, 2**31), (65536, 65536), (0, 16), (16, 0), (4, 4), (3, 3)):
        shape = {322: (LONG, [tile[0]]), 323: (LONG, [tile[1]])}
        if tile == (4, 4):
            checker.answers('a tile of the picture', huge.file(tile=tile), answer(huge.pixels()))
        else:
            checker.rejects('tiles of %dx%d' % tile, huge.file(tile=(16, 16), more=shape))


def declared_sizes(checker):
    """A few hundred bytes that declare gigabytes of samples."""
    fax = {256: (LONG, [4000]), 257: (LONG, [4000]), 258: (SHORT, [1]), 259: (SHORT, [4]),
           262: (SHORT, [0]), 278: (LONG, [4000])}
    checker.costs('a fax of 65,535 samples a pixel', assembled(
        {**fax, 277: (SHORT, [65_535])}, [b'\xff' * 600]), 32, 1)
    wide = {256: (LONG, [7488]), 257: (LONG, [8000]), 258: (SHORT, [16] * 4), 259: (SHORT, [1]),
            262: (SHORT, [2]), 277: (SHORT, [4]), 338: (SHORT, [2])}
    whole = 7488 * 8000 * 8
    checker.costs('one tile of 479 MB, cut', assembled(
        {**wide, 322: (LONG, [7488]), 323: (LONG, [8000]), 325: (LONG, [whole])}, [bytes(100)],
        pieces_tags=(324, 325)), 64, 1)
    checker.costs('one strip of 479 MB, cut', assembled(
        {**wide, 278: (LONG, [8000]), 279: (LONG, [whole])}, [bytes(100)]), 64, 1)
    for count in (1 << 24, (1 << 24) + 1, 60_000_000):
        checker.costs('%d strips, cut' % count, with_tag(Picture(40, 30, RGB, 8), 273, count), 64, 1)
    dozen = Picture(40, 30, MIN_IS_BLACK, 8, (UNSPECIFIED,) * 31)
    checker.answers('32 samples a pixel', dozen.file(), answer(dozen.pixels()))
    more = Picture(40, 30, MIN_IS_BLACK, 8, (UNSPECIFIED,) * 32)
    checker.rejects('33 samples a pixel', more.file())
    for bits in (1, 3, 7, 12, 16, 24, 32):
        spectrum = Picture(37, 5, MIN_IS_BLACK, bits, (UNSPECIFIED,) * 9)
        checker.answers('ten samples of %d bits a pixel' % bits, spectrum.file(),
                        answer(spectrum.pixels()))


CASES = (every_form, odd_depths, long_samples, compressions, compressions_by_tools,
         seen_by_another, alpha, palettes, luminance, jpeg, orientations, colours, damage,
         directories, strips, much_else, sizes, declared_sizes)
