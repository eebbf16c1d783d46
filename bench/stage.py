"""A root with an enrolled agent and an answering application, for the time of the measurements."""

import json
import os
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

from measuring import Command, Failed, output_of

AGENT = "codex"
CLIENT = "bench"
TIMEOUT = 5  # seconds


# Not TMPDIR: it can be long, and a socket's path must stay within some 100 bytes.
FOLDERS = ("/dev/shm", "/tmp", "/var/tmp")


def file_system(folder):
    """The type of the file system that holds the folder, as far as the machine tells."""
    try:
        mounts = [line.split() for line in Path("/proc/self/mounts").read_text().splitlines()]
    except OSError:
        return "unknown"
    over = [(len(point), i, kind) for i, (_, point, kind, *_) in enumerate(mounts)
            if Path(folder).is_relative_to(point)]
    return max(over)[2]


def places():
    """A folder in memory and one on disk, as far as there are both: where a root may be."""
    found = {}
    for folder in FOLDERS:
        if os.access(folder, os.W_OK):
            found.setdefault("tmpfs" if file_system(folder) == "tmpfs" else "disk", folder)
    return found


class BenchStage:
    def __init__(self, programs, folder):
        self.programs = programs
        self.top = Path(tempfile.mkdtemp(prefix="sv-bench-", dir=folder))
        self.root = self.top / "root"
        self.credential = self.top / "credential"
        self.peer = None

    def __enter__(self):
        try:
            output_of(Command([self.programs / "sorvane-standin", "enrol", "--root", self.root, "--agent", AGENT,
                               "--client-id", CLIENT, "--credential-file", self.credential]))
            self.start_peer()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        if self.peer:
            self.peer.kill()
            self.peer.wait()
            self.peer.stdout.close()
        shutil.rmtree(self.top)

    def start_peer(self):
        socket = self.root / "Runtime/sorvane.sock"
        socket.parent.mkdir()
        command = [self.programs / "bench/answering_peer", socket, self.top / "request"]
        self.peer = subprocess.Popen(command, stdout=subprocess.PIPE)
        if self.peer.stdout.readline() != b"listening\n":
            raise Failed("the answering peer did not start")

    def hook(self, name, event, programs=None):
        """A run of the hook at an event; another build's, where its folder is named."""
        path = self.top / (name + ".json")
        path.write_text(json.dumps({"hook_event_name": "UserPromptSubmit", "cwd": str(self.top), **event}))
        words = [(programs or self.programs) / "sorvane-hook", "--agent", AGENT, "--client-id", CLIENT,
                 "--credential-file", self.credential]
        environment = {"PATH": "/usr/bin:/bin", "SORVANE_TESTING": "1", "SORVANE_APP_SUPPORT": str(self.root)}
        return Command(words, path, environment)

    def outcome(self, hook):
        """How a run of the hook ends, by its observation."""
        observation = self.root / f"Integrations/Agents/{AGENT}-hook-state.json"
        observation.unlink(missing_ok=True)
        output_of(hook)
        return json.loads(observation.read_text())["outcome"]

    def identity(self, hook):
        """What a run of the hook asks the application about its first picture."""
        request = self.top / "request"
        request.unlink(missing_ok=True)
        output_of(hook)
        self.wait_for(request)
        return json.loads(request.read_text())["attachments"][0]

    def wait_for(self, request):
        """The peer writes a request down after its answer, when the hook may have ended already."""
        end = time.monotonic() + TIMEOUT
        while not request.exists():
            if time.monotonic() > end:
                raise Failed("the hook asked the application nothing")
            time.sleep(0.01)
