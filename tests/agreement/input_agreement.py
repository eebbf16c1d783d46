"""Cases of what is no picture at all."""

import subprocess
import time

import png_files
from agreement_test import LATENESS


def other_input(checker):
    checker.refuses('empty input is no picture', b'')
    checker.refuses('text is no picture', b'The quick brown fox jumps over the lazy dog.\n' * 99)
    checker.refuses('a beginning of a signature is no picture', b'\x89PN')
    picture = png_files.Picture(1, 1, png_files.RGB, 8)
    for seconds in ('0', '-1', '3601', 'ten', '1.5', ''):
        checker.refuses('a time that is no number of 1 to 3600 is refused: ' + repr(seconds),
                        picture.file(), seconds)


def silence(checker):
    process = subprocess.Popen((checker.program, '1'), stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env={})
    begun = time.monotonic()
    output = process.stdout.read()
    elapsed = time.monotonic() - begun
    checker.check('input that never comes ends with the time limit',
                  output == b'' and process.wait() != 0 and 0.5 < elapsed < 1 + LATENESS, elapsed)


CASES = (other_input, silence)
