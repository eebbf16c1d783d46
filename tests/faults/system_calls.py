#!/usr/bin/env python3
"""Makes every system call of a run fail once, each in several ways, and looks at what the run does then.

The calls are learnt from a run without a fault, scenario by scenario (fault_stage.py): those of the hook from its
beginning on, those of the child it makes until that is the decoder, and those of the decoder and its second thread.
Without options a selection that takes some seconds. Status 77: this machine lacks the tools.

Once a decoder is confined, its filter kills it at a call that a tracer makes fail, with whatever error: the number
of the call is gone by then. Those runs show what the hook does about a decoder that dies there.
"""

import itertools
import queue
import sys
import threading
import time
from collections import Counter

sys.dont_write_bytecode = True

from calls import learn
from fault_stage import FaultStage, SCENARIOS
from report import main
from test_command import command_line, require_strace

# What a call may fail with, and the five that do for those not named: interrupted, no memory, a broken device, no
# right, no room.
ERRORS = {
    "socket": "EMFILE ENFILE ENOMEM EACCES ENOBUFS",
    "socketpair": "EMFILE ENFILE ENOMEM EACCES ENOBUFS",
    "connect": "EINTR ECONNREFUSED ENOENT EACCES EAGAIN",
    "sendto": "EINTR EPIPE ECONNRESET EAGAIN ENOBUFS",
    "recvfrom": "EINTR ECONNRESET EAGAIN ENOMEM ETIMEDOUT",
    "read": "EINTR EIO EAGAIN ENOMEM ECONNRESET",
    "write": "EINTR ENOSPC EIO EAGAIN EPIPE",
    "openat": "EINTR EMFILE EACCES EIO ENOSPC",
    "close": "EINTR EIO ENOSPC EBADF EDQUOT",
    "poll": "EINTR ENOMEM EINVAL EFAULT EAGAIN",
    "clone": "EAGAIN ENOMEM EPERM EINTR",
    "clone3": "EAGAIN ENOMEM EPERM ENOSYS EINTR",
    "futex": "EAGAIN EINTR",
    "execve": "ENOENT EACCES ENOMEM ETXTBSY ENOEXEC",
    "waitid": "EINTR ECHILD EINVAL EPERM EIO",
    "rename": "EINTR ENOSPC EXDEV EACCES EIO",
    "renameat2": "EINTR ENOSPC EINVAL EACCES EXDEV",
    "prctl": "EINVAL EPERM EACCES ENOSYS EFAULT",
}
USUAL_ERRORS = "EINTR ENOMEM EIO EACCES ENOSPC"
# These also return 0: an early end of the input, or nothing written. A larger count from a tracer would not fit the
# bytes; short_counts.cpp has counts of 1 and more.
COUNTED = {"read", "recvfrom", "write", "sendto"}
# A tracer's close does not close, which no system does; a decoder then waits for an end that does not come.
LEAVES_OPEN = "close"
SLOW = 8  # seconds: nothing else takes longer
# What a quick selection plays of the scenario with a second thread: all else is as with a small picture.
STARTS_THREADS = {"clone", "clone3", "futex"}
MAX_QUICK_NUMBER = 3  # how often threads wait for each other differs from run to run


def failures(name):
    errors = [f"error={error}" for error in ERRORS.get(name, USUAL_ERRORS).split()]
    return errors + (["retval=0"] if name in COUNTED else [])


def options(faults):
    """The options of strace: one `inject` for a call of the hook, or two."""
    if len(faults) == 2 and faults[0][0] == faults[1][0]:
        (name, first, how), (_, second, _) = sorted(faults, key=lambda fault: fault[1])
        injected = [f"inject={name}:{how}:when={first}..{second}+{second - first}"]
    else:
        injected = [f"inject={name}:{how}:when={number}" for name, number, how in faults]
    return [word for text in ["trace=" + ",".join({fault[0] for fault in faults}), *injected] for word in ("-e", text)]


def quick_selection(name, kinds):
    """The calls of a scenario, without those that it shares with the scenario of a small picture."""
    if name != "large":
        return kinds
    calls = {"decoder": [call for call in kinds["decoder"] if call[0] in STARTS_THREADS], "thread": kinds["thread"]}
    return {kind: [call for call in some if call[1] <= MAX_QUICK_NUMBER] for kind, some in calls.items()}


def plan_singles(kinds, quick):
    """(kind, faults): each call in each way, or in one way each and of the child's every third."""
    for kind, calls in kinds.items():
        for index, (name, number) in enumerate(calls):
            ways = failures(name)
            if quick and (name == LEAVES_OPEN or kind != "hook" and index % 3 and name not in STARTS_THREADS):
                continue
            for how in [ways[index % len(ways)]] if quick else ways:
                yield kind, [(name, number, how)]


def plan_pairs(kinds):
    """Two failures in one run of the hook: each call with each later one, in ways that change from pair to pair."""
    calls = kinds["hook"]
    for turn, (one, other) in enumerate(itertools.combinations(calls, 2)):
        ways = [failures(name)[turn % len(failures(name))] for name, _ in (one, other)]
        yield "hook", [(*one, ways[0]), (*other, ways[1])]


class Tally:
    """What was tried, by scenario, kind and call; what was found goes to the report."""

    def __init__(self, report):
        self.report = report
        self.lock = threading.Lock()
        self.runs = Counter()
        self.calls = {}
        self.missed = Counter()
        self.ends = Counter()
        self.longest = (0, "")

    def expect(self, name, kinds):
        """Each of these kinds must be hit in this scenario."""
        for kind in kinds:
            self.report.add_hit(f"{name}: calls of the {kind}", False)

    def add(self, stage, kind, faults, result, hit, excused):
        pair = " pairs" if len(faults) > 1 else ""
        title = f"{kind} " + " and ".join(f"{name} {number} {how}" for name, number, how in faults)
        with self.lock:
            self.report.add(title, stage, result, excused)
            self.report.add_hit(f"{stage.name}: calls of the {kind}", hit)
            self.runs[stage.name, kind + pair] += 1
            self.calls.setdefault((stage.name, kind + pair), set()).update(fault[:2] for fault in faults)
            self.missed[stage.name, kind + pair] += not hit
            self.ends[stage.name, kind + pair, result.end()] += 1
            if LEAVES_OPEN not in {fault[0] for fault in faults}:
                self.longest = max(self.longest, (result.seconds, f"{stage.name}: {title}"))
                if result.seconds > SLOW:
                    self.report.found.append(f"{stage.name}: {title}: took {result.seconds:.1f} s")

    def print(self):
        print(f"{'scenario':<11}{'whose calls':<15}{'calls':>6}{'runs':>7}{'not hit':>9}"
              f"{'answer':>8}{'line':>6}{'silence':>9}")
        for key, runs in sorted(self.runs.items()):
            ends = [self.ends[(*key, end)] for end in ("answer", "line", "silence")]
            print(f"{key[0]:<11}{key[1]:<15}{len(self.calls[key]):>6}{runs:>7}{self.missed[key]:>9}"
                  f"{ends[0]:>8}{ends[1]:>6}{ends[2]:>9}")
        print(f"the longest {self.longest[0]:.1f} s: {self.longest[1]}")


def try_one(stage, kind, faults, tally):
    words = options(faults)
    trace = stage.trace
    if kind in ("decoder", "thread"):
        trace = stage.traced_decoder(words)
        result = stage.play()
        stage.plain_decoder()
    else:
        # The child shares its number of a call with the hook, so both may fail.
        follow = ["-f"] if kind == "start" else []
        trace.write_bytes(b"")
        result = stage.play(["strace", *follow, "-qq", "-o", trace, *words])
    hit = trace.exists() and "INJECTED" in trace.read_text(errors="replace")
    failed = {name for name, _, _ in faults}
    excused = {"mode"} if "chmod" in failed else set()
    if len(faults) > 1 and "unlink" in failed:
        excused.add("temporary")
    tally.add(stage, kind, faults, result, hit, excused)


def play_scenario(name, programs, options_, tally):
    """All planned runs of a scenario, by as many workers as there are jobs, each with a stage of its own."""
    tasks = queue.SimpleQueue()
    with FaultStage(name, programs) as stage:
        stage.rehearse()
        kinds = quick_selection(name, learn(stage)) if options_.quick else learn(stage)
    tally.expect(name, kinds)
    for task in itertools.chain(plan_singles(kinds, options_.quick), plan_pairs(kinds) if options_.pairs else ()):
        tasks.put(task)

    def work():
        with FaultStage(name, programs) as stage:
            stage.rehearse()
            while True:
                try:
                    try_one(stage, *tasks.get_nowait(), tally)
                except queue.Empty:
                    return

    threads = [threading.Thread(target=work) for _ in range(options_.jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if not tasks.empty():
        tally.report.found.append(f"{name}: {tasks.qsize()} runs were not made")


def play(options_, report):
    tally = Tally(report)
    began = time.monotonic()
    # The hook's own calls are much the same on these two.
    for name in options_.scenario or [name for name in SCENARIOS if not (options_.quick and name == "bytes")]:
        play_scenario(name, options_.programs, options_, tally)
    tally.print()
    print(f"{time.monotonic() - began:.0f} s")


if __name__ == "__main__":
    parser = command_line(__doc__)
    parser.add_argument("--all", dest="quick", action="store_false", help="every call in every way")
    parser.add_argument("--pairs", action="store_true", help="also every two calls of the hook together")
    parser.add_argument("--scenario", choices=SCENARIOS, action="append", help="this scenario only")
    parser.add_argument("--jobs", type=int, default=2)
    main(play, parser, require_strace)
