"""What the programs of these runs print, and the status that they end with."""

import sys
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "cases"))

from test_command import exit_with


class Report:
    """Counts runs and keeps what is wrong with them."""

    def __init__(self):
        self.runs = 0
        self.found = []
        self.hits = Counter()

    def add(self, title, stage, result, excused=()):
        self.runs += 1
        self.found += [f"{stage.name}: {title}: {fault}" for fault in stage.faults(result, excused)]

    def add_hit(self, what, hit):
        """Whether what was to fail has failed. Runs of which none was hit show nothing."""
        self.hits[what] += hit

    def end(self):
        """Prints the whole and gives its status."""
        self.found += [f"{what}: never hit" for what, hits in self.hits.items() if not hits]
        print(f"{self.runs} runs", *self.found, f"{len(self.found)} faults found", sep="\n")
        return 1 if self.found else 0


def main(play, parser, *requirements):
    """Plays with the options and a report, and ends the process: with 1 when something is wrong, with 77 when this
    machine lacks one of the requirements."""
    options = parser.parse_args()

    def judge():
        for require in requirements:
            require()
        report = Report()
        play(options, report)
        return report.end()

    exit_with(judge)
