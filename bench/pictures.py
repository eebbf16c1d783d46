"""The picture tables: the hook with an attached picture, against the floor of a picture and against
others who take the same digest."""

import statistics

import measuring
import table
from measuring import Command, Failed

HOOK, DECODER, UNHARDENED = "sorvane-hook", "sorvane-pixels alone", "the same, not hardened"
FLOOR = "floor by "
SECONDS = "60"
PEAK = 6 * 1024  # KiB, of the hook and of its decoder each
HEAD = ["", "wall ms", "cpu ms", "x floor", "target", "x fastest", "x cpu", "x best peer", "target", "M instr.",
        "peak MiB"]


class Comparison:
    """One picture's runs: all commands that can take its digest, and what they cost."""

    def __init__(self, picture, instruments, stage, peers, unhardened):
        self.picture = picture
        self.instruments = instruments
        self.hook = stage.hook("picture", {"prompt": "What is this?", "attachments": [str(picture.file)]})
        self.decoders = {name: Command([folder / "sorvane-pixels", SECONDS], picture.file, {})
                         for name, folder in ((DECODER, instruments.parent), (UNHARDENED, unhardened))}
        self.floors = self.floor_commands()
        self.peers = {name: peer(picture) for name, peer in peers.items()}
        self.errors = self.wrong_digests(stage)

    def floor_commands(self):
        if self.picture.file.suffix != ".png":
            return {}
        programs = sorted(self.instruments.glob("picture_floor_*"))
        return {FLOOR + program.name.rpartition("_")[2]: Command([program, self.picture.file])
                for program in programs}

    def wrong_digests(self, stage):
        """A line for each program that does not give the picture's digest; these are not measured."""
        given = {HOOK: lambda: stage.identity(self.hook).get("pixelHash", "no pixel identity"),
                 **{name: lambda decoder=decoder: output_or_failure(decoder).split()[0]
                    for name, decoder in self.decoders.items()}}
        given.update({name: lambda peer=peer: output_or_failure(peer).strip() for name, peer in self.peers.items()})
        errors = {name: digest for name, digest in ((name, give()) for name, give in given.items())
                  if not self.is_right(digest)}
        self.peers = {name: peer for name, peer in self.peers.items() if name not in errors}
        return errors

    def is_right(self, digest):
        if self.picture.digest is None:
            return len(digest) == 64
        return digest == self.picture.digest

    def measure(self, rounds):
        ours = {HOOK: self.hook, **self.decoders}
        commands = {name: command for name, command in ours.items() if name not in self.errors}
        commands.update(self.floors | self.peers)
        self.costs = measuring.side_by_side(self.instruments, commands, rounds)
        self.floor = self.fastest(self.floors)
        self.best = self.fastest(self.peers)

    def fastest(self, names):
        return min(names, key=lambda name: statistics.median(cost.wall for cost in self.costs[name]), default=None)

    def against(self, name, other, target):
        """The cells of a ratio and of its target."""
        if other is None or name == other:
            return ["", ""]
        ratio = measuring.ratio(self.costs[name], self.costs[other])
        return [table.spread(ratio), table.verdict(ratio.median, target) if name == HOOK else ""]

    def undisturbed(self, name, other):
        """The cells of the ratios that other work on the machine spoils less."""
        if other is None or name == other:
            return ["", ""]
        pair = self.costs[name], self.costs[other]
        return [table.decimals(measuring.ratio_of_fastest(*pair)), table.decimals(measuring.ratio_of_processor(*pair))]

    def peak(self, name):
        """The hook's own and its decoder's, and of every other the largest process'."""
        if name != HOOK:
            return table.mebibytes(statistics.median(cost.peak for cost in self.costs[name]))
        peaks = measuring.peaks(self.instruments, self.hook)
        own = " + ".join(table.mebibytes(peak) for peak in reversed(peaks.values()))
        return f"{own} {table.verdict(max(peaks.values()), PEAK, 1024)}"

    def instructions(self, name):
        decoder = Command([self.instruments / "open_decoder"], self.picture.file)
        parts = {HOOK: [self.hook, decoder], DECODER: [decoder]}
        parts.update({floor: [command] for floor, command in self.floors.items()})
        counted = [measuring.instructions(part) for part in parts.get(name, [])]
        return sum(counted) if counted and all(counted) else None

    def line(self, name, count):
        costs = self.costs[name]
        mark = " (best peer)" if name == self.best else ""
        return [name + mark, table.spread(measuring.wall(costs)), table.decimals(measuring.processor(costs)),
                *self.against(name, self.floor, self.picture.against_floor), *self.undisturbed(name, self.floor),
                *self.against(name, self.best, self.picture.against_peer),
                table.millions(self.instructions(name) if count else None), self.peak(name)]

    def show(self, count):
        rows = [self.line(name, count) for name in self.costs]
        rows += [[name, "not measured", *[""] * (len(HEAD) - 2)] for name in self.errors]
        table.show(self.picture.name, HEAD, rows)
        if count:
            print("Instructions are counted without the processor's own for SHA-256, which the counter lacks.")
        if self.picture.digest is None:
            print("Every colour engine rounds in its own way: that a digest comes is checked, not which.")


    def figures(self):
        ranks = {HOOK: "hook"} | dict.fromkeys(self.decoders, "decoder")
        ranks |= dict.fromkeys(self.floors, "floor") | dict.fromkeys(self.peers, "peer")
        return {name: measuring.figures(costs) | {"rank": ranks[name]} for name, costs in self.costs.items()}


def output_or_failure(command):
    try:
        return measuring.output_of(command) or "nothing"
    except Failed as failure:
        return str(failure).rpartition(": ")[2] or "failed"


def compare(instruments, stage, pictures, peers, chosen):
    """Shows a table for each picture; gives its figures and what is wrong."""
    figures, wrong = {}, []
    for picture in pictures:
        comparison = Comparison(picture, instruments, stage, peers, chosen.unhardened)
        comparison.measure(chosen.rounds)
        comparison.show(chosen.instructions)
        figures[picture.name] = comparison.figures()
        wrong += [f"{picture.name}: {name}: {said}" for name, said in comparison.errors.items()]
    return figures, wrong
