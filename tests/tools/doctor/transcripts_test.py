#!/usr/bin/env python3
"""Examines healthy installations and broken ones, compares each transcript with the one that is kept, then does exactly
what every line says, and sees that nothing is left to do. What README and docs/doctor.md quote of the doctor must be
among what it said.

    transcripts_test.py --programs FOLDER [--keep-new] [NAME...]

With --keep-new the transcripts of the named cases, or of all, are written anew.
"""

import difflib
import json
import os
import re
import sys
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

sys.dont_write_bytecode = True

# Each adds its own to the cases.
import broken_configuration
import broken_installation
import broken_records
from doctor_cases import cases
from doctor_stage import identifier
from remedies import MendedStage
from test_command import command_line, Skipped

FOLDER = Path(__file__).resolve().parent / "transcripts"
SOURCES = Path(__file__).resolve().parents[3]
ROUNDS = 6  # one mended thing may bring another to light


def make_stage(programs, agents, testing):
    stage = MendedStage(programs, testing)
    for name in agents:
        stage.install(identifier(name))
        stage.configure(name)
    stage.start()
    stage.submit()
    return stage


def findings(stage, arguments):
    run = stage.examine("--json", *arguments)
    document = json.loads(run.stdout)
    assert run.stderr == b"", run.stderr
    assert run.returncode == (0 if document["well"] else 1), run.returncode
    return [finding for section in document["sections"] for finding in section["findings"]], document["well"]


def concealed(stage, text):
    """The transcript without what differs from run to run."""
    text = text.replace(str(stage.top), "@TOP@").replace(str(stage.programs), "@PROGRAMS@")
    text = re.sub(r"\bprocess \d+", "process @PROCESS@", text)
    text = re.sub(r"(, or )\S+(/libexec/sorvane)", r"\1@PREFIX@\2", text)
    text = re.sub(r"( decodes (?!nothing))\w.*", r"\1@FORMATS@", text)
    return re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC", "@WHEN@", text)


def compare(name, text, keep_new):
    path = FOLDER / (name + ".txt")
    if keep_new:
        path.write_text(text)
    kept = path.read_text() if path.exists() else ""
    return list(difflib.unified_diff(kept.splitlines(), text.splitlines(), "kept", "now", lineterm=""))


def quotable(stage, finding):
    """What documents may quote of a finding, with their names of a person's folders."""
    texts = [finding.get(key, "") for key in ("check", "status", "text", "remedy", "command")]
    if stage:
        texts = [text.replace(str(stage.root), "/Users/ada/Library/Application Support/Sorvane")
                 .replace(str(stage.home), "/Users/ada") for text in texts]
    return tuple(texts)


def quoted_faults(said):
    """What README and docs/doctor.md quote that the doctor did not say."""
    page = (SOURCES / "docs/doctor.md").read_text()
    sample = json.loads(re.search(r"```json\n(.*)\n```", page)[1])
    for section in sample["sections"]:
        for finding in section["findings"]:
            if quotable(None, finding) not in said:
                yield f"docs/doctor.md: {finding['text']}"
    rows = re.findall(r"^\| (.*) \| (.*) \|$", (SOURCES / "README.md").read_text().partition("| it says | so |")[2]
                      .partition("\n\n")[0], re.M)
    assert len(rows) >= 5
    for row in rows:
        text, remedy = (re.escape(cell).replace(r"\.\.\.", ".*") for cell in row)
        if not any(re.match(text, one[2]) and re.fullmatch(remedy, one[3]) for one in said):
            yield f"README.md: {row[0]}"


def play(name, programs, keep_new):
    """How the transcript differs from the kept one, and what was said."""
    function, check, status, agents, arguments, testing = cases[name]
    with make_stage(programs, agents, testing) as stage:
        function(stage)
        run = stage.examine(*arguments)
        difference = compare(name, concealed(stage, run.stdout.decode()), keep_new)
        found, well = findings(stage, arguments)
        said = {quotable(stage, finding) for finding in found}
        statuses = [finding["status"] for finding in found if finding["check"] == check]
        if check is None:
            assert well and {finding["status"] for finding in found} == {"ok"}, found
        else:
            assert status in statuses, f"{check} is {statuses}"
            assert well == (status != "failed"), "the exit status is another"
        for _ in range(ROUNDS):
            todo = [finding for finding in found if finding["status"] != "ok"]
            if not todo:
                break
            for finding in todo:
                assert "remedy" in finding, f"nothing to do: {finding}"
                stage.follow(finding)
            found, well = findings(stage, arguments)
        assert not todo, f"still to do: {todo}"
        return difference, said


def main():
    parser = command_line(__doc__, "sorvane-doctor")
    parser.add_argument("--keep-new", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    failures = 0
    said = set()
    # Half of an examination is waiting for other processes. Not threads: what one of them starts would hold open what
    # another is just writing, and a program that is open for writing cannot be started.
    pool = ProcessPoolExecutor(2 * os.cpu_count())
    plays = {name: pool.submit(play, name, options.programs, options.keep_new) for name in options.names or cases}
    for name, done in plays.items():
        try:
            difference, heard = done.result()
            said |= heard
        except Skipped as reason:
            print(f"{name}: skipped: {reason}")
            continue
        except AssertionError as failure:
            difference = [f"{failure}"]
        if difference:
            failures += 1
            print(f"{name}:", *difference, sep="\n    ")
    for fault in () if options.names else quoted_faults(said):
        failures += 1
        print("the doctor does not say this:", fault)
    kept = {path.stem for path in FOLDER.glob("*.txt")}
    if kept != set(cases):
        failures += 1
        print("transcripts without a case, or cases without one:", *sorted(kept ^ set(cases)))
    print(f"{len(cases)} cases, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
