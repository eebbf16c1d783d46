"""Pictures made on the spot, whose pixels are known without decoding them."""

import hashlib
import struct
import zlib


def pixel_hash(size, pixels):
    """The digest of upright pixels, given as premultiplied RGBA in hexadecimal digits, repeated to fill the size."""
    width, height = size
    return hashlib.sha256(b"%dx%d:rgba8-srgb:" % (width, height) + filled(pixels, 4 * width * height)).hexdigest()


def filled(pattern, length):
    piece = bytes.fromhex(pattern)
    return (piece * (length // len(piece) + 1))[:length]


def chunk(kind, content):
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))


def png(size, pixels, text=None):
    """A PNG of 8-bit RGBA; the straight pixels repeat to fill it. `text` adds a comment that changes no pixel."""
    width, height = size
    data = filled(pixels, 4 * width * height)
    rows = b"".join(b"\0" + data[4 * width * row : 4 * width * (row + 1)] for row in range(height))
    comment = chunk(b"tEXt", b"Comment\0" + text.encode()) if text else b""
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + header + comment + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def black_png(size):
    """A whole PNG of black pixels, one bit each, so that nothing but its size can be wrong with it."""
    width, height = size
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 1, 0, 0, 0, 0))
    rows = bytes((1 + (width + 7) // 8) * height)
    return b"\x89PNG\r\n\x1a\n" + header + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def grey_jpeg(size, orientation):
    """A baseline JPEG, all of it the grey 808080 that blocks without coefficients decode to, with an Exif
    orientation. The stored size is a multiple of 8. It has three components like a photograph: what a lone one
    means without a profile differs between decoders."""
    width, height = size
    entry = struct.pack(">HHIHH", 0x0112, 3, 1, orientation, 0)
    exif = b"Exif\0\0MM\0\x2a\0\0\0\x08" + struct.pack(">H", 1) + entry + b"\0\0\0\0"
    components = range(1, 4)
    blocks = (width // 8) * (height // 8) * len(components)
    # Each block is "no difference" and "no coefficients": two codes of one bit, 0 and 0. The last byte ends in ones.
    bits = "00" * blocks
    bits += "1" * (-len(bits) % 8)
    scan = int(bits, 2).to_bytes(len(bits) // 8, "big")
    table = bytes([1] + [0] * 15) + b"\0"

    def segment(marker, content):
        return bytes([0xFF, marker]) + struct.pack(">H", len(content) + 2) + content

    return (
        b"\xff\xd8"
        + segment(0xE1, exif)
        + segment(0xDB, b"\0" + b"\1" * 64)
        + segment(0xC0, struct.pack(">BHHB", 8, height, width, len(components))
                  + b"".join(bytes([one, 0x11, 0]) for one in components))
        + segment(0xC4, b"\0" + table)
        + segment(0xC4, b"\x10" + table)
        + segment(0xDA, bytes([len(components)]) + b"".join(bytes([one, 0]) for one in components) + b"\0\x3f\0")
        + scan
        + b"\xff\xd9"
    )
