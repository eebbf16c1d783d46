#!/usr/bin/env python3
"""Runs of sorvane-doctor as a person and a script make them: its commands, its streams, its status, and that it changes
nothing."""

import json
import os
import pty
import re
import subprocess
import sys
import time

sys.dont_write_bytecode = True

from doctor_runs import DoctorTest, png, run_tests
from doctor_stage import HASH
from test_command import Skipped, require_strace


class Commands(DoctorTest):
    def live_stage(self):
        """One with an application and an agent; and the commands that look at all of it."""
        self.stage.install("codex")
        self.stage.configure("codex")
        self.stage.start()
        self.stage.submit()
        event = {"prompt": f"sorvane://image/{HASH}", "cwd": "/",
                 "attachments": [str(self.stage.credential("codex")), str(self.file)]}
        (self.stage.project / "event.json").write_text(json.dumps(event))
        return [[], ["--json"], ["--workspace", "."], ["--agent", "codex"], ["event", "event.json"],
                ["event", "--json", "event.json"], ["identity", str(self.file), str(self.stage.credential("codex"))]]

    def on_terminal(self, *arguments, **environment):
        """What the doctor writes to a terminal, both streams in one."""
        leader, follower = pty.openpty()
        values = {**self.stage.environment, "TERM": "xterm", **environment}
        process = subprocess.Popen([self.stage.doctor, *arguments], stdin=subprocess.DEVNULL, stdout=follower,
                                   stderr=follower, env=values, cwd=self.stage.project)
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
        (self.stage.project / "event.json").write_text('{"prompt": "hello"}')
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
        (self.stage.project / "event.json").write_text('{"prompt": "hello"}')
        for arguments in ([], ["--json"], ["--help"], ["event", "event.json"], ["identity", str(self.file)]):
            reader, writer = os.pipe()
            os.close(reader)
            for stdout in (writer, None):
                run = subprocess.run([self.stage.doctor, *arguments], stdout=stdout, stderr=subprocess.PIPE, timeout=60,
                                     check=False, env=self.stage.environment, cwd=self.stage.project,
                                     preexec_fn=None if stdout else lambda: os.close(1))
                self.assertEqual(run.stderr, b"")
                self.assertIn(run.returncode, (0, 1))
            os.close(writer)

    # Its commands

    def test_event_says_what_would_be_sent(self):
        event = {"prompt": f"sorvane://image/{HASH} sorvane://image/12", "cwd": "/home/ada/shop", "session_id": "s",
                 "attachments": [str(self.file), "/nowhere", 5]}
        text = json.dumps(event).encode()
        (self.stage.project / "event.json").write_bytes(text)
        for arguments, stdin in ((["event"], text), (["event", "-"], text), (["event", "event.json"], b"")):
            document = self.document("--json", *arguments, stdin=stdin)
            self.assertEqual(document["references"], [f"sorvane://image/{HASH}"])
            self.assertEqual(document["nearMisses"][0]["text"], "sorvane://image/12")
            self.assertEqual(document["request"]["credential"], "(credential)")
            self.assertIn("pixelHash", document["attachments"][0]["identity"])
            self.assertIn("No such file", document["attachments"][1]["reason"])
            self.assertFalse(document["attachmentsLookedAt"])

    def test_event_takes_the_agent_that_is_named(self):
        text = json.dumps({"prompt": f"sorvane://image/{HASH}", "cwd": "/home/ada/shop"}).encode()
        self.assertIn("hookSpecificOutput", self.document("event", "--json", stdin=text)["answer"])
        self.assertEqual(self.document("event", "--json", "--agent", "cursor", stdin=text)["answer"],
                         {"continue": True})

    def test_identity_is_that_of_the_hook_with_its_reason(self):
        files = {"damaged.png": png(4, 4)[:-30], "large.png": png(8000, 8000, 1), "text": b"no picture", "empty": b"",
                 "pile.gif": b"GIF89a", "red.jpg": b"\xff\xd8\xff\xe0"}
        for name, content in files.items():
            (self.stage.project / name).write_bytes(content)
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
        self.stage.install("codex")
        self.stage.configure("codex")
        self.stage.start()
        event = {"attachments": [str(self.file)], "cwd": "/home/ada/shop"}
        sent = self.document("--json", "event", stdin=json.dumps(event).encode())["request"]["attachments"]
        self.assertEqual(sent, [self.document("--json", "identity", "red.png")["files"][0]["identity"]])

    # What it must not do

    def test_it_changes_nothing(self):
        def tree():
            return {path: (status.st_mode, status.st_size, status.st_mtime_ns, status.st_ctime_ns, status.st_ino)
                    for path in (self.stage.top, *self.stage.top.rglob("*")) for status in [path.lstat()]}
        commands = self.live_stage()
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
        trace = self.stage.top / "trace"
        for arguments in self.live_stage():
            subprocess.run(["strace", "-f", "-qq", "-o", trace, "-e", "trace=%file,%network,?%desc", "-e",
                            "signal=none", self.stage.doctor, *arguments], env=self.stage.environment, check=False,
                           cwd=self.stage.project, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=60)
            calls = [line for line in trace.read_text().splitlines() if "(" in line]
            names = {re.match(r"\d+ +(\w+)\(", line)[1] for line in calls if re.match(r"\d+ +\w+\(", line)}
            self.assertIn("openat", names)
            changing = {"rename", "renameat", "renameat2", "unlink", "unlinkat", "rmdir", "mkdir", "mkdirat", "chmod",
                        "fchmod", "fchmodat", "chown", "fchown", "lchown", "fchownat", "truncate", "ftruncate", "link",
                        "linkat", "symlink", "symlinkat", "mknod", "mknodat", "utimensat", "bind", "listen", "setxattr",
                        "fsetxattr"}
            self.assertEqual(names & changing, set())
            # A decoder raises its own score for the out-of-memory killer.
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


if __name__ == "__main__":
    run_tests(__doc__)
