"""GIF files written block by block, so that every pixel in them is known."""

import struct

TRAILER = b';'
BIGGEST_CODE = 4095
INTERLACE = ((0, 8), (4, 8), (2, 4), (1, 2))


class CodeStream:
    """LZW codes packed into bits. The codes grow as the reader's table does, which lags one entry
    behind: it learns nothing from the first code after a clear code."""

    def __init__(self, code_size):
        self.clear_code = 1 << code_size
        self.end_code = self.clear_code + 1
        self.bits = self.count = 0
        self.data = bytearray()
        self.restart()

    def restart(self):
        self.width = self.clear_code.bit_length()
        self.known = self.end_code

    def put(self, code):
        self.bits |= code << self.count
        self.count += self.width
        whole = self.count // 8
        self.data += (self.bits & ((1 << 8 * whole) - 1)).to_bytes(whole, 'little')
        self.bits >>= 8 * whole
        self.count -= 8 * whole
        if code == self.clear_code:
            self.restart()
        elif self.known < BIGGEST_CODE:
            self.known += 1
            if self.known >> self.width and self.width < 12:
                self.width += 1

    def finish(self):
        self.put(self.end_code)
        return bytes(self.data) + bytes((self.bits,)) * (self.count > 0)


def lzw(indices, code_size, clear_every=0, keep_full_table=False, first_clear=True):
    """The indices as LZW codes: with a clear code every so many codes, and one whenever the table
    is full, unless that is kept to the end."""
    stream = CodeStream(code_size)
    if first_clear:
        stream.put(stream.clear_code)
    first = stream.end_code + 1
    table, codes, current = {}, 0, None
    for index in indices:
        longer = index if current is None else table.get((current, index))
        if longer is not None:
            current = longer
            continue
        stream.put(current)
        codes += 1
        if len(table) + first <= BIGGEST_CODE:
            table[current, index] = first + len(table)
        current = index
        full = len(table) + first > BIGGEST_CODE and not keep_full_table
        if full or clear_every and codes % clear_every == 0:
            stream.put(stream.clear_code)
            table.clear()
    if current is not None:
        stream.put(current)
    return stream.finish()


def even_lzw(count, code_size, index=0):
    """`count` times the same index, without a look at each."""
    stream = CodeStream(code_size)
    while count:
        stream.put(stream.clear_code)
        length, code = 1, index
        while count and code <= BIGGEST_CODE:
            if length > count:
                length, code = 1, index
            stream.put(code)
            count -= length
            length += 1
            code = stream.end_code + length - 1
    return stream.finish()


def blocks(data, size=255):
    """Sub-blocks and the empty one that ends them."""
    parts = [data[i:i + size] for i in range(0, len(data), size)]
    return b''.join(bytes((len(part),)) + part for part in parts) + b'\0'


def extension(label, data, size=255):
    return b'!' + bytes((label,)) + blocks(data, size)


def control(transparent=None, disposal=0):
    flags = disposal << 2 | (transparent is not None)
    return extension(0xf9, struct.pack('<BHB', flags, 5, transparent or 0))


def comment(text=b'made by hand'):
    return extension(0xfe, text)


def map_bits(colours):
    """The size of a colour map as its flags say it."""
    return max(1, (len(colours) - 1).bit_length()) - 1


def map_bytes(colours):
    missing = (2 << map_bits(colours)) - len(colours)
    return b''.join(bytes(colour) for colour in colours) + bytes(3 * missing)


def screen(width, height, colours=None, version=b'89a', background=0):
    """The beginning of a file: its logical screen and global colour map."""
    flags = 0x80 | map_bits(colours) if colours else 0
    head = b'GIF' + version + struct.pack('<HHBBB', width, height, flags, background, 0)
    return head + (map_bytes(colours) if colours else b'')


def descriptor(x, y, width, height, colours=None, interlaced=False):
    flags = (0x80 | map_bits(colours) if colours else 0) | 0x40 * interlaced
    return (b',' + struct.pack('<HHHHB', x, y, width, height, flags) +
            (map_bytes(colours) if colours else b''))


def image(rows, x=0, y=0, colours=None, interlaced=False, code_size=None, block=255, **options):
    """An image descriptor, its local colour map and its data."""
    top = max(max(row) for row in rows)
    code_size = code_size or max(2, top.bit_length())
    order = range(len(rows))
    if interlaced:
        order = [i for first, step in INTERLACE for i in range(first, len(rows), step)]
    data = lzw((index for i in order for index in rows[i]), code_size, **options)
    return (descriptor(x, y, len(rows[0]), len(rows), colours, interlaced) + bytes((code_size,)) +
            blocks(data, block))
