"""TIFF files made by hand, of pixels that are known."""

import itertools
import lzma
import random
import struct
import zlib

from reference import premultiplied
from runs import equal_values

MIN_IS_WHITE, MIN_IS_BLACK, RGB, PALETTE, _, CMYK, YCBCR = range(7)
COLOURS = {MIN_IS_WHITE: 1, MIN_IS_BLACK: 1, RGB: 3, PALETTE: 1, CMYK: 4}
UNSPECIFIED, ASSOCIATED, UNASSOCIATED = range(3)

# Names of compressions and their numbers; those that are made here.
COMPRESSIONS = {'none': 1, 'LZW': 5, 'old LZW': 5, 'Adobe Deflate': 8, 'PackBits': 32773,
                'Deflate': 32946, 'LZMA': 34925}

BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, LONG8 = 1, 2, 3, 4, 5, 7, 16
LETTERS = {BYTE: 'B', ASCII: 'B', SHORT: 'H', LONG: 'I', RATIONAL: 'I', UNDEFINED: 'B', LONG8: 'Q'}
LENGTHS = {BYTE: 1, ASCII: 1, SHORT: 2, LONG: 4, RATIONAL: 8, UNDEFINED: 1, LONG8: 8}

REVERSED = bytes(int(format(i, '08b')[::-1], 2) for i in range(256))


def packed_bits(values, bits, order):
    """Samples side by side: whole bytes in the file's byte order, others from the highest bit."""
    if bits == 8:
        return bytes(values)
    if bits == 24:
        return b''.join(value.to_bytes(3, 'little' if order == '<' else 'big') for value in values)
    if bits in (16, 32):
        return struct.pack('%s%d%s' % (order, len(values), {16: 'H', 32: 'I'}[bits]), *values)
    text = ''.join(format(value, '0%db' % bits) for value in values)
    text += '0' * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, 'big') if text else b''


def pack_bits(data):
    out, at = bytearray(), 0
    while at < len(data):
        run = equal_values(data, at)
        if run > 1:
            out += bytes((257 - run, data[at]))
            at += run
            continue
        end = at + 1
        while end < len(data) and end - at < 128 and data[end] != data[end - 1]:
            end += 1
        out += bytes((end - at - 1,)) + data[at:end]
        at = end
    return bytes(out)


def lzw(data, old=False):
    """The table grows a code earlier than it must, except in the old style, which begins each byte
    with its lowest bit."""
    codes, width, bits = [], 9, []
    table = {bytes((i,)): i for i in range(256)}
    early = 0 if old else 1

    def put(code):
        text = format(code, '0%db' % width)
        codes.append(text[::-1] if old else text)

    put(256)
    following, known = 258, b''
    for byte in data:
        longer = known + bytes((byte,))
        if longer in table:
            known = longer
            continue
        put(table[known])
        table[longer] = following
        following += 1
        if following + early > (1 << width):
            width += 1
        if following == 4094:
            put(256)
            table = {bytes((i,)): i for i in range(256)}
            following, width = 258, 9
        known = bytes((byte,))
    if known:
        put(table[known])
        following += 1
        if following + early > (1 << width) and width < 12:
            width += 1
    put(257)
    text = ''.join(codes)
    text += '0' * (-len(text) % 8)
    bits = [text[i:i + 8] for i in range(0, len(text), 8)]
    return bytes(int(byte[::-1] if old else byte, 2) for byte in bits)


def compressed(name, rows):
    """`rows`: the packed rows of one strip or tile."""
    data = b''.join(rows)
    return {
        'none': lambda: data,
        'PackBits': lambda: b''.join(pack_bits(row) for row in rows),
        'LZW': lambda: lzw(data),
        'old LZW': lambda: lzw(data, old=True),
        'Deflate': lambda: zlib.compress(data),
        'Adobe Deflate': lambda: zlib.compress(data),
        'LZMA': lambda: lzma.compress(data),
    }[name]()


class AtOffset:
    """The values of a tag that are said to lie at an offset."""

    def __init__(self, count, offset):
        self.count, self.offset = count, offset


def packed_values(kind, content, order):
    """The values of a tag; what stands there as bytes already is taken as it is."""
    if isinstance(content, bytes):
        return content
    return struct.pack('%s%d%s' % (order, len(content), LETTERS[kind]), *content)


def directory(tags, offset, order, big, after):
    """The directory at `offset`, and its values after it."""
    count_form, entry_form, offset_form = ('Q', 'HHQ', 'Q') if big else ('H', 'HHI', 'I')
    value_size = struct.calcsize(order + offset_form)
    values_begin = (offset + struct.calcsize(order + count_form) + value_size +
                    len(tags) * (struct.calcsize(order + entry_form) + value_size))
    entries, values = b'', b''
    for tag, (kind, content) in sorted(tags.items()):
        if isinstance(content, AtOffset):
            count, value = content.count, struct.pack(order + offset_form, content.offset)
        else:
            data = packed_values(kind, content, order)
            count, value = len(data) // LENGTHS[kind], data.ljust(value_size, b'\0')
            if len(data) > value_size:
                values += bytes((values_begin + len(values)) % 2)
                value = struct.pack(order + offset_form, values_begin + len(values))
                values += data
        entries += struct.pack(order + entry_form, tag, kind, count) + value
    return (struct.pack(order + count_form, len(tags)) + entries +
            struct.pack(order + offset_form, after) + values)


def with_pieces(tags, pieces, begin, big, pieces_tags):
    """The tags, and those of the pieces, the first of which lies at `begin`. Lengths that `tags`
    has are kept, whatever the pieces are."""
    kind, lengths = LONG8 if big else LONG, [len(piece) for piece in pieces]
    offsets = list(itertools.accumulate(lengths, initial=begin))[:-1]
    offsets_tag, lengths_tag = pieces_tags
    return {lengths_tag: (kind, lengths), **tags, offsets_tag: (kind, offsets)}


def assembled(tags, pieces, order='<', big=False, early=False, pieces_tags=(273, 279), after=0):
    """The whole file. `tags`: number to (type, values); `early` sets the directory before the
    pieces; `after` is where a next directory is said to lie."""
    def directory_at(offset, pieces_begin):
        return directory(with_pieces(tags, pieces, pieces_begin, big, pieces_tags), offset, order,
                         big, after)

    header = 16 if big else 8
    data = b''.join(pieces)
    if early:
        length = len(directory_at(header, 0))
        body, offset = directory_at(header, header + length) + data, header
    else:
        offset = header + len(data) + len(data) % 2
        body = data + bytes(len(data) % 2) + directory_at(offset, header)
    mark = b'II' if order == '<' else b'MM'
    if big:
        return mark + struct.pack(order + 'HHHQ', 43, 8, 0, offset) + body
    return mark + struct.pack(order + 'HI', 42, offset) + body


class Picture:
    """Random samples, and the pixels that they mean. `extra`: what is said of the samples beyond
    the colours; None says nothing, and `samples` tells how many there are."""

    def __init__(self, width, height, photometric, bits, extra=(), samples=None, seed=0):
        self.width, self.height = width, height
        self.photometric, self.bits, self.extra = photometric, bits, extra
        self.samples = samples or COLOURS[photometric] + len(extra)
        self.max_value = (1 << bits) - 1
        self.full = 65535 if bits > 8 else 255
        chance = random.Random('%s' % ((width, height, photometric, bits, extra, seed),))
        colours = COLOURS[photometric]
        self.rows = []
        for _ in range(height):
            row, last = [], None
            for _ in range(width):
                if last is None or chance.random() < 0.6:
                    last = [chance.randint(0, self.max_value) for _ in range(self.samples)]
                    if extra and extra[0] == ASSOCIATED:
                        for i in range(colours):
                            last[i] = chance.randint(0, last[colours])
                row.append(tuple(last))
            self.rows.append(row)
        self.palette = [tuple(chance.randint(0, 255) * 257 for _ in range(3))
                        for _ in range(1 << bits)] if photometric == PALETTE else None

    def scaled(self, value):
        """A sample at its new depth, 8 or 16 bits."""
        return (value * self.full + self.max_value // 2) // self.max_value

    def eight(self, value):
        return value if self.full == 255 else (value * 255 + 32767) // 65535

    def straight(self, colour, alpha):
        return min(self.full, (colour * self.full + alpha // 2) // alpha) if alpha else 0

    def alpha_kind(self):
        if self.photometric == CMYK:
            return None
        if self.extra is None:
            return UNASSOCIATED if (self.photometric, self.samples) == (RGB, 4) else None
        return self.extra[0] if self.extra else None

    def pixel(self, samples):
        colours = COLOURS[self.photometric]
        kind = self.alpha_kind()
        alpha = self.full
        colour = [self.scaled(c) for c in samples[:colours]]
        if kind in (ASSOCIATED, UNASSOCIATED):
            alpha = self.scaled(samples[colours])
        if kind == ASSOCIATED:
            colour = [self.straight(c, alpha) for c in colour]
        if self.photometric == MIN_IS_WHITE:
            colour = [self.full - c for c in colour]
        colour = [self.eight(c) for c in colour]
        if self.photometric == PALETTE:
            colour = [(c * 255 + 32767) // 65535 for c in self.palette[samples[0]]]
        elif self.photometric == CMYK:
            paper = 255 - colour[3]
            colour = [(paper * (255 - c) + 127) // 255 for c in colour[:3]]
        return premultiplied(*(colour[i % len(colour)] for i in range(3)), self.eight(alpha))

    def pixels(self):
        return [[self.pixel(samples) for samples in row] for row in self.rows]

    def packed_row(self, y, first, count, sample, order, predictor):
        """`count` pixels of a row, `sample` of each or all; beyond the picture there are zeros."""
        row = self.rows[y][first:first + count] if y < self.height else []
        row = list(row) + [(0,) * self.samples] * (count - len(row))
        if sample is not None:
            row = [(pixel[sample],) for pixel in row]
        if predictor == 2:
            row = row[:1] + [tuple((a - b) & self.max_value for a, b in zip(pixel, before))
                             for before, pixel in zip(row, row[1:])]
        return packed_bits([value for pixel in row for value in pixel], self.bits, order)

    def pieces(self, compression, order, rows_per_strip, tile, planar, fill_order, predictor):
        width, length = tile or (self.width, rows_per_strip)
        pieces = []
        for sample in range(self.samples) if planar else (None,):
            for top in range(0, self.height, length):
                rows = range(top, top + length if tile else min(top + length, self.height))
                for left in range(0, self.width, width):
                    piece = compressed(compression, [
                        self.packed_row(y, left, width, sample, order, predictor) for y in rows])
                    pieces.append(piece.translate(REVERSED) if fill_order == 2 else piece)
        return pieces

    def tags(self, compression, rows_per_strip, tile, planar, fill_order, predictor,
             orientation):
        tags = {256: (LONG, [self.width]), 257: (LONG, [self.height]),
                258: (SHORT, [self.bits] * self.samples),
                259: (SHORT, [COMPRESSIONS[compression]]), 262: (SHORT, [self.photometric]),
                277: (SHORT, [self.samples])}
        if self.extra:
            tags[338] = (SHORT, list(self.extra))
        if fill_order != 1:
            tags[266] = (SHORT, [fill_order])
        if predictor != 1:
            tags[317] = (SHORT, [predictor])
        if orientation is not None:
            tags[274] = (SHORT, [orientation])
        if planar:
            tags[284] = (SHORT, [2])
        if tile:
            tags.update({322: (LONG, [tile[0]]), 323: (LONG, [tile[1]])})
        else:
            tags[278] = (LONG, [rows_per_strip])
        if self.palette:
            tags[320] = (SHORT, [colour[i] for i in range(3) for colour in self.palette])
        return tags

    def file(self, compression='none', order='<', big=False, early=False, rows_per_strip=None,
             tile=None, planar=False, fill_order=1, predictor=1, orientation=None, more=None,
             after=0):
        rows_per_strip = rows_per_strip or self.height
        tags = self.tags(compression, rows_per_strip, tile, planar, fill_order, predictor,
                         orientation)
        tags.update(more or {})
        pieces = self.pieces(compression, order, rows_per_strip, tile, planar, fill_order,
                             predictor)
        return assembled(tags, pieces, order, big, early, (324, 325) if tile else (273, 279),
                         after)
