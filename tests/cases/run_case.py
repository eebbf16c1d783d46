#!/usr/bin/env python3
"""Plays a case, or all cases of a topic: whole runs of sorvane-hook, and all that each may and may not leave behind.

README.md names the files of a case. Status 0: the runs were as expected; 1: one was not, or a case is wrong;
77: this machine lacks what the case, or each case of the topic, needs.
"""

import errno
import json
import os
import re
import signal
import subprocess
import sys
import threading
import time
import traceback
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.dont_write_bytecode = True

from stage import account_at, BadCase, Stage
from streams import before_exec, Streams
from test_command import command_line, require_strace, Skipped, SKIPPED
from verdict import check, Unfulfilled, Verdict

FILES = {
    "about", "agent", "arguments", "environment", "event", "process", "set-up", "manifest", "manifest.without",
    "credential", "root", "files", "broker", "answer",
    "stdout", "stdout.json", "context", "stderr", "stderr.pattern", "observation", "request", "changes",
}
PROCESS_WORDS = {
    "stdin": 1, "stdout": 1, "stderr": 1, "descriptors": 1, "file-size": 1, "ignored": (1, 2, 3),
    "working-directory": 1, "account-home": 0, "stack": 1, "data": 1, "socket-path": (1, 2), "simultaneous": 1,
    "fault": 1, "seconds": 2, "decoder": 1,
}
ALONE = re.compile(rb"^(simultaneous|descriptors|file-size|stack|data|ignored) |(closed|broken-pipe)$", re.MULTILINE)
TIMEOUT = 20  # seconds for a run; many at once get three times that
JOBS = 4  # cases of a topic at a time: those that wait for a timeout of the hook's overlap
USUAL_EVENT = b'{"prompt":"Look at sorvane://image/@HASH@","cwd":"@WORKSPACE@"}'
USUAL_ARGUMENTS = b"--agent\n@AGENT@\n--client-id\n@CLIENT@\n--credential-file\n@CREDENTIAL@\n"


class Case:
    def __init__(self, folder, programs):
        self.folder = folder
        self.programs = programs
        names = {path.name for path in folder.iterdir()}
        if names - FILES:
            raise BadCase(f"unknown: {', '.join(sorted(names - FILES))}")
        if len(names & {"stdout", "stdout.json", "context"}) > 1 or {"stderr", "stderr.pattern"} <= names:
            raise BadCase("one stream has two expectations")
        self.names = names
        self.process = self.process_words()
        self.agent = (self.bytes("agent") or b"codex").strip()
        self.token = b"token-of-" + self.agent
        self.has_application = bool(names & {"broker", "answer"})
        self.stage = Stage(folder, self.agent, self.process)

    def bytes(self, name):
        return (self.folder / name).read_bytes() if name in self.names else None

    def text(self, name):
        raw = self.bytes(name)
        return None if raw is None else self.stage.expand(raw)

    def lines(self, name):
        return [line for line in (self.bytes(name) or b"").decode().splitlines() if line]

    def process_words(self):
        words = {}
        for line in self.lines("process"):
            word, *values = line.split()
            counts = PROCESS_WORDS.get(word)
            if counts is None or len(values) not in (counts if isinstance(counts, tuple) else (counts,)):
                raise BadCase(f"process: {line!r} is unknown")
            words[word] = values
        return words

    def word(self, name):
        values = self.process.get(name)
        return values[0] if values else None

    # Before the run

    def prepare(self):
        if self.word("decoder") == "ours" and sys.platform == "darwin":
            raise Skipped("the system decodes pictures here")
        stage = self.stage
        if "credential" in self.names:
            self.token = self.text("credential")
        changes = json.loads(self.text("manifest") or b"{}")
        stage.enrol(self.token, changes, self.lines("manifest.without"))
        stage.lay(self.folder / "root", stage.root)
        stage.lay(self.folder / "files", stage.workspace)
        for line in self.lines("set-up"):
            self.set_up(line)
        raw_arguments = stage.expand(self.bytes("arguments") if "arguments" in self.names else USUAL_ARGUMENTS)
        self.arguments = raw_arguments.split(b"\n")[:-1]
        self.event = stage.expand(self.bytes("event") if "event" in self.names else USUAL_EVENT)
        self.environment = self.make_environment()

    def set_up(self, line):
        try:
            self.stage.set_up(line)
        except OSError as failure:
            if failure.errno == errno.EILSEQ:
                raise Skipped("names that are not UTF-8 are needed") from None
            raise

    def make_environment(self):
        stage = self.stage
        # The home that the environment names is nobody's: whoever follows it leaves the stage's own.
        values = {b"PATH": b"/usr/bin:/bin", b"HOME": os.fsencode(stage.top / "elsewhere")}
        if "account-home" in self.process:
            values.update(account_at(stage))
        else:
            values.update({b"SORVANE_TESTING": b"1", b"SORVANE_APP_SUPPORT": os.fsencode(stage.root)})
        for name in (b"ASAN_OPTIONS", b"UBSAN_OPTIONS", b"LSAN_OPTIONS"):
            if name in os.environb:
                values[name] = os.environb[name]
        # There a sanitized program otherwise begins with a warning about its memory.
        if sys.platform == "darwin":
            values[b"MallocNanoZone"] = b"0"
        # These runs have a tracer, which LeakSanitizer wants to be, or load a library before AddressSanitizer's.
        if {"account-home", "fault"} & self.process.keys():
            options = b"detect_leaks=0:verify_asan_link_order=0"
            values[b"ASAN_OPTIONS"] = b":".join(filter(None, [values.get(b"ASAN_OPTIONS"), options]))
        for line in (self.text("environment") or b"").splitlines():
            if line.startswith(b"-"):
                values.pop(line[1:], None)
            else:
                name, _, value = line.partition(b"=")
                values[name] = value
        testing = values.get(b"SORVANE_TESTING") == b"1" and b"SORVANE_APP_SUPPORT" in values
        if not testing and "account-home" not in self.process:
            raise BadCase("without testing mode the run would go to a real home: it needs `account-home`")
        return values

    def start_application(self):
        """The stand-in, listening at the stage's root, with a log of the requests that reach it."""
        stage = self.stage
        command = [self.programs / "sorvane-standin", "serve", "--root", stage.root]
        command += ["--log", stage.scratch / "requests"]
        if "answer" in self.names:
            (stage.scratch / "answer").write_bytes(self.text("answer"))
            command += ["--answer", stage.scratch / "answer"]
        command += [os.fsdecode(line) for line in (self.text("broker") or b"").splitlines()]
        with (stage.scratch / "trouble").open("wb") as trouble:
            application = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=trouble)
        if not application.stdout.readline().startswith(b"listening on "):
            application.kill()
            application.wait()
            raise BadCase("the stand-in did not start: " + (stage.scratch / "trouble").read_text())
        return application

    # The run

    def command(self):
        command = [os.fsencode(self.programs / "sorvane-hook")] + self.arguments
        limited = {"descriptors", "stack", "data"} & self.process.keys()
        if limited and b"__ubsan_" in (self.programs / "sorvane-hook").read_bytes():
            raise Skipped("the sanitizers need descriptors and memory of their own")
        if "fault" in self.process:
            require_strace()
            call = self.word("fault").partition(":")[0]
            command = ["strace", "-f", "-qq", "-o", self.stage.scratch / "trace", "-e", "trace=" + call,
                       "-e", "inject=" + self.word("fault"), "--"] + command
        return command

    def play(self, timeout):
        """One run from start to end: standard output, standard error, status."""
        streams = Streams(self.process, self.stage.workspace)
        directory = self.stage.expand((self.word("working-directory") or "@WORKSPACE@").encode())
        # Python itself ignores SIGPIPE and SIGXFSZ; a run finds them at their defaults unless the case says otherwise.
        process = subprocess.Popen(
            self.command(), cwd=directory, env=self.environment, umask=0o022, start_new_session=True,
            preexec_fn=before_exec(self.process), restore_signals=True, **streams.given)
        streams.run_started()
        try:
            output, error = process.communicate(self.event if process.stdin else None, timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, error = process.communicate()
            raise Unfulfilled(f"the run did not end within {timeout} seconds; it printed {output!r} and {error!r}")
        finally:
            streams.run_ended()
        return *streams.texts(output, error), process.returncode

    def play_all(self, watch):
        """The results of all runs of the case; `watch` is called all the while when there are many at once."""
        count = int(self.word("simultaneous") or 1)
        if count == 1:
            return [self.play(TIMEOUT)]
        results, failures = [], []

        def one():
            try:
                results.append(self.play(3 * TIMEOUT))
            except Exception as failure:  # the main thread reports it
                failures.append(failure)

        threads = [threading.Thread(target=one) for _ in range(count)]
        for thread in threads:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            try:
                watch()
            except Unfulfilled as failure:
                failures.append(failure)
        if failures:
            raise failures[0]
        return results

    def run(self):
        self.prepare()
        verdict = Verdict(self)
        application = self.start_application() if self.has_application else None
        try:
            before = self.stage.snapshot()
            began = time.time()
            results = self.play_all(verdict.check_untorn)
            ended = time.time()
            after = self.stage.snapshot()
        finally:
            if application:
                application.terminate()
                application.wait(TIMEOUT)
                application.stdout.close()
        if application:
            check(application.returncode in (0, -signal.SIGTERM), f"the stand-in ended with {application.returncode}")
        for output, error, status in results:
            verdict.check_streams(output, error, status)
            verdict.check_secret(output, error, before, after)
        verdict.check_observation(began, ended)
        if application:
            verdict.check_requests()
        verdict.check_changes(before, after)
        verdict.check_time(ended - began)


def play_case(folder, programs, keep=False):
    """Plays a case: its status, and what to print."""
    case = None
    told = ""
    try:
        case = Case(folder, programs)
        case.run()
        status = 0
    except Skipped as reason:
        status, told = SKIPPED, f"{folder}: skipped: {reason}\n"
    except (OSError, ValueError, Unfulfilled) as failure:
        status, told = 1, f"{folder}: {failure}\n"
    except BadCase as failure:
        status, told = 1, f"{folder}: a wrong case: {failure}\n"
    except Exception:  # the other cases of the topic are played and reported all the same
        status, told = 1, f"{folder}: {traceback.format_exc()}"
    if case and keep:
        told += f"the stage is {case.stage.top}\n"
    elif case:
        case.stage.remove()
    return status, told


def is_played_alone(folder):
    """Whether no other case may be played meanwhile: many runs at once want the machine for themselves, what is done
    between fork and exec is safe only in a process without other threads, and the reading end of a broken pipe must
    not live on in a run that is just being started."""
    process = folder / "process"
    return process.is_file() and ALONE.search(process.read_bytes()) is not None


def play_topic(folder, programs, jobs):
    """Plays the cases of a topic and prints those that fail or are skipped; gives the status of the whole."""
    cases = sorted(folder.iterdir())
    alone = [case for case in cases if is_played_alone(case)]
    others = [case for case in cases if case not in alone]
    with ThreadPoolExecutor(jobs) as pool:
        results = list(pool.map(lambda case: play_case(case, programs), others))
    results += [play_case(case, programs) for case in alone]
    statuses = [status for status, _ in results]
    failed, skipped = statuses.count(1), statuses.count(SKIPPED)
    print("".join(told for _, told in results), end="")
    print(f"{folder.name}: {len(cases)} cases, {failed} failed, {skipped} skipped")
    if failed or not cases:
        return 1
    return SKIPPED if skipped == len(cases) else 0


def is_topic(folder):
    """A topic holds folders only; a case holds a file at least."""
    return all(path.is_dir() for path in folder.iterdir())


def main():
    parser = command_line(__doc__, "sorvane-hook and sorvane-standin")
    parser.add_argument("--jobs", type=int, default=JOBS, help=f"how many cases of a topic at a time ({JOBS})")
    parser.add_argument("--keep", action="store_true", help="leave the stage of a single case and say where it is")
    parser.add_argument("folder", type=Path, help="a case or a topic")
    options = parser.parse_args()
    folder, programs = options.folder.resolve(), options.programs
    os.umask(0o022)
    if is_topic(folder):
        return play_topic(folder, programs, options.jobs)
    status, told = play_case(folder, programs, options.keep)
    print(told, end="")
    return status


if __name__ == "__main__":
    sys.exit(main())
