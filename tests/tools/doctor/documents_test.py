#!/usr/bin/env python3
"""What the documents say of sorvane-doctor: the keys of its JSON documents in docs/doctor.md, its words in manual and
completions."""

import json
import re
import sys

sys.dont_write_bytecode = True

from doctor_runs import DoctorTest, run_tests, SOURCES
from doctor_stage import HASH


def keys(value):
    if isinstance(value, dict):
        for key, member in value.items():
            yield key
            yield from keys(member)
    elif isinstance(value, list):
        for member in value:
            yield from keys(member)


class Documents(DoctorTest):
    def test_manual_and_completions_know_every_option_and_command(self):
        said = self.run_doctor("--help")[1]
        taken = set(re.findall(r"--[a-z-]+", said)) | set(re.findall(r"^ +(event|identity) ", said, re.M))
        self.assertEqual(len(taken), 7)
        packaging = SOURCES / "packaging"
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
        manual = (SOURCES / "packaging/man/sorvane-doctor.1").read_text()
        page = (SOURCES / "docs/doctor.md").read_text()
        report = (SOURCES / "tools/doctor/report.cpp").read_text()
        words = re.findall(r'return "([a-z ]+)";', report)
        self.assertEqual(len(words), 4)
        for word in words:
            self.assertIn(f".Li {word}", manual)
            self.assertIn(f"`{word}`", page)
        for status in range(3):
            self.assertIn(f".It {status}\n", manual)
            self.assertIn(f"| {status} | ", page)

    def test_every_key_is_documented(self):
        page = (SOURCES / "docs/doctor.md").read_text()
        documented = set(re.findall(r"^\| (?:\d+ \| )?`(\w+)`", page, re.MULTILINE))
        event = json.dumps({"prompt": f"sorvane://image/{HASH} sorvane://image/1", "cwd": "/", "session_id": "s",
                            "turn_id": "t", "attachments": [str(self.file), 5]}).encode()
        self.stage.install("codex")
        self.stage.configure("codex", command="sorvane-hook --agent codex")
        (self.stage.credential("codex")).chmod(0o644)
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
    run_tests(__doc__)
