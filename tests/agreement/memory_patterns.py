"""Plays files of one format, whole and damaged ones, to a decoder whose memory is filled with one
pattern and with another: a digest must never tell what memory held before.

The files are some of those that an agreement test has played, the seeds of the fuzz target, and
changed copies of both: at most MEMORY_PATTERNS_COUNT of the first and of the last (20).
"""

import os
import pathlib
import random
import subprocess

PATTERNS = ('90', '173')
SEEDS = pathlib.Path(__file__).resolve().parents[1] / 'fuzz/seeds'


def changed(data, chance):
    """One to four bits or bytes are others, or the end is missing."""
    data = bytearray(data)
    for _ in range(chance.randint(1, 4)):
        at = chance.randrange(len(data))
        data[at] = data[at] ^ 1 << chance.randrange(8) if chance.random() < 0.7 else \
            chance.choice((0, 255, chance.randrange(256)))
    return bytes(data[:chance.randrange(len(data))] if chance.random() < 0.1 else data)


def to_play(subject, files):
    count = int(os.environ.get('MEMORY_PATTERNS_COUNT', '20'))
    chance = random.Random(subject)
    seeds = [path.read_bytes() for path in sorted((SEEDS / subject).iterdir())]
    whole = chance.sample(files, min(count, len(files))) + seeds
    return whole + [changed(chance.choice([data for data in whole if data]), chance)
                    for _ in range(count)]


def answers(program, timeout, data):
    """Output and exit status under each pattern."""
    for pattern in PATTERNS:
        done = subprocess.run((program, timeout), input=data, env={'MALLOC_PERTURB_': pattern},
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        yield done.stdout, done.returncode


def check(checker, subject, timeout):
    unlike = decoded = 0
    for data in to_play(subject, list(checker.small_files)):
        first, second = answers(checker.program, timeout, data)
        decoded += first[1] == 0
        checker.check('the digest does not tell what memory held before', first == second,
                      (len(data), first, second))
        if first != second:
            unlike += 1
            pathlib.Path('unlike-%s-%d' % (subject, unlike)).write_bytes(data)
    checker.check('some files are decoded', decoded)
