#!/usr/bin/env python3
"""Shows that the verdict of these runs (fault_stage.py, report.py) fails what must fail: programs that misbehave, in a
few lines of shell, and faults that never happen."""

import contextlib
import io
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True

from fault_stage import FaultStage, TOKEN
from report import Report

AGENTS = '"$SORVANE_APP_SUPPORT/Integrations/Agents"'
STATE = f"{AGENTS}/codex-hook-state.json"
RECORD = ('{"clientID":"client-1","observedAt":800000000.5,"attachmentCount":0,"referenceCount":1,'
          '"outcome":"%s"}')


def observes(text, mode="600"):
    return f"printf %s '{text}' > {STATE}; chmod {mode} {STATE}"


GOOD = ["exit 0", "printf '{\"a\":1}\\n'", "echo 'Sorvane: no' >&2", observes(RECORD % "resolving")]

# A program, and a word of the complaint.
BAD = [
    ("exit 3", "status 3"),
    ("kill -SEGV $$", "status -11"),
    ("sleep 4", "took"),
    ("echo no >&2", "stderr"),
    ("echo 'Sorvane: one' >&2; echo 'Sorvane: two' >&2", "stderr"),
    ("printf 'Sorvane: no' >&2", "stderr"),
    ("printf '{\"a\":'", "not JSON"),
    ("printf '{}\\n{}\\n'", "stdout"),
    ("printf '{}\\n'; echo 'Sorvane: no' >&2", "stdout and stderr"),
    (f"rm {STATE}", "gone"),
    (f"printf '{{' > {STATE}", "the observation"),
    (observes(RECORD % "matched" + RECORD % "matched"), "the observation"),
    (observes(RECORD % "no-image-identities"), "the observation"),
    (observes(RECORD % "matched", "644"), "mode 644"),
    (f"touch {AGENTS}/.codex-hook-state.json.part", "left ['.codex"),
    ("sleep 5 </dev/null >/dev/null 2>&1 &", "left a process behind: sleep"),
    (f"printf '{{\"a\":\"{TOKEN.decode()}\"}}\\n'", "stdout shows the credential"),
    (f"echo 'Sorvane: {TOKEN.decode()}' >&2", "stderr shows the credential"),
    (f"echo {TOKEN.decode()} > note", "note shows the credential"),
]


def faults_of(program, folder):
    hook = folder / "sorvane-hook"
    hook.write_text("#!/bin/sh\ncat >/dev/null\n" + program + "\n")
    hook.chmod(0o700)
    with FaultStage("reference", folder, peer=False) as stage:
        stage.max_seconds = 3
        return stage.faults(stage.play())


def status_after(hits):
    report = Report()
    for hit in hits:
        report.add_hit("a call", hit)
    with contextlib.redirect_stdout(io.StringIO()):
        return report.end()


def main():
    wrong = [f"{hits}: status {status_after(hits)}"
             for hits, status in (([False, True], 0), ([False, False], 1)) if status_after(hits) != status]
    with tempfile.TemporaryDirectory() as name:
        for program in GOOD:
            faults = faults_of(program, Path(name))
            wrong += [f"{program}: {fault}" for fault in faults]
        for program, word in BAD:
            faults = faults_of(program, Path(name))
            if not any(word in fault for fault in faults):
                wrong.append(f"{program}: no complaint of {word!r}, but {faults}")
    print(*wrong, sep="\n")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
