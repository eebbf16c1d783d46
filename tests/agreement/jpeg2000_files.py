"""JPEG 2000 files made and read by the standard tools (opj_compress, opj_decompress), and their boxes
changed."""

import struct

from samples import from_png, through_tool

BOXED, BARE = '.jp2', '.j2k'
SRGB, GREY, YCC, INKS = 16, 17, 18, 12


def encoded(source, kind, *options, suffix='.png'):
    return through_tool(source, suffix, kind, lambda source, result:
                        ('opj_compress', '-i', source, '-o', result, *options))


def decoded(picture, kind):
    return from_png(through_tool(picture, kind, '.png', lambda source, result:
                                 ('opj_decompress', '-i', source, '-o', result)))


def raw(planes, width, height, bits, sign='u', steps='1x1'):
    """Arguments and bytes of planes of samples, one after the other."""
    size = 'B' if bits <= 8 else 'H'
    values = [value for plane in planes for value in plane]
    form = '>%d%s' % (len(values), size.lower() if sign == 's' else size)
    return struct.pack(form, *values), ('-F', '%d,%d,%d,%d,%s@%s' % (
        width, height, len(planes), bits, sign, steps))


def box(name, body):
    return struct.pack('>I', len(body) + 8) + name + body


def with_colour(jp2, colr, *boxes):
    """Telling its colours in another way, and with further boxes after that."""
    head = jp2.index(b'jp2h') - 4
    offset = jp2.index(b'colr') - 4
    size = struct.unpack_from('>I', jp2, offset)[0]
    new = box(b'colr', colr) + b''.join(boxes)
    whole = struct.unpack_from('>I', jp2, head)[0] + len(new) - size
    return (jp2[:head] + struct.pack('>I', whole) + jp2[head + 4:offset] + new +
            jp2[offset + size:])


def tile_parts(picture):
    """Where each tile-part begins and ends."""
    offset = picture.index(b'\xff\x90\0\x0a')
    parts = []
    while picture[offset:offset + 2] == b'\xff\x90':
        length = struct.unpack_from('>I', picture, offset + 6)[0]
        parts.append((offset, offset + length))
        offset += length
    return parts


def named(space):
    return b'\1\0\0' + struct.pack('>I', space)


def profiled(profile):
    return b'\2\0\0' + profile


def palette(entries):
    """Three columns of 8 bits, for the one component."""
    table = b''.join(bytes(entry) for entry in entries)
    return (box(b'pclr', struct.pack('>HB', len(entries), 3) + b'\7\7\7' + table),
            box(b'cmap', b''.join(struct.pack('>HBB', 0, 1, column) for column in range(3))))


def segment(marker, body):
    return struct.pack('>HH', marker, len(body) + 2) + body


def exponent(value):
    return value.bit_length() - 1


def coding(levels=0, layers=1, block=(64, 64), precincts=()):
    """How channels are coded; `precincts` are their sides, the lowest resolution's first."""
    return segment(0xff52, struct.pack(
        '>BBHBBBBBB', 1 if precincts else 0, 0, layers, 0, levels, exponent(block[0]) - 2,
        exponent(block[1]) - 2, 0, 1) + bytes(17 * exponent(side) for side in precincts))


def codestream(size, channels=1, tile=None, data=b'', tiles=1, levels=0, **settings):
    """A bare codestream whose tiles all have the same data. A packet without anything in it is one
    byte, 0: a picture of these alone is grey."""
    head = b'\xff\x4f' + segment(0xff51, struct.pack(
        '>HIIIIIIIIH', 0, *size, 0, 0, *(tile or size), 0, 0, channels) + b'\7\1\1' * channels)
    head += coding(levels, **settings) + segment(0xff5c, b'\x40' + b'\x40' * (3 * levels + 1))
    parts = b''.join(b'\xff\x90' + struct.pack('>HHIBB', 10, index, 14 + len(data), 0, 1) +
                     b'\xff\x93' + data for index in range(tiles))
    return head + parts + b'\xff\xd9'
