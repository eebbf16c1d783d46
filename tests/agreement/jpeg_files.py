"""JPEG files made and decoded by the standard tools (cjpeg, djpeg), and their markers. Those of four
channels, which the tools do not know, are made and decoded by the imaging library, or made here."""

import io
import random
import struct
import subprocess

from PIL import Image, ImageFile

from reference import premultiplied

ImageFile.LOAD_TRUNCATED_IMAGES = True

END = b'\xff\xd9'


def ppm(width, height, seed=0):
    """Soft colours with some hard edges: all coefficients are in use."""
    chance = random.Random('%s' % ((width, height, seed),))
    data = bytearray()
    for y in range(height):
        for x in range(width):
            edge = 90 if (x // 5 + y // 7) % 2 else 0
            data += bytes((x * 9 + edge + c * 40 + y * (3 + c) + chance.randint(0, 9)) & 255
                          for c in range(3))
    return b'P6\n%d %d\n255\n' % (width, height) + bytes(data)


def encoded(picture, *options):
    return subprocess.run(('cjpeg', '-quality', '85') + options, input=picture,
                          stdout=subprocess.PIPE, check=True).stdout


def decoded(jpeg, equal_rows=0):
    """The stored rows of opaque pixels; a warning, as for a cut file, is no obstacle. The tool
    gives up on a file that is cut inside a segment: it is then shown what stands before that. With
    `equal_rows`, the number of rows, which must all be the same, the first of them alone."""
    run = subprocess.run(('djpeg',), input=jpeg, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if not run.stdout:
        marker = max(jpeg.rindex(b'\xff' + bytes((code,))) for code in b'\xc4\xda' if
                     b'\xff' + bytes((code,)) in jpeg)
        return decoded(jpeg[:marker] + END)
    kind, size, _, data = run.stdout.split(b'\n', 3)
    width, height = (int(number) for number in size.split())
    step = {b'P5': 1, b'P6': 3}[kind]
    if equal_rows:
        first = data[:width * step]
        if data != first * equal_rows:
            raise ValueError('the rows differ')
        data, height = first, 1
    pixels = [data[i:i + step] for i in range(0, len(data), step)]
    pixels = [premultiplied(*(pixel * (3 // step)), 255) for pixel in pixels]
    rows = [pixels[y * width:(y + 1) * width] for y in range(height)]
    return rows[0] if equal_rows else rows


def inks(jpeg):
    """The stored rows of a file of four channels, each from no ink to full."""
    picture = Image.open(io.BytesIO(jpeg))
    width, height = picture.size
    pixels = list(picture.getdata())
    return [pixels[y * width:(y + 1) * width] for y in range(height)]


def decoded_inks(jpeg):
    """The same, as opaque pixels."""
    return [[premultiplied(*(((255 - k) * (255 - ink) + 127) // 255 for ink in (c, m, y)), 255)
             for c, m, y, k in row] for row in inks(jpeg)]


def encoded_inks(width, height, **options):
    data = ppm(width, height, 1)[-3 * width * height:]
    pixels = [tuple(data[i:i + 3]) + (data[i] // 3,) for i in range(0, len(data), 3)]
    picture = Image.new('CMYK', (width, height))
    picture.putdata(pixels)
    file = io.BytesIO()
    picture.save(file, 'JPEG', quality=85, **options)
    return file.getvalue()


def patch_of_inks(colour):
    file = io.BytesIO()
    Image.new('CMYK', (16, 16), colour).save(file, 'JPEG', quality=100)
    return file.getvalue()


class Bits:
    def __init__(self):
        self.text = []

    def add(self, value, count):
        if count:
            self.text.append(format(value, '0%db' % count))

    def bytes(self):
        text = ''.join(self.text)
        text += '1' * (-len(text) % 8)
        data = bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))
        return data.replace(b'\xff', b'\xff\0')


LONGEST_DIFFERENCE = 11
RUNS_AND_SIZES = [0] + [run << 4 | size for run in range(4) for size in range(1, 5)]


def add_number(bits, number):
    size = abs(number).bit_length()
    bits.add(number if number >= 0 else number + (1 << size) - 1, size)


def add_block(bits, chance, last):
    """A block of random coefficients; the first of it comes back."""
    first = chance.randint(-30, 30)
    bits.add(abs(first - last).bit_length(), 4)
    add_number(bits, first - last)
    for _ in range(chance.randint(0, 4)):
        number = chance.choice((-3, -2, -1, 1, 2, 5))
        symbol = chance.randint(0, 3) << 4 | abs(number).bit_length()
        bits.add(RUNS_AND_SIZES.index(symbol), 5)
        add_number(bits, number)
    bits.add(0, 5)
    return first


def scan(chance, blocks, channels, restart):
    """`blocks`: for each unit between which the file may restart, the channels of its blocks."""
    data, bits, last = [], Bits(), {}
    for i, unit in enumerate(blocks):
        if restart and i and i % restart == 0:
            data += [bits.bytes(), bytes((0xff, 0xd0 + (i // restart - 1) % 8))]
            bits, last = Bits(), {}
        for channel in unit:
            last[channel] = add_block(bits, chance, last.get(channel, 0))
    head = bytes((len(channels),)) + b''.join(bytes((channel + 1, 0)) for channel in channels)
    return segment(0xda, head + b'\0\x3f\0') + b''.join(data) + bits.bytes()


def coefficients(width, height, factors, adobe=None, restart=0, interleaved=True):
    """A file of random coefficients. `factors`: across and down, for each channel; `adobe`: the
    transform that Adobe's marker names."""
    chance = random.Random('%s' % ((width, height, factors, restart, interleaved),))
    parts = [b'\xff\xd8']
    if adobe is not None:
        parts.append(segment(0xee, b'Adobe\0\x64\0\0\0\0' + bytes((adobe,))))
    parts.append(segment(0xdb, b'\0' + b'\x10' * 64))
    frame = struct.pack('>BHHB', 8, height, width, len(factors))
    for channel, (across, down) in enumerate(factors):
        frame += bytes((channel + 1, across << 4 | down, 0))
    parts.append(segment(0xc0, frame))
    for table, length, symbols in ((0x00, 4, range(LONGEST_DIFFERENCE + 1)),
                                   (0x10, 5, RUNS_AND_SIZES)):
        counts = [len(symbols) * (i + 1 == length) for i in range(16)]
        parts.append(segment(0xc4, bytes([table] + counts + list(symbols))))
    if restart:
        parts.append(segment(0xdd, struct.pack('>H', restart)))
    most_across, most_down = (max(sizes) for sizes in zip(*factors))
    if interleaved:
        unit = [channel for channel, (a, d) in enumerate(factors) for _ in range(a * d)]
        count = -(-width // (8 * most_across)) * -(-height // (8 * most_down))
        parts.append(scan(chance, [unit] * count, range(len(factors)), restart))
    for channel, (across, down) in enumerate(() if interleaved else factors):
        columns = -(-width * across // (8 * most_across))
        rows = -(-height * down // (8 * most_down))
        parts.append(scan(chance, [[channel]] * (columns * rows), [channel], restart))
    return b''.join(parts) + END


def segment(marker, body):
    return b'\xff' + bytes((marker,)) + struct.pack('>H', len(body) + 2) + body


def exif_segment(exif):
    return segment(0xe1, b'Exif\0\0' + exif)


def icc_segments(profile, pieces=1, order=None):
    size = -(-len(profile) // pieces)
    made = [segment(0xe2, b'ICC_PROFILE\0' + bytes((i + 1, pieces)) + profile[i * size:][:size])
            for i in range(pieces)]
    return b''.join(made[i] for i in (order or range(pieces)))


def with_segments(jpeg, segments):
    """The file with more segments right after its first marker."""
    return jpeg[:2] + segments + jpeg[2:]


def with_scans(jpeg, count):
    """The file with its last scan, and the tables before it, repeated `count` times more."""
    offset, scan = 2, 0
    while jpeg[offset + 1] != 0xd9:
        if jpeg[offset + 1] == 0xda:
            start = scan or offset
            offset += 2
            while jpeg[offset] != 0xff or jpeg[offset + 1] == 0 or 0xd0 <= jpeg[offset + 1] <= 0xd7:
                offset += 1
            last, scan = jpeg[start:offset], offset
        else:
            offset += 2 + struct.unpack('>H', jpeg[offset + 2:offset + 4])[0]
    return jpeg[:offset] + last * count + jpeg[offset:]
