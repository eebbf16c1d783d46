"""The standard streams of a run, and what else it inherits: limits and ignored signals."""

import contextlib
import os
import resource
import signal
import subprocess
import threading
import time

from stage import BadCase
from test_command import Skipped

NAMES = ("stdin", "stdout", "stderr")
LIMITS = {
    "file-size": resource.RLIMIT_FSIZE, "stack": resource.RLIMIT_STACK, "data": resource.RLIMIT_DATA,
    "descriptors": resource.RLIMIT_NOFILE,
}
LATE = 3  # seconds until a late reader comes


class Streams:
    """The standard streams of one run. `process`: the words of the case's file of that name; a stream that it does not
    name is a pipe of the runner's."""

    def __init__(self, process, workspace):
        self.workspace = workspace
        self.until_start, self.until_end = [], []  # descriptors to be closed when the run has started, or ended
        self.late, self.late_readers = {}, []  # what late readers read, and their threads
        self.given = {name: self.stream(name, process.get(name, [None])[0]) for name in NAMES}

    def stream(self, name, kind):
        """What the run gets as this stream."""
        if kind is None or kind == "closed":
            return subprocess.PIPE
        if (name, kind) == ("stdin", "directory"):
            return self.kept_until_start(os.open(self.workspace, os.O_RDONLY))
        if (name, kind) == ("stdin", "held-open"):
            reader, writer = os.pipe()
            self.until_end.append(writer)
            return self.kept_until_start(reader)
        if name != "stdin" and kind == "full":
            return self.kept_until_start(open_full_device())
        if name != "stdin" and kind == "broken-pipe":
            reader, writer = os.pipe()
            os.close(reader)
            return self.kept_until_start(writer)
        if name != "stdin" and kind == "late":
            return self.kept_until_start(self.late_reader(name))
        raise BadCase(f"process: {name} {kind} is unknown")

    def kept_until_start(self, descriptor):
        self.until_start.append(descriptor)
        return descriptor

    def late_reader(self, name):
        """A pipe that is full, and that somebody begins to read after some seconds."""
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        filling = 0
        with contextlib.suppress(BlockingIOError):
            while True:
                filling += os.write(writer, bytes(4096))
        os.set_blocking(writer, True)

        def read():
            time.sleep(LATE)
            with open(reader, "rb") as stream:
                self.late[name] = stream.read()[filling:]

        thread = threading.Thread(target=read)
        thread.start()
        self.late_readers.append(thread)
        return writer

    def run_started(self):
        for descriptor in self.until_start:
            os.close(descriptor)

    def run_ended(self):
        for descriptor in self.until_end:
            os.close(descriptor)

    def texts(self, output, error):
        """Standard output and standard error, once late readers have read theirs; the others are given."""
        for thread in self.late_readers:
            thread.join()
        return self.late.get("stdout", output) or b"", self.late.get("stderr", error) or b""


def open_full_device():
    try:
        return os.open("/dev/full", os.O_WRONLY)
    except FileNotFoundError:
        raise Skipped("/dev/full is needed") from None


def before_exec(process):
    """What must be done between fork and exec, or nothing, which is faster."""
    closed = [number for number, name in enumerate(NAMES) if process.get(name) == ["closed"]]
    limits = [(limit, int(process[word][0])) for word, limit in LIMITS.items() if word in process]
    ignored = [getattr(signal, name) for name in process.get("ignored", [])]
    if not (closed or limits or ignored):
        return None

    def settle():
        for number in ignored:
            signal.signal(number, signal.SIG_IGN)
        for number in closed:
            os.close(number)
        for limit, value in limits:
            resource.setrlimit(limit, (value, value))

    return settle
