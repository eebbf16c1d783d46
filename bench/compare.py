#!/usr/bin/env python3
"""Measures whole runs of sorvane-hook beside base lines and peers, and shows the ratios next to their
targets. Status 1: a program gave a wrong digest. A missed target is no error; it is marked.
"""

import argparse
import datetime
import json
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True

import chart
import files
import machine
import peers
import pictures
import startup
from measuring import Failed
from stage import BenchStage, places

# A start is over before a picture has begun: so many of them for each run of a picture.
STARTS = 12


def options():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--unhardened", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--modules", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=15,
                        help=f"of every picture (%(default)s); start-up takes {STARTS} times that")
    parser.add_argument("--busy", action="store_true", help="keep one core busy with something else")
    parser.add_argument("--json", type=Path, metavar="FILE", help="write the figures there too; times are milliseconds")
    parser.add_argument("--chart", type=Path, metavar="FILE", help="draw the pictures' figures there, as SVG")
    parser.add_argument("--instructions", action="store_true", help="count the pictures' instructions too (minutes)")
    return parser.parse_args()


def compare(chosen):
    instruments = chosen.build / "bench"
    facts = machine.facts()
    for name, fact in facts.items():
        print(f"{name:<18}{fact}")
    made, srgb = files.make(instruments / "pictures", instruments / "draw")
    here, missing = peers.installed(instruments, srgb, chosen.modules)
    print(f"peers             {', '.join(here) or 'none'}; missing: {', '.join(missing) or 'none'}")
    starts = {}
    for place, folder in places().items():
        with BenchStage(chosen.build, folder) as stage:
            starts[place] = startup.compare(instruments, stage, place, chosen.unhardened, STARTS * chosen.rounds)
    with BenchStage(chosen.build, next(iter(places().values()))) as stage:
        seen, wrong = pictures.compare(instruments, stage, made, here, chosen)
    print(f"\nload              {machine.load()}")
    figures = {"machine": facts, "date": datetime.date.today().isoformat(), "rounds": chosen.rounds,
               "busy": chosen.busy, "starts": starts, "pictures": seen, "wrong": wrong}
    if chosen.json:
        chosen.json.write_text(json.dumps(figures, indent=2) + "\n")
    if chosen.chart:
        chosen.chart.write_text(chart.drawn(figures))
    return wrong


def main():
    chosen = options()
    neighbour = subprocess.Popen([sys.executable, "-c", "while True: pass"]) if chosen.busy else None
    try:
        wrong = compare(chosen)
    except Failed as failure:
        sys.exit(f"bench: {failure}")
    finally:
        if neighbour:
            neighbour.kill()
            neighbour.wait()
    for fault in wrong:
        print(f"WRONG: {fault}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
