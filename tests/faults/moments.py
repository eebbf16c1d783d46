#!/usr/bin/env python3
"""Ends a run, or changes the world around it, at each of its system calls: killed and told to end at every point,
stopped while a directory vanishes, a picture shrinks, grows or vanishes, and let go on.

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
from report import main
from scene import pictures, PIXELS, Scene, SIZE
from test_command import command_line, require_strace

LARGE = 400_000  # bytes: a picture that is read in several pieces


# What changes while the run stands still; each gives what makes it good again.

def agents_vanish(scene):
    away = scene.stage.scratch / "away"
    os.rename(scene.stage.agents, away)

    def undo():
        shutil.rmtree(scene.stage.agents, ignore_errors=True)  # the run may have made it anew
        os.rename(away, scene.stage.agents)
    return undo


def agents_become_a_file(scene):
    undo = agents_vanish(scene)
    scene.stage.agents.write_bytes(b"")

    def undo_both():
        scene.stage.agents.unlink()
        undo()
    return undo_both


def workspace_vanishes(scene):
    away = scene.stage.scratch / "away"
    os.rename(scene.stage.workspace, away)
    return lambda: os.rename(away, scene.stage.workspace)


def link_vanishes(scene):
    away = scene.stage.scratch / "away"
    os.rename(scene.stage.socket, away)
    return lambda: os.rename(away, scene.stage.socket)


def changes_the_picture(change):
    def mischief(scene):
        before = scene.picture.read_bytes()
        change(scene.picture)
        return lambda: scene.picture.write_bytes(before)
    return mischief


MISCHIEF = {
    "its directory vanishes": agents_vanish,
    "its directory becomes a file": agents_become_a_file,
    "its workspace vanishes": workspace_vanishes,
    "the link vanishes": link_vanishes,
    "the picture is cut": changes_the_picture(lambda path: os.truncate(path, 30)),
    "the picture is empty": changes_the_picture(lambda path: os.truncate(path, 0)),
    "the picture grows": changes_the_picture(lambda path: os.truncate(path, 3 * LARGE)),
    "the picture vanishes": changes_the_picture(os.unlink),
}


def killed_at(scene, call, word):
    name, number = call
    result = scene.play(["strace", "-qq", "-o", scene.trace, "-e", f"trace={name}",
                         "-e", f"inject={name}:signal={word}:when={number}"])
    reached = result.status == -getattr(signal, word)
    return result, {"end", "mode", "temporary"}, reached


def await_stop(scene, tracer):
    """The stopped hook, or nothing when the run came to its end first."""
    until = time.monotonic() + 5
    while time.monotonic() < until:
        if tracer.poll() is not None:
            return None
        if "stopped by SIGSTOP" in scene.trace.read_text(errors="replace"):
            with open(f"/proc/{tracer.pid}/task/{tracer.pid}/children") as children:
                return int(children.read().split()[0])
        time.sleep(0.001)
    return None


def stopped_at(scene, call, mischief):
    name, number = call
    scene.reset()
    scene.trace.write_bytes(b"")
    began = time.monotonic()
    tracer = scene.start(["strace", "-qq", "-o", scene.trace, "-e", f"trace={name}",
                          "-e", f"inject={name}:signal=SIGSTOP:when={number}"])
    tracer.stdin.write(scene.event)
    tracer.stdin.close()
    tracer.stdin = None
    hook = await_stop(scene, tracer)
    undo = mischief(scene)
    if hook:
        os.kill(hook, signal.SIGCONT)
    result = scene.end(tracer, began)
    undo()
    # What was begun in a directory that is moved away is out of reach.
    excused = {"mode", "temporary"} if mischief in (agents_vanish, agents_become_a_file) else ()
    return result, excused, hook is not None


def enlarge(scene):
    """A comment makes the picture large without changing its pixels."""
    scene.picture.write_bytes(pictures.png(SIZE, PIXELS, "x" * LARGE))


def play_roads(programs, quick, report, tally):
    for road in ["pixels"] if quick else ["pixels", "reference", "first-run"]:
        with Scene(road, programs) as scene:
            if road == "pixels":
                enlarge(scene)
            scene.rehearse()
            kinds = [name for name in MISCHIEF if road == "pixels" or "picture" not in name]
            for index, call in enumerate(learn(scene)["hook"]):
                tries = [(word, lambda word=word: killed_at(scene, call, word)) for word in ("SIGKILL", "SIGTERM")]
                tries += [(kind, lambda kind=kind: stopped_at(scene, call, MISCHIEF[kind])) for kind in kinds]
                for number, (title, attempt) in enumerate(tries):
                    if quick and (index + number) % 9:
                        continue
                    result, excused, reached = attempt()
                    report.add(f"{title} at {call[0]} {call[1]}", scene, result, excused)
                    report.add_hit(f"{road}: {title}", reached)
                    tally[road, title] += 1
                    tally[road, title + ", not reached"] += not reached
                    tally[road, "longest"] = max(tally[road, "longest"], round(result.seconds, 1))


def play(options, report):
    tally = Counter()
    play_roads(options.programs, options.quick, report, tally)
    for (road, title), number in sorted(tally.items()):
        print(f"{road:<12}{title:<44}{number:>6}")


if __name__ == "__main__":
    parser = command_line(__doc__)
    parser.add_argument("--all", dest="quick", action="store_false", help="everything at every call")
    main(play, parser, require_strace)
