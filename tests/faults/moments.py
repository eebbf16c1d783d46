#!/usr/bin/env python3
"""Ends a run, or changes files around it, at each of its system calls: killed and told to end at every point,
stopped while a directory vanishes or a picture shrinks, grows or vanishes, and continued.

What a run has observed is whole then: the record of the run before, or its own. Status 77: this machine lacks the
tools.
"""

import os
import shutil
import signal
import sys
import time
from collections import Counter

sys.dont_write_bytecode = True

from calls import learn
from fault_stage import FaultStage, pictures, PIXELS, SIZE
from report import main
from test_command import command_line, require_strace

LARGE = 400_000  # bytes: a picture that is read in several pieces


# What changes while the run is stopped; each gives a function that undoes it.

def agents_vanish(stage):
    away = stage.scratch / "away"
    os.rename(stage.agents, away)

    def undo():
        shutil.rmtree(stage.agents, ignore_errors=True)  # the run may have made it anew
        os.rename(away, stage.agents)
    return undo


def agents_become_a_file(stage):
    undo = agents_vanish(stage)
    stage.agents.write_bytes(b"")

    def undo_both():
        stage.agents.unlink()
        undo()
    return undo_both


def workspace_vanishes(stage):
    away = stage.scratch / "away"
    os.rename(stage.workspace, away)
    return lambda: os.rename(away, stage.workspace)


def link_vanishes(stage):
    away = stage.scratch / "away"
    os.rename(stage.socket, away)
    return lambda: os.rename(away, stage.socket)


def changes_the_picture(change):
    def change_picture(stage):
        before = stage.picture.read_bytes()
        change(stage.picture)
        return lambda: stage.picture.write_bytes(before)
    return change_picture


CHANGES = {
    "its directory vanishes": agents_vanish,
    "its directory becomes a file": agents_become_a_file,
    "its workspace vanishes": workspace_vanishes,
    "the link vanishes": link_vanishes,
    "the picture is cut": changes_the_picture(lambda path: os.truncate(path, 30)),
    "the picture is empty": changes_the_picture(lambda path: os.truncate(path, 0)),
    "the picture grows": changes_the_picture(lambda path: os.truncate(path, 3 * LARGE)),
    "the picture vanishes": changes_the_picture(os.unlink),
}


def killed_at(stage, call, word):
    name, number = call
    result = stage.play(["strace", "-qq", "-o", stage.trace, "-e", f"trace={name}",
                         "-e", f"inject={name}:signal={word}:when={number}"])
    reached = result.status == -getattr(signal, word)
    return result, {"end", "mode", "temporary"}, reached


def await_stop(stage, tracer):
    """The stopped hook, or nothing when the run came to its end first."""
    until = time.monotonic() + 5
    while time.monotonic() < until:
        if tracer.poll() is not None:
            return None
        if "stopped by SIGSTOP" in stage.trace.read_text(errors="replace"):
            with open(f"/proc/{tracer.pid}/task/{tracer.pid}/children") as children:
                return int(children.read().split()[0])
        time.sleep(0.001)
    return None


def stopped_at(stage, call, change):
    name, number = call
    stage.reset()
    stage.trace.write_bytes(b"")
    began = time.monotonic()
    tracer = stage.start(["strace", "-qq", "-o", stage.trace, "-e", f"trace={name}",
                          "-e", f"inject={name}:signal=SIGSTOP:when={number}"])
    tracer.stdin.write(stage.event)
    tracer.stdin.close()
    tracer.stdin = None
    hook = await_stop(stage, tracer)
    undo = change(stage)
    if hook:
        os.kill(hook, signal.SIGCONT)
    result = stage.end(tracer, began)
    undo()
    # What was begun in a directory that is moved away is out of reach.
    excused = {"mode", "temporary"} if change in (agents_vanish, agents_become_a_file) else ()
    return result, excused, hook is not None


def enlarge(stage):
    """A comment makes the picture large without changing its pixels."""
    stage.picture.write_bytes(pictures.png(SIZE, PIXELS, "x" * LARGE))


def play_scenarios(programs, quick, report, tally):
    for scenario in ["pixels"] if quick else ["pixels", "reference", "first-run"]:
        with FaultStage(scenario, programs) as stage:
            if scenario == "pixels":
                enlarge(stage)
            stage.rehearse()
            kinds = [name for name in CHANGES if scenario == "pixels" or "picture" not in name]
            for index, call in enumerate(learn(stage)["hook"]):
                tries = [(word, lambda word=word: killed_at(stage, call, word)) for word in ("SIGKILL", "SIGTERM")]
                tries += [(kind, lambda kind=kind: stopped_at(stage, call, CHANGES[kind])) for kind in kinds]
                for number, (title, attempt) in enumerate(tries):
                    if quick and (index + number) % 9:
                        continue
                    result, excused, reached = attempt()
                    report.add(f"{title} at {call[0]} {call[1]}", stage, result, excused)
                    report.add_hit(f"{scenario}: {title}", reached)
                    tally[scenario, title] += 1
                    tally[scenario, title + ", not reached"] += not reached
                    tally[scenario, "longest"] = max(tally[scenario, "longest"], round(result.seconds, 1))


def play(options, report):
    tally = Counter()
    play_scenarios(options.programs, options.quick, report, tally)
    for (scenario, title), number in sorted(tally.items()):
        print(f"{scenario:<12}{title:<44}{number:>6}")


if __name__ == "__main__":
    parser = command_line(__doc__)
    parser.add_argument("--all", dest="quick", action="store_false", help="everything at every call")
    main(play, parser, require_strace)
