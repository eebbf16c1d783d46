"""Cases that hold for any format: what is no picture at all, the timeout, the pixel budget."""

import subprocess
import time
import zlib

import png_files
from agreement_test import LATENESS
from reference import uniform_digest


def other_input(checker):
    checker.rejects('empty input is no picture', b'')
    checker.rejects('text is no picture', b'The quick brown fox jumps over the lazy dog.\n' * 99)
    checker.rejects('a beginning of a signature is no picture', b'\x89PN')
    picture = png_files.Picture(1, 1, png_files.RGB, 8)
    for seconds in ('0', '-1', '3601', 'ten', '1.5', ''):
        checker.rejects('a time that is no number of 1 to 3600 is rejected: ' + repr(seconds),
                        picture.file(), seconds)


def silence(checker):
    process = subprocess.Popen((checker.program, '1'), stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env={})
    begun = time.monotonic()
    output = process.stdout.read()
    elapsed = time.monotonic() - begun
    checker.check('input that never comes ends with the timeout',
                  output == b'' and process.wait() != 0 and 0.5 < elapsed < 1 + LATENESS, elapsed)


def striped(width, height):
    """A whole picture, one bit a pixel, whose columns are white and black in turns."""
    row = b'\0' + b'\xaa' * ((width + 7) // 8)
    return (png_files.SIGNATURE + png_files.header(width, height, png_files.GREY, 1) +
            png_files.chunk(b'IDAT', zlib.compress(row * height, 1)) + png_files.chunk(b'IEND'))


def budget(checker):
    """With every pixel there, nothing but the budget is a reason to reject a picture."""
    for width, height, over in ((8000, 8000, 'far over'), (151, 397_351, 'one pixel over')):
        checker.rejects('%dx%d is %s the budget' % (width, height, over), striped(width, height))
    width, height = 7500, 8000
    stripes = b'\xff\xff\xff\xff\x00\x00\x00\xff' * (width // 2)
    checker.answers('%dx%d is exactly the budget' % (width, height), striped(width, height),
                    '%s %d %d\n' % (uniform_digest(width, height, stripes), width, height))


CASES = (other_input, silence, budget)
