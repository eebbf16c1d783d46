#!/usr/bin/env python3
"""Runs of sorvane-doctor as a person and a script make them: its commands, its streams, its status; and what the
documents say of them: the keys of its JSON documents in docs/doctor.md, its words in manual and completions.

    commands_test.py --programs FOLDER --sources FOLDER
"""

import argparse
import json
import os
import pty
import re
import struct
import subprocess
import sys
import time
import unittest
import zlib
from pathlib import Path

sys.dont_write_bytecode = True

from world import HASH, World
from run_case import Skipped, require_strace

options = None


def png(width, height, rows=None):
    def chunk(name, body):
        return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))
    data = zlib.compress(b"".join(b"\0" + b"\xff\0\0" * width for _ in range(rows or height)))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"sRGB", b"\0") + chunk(b"IDAT", data) + chunk(b"IEND", b""))


def keys(value):
    if isinstance(value, dict):
        for key, member in value.items():
            yield key
            yield from keys(member)
    elif isinstance(value, list):
        for member in value:
            yield from keys(member)


class Commands(unittest.TestCase):
    def setUp(self):
        self.world = World(options.programs)
        self.addCleanup(self.world.__exit__)
        self.file = self.world.project / "red.png"
        self.file.write_bytes(png(2, 3))

    def run_doctor(self, *arguments, stdin=b"", **environment):
        run = subprocess.run([self.world.doctor, *arguments], input=stdin, capture_output=True, timeout=60,
                             check=False, env={**self.world.environment, **environment}, cwd=self.world.project)
        for credential in self.world.credentials():
            self.assertNotIn(credential, run.stdout + run.stderr)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def live_world(self):
        """One with an application and an agent; and the commands that look at all of it."""
        self.world.install("codex")
        self.world.configure("codex")
        self.world.start()
        self.world.submit()
        event = {"prompt": f"sorvane://image/{HASH}", "cwd": "/",
                 "attachments": [str(self.world.credential("codex")), str(self.file)]}
        (self.world.project / "event.json").write_text(json.dumps(event))
        return [[], ["--json"], ["--workspace", "."], ["--agent", "codex"], ["event", "event.json"],
                ["event", "--json", "event.json"], ["identity", str(self.file), str(self.world.credential("codex"))]]

    def document(self, *arguments, stdin=b""):
        _, output, error = self.run_doctor(*arguments, stdin=stdin)
        self.assertEqual(error, "")
        self.assertEqual(output.count("\n"), 1)
        return json.loads(output)

    def on_terminal(self, *arguments, **environment):
        """What the doctor writes to a terminal, both streams in one."""
        leader, follower = pty.openpty()
        values = {**self.world.environment, "TERM": "xterm", **environment}
        process = subprocess.Popen([self.world.doctor, *arguments], stdin=subprocess.DEVNULL, stdout=follower,
                                   stderr=follower, env=values, cwd=self.world.project)
        os.close(follower)
        output = b""
        while True:
            try:
                piece = os.read(leader, 4096)
            except OSError:
                piece = b""
            if not piece:
                break
            output += piece
        os.close(leader)
        process.wait()
        return output.decode()

    # The words

    def test_help_and_version_are_answers(self):
        status, output, error = self.run_doctor("--help")
        self.assertEqual((status, error), (0, ""))
        for word in ("event", "identity", "--agent", "--workspace", "--json", "--version"):
            self.assertIn(word, output)
        status, output, error = self.run_doctor("--version")
        self.assertEqual((status, error), (0, ""))
        self.assertRegex(output, r"^sorvane-doctor \d+\.\d+\.\d+\n$")

    def test_a_wrong_command_line_is_told_and_ends_with_2(self):
        for arguments in (["--nonsense"], ["nonsense"], ["--agent"], ["--agent", "Codex"], ["--agent", "../x"],
                          ["--workspace", "nowhere"], ["identity"], ["event", "a", "b"], ["event", "--x"]):
            with self.subTest(arguments):
                status, output, error = self.run_doctor(*arguments)
                self.assertEqual((status, output), (2, ""))
                self.assertNotEqual(error, "")

    def test_json_stands_before_or_after_everything(self):
        name = str(self.file)
        (self.world.project / "event.json").write_text('{"prompt": "hello"}')
        for arguments in (["identity", name], ["event", "event.json"], ["--agent", "codex"]):
            documents = [self.document(*arguments[:index], "--json", *arguments[index:])
                         for index in range(len(arguments) + 1) if arguments[index - 1:index] != ["--agent"]]
            self.assertEqual(documents[1:], documents[:-1])

    def test_one_agent_may_be_named(self):
        document = self.document("--json", "--agent", "cursor")
        self.assertEqual([section["title"] for section in document["sections"]], ["Sorvane", "Cursor", "Decoders"])

    # The streams

    def test_colour_is_for_terminals_that_want_it(self):
        self.assertIn("\x1b[", self.on_terminal())
        self.assertNotIn("\x1b[", self.on_terminal(NO_COLOR="1"))
        self.assertNotIn("\x1b[", self.on_terminal(TERM="dumb"))
        self.assertNotIn("\x1b[", self.run_doctor(TERM="xterm")[1])

    def test_many_files_have_their_progress_told_on_a_terminal(self):
        self.assertIn("file 4 of 4", self.on_terminal("identity", *[str(self.file)] * 4))
        self.assertNotIn("of 3", self.on_terminal("identity", *[str(self.file)] * 3))
        self.assertNotIn("of 4", self.on_terminal("identity", *[str(self.file)] * 4, TERM="dumb"))
        self.assertEqual(self.run_doctor("identity", *[str(self.file)] * 4)[2], "")

    def test_a_stream_that_nobody_reads_ends_it_quietly(self):
        (self.world.project / "event.json").write_text('{"prompt": "hello"}')
        for arguments in ([], ["--json"], ["--help"], ["event", "event.json"], ["identity", str(self.file)]):
            reader, writer = os.pipe()
            os.close(reader)
            for stdout in (writer, None):
                run = subprocess.run([self.world.doctor, *arguments], stdout=stdout, stderr=subprocess.PIPE, timeout=60,
                                     check=False, env=self.world.environment, cwd=self.world.project,
                                     preexec_fn=None if stdout else lambda: os.close(1))
                self.assertEqual(run.stderr, b"")
                self.assertIn(run.returncode, (0, 1))
            os.close(writer)

    # Its commands

    def test_event_says_what_would_be_sent(self):
        event = {"prompt": f"sorvane://image/{HASH} sorvane://image/12", "cwd": "/work", "session_id": "s",
                 "attachments": [str(self.file), "/nowhere", 5]}
        text = json.dumps(event).encode()
        (self.world.project / "event.json").write_bytes(text)
        for arguments, stdin in ((["event"], text), (["event", "-"], text), (["event", "event.json"], b"")):
            document = self.document("--json", *arguments, stdin=stdin)
            self.assertEqual(document["references"], [f"sorvane://image/{HASH}"])
            self.assertEqual(document["nearMisses"][0]["text"], "sorvane://image/12")
            self.assertEqual(document["request"]["credential"], "(credential)")
            self.assertIn("pixelHash", document["attachments"][0]["identity"])
            self.assertIn("No such file", document["attachments"][1]["reason"])
            self.assertFalse(document["attachmentsLookedAt"])

    def test_event_takes_the_agent_that_is_named(self):
        text = json.dumps({"prompt": f"sorvane://image/{HASH}", "cwd": "/work"}).encode()
        self.assertIn("hookSpecificOutput", self.document("event", "--json", stdin=text)["answer"])
        self.assertEqual(self.document("event", "--json", "--agent", "cursor", stdin=text)["answer"],
                         {"continue": True})

    def test_identity_is_that_of_the_hook_with_its_reason(self):
        files = {"damaged.png": png(4, 4)[:-30], "large.png": png(8000, 8000, 1), "text": b"no picture", "empty": b"",
                 "pile.gif": b"GIF89a", "red.jpg": b"\xff\xd8\xff\xe0"}
        for name, content in files.items():
            (self.world.project / name).write_bytes(content)
        reports = self.document("--json", "identity", "red.png", *files)["files"]
        red = reports[0]
        self.assertIn("pixelHash", red["identity"])
        self.assertNotIn("reason", red)
        if sys.platform != "darwin":
            self.assertEqual((red["format"].upper(), red["width"], red["height"], red["orientation"], red["colour"]),
                             ("PNG", 2, 3, 1, "sRGB"))
            self.assertIn("60000000 pixels", reports[2]["reason"])
            self.assertEqual((reports[2]["width"], reports[2]["height"]), (8000, 8000))
        for report in reports[1:]:
            with self.subTest(report["file"]):
                self.assertEqual(list(report["identity"]), ["sha256"])
                self.assertTrue(report["reason"])

    def test_identity_is_what_the_hook_sends(self):
        self.world.install("codex")
        self.world.configure("codex")
        self.world.start()
        event = {"attachments": [str(self.file)], "cwd": "/work"}
        sent = self.document("--json", "event", stdin=json.dumps(event).encode())["request"]["attachments"]
        self.assertEqual(sent, [self.document("--json", "identity", "red.png")["files"][0]["identity"]])

    # Bad input

    def test_bad_input_is_named_with_its_reason(self):
        for stdin, words in ((b"", "empty"), (b"[]", "list"), (b"{", "JSON"), (b"\xff", "JSON"),
                             (b"[" * 100_000, "JSON")):
            status, output, error = self.run_doctor("event", stdin=stdin)
            self.assertEqual((status, output), (1, ""))
            self.assertRegex(error, rf"^sorvane-doctor: standard input.*{words}.*\n$")
        status, output, error = self.run_doctor("event", "nowhere.json")
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(error, "^sorvane-doctor: .*nowhere.json.*No such file.*\n$")
        os.mkfifo(self.world.project / "fifo")
        status, output, error = self.run_doctor("identity", "nowhere.png", "fifo", ".", "red.png")
        self.assertEqual((status, error), (1, ""))
        self.assertEqual(output.count("cannot be read"), 3)
        self.assertIn("pixels", output)

    def test_hostile_configurations_are_not_known_or_nothing(self):
        contents = [b"", b"\xff\xfe", b"[" * 100_000, b'{"hooks":' * 600, b'{"hooks":{"UserPromptSubmit":[{"hooks":[{"command":"'
                    + b"sorvane-hook '" * 1000 + b'"}]}]}}', b'{"hooks":{"UserPromptSubmit":[{"hooks":[{"command":'
                    b'"sorvane-hook","timeout":1e308}]}]}}', b"a = " + b"[" * 100_000, b"[[hooks]]\n" * 1000]
        for path in (".claude/settings.json", ".codex/hooks.json", ".codex/config.toml", ".cursor/hooks.json",
                     ".copilot/hooks/a.json"):
            for content in contents:
                target = self.world.home / path
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                status, output, error = self.run_doctor()
                self.assertEqual((status, error), (1, ""))
                self.assertNotIn("\x1b", output)
            target.unlink()

    def test_hostile_files_cannot_crash_it(self):
        agents = self.world.root / "Integrations/Agents"
        home = self.world.home
        targets = {
            "configuration": [home / path for path in (
                ".claude/settings.json", ".codex/hooks.json", ".codex/config.toml", ".cursor/hooks.json",
                ".gemini/settings.json", ".copilot/hooks/a.json", ".config/opencode/plugins/a.js")],
            "records": [agents / "codex-hook-state.json", agents / "codex-mcp-session.json"],
            "manifest": [agents / "codex.json"],
            "credential": [self.world.credential("codex")],
        }
        huge = self.world.top / "huge"
        huge.write_bytes(b"[" * 100_000_000)
        endless = self.world.top / "endless"
        endless.touch()
        os.truncate(endless, 100_000_000)
        kinds = {
            "fifo": os.mkfifo,
            "folder": os.mkdir,
            "loop": lambda path: path.symlink_to(path.name),
            "dangling": lambda path: path.symlink_to("nowhere"),
            "device": lambda path: path.symlink_to("/dev/zero"),
            "unreadable": lambda path: (path.write_text("{}"), path.chmod(0)),
            "huge": lambda path: os.link(huge, path),
            "endless": lambda path: os.link(endless, path),
            "deep": lambda path: path.write_text('{"a":' * 100_000),
            "deep key": lambda path: path.write_text(".".join("a" * 200_000) + " = 1"),
            "no text": lambda path: path.write_bytes(b'{"hooks": {"\xff\xfe": "\xc3(\0"}}'),
        }
        for group, paths in targets.items():
            for kind, make in kinds.items():
                with self.subTest(f"{group}: {kind}"):
                    self.world.install("codex")
                    for path in paths:
                        path.parent.mkdir(parents=True, exist_ok=True)
                        path.unlink(missing_ok=True)
                        make(path)
                    status, output, error = self.run_doctor()
                    self.assertEqual((status, error), (1, ""))
                    self.assertIn("Decoders", output)
                    for path in paths:
                        path.rmdir() if kind == "folder" else path.unlink()
        for kind, make in kinds.items():
            path = self.world.project / "hostile"
            make(path)
            with self.subTest(f"event: {kind}"):
                status, output, error = self.run_doctor("event", "hostile")
                self.assertIn((status, output), [(1, ""), (0, output)])
                self.assertLessEqual(error.count("\n"), 1)
                self.assertEqual(status == 1, error != "")
            with self.subTest(f"identity: {kind}"):
                status, output, error = self.run_doctor("identity", "hostile")
                self.assertIn(status, (0, 1))
                self.assertEqual(error, "")
            path.rmdir() if kind == "folder" else path.unlink()

    def test_events_of_any_size_are_told_in_few_lines(self):
        for event in ({"prompt": "sorvane:" * 1_000_000}, {"prompt": f"sorvane://image/{HASH} " * 10_000, "cwd": "/"}):
            document = self.document("event", "--json", stdin=json.dumps(event).encode())
            self.assertLessEqual(len(document["nearMisses"]), 100)
        status, output, error = self.run_doctor("event", stdin=json.dumps({"attachments": [1] * 100_000}).encode())
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(error, "^sorvane-doctor: .*more than 1000 attachments\n$")

    # What it must not do

    def test_it_changes_nothing(self):
        def tree():
            return {path: (status.st_mode, status.st_size, status.st_mtime_ns, status.st_ctime_ns, status.st_ino)
                    for path in (self.world.top, *self.world.top.rglob("*")) for status in [path.lstat()]}
        commands = self.live_world()
        before = tree()
        time.sleep(0.05)
        for arguments in commands:
            self.run_doctor(*arguments)
        self.assertEqual(tree(), before)

    def test_it_opens_nothing_for_writing_and_connects_to_the_socket_alone(self):
        try:
            require_strace()
        except Skipped as reason:
            self.skipTest(str(reason))
        trace = self.world.top / "trace"
        for arguments in self.live_world():
            subprocess.run(["strace", "-f", "-qq", "-o", trace, "-e", "trace=%file,%network,?%desc", "-e",
                            "signal=none", self.world.doctor, *arguments], env=self.world.environment, check=False,
                           cwd=self.world.project, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=60)
            calls = [line for line in trace.read_text().splitlines() if "(" in line]
            names = {re.match(r"\d+ +(\w+)\(", line)[1] for line in calls if re.match(r"\d+ +\w+\(", line)}
            self.assertIn("openat", names)
            self.assertEqual(names & {"rename", "renameat", "renameat2", "unlink", "unlinkat", "rmdir", "mkdir", "mkdirat",
                                      "chmod", "fchmod", "fchmodat", "chown", "fchown", "lchown", "fchownat", "truncate",
                                      "ftruncate", "link", "linkat", "symlink", "symlinkat", "mknod", "mknodat", "utimensat",
                                      "bind", "listen", "setxattr", "fsetxattr"}, set())
            # A decoder offers itself to the system that runs out of memory.
            allowed = re.compile(r"/dev/null|/proc/self/oom_score_adj")
            for line in calls:
                if re.search(r"\b(open|openat|creat)\(", line) and not allowed.search(line):
                    self.assertNotRegex(line, "O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND")
                if re.search(r"\bconnect\(", line):
                    self.assertIn("Runtime/sorvane.sock", line)
                if re.search(r"\bsend(to|msg|mmsg)\(", line):
                    self.assertNotIn("credential", line)
                if re.search(r"\bsocket\(", line):
                    self.assertRegex(line, "AF_UNIX")
            if "event" in arguments or "identity" in arguments:
                self.assertNotIn("connect", names)

    # The documents

    def test_manual_and_completions_know_every_option_and_command(self):
        said = self.run_doctor("--help")[1]
        taken = set(re.findall(r"--[a-z-]+", said)) | set(re.findall(r"^ +(event|identity) ", said, re.M))
        self.assertEqual(len(taken), 7)
        packaging = options.sources / "packaging"
        manual = (packaging / "man/sorvane-doctor.1").read_text()
        self.assertEqual({"--" + name for name in re.findall(r"\.(?:It )?Fl \\-([a-z-]+)", manual)} |
                         set(re.findall(r"^\.It Cm (\w+)", manual, re.M)), taken)
        bash = (packaging / "completions/sorvane.bash").read_text()
        self.assertEqual(set(re.search(r"else\n +words='(.*)'", bash)[1].split()) |
                         set(re.search(r"words\+='(.*)'", bash)[1].split()), taken)
        fish = re.findall(r"^complete -c sorvane-doctor(?: -n \S+)? -([al]) (\S+)",
                          (packaging / "completions/sorvane.fish").read_text(), re.M)
        self.assertEqual({("--" if kind == "l" else "") + word for kind, word in fish}, taken)
        zsh = (packaging / "completions/_sorvane").read_text().partition("return")[2]
        self.assertEqual(set(re.findall(r"--[a-z]+", zsh)) | set(re.findall(r"(\w+)\\:", zsh)), taken)

    def test_manual_and_page_know_every_status(self):
        manual = (options.sources / "packaging/man/sorvane-doctor.1").read_text()
        page = (options.sources / "docs/doctor.md").read_text()
        report = (options.sources / "tools/doctor/report.cpp").read_text()
        words = re.findall(r'return "([a-z ]+)";', report)
        self.assertEqual(len(words), 4)
        for word in words:
            self.assertIn(f".Li {word}", manual)
            self.assertIn(f"`{word}`", page)
        for status in range(3):
            self.assertIn(f".It {status}\n", manual)
            self.assertIn(f"| {status} | ", page)

    def test_every_key_is_documented(self):
        page = (options.sources / "docs/doctor.md").read_text()
        documented = set(re.findall(r"^\| (?:\d+ \| )?`(\w+)`", page, re.MULTILINE))
        event = json.dumps({"prompt": f"sorvane://image/{HASH} sorvane://image/1", "cwd": "/", "session_id": "s",
                            "turn_id": "t", "attachments": [str(self.file), 5]}).encode()
        self.world.install("codex")
        self.world.configure("codex", command="sorvane-hook --agent codex")
        (self.world.credential("codex")).chmod(0o644)
        documents = [self.document("--json"), self.document("--json", "identity", "red.png", "nowhere")]
        report = self.document("--json", "event", stdin=event)
        for foreign in ("request", "answer"):
            report[foreign] = None
        for attachment in report["attachments"]:
            attachment["attachment"] = None
        found = {key for document in (*documents, report) for key in keys(document)}
        found -= {"sha256", "pixelHash", "pixelWidth", "pixelHeight"}  # the identity's own, of pixel-digest.md
        self.assertEqual(found - documented, set())
        self.assertEqual(documented - found, set())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True)
    parser.add_argument("--sources", type=Path, required=True)
    options, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
