#!/usr/bin/env python3
"""Plays files of one format, whole and damaged ones, to a decoder whose memory is filled with one
pattern and with another: a digest must never tell what memory held before.

    memory_patterns_test.py PROGRAM FORMAT SEEDS

The files are those of the agreement test, the seeds of the fuzz target, and changed copies of both:
at most MEMORY_PATTERNS_COUNT of the first and of the last (20).
"""

import contextlib
import importlib
import os
import pathlib
import random
import subprocess
import sys

from agreement_test import LONG_TIMEOUT, Checker

PATTERNS = ('90', '173')
MAX_SIZE = 200_000


class Recorder(Checker):
    """Keeps the files of the cases and answers nothing."""

    def __init__(self):
        super().__init__('')
        self.files = {}

    def run(self, data, timeout=None):
        if isinstance(data, bytes) and len(data) <= MAX_SIZE:
            self.files[data] = None
        return '', 1

    def run_measured(self, data, timeout=None):
        return *self.run(data), 0, 0.0

    def check(self, name, good, shown=''):
        pass


def files_of(subject):
    recorder = Recorder()
    for case in importlib.import_module(subject + '_agreement').CASES:
        # Some cases start the program themselves, and here there is none.
        with contextlib.suppress(OSError):
            case(recorder)
    return list(recorder.files)


def changed(data, chance):
    """One to four bits or bytes are others, or the end is missing."""
    data = bytearray(data)
    for _ in range(chance.randint(1, 4)):
        at = chance.randrange(len(data))
        data[at] = data[at] ^ 1 << chance.randrange(8) if chance.random() < 0.7 else \
            chance.choice((0, 255, chance.randrange(256)))
    return bytes(data[:chance.randrange(len(data))] if chance.random() < 0.1 else data)


def answers(program, data):
    for pattern in PATTERNS:
        done = subprocess.run((program, LONG_TIMEOUT), input=data, env={'MALLOC_PERTURB_': pattern},
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        yield done.stdout, done.returncode


def main():
    program, subject, seeds = sys.argv[1:]
    count = int(os.environ.get('MEMORY_PATTERNS_COUNT', '20'))
    chance = random.Random(subject)
    files = files_of(subject)
    kept = [path.read_bytes() for path in sorted(pathlib.Path(seeds).iterdir())]
    whole = chance.sample(files, min(count, len(files))) + kept
    played = whole + [changed(chance.choice([data for data in whole if data]), chance)
                      for _ in range(count)]
    unlike = decoded = 0
    for data in played:
        first, second = answers(program, data)
        decoded += first[1] == 0
        if first != second:
            unlike += 1
            print('FAILED: %d bytes: %s, %s' % (len(data), first, second))
            pathlib.Path('unlike-%s-%d' % (subject, unlike)).write_bytes(data)
    print('%d files, %d of them decoded, %d unlike' % (len(played), decoded, unlike))
    return 1 if unlike or not decoded else 0


if __name__ == '__main__':
    sys.exit(main())
