#!/usr/bin/env python3
"""Plays whole files of one format to a decoder and compares its answers with an independent
reference: the pixels that were written into the file, or those of another reader.

    agreement_test.py PROGRAM FORMAT [BATCH]

The cases of a format stand in FORMAT_agreement.py. Some of their files are played once more, with
other files, to see that no answer depends on what memory held before.

With BATCH, the decoder that takes many files, the program is a sanitized one: it is started only
where its process counts, it may take longer, and what memory holds and its peak, which are the
sanitizer's, are not judged.
"""

import importlib
import resource
import signal
import struct
import subprocess
import sys
import time

import memory_patterns

# What the hook gives a decoder.
TIMEOUT = '10'

# For what the sanitizers have made several times slower, and for pictures of sixty million rows,
# which take most of those 10 seconds on a slow machine.
LONG_TIMEOUT = '60'

# These play files of several formats, all of kinds that each format's own test plays as well.
MIXED = ('colour', 'input')

# Larger files are not kept to be played once more.
MAX_SMALL_SIZE = 200_000

# A machine that is busy with other tests may be this much late.
LATENESS = 30

# What ten million turns of a loop take where the bounds of processor time were found.
QUIET_LOOP_SECONDS = 0.2

MEASURE = '''
import os, sys
decoder = os.posix_spawn(sys.argv[1], sys.argv[1:], {})
_, status, usage = os.wait4(decoder, 0)
print(usage.ru_maxrss, usage.ru_utime + usage.ru_stime, file=sys.stderr)
sys.exit(os.waitstatus_to_exitcode(status))
'''


def processor_time():
    """Of all that was started and has ended, in seconds."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def slowness():
    """How many times longer than on a quiet machine a processor takes now: 1 to 2, since one whose
    core somebody else uses as well takes twice as long at most."""
    begun = time.process_time()
    for _ in range(10_000_000):
        pass
    return min(2, max(1, (time.process_time() - begun) / QUIET_LOOP_SECONDS))


def was_kept_waiting(status, begun):
    """True when the timer has ended a decoder that had less than half of its time to compute: the
    machine is busy with other things."""
    by_timer = status in (-signal.SIGKILL, -signal.SIGKILL & 255)
    return by_timer and processor_time() - begun < int(TIMEOUT) / 2


# A decoder that meets an orientation after the pixels answers it, and has to be told it.
LATE_ORIENTATION = 'orientation '


def is_to_be_told(output, words):
    return output.startswith(LATE_ORIENTATION) and not words


def told(output):
    """The decoder's words for a second decoding."""
    return (output.removeprefix(LATE_ORIENTATION).rstrip('\n'),)


class Batch:
    """A decoder that answers one file after the other."""

    def __init__(self, program):
        self.process = subprocess.Popen((program,), stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def run(self, data):
        """Output and exit status, as of a process of its own."""
        self.process.stdin.write(struct.pack('=Q', len(data)) + data)
        self.process.stdin.flush()
        line = self.process.stdout.readline().decode()
        if not line:
            sys.exit('the decoder has ended with status %d' % self.process.wait())
        return ('', 1) if line == '\n' else (line, 0)

    def end(self):
        self.process.stdin.close()
        if self.process.wait() != 0:
            sys.exit('the decoder has ended with status %d' % self.process.returncode)


class Checker:
    """Runs the program, and counts the checks that passed and that failed."""

    def __init__(self, program, batch=None):
        self.program = program
        self.batch = batch
        self.timeout = LONG_TIMEOUT if batch else TIMEOUT
        self.passed = self.failed = 0
        self.small_files = {}  # a set that keeps their order

    def keep(self, data):
        if not self.batch and isinstance(data, bytes) and len(data) <= MAX_SMALL_SIZE:
            self.small_files[data] = None

    def run(self, data, timeout=None, words=()):
        """Output and exit status; the error stream must stay silent."""
        self.keep(data)
        if self.batch and timeout in (None, LONG_TIMEOUT):
            return self.batch.run(data)
        begun = processor_time()
        done = subprocess.run((self.program, self.timeout if timeout is None else timeout, *words),
                              input=data, env={}, capture_output=True)
        if timeout is None and was_kept_waiting(done.returncode, begun):
            return self.run(data, LONG_TIMEOUT, words)
        self.check('nothing is written to standard error', done.stderr == b'', done.stderr[-2000:])
        output = done.stdout.decode()
        if is_to_be_told(output, words):
            return self.run(data, timeout, told(output))
        return output, done.returncode

    def run_measured(self, data, timeout=None, words=()):
        """Output, exit status, the peak of memory in KiB, and the processor time in seconds. A
        process begins with the peak of the one that started it, so a small one has to stand
        between. A file too large to be held may come as a list of pieces."""
        self.keep(data)
        begun = processor_time()
        process = subprocess.Popen(
            (sys.executable, '-I', '-S', '-c', MEASURE, self.program, timeout or self.timeout,
             *words), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            for piece in (data,) if isinstance(data, bytes) else data:
                process.stdin.write(piece)
        except BrokenPipeError:
            pass
        output, used = process.communicate()
        if timeout is None and was_kept_waiting(process.returncode, begun):
            return self.run_measured(data, LONG_TIMEOUT, words)
        output = output.decode()
        peak, seconds = int(used.split()[0]), float(used.split()[1])
        if is_to_be_told(output, words):
            output, process.returncode, *more = self.run_measured(data, timeout, told(output))
            peak, seconds = max(peak, more[0]), seconds + more[1]
        return output, process.returncode, peak, seconds

    def check(self, name, good, shown=''):
        if good:
            self.passed += 1
        else:
            self.failed += 1
            print('FAILED: %s: %s' % (name, shown))

    def answers(self, name, data, expected, timeout=None):
        output, status = self.run(data, timeout)
        self.check(name, (output, status) == (expected, 0), (output, status, expected))

    def answers_otherwise(self, name, data, expected):
        """The same size, and another digest."""
        output, status = self.run(data)
        self.check(name, status == 0 and output[64:] == expected[64:] and output != expected,
                   (output, status))

    def rejects(self, name, data, timeout=None):
        output, status = self.run(data, timeout)
        self.check(name, output == '' and status != 0, (output, status))

    def rejects_within(self, name, data, timeout):
        """No answer, and the end close to the timeout that the program was given."""
        begun = time.monotonic()
        self.rejects(name, data, str(timeout))
        elapsed = time.monotonic() - begun
        self.check(name + ' in time', elapsed < timeout + LATENESS, elapsed)

    def answers_within_memory(self, name, data, expected, mebibytes, timeout=None):
        output, status, peak, _ = self.run_measured(data, timeout)
        self.check(name, (output, status) == (expected, 0), (output, status, expected))
        self.check(name + ' in little memory', self.batch or peak < mebibytes * 1024, peak)

    def costs(self, name, data, mebibytes, seconds, expected=''):
        """The answer, or none, for so much memory and, on a quiet machine, processor time at most.
        What took longer is tried twice more."""
        if self.batch:
            return
        for _ in range(3):
            output, status, peak, used = self.run_measured(data, LONG_TIMEOUT)
            used /= slowness()
            if used < seconds:
                break
        self.check(name, (output, status == 0) == (expected, expected != ''), (output, status))
        self.check(name + ' in little memory', peak < mebibytes * 1024, peak)
        self.check(name + ' in little time', used < seconds, used)


def main():
    batch = Batch(sys.argv[3]) if len(sys.argv) > 3 else None
    checker = Checker(sys.argv[1], batch)
    for case in importlib.import_module(sys.argv[2] + '_agreement').CASES:
        case(checker)
    if batch:
        batch.end()
    elif sys.argv[2] not in MIXED:
        memory_patterns.check(checker, sys.argv[2], LONG_TIMEOUT)
    print('%d passed, %d failed' % (checker.passed, checker.failed))
    return 1 if checker.failed or not checker.passed else 0


if __name__ == '__main__':
    sys.exit(main())
