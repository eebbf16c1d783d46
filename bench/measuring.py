"""What one run of a command costs, and runs of several commands side by side."""

import random
import re
import shutil
import statistics
import subprocess
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Command:
    """A command line with its standard input and its whole environment."""
    words: list
    input: Path = Path("/dev/null")
    environment: dict = field(default_factory=lambda: {"PATH": "/usr/bin:/bin"})


@dataclass
class Cost:
    """Of one run and all that it started: microseconds; KiB of its largest process."""
    wall: int
    processor: int
    peak: int


@dataclass
class Spread:
    """A median between its quartiles."""
    low: float
    median: float
    high: float

    @staticmethod
    def of(values):
        values = list(values)
        if len(values) == 1:
            return Spread(*values * 3)
        return Spread(*statistics.quantiles(values, n=4, method="inclusive"))


class Failed(Exception):
    """A measured command did not end as it should."""


def run(instrument, command):
    """An instrument's words about a run."""
    words = [*instrument, command.input, *command.words]
    done = subprocess.run(words, env=command.environment, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise Failed(f"{command.words}: {done.stderr.strip()}")
    return done.stdout


def output_of(command):
    """What the command writes, when it ends well."""
    with command.input.open("rb") as file:
        done = subprocess.run(command.words, env=command.environment, stdin=file, capture_output=True, check=False)
    if done.returncode != 0:
        raise Failed(f"{command.words}: {done.stderr.decode(errors='replace').strip()[-300:]}")
    return done.stdout.decode()


def side_by_side(instruments, commands, rounds):
    """The costs of every command, one a round, each round in another order: whoever comes after a
    large neighbour finds the processor's caches cold, and that must meet all alike."""
    costs = {name: [] for name in commands}
    order = list(commands)
    generator = random.Random(1)
    for _ in range(rounds):
        generator.shuffle(order)
        for name in order:
            wall, processor, peak, status = map(int, run([instruments / "stopwatch"], commands[name]).split())
            if status != 0:
                raise Failed(f"{name} ended with status {status}")
            costs[name].append(Cost(wall, processor, peak))
    return costs


def ratio(costs, others):
    """Of two commands' wall times, round by round: both ran under the same load."""
    return Spread.of(one.wall / other.wall for one, other in zip(costs, others))


def ratio_of_processor(costs, others):
    return processor(costs) / processor(others)


def ratio_of_fastest(costs, others):
    """Of the fastest runs: what is left of a ratio where others keep the machine busy."""
    return min(cost.wall for cost in costs) / min(cost.wall for cost in others)


def figures(costs):
    """What is kept of a command's runs: the wall time's quartiles and the processor time in milliseconds."""
    spread = wall(costs)
    return {"wall": [spread.low, spread.median, spread.high], "processor": processor(costs)}


def wall(costs):
    return Spread.of(cost.wall / 1000 for cost in costs)


def processor(costs):
    return statistics.median(cost.processor / 1000 for cost in costs)


def instructions(command):
    """Of the first process alone, counted one by one; nothing where valgrind is missing."""
    if shutil.which("valgrind") is None:
        return None
    words = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command.words]
    with command.input.open("rb") as file:
        done = subprocess.run(words, env=command.environment, stdin=file, capture_output=True, check=False)
    counted = re.search(rb"Collected : (\d+)", done.stderr)
    return int(counted[1]) if counted else None


def peaks(instruments, command):
    """Every process' own peak of memory in KiB, by its name, in the order of their ends."""
    lines = [line.rsplit(" ", 1) for line in run([instruments / "peaks"], command).splitlines()]
    return {name: int(peak) for name, peak in lines}
