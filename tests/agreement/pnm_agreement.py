"""Cases of the portable maps."""

import other_readers
from pnm_files import Picture
from reference import answer, uniform_digest

SIZES = ((1, 1), (7, 5), (8, 3), (9, 4), (31, 2))
MAXIMA = (1, 2, 7, 15, 100, 254, 255, 256, 1000, 1023, 4095, 65534, 65535)


def judged(checker, name, data, picture, pillow=False, imagemagick=False):
    checker.answers(name, data, answer(picture.pixels()))
    if pillow:
        checker.check(name + ', to Pillow', other_readers.pillow(data) == picture.pixels())
    if imagemagick:
        checker.check(name + ', to ImageMagick',
                      other_readers.imagemagick(data, 'pnm') == picture.pixels())


def every_form(checker):
    for size in SIZES:
        bits = Picture(*size, 1, 1)
        judged(checker, 'bits in bytes, %dx%d' % size, bits.bits_in_bytes(), bits, True)
        judged(checker, 'bits in text, %dx%d' % size, bits.bits_in_text(), bits, True)
        judged(checker, 'separated bits in text, %dx%d' % size, bits.bits_in_text(b' \n'), bits, True)
        for maximum in MAXIMA:
            for channels in (1, 3):
                picture = Picture(*size, channels, maximum)
                name = '%d channels up to %d, %dx%d' % (channels, maximum, *size)
                # Longer values Pillow brings to 8 bits in its own way, or not at all.
                judged(checker, name, picture.in_bytes(), picture, pillow=maximum in (1, 15, 255),
                       imagemagick=size == (9, 4) and maximum in (15, 255))
                judged(checker, name + ', in text', picture.in_text(), picture,
                       pillow=maximum in (1, 15, 255),
                       imagemagick=size == (9, 4) and maximum in (15, 255))


def arbitrary_maps(checker):
    kinds = {b'BLACKANDWHITE': (1, (1,)), b'BLACKANDWHITE_ALPHA': (2, (1,)),
             b'GRAYSCALE': (1, MAXIMA), b'GRAYSCALE_ALPHA': (2, MAXIMA), b'RGB': (3, MAXIMA),
             b'RGB_ALPHA': (4, MAXIMA)}
    for kind, (channels, maxima) in kinds.items():
        for maximum in maxima:
            for size in SIZES:
                picture = Picture(*size, channels, maximum)
                judged(checker, '%s up to %d, %dx%d' % (kind.decode(), maximum, *size),
                       picture.pam(kind), picture,
                       imagemagick=size == (9, 4) and maximum == 255)
    for channels in (1, 2, 3, 4):
        picture = Picture(9, 4, channels, 255)
        checker.answers('%d channels of no kind' % channels, picture.pam(b''),
                        answer(picture.pixels()))
    picture = Picture(9, 4, 3, 255)
    expected = answer(picture.pixels())
    checker.answers('a comment', picture.pam(b'RGB', b'# made by hand' * 999 + b'\n'), expected)
    checker.answers('empty lines', picture.pam(b'RGB', b'\n \n'), expected)
    checker.answers('wide spaces', picture.pam(b' \t RGB '), expected)
    checker.answers('a comment like a field', picture.pam(b'RGB', b'#\nDEPTH 9\n#WIDTH 5\n'),
                    expected)
    for name, data in (('another kind', picture.pam(b'CMY')),
                       ('a kind that does not fit', picture.pam(b'RGB_ALPHA')),
                       ('a depth that does not fit', picture.pam(b'RGB', depth=4)),
                       ('a depth of no kind', Picture(4, 4, 5, 255).pam(b'')),
                       ('two kinds', picture.pam(b'RGB\nTUPLTYPE RGB')),
                       ('an unknown field', picture.pam(b'RGB', b'COLOUR 3\n')),
                       ('a number that is none', picture.pam(b'RGB', b'DEPTH three\n')),
                       ('a number too long', picture.pam(b'RGB', b'DEPTH ' + b'9' * 30 + b'\n')),
                       ('a line too long', picture.pam(b'RGB', b'DEPTH' + b' ' * 9999 + b'3\n')),
                       ('no end of the header', picture.pam(b'RGB').replace(b'ENDHDR', b'#'))):
        checker.rejects(name, data)


def spaces_and_comments(checker):
    grey, bits = Picture(12, 7, 1, 255), Picture(12, 7, 1, 1)
    for space in (b' ', b'\r\n', b'\t', b' \v\f ', b'\n# a comment\n', b'#right after\n',
                  b'\n#one\n#two\n\n#\n'):
        checker.answers('%r between the fields' % space, grey.in_bytes(space=space),
                        answer(grey.pixels()))
        checker.answers('%r between the values' % space, grey.in_text(space=space),
                        answer(grey.pixels()))
        checker.answers('%r between the bits' % space, bits.bits_in_text(space=space),
                        answer(bits.pixels()))
    text = grey.in_text()
    checker.answers('no line end after the last value', text[:-1], answer(grey.pixels()))
    checker.answers('more after the values', text + b'more', answer(grey.pixels()))
    two = grey.in_bytes() + Picture(3, 3, 1, 255).in_bytes()
    checker.answers('of two pictures the first counts', two, answer(grey.pixels()))
    data = grey.in_bytes()
    checker.answers_within_memory('a comment of 20 MB',
                                  data[:3] + b'#' + b'x' * 20_000_000 + b'\n' + data[3:],
                                  answer(grey.pixels()), 16)
    checker.answers_within_memory('white space of 20 MB', data[:3] + b' ' * 20_000_000 + data[3:],
                                  answer(grey.pixels()), 16)
    for name, data in (('a comment without an end', b'P5\n#' + b'x' * 1_000_000),
                       ('white space without an end', b'P2\n' + b' ' * 1_000_000),
                       ('a letter in a size', b'P5\n1x 7\n255\n' + bytes(99)),
                       ('a sign', b'P5\n-1 7\n255\n' + bytes(99)),
                       ('a size of many digits', b'P5\n' + b'1' * 1_000_000),
                       ('a letter among the values', b'P2\n3 1\n9\n1 x 2\n'),
                       ('a digit that is no bit', b'P1\n3 1\n012\n'),
                       ('no maximum', b'P5\n3 1\n'),
                       ('P0', b'P0\n1 1\n\0'), ('P8', b'P8\n1 1\n\0'), ('Pf', b'Pf\n1 1\n-1.0\n'),
                       ('a thumbnail', b'P7 332\n#END_OF_COMMENTS\n1 1 255\n\0')):
        checker.rejects(name, data)


def values_and_sizes(checker):
    for maximum in (0, 65536, 4_000_000_000):
        checker.rejects('a maximum of %d' % maximum, b'P5\n1 1\n%d\n\0\0\0\0' % maximum)
    checker.rejects('a value beyond the maximum', b'P5\n2 1\n100\n\x64\x65')
    checker.rejects('a value beyond the maximum, in text', b'P2\n2 1\n100\n100 101\n')
    checker.rejects('a value beyond the maximum, 16 bits', b'P5\n1 1\n1000\n\x03\xe9')
    for picture in (Picture(9, 6, 3, 255), Picture(9, 6, 1, 1000)):
        data = picture.in_bytes()
        for length in range(0, len(data), 3):
            checker.rejects('cut after %d of %d bytes' % (length, len(data)), data[:length])
    text = Picture(9, 6, 1, 255).in_text()
    for length in range(0, len(text) - 4, 5):
        checker.rejects('cut after %d of %d characters' % (length, len(text)), text[:length])
    for width, height in ((0, 5), (5, 0), (8000, 8000), (60_000_001, 1), (1, 60_000_001),
                          (4_000_000_000, 4_000_000_000)):
        for number in range(1, 7):
            checker.rejects('%dx%d, P%d' % (width, height, number),
                            b'P%d\n%d %d\n255\n' % (number, width, height) + bytes(1000))
    for width, height in ((60_000_000, 1), (7500, 8000)):
        checker.answers('%dx%d is within the budget' % (width, height),
                        b'P4\n%d %d\n' % (width, height) + b'\xff' * (-(-width // 8) * height),
                        '%s %d %d\n' % (uniform_digest(width, height, b'\0\0\0\xff' * width),
                                        width, height))
    row = bytes(range(240)) * 20
    opaque = b''.join(row[i:i + 3] + b'\xff' for i in range(0, len(row), 3))
    checker.answers_within_memory('rows are not kept', b'P6 1600 2000 255\n' + row * 2000,
                                  '%s 1600 2000\n' % uniform_digest(1600, 2000, opaque), 16)


CASES = (every_form, arbitrary_maps, spaces_and_comments, values_and_sizes)
