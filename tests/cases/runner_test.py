#!/usr/bin/env python3
"""Shows that the runner fails what must fail: cases that are wrong, and programs that misbehave."""

import contextlib
import errno
import io
import os
import sys
import tempfile
from pathlib import Path
from unittest import mock

sys.dont_write_bytecode = True

import run_case
from test_command import command_line

MISSING = "Sorvane: Invalid arguments: Agent identity is required.\n"
BAD_LINE = {"arguments": "", "stderr": MISSING}
NO_IMAGES = {"event": "{}", "observation": '{"outcome":"no-image-identities"}'}
NO_MATCH = {
    "answer": '{"version":1,"requestID":"@REQUEST_ID@","ok":true}\n',
    "observation": '{"referenceCount":1,"outcome":"no-exact-match"}',
}
MATCH = {
    "answer": '{"version":1,"requestID":"@REQUEST_ID@","ok":true,"matched":true,'
              '"images":[{"relativePath":"a","uti":"b"}]}\n',
    "observation": '{"referenceCount":1,"outcome":"matched"}',
}
SILENCE = {"event": ""}
LACKING = SILENCE | {"process": "decoder ours"}

# Where the observation of a run lies, for programs that are a few lines of shell.
STATE = '"$SORVANE_APP_SUPPORT/Integrations/Agents/codex-hook-state.json"'
NOW = "$(($(date +%s) - 978307200))"
RECORD = '{"clientID":"client-1","observedAt":\'' + NOW + '\',"attachmentCount":0,"referenceCount":0,' \
         '"outcome":"no-image-identities"}'
GOOD_RECORD = f"printf '%s' '{RECORD}' > {STATE}; chmod 600 {STATE}"

GOOD_CASES = [BAD_LINE, NO_IMAGES, NO_MATCH, SILENCE]

# What is wrong, the case, a word of the complaint.
WRONG_CASES = [
    ("an unknown file", BAD_LINE | {"stdoud": ""}, "stdoud"),
    ("an unknown word", BAD_LINE | {"process": "stdin full"}, "unknown"),
    ("a word without its value", BAD_LINE | {"process": "descriptors"}, "unknown"),
    ("an unknown verb", BAD_LINE | {"set-up": "paint @ROOT@"}, "paint"),
    ("a verb without its words", BAD_LINE | {"set-up": "fifo"}, "set-up"),
    ("an unknown placeholder", SILENCE | {"event": "@ROTO@"}, "@ROTO@"),
    ("two expectations for one stream", BAD_LINE | {"stderr.pattern": "."}, "two expectations"),
    ("a root outside testing mode", SILENCE | {"environment": "-SORVANE_TESTING\n"}, "real home"),
    ("an application without a request",
     NO_MATCH | {"event": '{"prompt":"sorvane://image/@HASH@","cwd":""}'}, "what request"),
    ("a stand-in that does not start", NO_MATCH | {"broker": "--paint\n"}, "did not start"),
    ("an error that nobody expects", {"arguments": ""}, "stderr"),
    ("another error", BAD_LINE | {"stderr": MISSING.upper()}, "stderr"),
    ("an error that does not match", {"arguments": "", "stderr.pattern": "Sorvane: No.*"}, "stderr"),
    ("an output that does not come", SILENCE | {"stdout": "{}\n"}, "stdout"),
    ("an output that nobody expects", MATCH, "stdout"),
    ("another context", MATCH | {"context": "hello\n"}, "stdout"),
    ("an observation that nobody expects", {"event": "{}"}, "codex-hook-state.json"),
    ("an observation that does not come", SILENCE | {"observation": '{"outcome":"matched"}'}, "no observation"),
    ("another observation", NO_IMAGES | {"observation": '{"outcome":"matched"}'}, "the observation"),
    ("another request", NO_MATCH | {"request": '{"sessionID":"s"}'}, "the request"),
    ("a request that nobody expects", NO_MATCH | {"request": ""}, "request"),
    ("other changes", NO_IMAGES | {"changes": ""}, "changed"),
    ("a run that is too quick", SILENCE | {"process": "seconds 5 6"}, "seconds"),
]

# A program in shell, the case that it must fail, a word of the complaint.
WRONG_PROGRAMS = [
    ("exit 3", SILENCE, "status 3"),
    ("kill -SEGV $$", SILENCE, "status -11"),
    ("sleep 60", SILENCE, "did not end"),
    ("cat >&2", SILENCE | {"event": "token-of-codex\n", "stderr.pattern": ".*"}, "credential"),
    ("printf 'one\\ntwo\\n' >&2", SILENCE | {"stderr.pattern": "(.|\n)*"}, "more than one line"),
    ("printf 'one' >&2", SILENCE | {"stderr.pattern": "one"}, "stderr"),
    (f"touch {STATE}.part", SILENCE, "codex-hook-state.json.part"),
    ("rm ../root/Credentials/codex", SILENCE, "- root/Credentials/codex"),
    ("chmod 644 ../root/Credentials/codex", SILENCE, "~ 0644 root/Credentials/codex"),
    ("touch trace", SILENCE, "workspace/trace"),
    (GOOD_RECORD.replace("600", "644"), NO_IMAGES, "0644"),
    (GOOD_RECORD.replace(NOW, "0"), NO_IMAGES, "observedAt"),
    (GOOD_RECORD.replace("'" + NOW + "'", '"now"'), NO_IMAGES, "observedAt"),
    (GOOD_RECORD.replace(NOW, "now"), NO_IMAGES, "not JSON"),
    (GOOD_RECORD.replace(",", ", "), NO_IMAGES, "compact"),
    (GOOD_RECORD.replace('"attachmentCount":0,"referenceCount":0', '"referenceCount":0,"attachmentCount":0'),
     NO_IMAGES, "order"),
    (GOOD_RECORD.replace('"attachmentCount":0', '"attachmentCount":true'), NO_IMAGES, "the observation"),
    (f"printf '{{' > {STATE}; sleep 0.3; {GOOD_RECORD}", NO_IMAGES | {"process": "simultaneous 3"}, "torn"),
    ('echo \'{"a":"b/c"}\'', SILENCE | {"stdout.json": '{"a":"b/c"}'}, "escaped slashes"),
    ('echo \'{"a": 1}\'', SILENCE | {"stdout.json": '{"a":1}'}, "compact"),
    ('echo \'{"a":true}\'', SILENCE | {"stdout.json": '{"a":1}'}, "stdout"),
    ("printf '{}'", SILENCE | {"stdout.json": "{}"}, "one line"),
    (GOOD_RECORD, NO_MATCH | NO_IMAGES | {"request": "{}"}, "0 requests"),
]
GOOD_PROGRAMS = [("cat", SILENCE), (GOOD_RECORD, NO_IMAGES)]


def without_full_device(path, *arguments, **options):
    if path == "/dev/full":
        raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), path)
    return REAL_OPEN(path, *arguments, **options)


def refuse_name(*_):
    raise OSError(errno.EILSEQ, os.strerror(errno.EILSEQ))


REAL_OPEN = os.open

# What another system lacks, the case that needs it, a word of the reason.
LACKS = [
    (mock.patch("os.open", without_full_device), SILENCE | {"process": "stderr full"}, "/dev/full"),
    (mock.patch("os.symlink", refuse_name), SILENCE | {"set-up": "link @WORKSPACE@/@BYTES(ff)@ a"}, "UTF-8"),
    (mock.patch("sys.platform", "darwin"), LACKING, "decodes"),
]


# The cases of a topic by their names, the status of the whole, what is told in full: "@" is the topic's path.
TOPICS = [
    ({"good": SILENCE, "also-good": NO_IMAGES}, 0, "topic: 2 cases, 0 failed, 0 skipped\n"),
    ({"good": SILENCE, "lacking": LACKING, "wrong": SILENCE | {"stdoud": ""}, "wrong-too": {}}, 1,
     "@/lacking: skipped: the system decodes pictures here\n"
     "@/wrong: a wrong case: unknown: stdoud\n"
     "@/wrong-too: stderr differs:\n  --- expected\n  +++ actual\n  @@ -0,0 +1 @@\n"
     "  +Sorvane: Sorvane is not running or Tandem Link is unavailable.\n"
     "  expected b''\n"
     "  actual   b'Sorvane: Sorvane is not running or Tandem Link is unavailable.\\n'\n"
     "topic: 4 cases, 2 failed, 1 skipped\n"),
    ({"good": SILENCE, "lacking": LACKING}, 0,
     "@/lacking: skipped: the system decodes pictures here\ntopic: 2 cases, 0 failed, 1 skipped\n"),
    ({"lacking": LACKING}, run_case.SKIPPED,
     "@/lacking: skipped: the system decodes pictures here\ntopic: 1 cases, 0 failed, 1 skipped\n"),
    ({}, 1, "topic: 0 cases, 0 failed, 0 skipped\n"),
    ({"nested": {"case": None}}, 1,
     "@/nested: a wrong case: unknown: case\ntopic: 1 cases, 1 failed, 0 skipped\n"),
    ({"broken": {"manifest.without": "colour\n"}}, 1, "KeyError: 'colour'"),
]

# A run marks that it is there; "@" is where. The one waits for another's mark, the other finds no more than one.
MEETING = 'touch "@/$$"; for _ in $(seq 25); do test "$(ls "@" | wc -l)" = 2 && exit; sleep 0.1; done; exit 3'
COUNTING = 'touch "@/$$"; sleep 0.5; count=$(ls "@" | wc -l); sleep 0.5; rm "@/$$"; test "$count" -le 2 || exit 3'
PLAYED_TOGETHER = [
    (MEETING, {"one": SILENCE, "other": SILENCE}),
    (COUNTING, {"first": SILENCE, "pair": SILENCE | {"process": "simultaneous 2"}, "second": SILENCE}),
]


def write_case(folder, files):
    folder.mkdir()
    for name, text in files.items():
        if text is None:
            (folder / name).mkdir()
        else:
            (folder / name).write_text(text)


def played(folder, programs, files):
    write_case(folder, files)
    return run_case.play_case(folder, programs)


def played_topic(folder, programs, cases):
    topic = folder / "topic"
    topic.mkdir(parents=True)
    for name, files in cases.items():
        write_case(topic / name, files)
    told = io.StringIO()
    with contextlib.redirect_stdout(told):
        status = run_case.play_topic(topic, programs, 2)
    return status, told.getvalue().replace(str(topic), "@")


def program_folder(folder, programs, script):
    folder.mkdir()
    hook = folder / "sorvane-hook"
    hook.write_text("#!/bin/sh\n" + script + "\n")
    hook.chmod(0o755)
    (folder / "sorvane-standin").symlink_to(programs / "sorvane-standin")
    return folder


def topic_failures(programs, scratch):
    for index, (cases, expected, text) in enumerate(TOPICS):
        with mock.patch("sys.platform", "darwin"):
            status, told = played_topic(scratch / f"topic-{index}", programs, cases)
        if status != expected or not (told == text or text.startswith("KeyError") and text in told):
            yield f"topic {cases}: status {status}, {told!r} instead of {text!r}"
    for index, (script, cases) in enumerate(PLAYED_TOGETHER):
        marks = scratch / f"marks-{index}"
        marks.mkdir()
        folder = program_folder(scratch / f"programs-together-{index}", programs, script.replace("@", str(marks)))
        status, told = played_topic(scratch / f"together-{index}", folder, cases)
        if status != 0:
            yield f"{script}: {told}"


def misplaced(cases, topics):
    """Folders beside the topics, and topics that are none: what lies there is played by nobody."""
    folders = {path.name for path in cases.iterdir() if path.is_dir()} - {"__pycache__"}
    yield from (f"{cases / name} is not among the topics of CMakeLists.txt" for name in sorted(folders - set(topics)))
    yield from (f"{cases / name} holds no cases" for name in sorted(topics)
                if name not in folders or not run_case.is_topic(cases / name))


def misplacement_failures(scratch):
    cases = scratch / "cases"
    for name in ("topic/case", "stray", "case"):
        (cases / name).mkdir(parents=True)
    for name in ("topic/case/event", "case/event", "README.md"):
        (cases / name).write_text("")
    found = list(misplaced(cases, ["topic", "case", "missing"]))
    if found != [f"{cases}/stray is not among the topics of CMakeLists.txt", f"{cases}/case holds no cases",
                 f"{cases}/missing holds no cases"]:
        yield f"misplaced folders: {found}"


def failures(programs, scratch):
    for index, files in enumerate(GOOD_CASES):
        status, told = played(scratch / f"good-{index}", programs, files)
        if status != 0:
            yield f"a good case fails: {files}: {told}"
    for index, (name, files, word) in enumerate(WRONG_CASES):
        status, told = played(scratch / f"wrong-{index}", programs, files)
        if status != 1 or word not in told:
            yield f"{name}: status {status}, {told!r} does not tell {word!r}"
    for index, (lack, files, word) in enumerate(LACKS):
        with lack:
            status, told = played(scratch / f"lack-{index}", programs, files)
        if status != run_case.SKIPPED or word not in told:
            yield f"{files}: status {status}, {told!r} does not tell {word!r}"
    with mock.patch("sys.platform", "darwin"):
        folder = program_folder(scratch / "programs-quiet", programs, 'test "$MallocNanoZone" = 0 || exit 3')
        status, told = played(scratch / "program-quiet", folder, SILENCE)
    if status != 0:
        yield f"sanitized programs speak of their memory on macOS: {told!r}"
    for index, (script, files, *word) in enumerate(GOOD_PROGRAMS + WRONG_PROGRAMS):
        folder = program_folder(scratch / f"programs-{index}", programs, script)
        status, told = played(scratch / f"program-{index}", folder, files)
        if status != len(word) or not all(one in told for one in word):
            yield f"{script}: status {status}, {told!r} does not tell {word}"


def main():
    parser = command_line(__doc__, "sorvane-hook and sorvane-standin")
    parser.add_argument("topics", nargs="*", help="the topics that are played")
    options = parser.parse_args()
    programs = options.programs
    os.umask(0o022)
    run_case.TIMEOUT = 3  # a program that does not end is to be found out sooner here
    with tempfile.TemporaryDirectory(prefix="sv-", dir="/tmp") as scratch:
        found = list(failures(programs, Path(scratch)))
        found += topic_failures(programs, Path(scratch))
        found += misplacement_failures(Path(scratch))
    found += misplaced(Path(__file__).resolve().parent, options.topics)
    for failure in found:
        print(failure)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
