"""A whole run of sorvane-hook with everything around it, set up once and played again and again, and what must hold
after each of its runs, whatever failed in it."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "cases"))

import pictures
from stage import Stage, USUAL_CLIENT

MAX_SECONDS = 15  # a picture may take 10, the link 2 for a write and 2 for a read
GRACE = 2  # seconds in which a decoder whose hook was killed must have ended
TOKEN = b"7b1f0c5e-credential-of-the-stage-93ad"
BEFORE = (b'{"clientID":"client-0","observedAt":700000000.25,"attachmentCount":9,"referenceCount":9,'
          b'"outcome":"no-exact-match"}')
KEYS = ["clientID", "observedAt", "attachmentCount", "referenceCount", "outcome"]
SIZE, PIXELS = (16, 12), "0a141eff32465a80"
LARGE = (700, 500)  # more than the 1 MiB of pixels for which a decoder starts a second thread


class Scenario:
    """What the agent attaches, what the application answers, and how the run may end."""

    def __init__(self, outcome, others=(), agent="codex", attached="", options=(), first=False,
                 size=SIZE):
        self.outcome = outcome
        self.outcomes = {outcome, *others}
        self.agent = agent
        self.attached = attached
        self.options = options
        self.first = first  # without an observation of an earlier run
        self.size = size
        self.decodes = attached in ("same", "commented")
        self.threaded = self.decodes and size == LARGE


# An application that cannot copy a picture has no match.
WITHOUT_MATCH = {"resolving", "no-exact-match"}
WITHOUT_PICTURE = {*WITHOUT_MATCH, "no-image-identities"}
SCENARIOS = {
    "reference": Scenario("matched", WITHOUT_MATCH),
    "bytes": Scenario("matched", WITHOUT_PICTURE, attached="same"),
    "pixels": Scenario("matched", WITHOUT_PICTURE, attached="commented"),
    "large": Scenario("matched", WITHOUT_PICTURE, attached="commented", size=LARGE),
    "refusal": Scenario("resolving", options=("--misbehave", "refuse")),
    "no-image": Scenario("no-image-identities", agent="cursor", attached="missing"),
    "first-run": Scenario("matched", WITHOUT_MATCH, first=True),
}


class Result:
    def __init__(self, output, error, status, seconds, left):
        self.output, self.error, self.status, self.seconds, self.left = output, error, status, seconds, left

    def end(self):
        """What the agent gets."""
        return "answer" if self.output else "line" if self.error else "silence"


class FaultStage(Stage):
    """The stage of one scenario, with the stand-in listening. `programs` is the folder of the hook."""

    def __init__(self, name, programs, size=None, options=(), peer=True):
        self.name = name
        self.scenario = SCENARIOS[name]
        super().__init__(Path(__file__).parent, self.scenario.agent.encode(), {})
        self.programs = programs
        self.max_seconds = MAX_SECONDS
        self.usual_output = None
        self.enrol(TOKEN, {}, [])
        self.observation = self.agents / f"{self.scenario.agent}-hook-state.json"
        self.trace = self.scratch / "trace"
        self.bin = self.scratch / "bin"  # the hook finds its decoder beside itself
        self.bin.mkdir()
        shutil.copy(programs / "sorvane-hook", self.bin)
        self.decoder = self.bin / "sorvane-pixels"
        self.plain_decoder()
        self.event = self.lay_pictures(size or self.scenario.size)
        self.application = self.start_application(options) if peer else None

    def lay_pictures(self, size):
        images = self.scratch / "images"
        images.mkdir()
        known = pictures.png(size, PIXELS)
        (images / "known.png").write_bytes(known)
        self.picture = self.workspace / f"{self.scenario.attached}.png"
        if self.scenario.decodes:
            same = self.scenario.attached == "same"
            self.picture.write_bytes(known if same else pictures.png(size, PIXELS, "edited"))
        event = {"prompt": "Look at this", "cwd": str(self.workspace)}
        if self.scenario.attached:
            event["attachments"] = [str(self.picture)]
        else:
            event["prompt"] += " sorvane://image/" + self.sha256(os.fsencode(images / "known.png")).decode()
        return json.dumps(event).encode()

    def start_application(self, options):
        command = [self.programs / "sorvane-standin", "serve", "--root", self.root,
                   "--images", self.scratch / "images", *self.scenario.options, *options]
        with (self.scratch / "trouble").open("wb") as trouble:
            application = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=trouble)
        if not application.stdout.readline().startswith(b"listening on "):
            raise RuntimeError((self.scratch / "trouble").read_text())
        return application

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.application:
            self.application.terminate()
            self.application.wait()
            self.application.stdout.close()
        self.remove()

    def plain_decoder(self):
        self.decoder.unlink(missing_ok=True)
        self.decoder.symlink_to(self.programs / "sorvane-pixels")

    def traced_decoder(self, options):
        """Replaces the decoder by one whose threads are traced into a file, which is given; a decoder is started with
        an empty environment."""
        trace = self.scratch / "decoder-trace"
        trace.unlink(missing_ok=True)
        self.decoder.unlink(missing_ok=True)
        self.decoder.write_text(f"#!/bin/sh\nexec {shutil.which('strace')} -f -qq -o {trace} {' '.join(options)} "
                               f"{self.programs / 'sorvane-pixels'} \"$@\"\n")
        self.decoder.chmod(0o700)
        return trace

    # The run

    def command(self):
        return [self.bin / "sorvane-hook", "--agent", self.scenario.agent, "--client-id", USUAL_CLIENT,
                "--credential-file", self.credential]

    def reset(self):
        """Everything as it was before the first run."""
        for path in self.agents.iterdir():
            if path.name.startswith("."):
                path.unlink()
        self.observation.unlink(missing_ok=True)
        if not self.scenario.first:
            self.observation.write_bytes(BEFORE)
            self.observation.chmod(0o600)

    def start(self, prefix=()):
        environment = {"PATH": "/usr/bin:/bin", "SORVANE_TESTING": "1", "SORVANE_APP_SUPPORT": str(self.root)}
        return subprocess.Popen(
            [*prefix, *self.command()], cwd=self.workspace, env=environment, umask=0o022, start_new_session=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def end(self, process, began):
        try:
            output, error = process.communicate(self.event, timeout=3 * MAX_SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, error = process.communicate()
        return self.result(output, error, process, began)

    def result(self, output, error, process, began):
        status = process.wait()
        return Result(output, error, status, time.monotonic() - began, left_of_session(process.pid))

    def play(self, prefix=()):
        """One run, under the program that `prefix` is the beginning of, if any."""
        self.reset()
        return self.play_on(prefix)

    def play_on(self, prefix=()):
        """One run with everything as it is."""
        began = time.monotonic()
        return self.end(self.start(prefix), began)

    def rehearse(self):
        """The run without a fault, which must end as its scenario says; what it prints is what others may print."""
        result = self.play()
        faults = self.faults(result)
        outcome = self.outcome()
        if faults or outcome != self.scenario.outcome or bool(result.error) != (self.name == "refusal"):
            raise RuntimeError(f"{self.name}: without a fault: {faults} {outcome} {result.output!r} {result.error!r}")
        self.usual_output = result.output

    # What must hold

    def outcome(self):
        try:
            return json.loads(self.observation.read_bytes())["outcome"]
        except FileNotFoundError:
            return None

    def faults(self, result, excused=()):
        """What is wrong after a run. Some of it may be excused: how it ended ("end"), the observation's mode ("mode"),
        a file that was to take its place ("temporary")."""
        found = [] if "end" in excused else self.stream_faults(result)
        if result.seconds > self.max_seconds:
            found.append(f"took {result.seconds:.1f} s")
        found += [f"left a process behind: {name}" for name in result.left]
        found += self.observation_faults("mode" in excused)
        temporary = [path.name for path in self.agents.iterdir() if path.name.startswith(".")]
        if len(temporary) > ("temporary" in excused):
            found.append(f"left {temporary}")
        found += [f"{name} shows the credential" for name, text in self.texts(result) if TOKEN in text]
        return found

    def stream_faults(self, result):
        found = []
        if result.status != 0:
            found.append(f"status {result.status}")
        if result.error and not re.fullmatch(rb"Sorvane: [^\n]*\n", result.error):
            found.append(f"stderr: {result.error!r}")
        if result.output and result.output != (self.usual_output or result.output):
            found.append(f"stdout: {result.output!r}")
        if result.output:
            try:
                json.loads(result.output)
            except ValueError:
                found.append(f"stdout is not JSON: {result.output!r}")
            if result.error or result.output.count(b"\n") != 1 or not result.output.endswith(b"\n"):
                found.append(f"stdout and stderr: {result.output!r} {result.error!r}")
        return found

    def observation_faults(self, any_mode):
        try:
            text = self.observation.read_bytes()
        except FileNotFoundError:
            return [] if self.scenario.first else ["the observation is gone"]
        if text == BEFORE:
            return []
        try:
            record = json.loads(text)
            good = list(record) == KEYS and record["clientID"] == USUAL_CLIENT and \
                record["outcome"] in self.scenario.outcomes
        except (ValueError, TypeError):
            good = False
        if not good:
            return [f"the observation: {text!r}"]
        mode = self.observation.stat().st_mode & 0o777
        return [] if any_mode or mode == 0o600 else [f"the observation has mode {mode:o}"]

    def texts(self, result):
        yield "stdout", result.output
        yield "stderr", result.error
        for folder in (self.root, self.workspace):
            for path in folder.rglob("*"):
                if path.is_file() and path != self.credential:
                    yield str(path), path.read_bytes()


def left_of_session(session):
    """The programs that still run of a session whose leader has ended, once they had time to end too."""
    until = time.monotonic() + GRACE
    while True:
        left = list(session_members(session))
        if not left or time.monotonic() > until:
            return left
        time.sleep(0.02)


def session_members(session):
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat") as file:
                text = file.read()
        except OSError:
            continue
        name, _, rest = text.partition("(")[2].rpartition(")")
        state, _, _, sid = rest.split()[:4]
        if int(sid) == session and state not in "ZX":
            yield name
