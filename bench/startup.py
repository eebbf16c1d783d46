"""The start-up table: the hook without pictures, against a program that does nothing."""

from dataclasses import dataclass

import measuring
import table
from measuring import Command, Failed

NOTHING = "a program that returns 0"
LOG_LINE = '12:04:31 worker[7]: "resize" took 18 ms at /srv/images/2024/a-picture.png, see sorvane://help\n'
QUESTION = "Why does this test fail?"
KILO, MEGA = 1000, 1_000_000


@dataclass
class Row:
    name: str
    prompt: str
    outcome: str
    wall: dict  # at most so many times the wall time of nothing, by where the root is
    instructions: int = None  # at most so many more than nothing
    hardened: bool = True


def pasted(size):
    return (LOG_LINE * (size // len(LOG_LINE) + 1))[:size]


ROWS = [
    Row("no image, no socket", QUESTION, "no-image-identities", {"tmpfs": 1.2, "disk": 1.5}, 400_000),
    Row("the same, not hardened", QUESTION, "no-image-identities", {}, hardened=False),
    Row("a reference, one exchange", "See sorvane://image/" + "0123456789abcdef" * 4, "matched", {"tmpfs": 1.5}),
    Row("113 KB pasted", pasted(113 * KILO), "no-image-identities", {"tmpfs": 1.6}),
    Row("10 MB pasted", pasted(10 * MEGA), "no-image-identities", {"tmpfs": 60}),
]


def commands(instruments, stage, unhardened):
    hooks = {row.name: stage.hook(f"event-{i}", {"prompt": row.prompt}, None if row.hardened else unhardened)
             for i, row in enumerate(ROWS)}
    for row in ROWS:
        outcome = stage.outcome(hooks[row.name])
        if outcome != row.outcome:
            raise Failed(f"{row.name}: the run ended as {outcome}, not as {row.outcome}")
    return {NOTHING: Command([instruments / "nothing"]), **hooks}


def instructions(row, counted):
    """The cells of what a row counts, and of what that is beyond nothing."""
    if not counted[row.name] or not counted[NOTHING]:
        return ["-", ""]
    more = counted[row.name] - counted[NOTHING]
    return [table.millions(counted[row.name]), f"+{table.millions(more)} {table.verdict(more, row.instructions, 1e6)}"]


def line(row, place, costs, counted, peak):
    hook, nothing = costs[row.name], costs[NOTHING]
    against = measuring.ratio(hook, nothing)
    return [row.name, table.spread(measuring.wall(hook)), table.decimals(measuring.processor(hook)),
            table.spread(against), table.verdict(against.median, row.wall.get(place)),
            table.decimals(measuring.ratio_of_fastest(hook, nothing)),
            table.decimals(measuring.ratio_of_processor(hook, nothing)),
            *instructions(row, counted), table.mebibytes(peak)]


def compare(instruments, stage, place, unhardened, rounds):
    """Shows the table of a stage in this place; gives its figures."""
    runs = commands(instruments, stage, unhardened)
    costs = measuring.side_by_side(instruments, runs, rounds)
    counted = {name: measuring.instructions(command) for name, command in runs.items()}
    peak = {name: max(measuring.peaks(instruments, command).values()) for name, command in runs.items()}
    nothing = [NOTHING, table.spread(measuring.wall(costs[NOTHING])),
               table.decimals(measuring.processor(costs[NOTHING])),
               *[""] * 4, table.millions(counted[NOTHING]), "", table.mebibytes(peak[NOTHING])]
    table.show(f"Start-up, root on {place}, medians [quartiles] of {rounds} runs, side by side",
               ["", "wall ms", "cpu ms", "x nothing", "target", "x fastest", "x cpu", "M instr.", "more",
                "peak MiB"],
               [nothing, *(line(row, place, costs, counted, peak[row.name]) for row in ROWS)])
    return {name: measuring.figures(costs[name]) | {"instructions": counted[name], "peak": peak[name]}
            for name in runs}
