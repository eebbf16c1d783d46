"""WebP files: pictures compressed by the standard tool (cwebp), containers put together by hand."""

import io
import struct
import subprocess
import tempfile

from PIL import Image

from reference import premultiplied

ICC, ALPHA, EXIF, XMP, ANIMATION = 0x20, 0x10, 0x08, 0x04, 0x02


def pam(rows):
    """Rows of pixels of four straight bytes."""
    head = 'P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n'
    return (head % (len(rows[0]), len(rows))).encode() + b''.join(b''.join(row) for row in rows)


def encoded(picture, *options):
    """A PAM or PPM picture as a WebP file."""
    with tempfile.NamedTemporaryFile() as file:
        file.write(picture)
        file.flush()
        return subprocess.run(('cwebp', '-quiet') + options + ('-o', '-', '--', file.name),
                              stdout=subprocess.PIPE, check=True).stdout


def lossless(rows, *options):
    return encoded(pam(rows), '-lossless', '-exact', *options)


def straight(webp):
    """The rows that Pillow reads, of four straight bytes a pixel."""
    picture = Image.open(io.BytesIO(webp)).convert('RGBA')
    data, width = picture.tobytes(), picture.size[0]
    pixels = [data[i:i + 4] for i in range(0, len(data), 4)]
    return [pixels[i:i + width] for i in range(0, len(pixels), width)]


def decoded(webp):
    return finished(straight(webp))


def finished(rows):
    return [[premultiplied(*pixel) for pixel in row] for row in rows]


def chunk(name, data=b''):
    return name + struct.pack('<I', len(data)) + data + bytes(len(data) % 2)


def riff(*chunks):
    return chunk(b'RIFF', b'WEBP' + b''.join(chunks))


def u24(value):
    return struct.pack('<I', value)[:3]


def header(flags, width, height):
    """The chunk that begins an extended file."""
    return chunk(b'VP8X', struct.pack('<I', flags) + u24(width - 1) + u24(height - 1))


def chunks(webp):
    """The chunks of a file as they lie in it, after their names."""
    found, offset = [], 12
    while offset < len(webp):
        size = struct.unpack('<I', webp[offset + 4:offset + 8])[0]
        size += 8 + size % 2
        found.append((webp[offset:offset + 4], webp[offset:offset + size]))
        offset += size
    return found


def pixel_chunks(webp):
    """The chunks that the picture itself is made of."""
    return b''.join(data for name, data in chunks(webp) if name in (b'ALPH', b'VP8 ', b'VP8L'))


def frame(x, y, width, height, pixels, flags=0):
    return chunk(b'ANMF', u24(x // 2) + u24(y // 2) + u24(width - 1) + u24(height - 1) + u24(40) +
                 bytes((flags,)) + pixels)


def animation(background=0xff804020, loops=0):
    return chunk(b'ANIM', struct.pack('<IH', background, loops))


def even(width, height, red, green, blue, alpha):
    """A chunk of lossless pixels that are all the same: five codes of one symbol each."""
    bits, count = 0, 0
    fields = [(0x2f, 8), (width - 1, 14), (height - 1, 14), (alpha != 255, 1), (0, 3),
              (0, 3)]  # no transform, no cache, one group of codes
    for symbol in (green, red, blue, alpha):
        fields += [(0b101, 3), (symbol, 8)]
    fields += [(0b001, 3), (0, 1)]
    for value, width_in_bits in fields:
        bits |= int(value) << count
        count += width_in_bits
    return chunk(b'VP8L', bits.to_bytes(-(-count // 8), 'little'))


def filtered(plane, kind):
    """Rows of alpha as their difference to what one of the filters (0 to 3) expects."""
    def expected(x, y):
        if kind == 0 or x == y == 0:
            return 0
        left, above = plane[y][x - 1] if x else None, plane[y - 1][x] if y else None
        if left is None or above is None:
            return above if left is None else left
        return {1: left, 2: above,
                3: min(255, max(0, left + above - plane[y - 1][x - 1]))}[kind]
    return [[(value - expected(x, y)) & 255 for x, value in enumerate(row)]
            for y, row in enumerate(plane)]


def alpha_chunk(plane, kind, compressed):
    """Rows of alpha as a chunk, filtered so. Compressed they are the green of a lossless picture,
    without the five bytes that begin one."""
    rows = filtered(plane, kind)
    data = b''.join(bytes(row) for row in rows)
    if compressed:
        grey = [[bytes((value,) * 3) + b'\xff' for value in row] for row in rows]
        picture = pixel_chunks(lossless(grey))
        data = picture[8 + 5:8 + struct.unpack('<I', picture[4:8])[0]]
    return chunk(b'ALPH', bytes((compressed | kind << 2,)) + data)


def many_codes(width, height):
    """A chunk of lossless pixels, clear ones, with 65,536 groups of five codes of one symbol each;
    sides of 1,024 are what four by four pixels of one group come to."""
    bits = []

    def put(value, count):
        bits.extend(value >> i & 1 for i in range(count))

    def put_one_symbol():
        put(0b0001, 4)

    def put_all_bytes():
        """All of 256 symbols, and none after them, have eight bits."""
        put(0, 1)
        put(8, 4)  # twelve lengths of codes, in the format's order; the last is that of 8
        put(1 << 33, 36)
        put(1, 1)  # the number of symbols follows
        put(3, 3)
        put(254, 8)

    for value, count in ((0x2f, 8), (width - 1, 14), (height - 1, 14), (1, 1), (0, 3),
                         (0, 1), (0, 1), (1, 1), (0, 3), (0, 1)):
        put(value, count)
    put_all_bytes()  # green, then red: they make the number of the group
    put_all_bytes()
    for _ in range(3):
        put_one_symbol()
    for group in range(65_536):
        for half in (group & 255, group >> 8):
            put(int(format(half, '08b')[::-1], 2), 8)
    for _ in range(65_536 * 5):
        put_one_symbol()
    text = ''.join(map(str, bits)) + '0' * (-len(bits) % 8)
    return chunk(b'VP8L', int(text[::-1], 2).to_bytes(len(text) // 8, 'little') + bytes(8))
