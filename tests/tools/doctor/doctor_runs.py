"""Runs of sorvane-doctor for tests: each on a stage of its own with a picture in it."""

import json
import struct
import subprocess
import sys
import unittest
import zlib
from pathlib import Path

from doctor_stage import DoctorStage
from test_command import command_line

SOURCES = Path(__file__).resolve().parents[3]


def png(width, height, rows=None):
    def chunk(name, body):
        return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))
    data = zlib.compress(b"".join(b"\0" + b"\xff\0\0" * width for _ in range(rows or height)))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"sRGB", b"\0") + chunk(b"IDAT", data) + chunk(b"IEND", b""))


class DoctorTest(unittest.TestCase):
    programs = None

    def setUp(self):
        self.stage = DoctorStage(self.programs)
        self.addCleanup(self.stage.__exit__)
        self.file = self.stage.project / "red.png"
        self.file.write_bytes(png(2, 3))

    def run_doctor(self, *arguments, stdin=b"", **environment):
        run = subprocess.run([self.stage.doctor, *arguments], input=stdin, capture_output=True, timeout=60,
                             check=False, env={**self.stage.environment, **environment}, cwd=self.stage.project)
        for credential in self.stage.credentials():
            self.assertNotIn(credential, run.stdout + run.stderr)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def document(self, *arguments, stdin=b""):
        _, output, error = self.run_doctor(*arguments, stdin=stdin)
        self.assertEqual(error, "")
        self.assertEqual(output.count("\n"), 1)
        return json.loads(output)


def run_tests(description):
    """Runs the tests of the program; further words are the unit-test library's."""
    options, rest = command_line(description, "sorvane-doctor").parse_known_args()
    DoctorTest.programs = options.programs
    unittest.main(argv=[sys.argv[0], *rest])
