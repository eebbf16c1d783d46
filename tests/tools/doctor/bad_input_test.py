#!/usr/bin/env python3
"""Whatever sorvane-doctor reads: a clear line and a status, and no crash."""

import json
import os
import sys

sys.dont_write_bytecode = True

from doctor_runs import DoctorTest, run_tests
from doctor_stage import HASH


class BadInput(DoctorTest):
    def test_bad_input_is_named_with_its_reason(self):
        for stdin, words in ((b"", "empty"), (b"[]", "list"), (b"{", "JSON"), (b"\xff", "JSON"),
                             (b"[" * 100_000, "JSON")):
            status, output, error = self.run_doctor("event", stdin=stdin)
            self.assertEqual((status, output), (1, ""))
            self.assertRegex(error, rf"^sorvane-doctor: standard input.*{words}.*\n$")
        status, output, error = self.run_doctor("event", "nowhere.json")
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(error, "^sorvane-doctor: .*nowhere.json.*No such file.*\n$")
        os.mkfifo(self.stage.project / "fifo")
        status, output, error = self.run_doctor("identity", "nowhere.png", "fifo", ".", "red.png")
        self.assertEqual((status, error), (1, ""))
        self.assertEqual(output.count("cannot be read"), 3)
        self.assertIn("pixels", output)

    def test_hostile_configurations_are_not_known_or_nothing(self):
        contents = [b"", b"\xff\xfe", b"[" * 100_000, b'{"hooks":' * 600,
                    b'{"hooks":{"UserPromptSubmit":[{"hooks":[{"command":"' + b"sorvane-hook '" * 1000 + b'"}]}]}}',
                    b'{"hooks":{"UserPromptSubmit":[{"hooks":[{"command":"sorvane-hook","timeout":1e308}]}]}}',
                    b"a = " + b"[" * 100_000, b"[[hooks]]\n" * 1000]
        for path in (".claude/settings.json", ".codex/hooks.json", ".codex/config.toml", ".cursor/hooks.json",
                     ".copilot/hooks/a.json"):
            for content in contents:
                target = self.stage.home / path
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                status, output, error = self.run_doctor()
                self.assertEqual((status, error), (1, ""))
                self.assertNotIn("\x1b", output)
            target.unlink()

    def hostile_files(self):
        """By its name, what makes a hostile file at a path."""
        huge = self.stage.top / "huge"
        huge.write_bytes(b"[" * 100_000_000)
        endless = self.stage.top / "endless"
        endless.touch()
        os.truncate(endless, 100_000_000)
        return {
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

    def examine_with(self, paths, make):
        """Examines codex with hostile files at these paths."""
        self.stage.install("codex")
        for path in paths:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.unlink(missing_ok=True)
            make(path)
        status, output, error = self.run_doctor()
        self.assertEqual((status, error), (1, ""))
        self.assertIn("Decoders", output)
        for path in paths:
            path.rmdir() if make is os.mkdir else path.unlink()

    def test_hostile_files_of_an_installation_cannot_crash_it(self):
        agents = self.stage.root / "Integrations/Agents"
        targets = {
            "configuration": [self.stage.home / path for path in (
                ".claude/settings.json", ".codex/hooks.json", ".codex/config.toml", ".cursor/hooks.json",
                ".gemini/settings.json", ".copilot/hooks/a.json", ".config/opencode/plugins/a.js")],
            "records": [agents / "codex-hook-state.json", agents / "codex-mcp-session.json"],
            "manifest": [agents / "codex.json"],
            "credential": [self.stage.credential("codex")],
        }
        hostile = self.hostile_files()
        for group, paths in targets.items():
            for kind, make in hostile.items():
                with self.subTest(f"{group}: {kind}"):
                    self.examine_with(paths, make)

    def test_hostile_files_to_be_explained_cannot_crash_it(self):
        path = self.stage.project / "hostile"
        for kind, make in self.hostile_files().items():
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
            path.rmdir() if make is os.mkdir else path.unlink()

    def test_events_of_any_size_are_told_in_few_lines(self):
        for event in ({"prompt": "sorvane:" * 1_000_000}, {"prompt": f"sorvane://image/{HASH} " * 10_000, "cwd": "/"}):
            document = self.document("event", "--json", stdin=json.dumps(event).encode())
            self.assertLessEqual(len(document["nearMisses"]), 100)
        status, output, error = self.run_doctor("event", stdin=json.dumps({"attachments": [1] * 100_000}).encode())
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(error, "^sorvane-doctor: .*more than 1000 attachments\n$")


if __name__ == "__main__":
    run_tests(__doc__)
