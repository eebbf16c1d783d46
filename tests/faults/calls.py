"""The system calls of a run without a fault, as a tracer writes them down."""

import re
from collections import Counter

# These cannot fail, or return nothing.
NEVER_FAIL = {"exit_group", "exit", "rt_sigreturn", "restart_syscall", "getpid", "set_tid_address"}
# A futex fails in ways of which the C library ends a process for any other: a decoder may end so, the hook may not.
NEVER_FAIL_IN_A_HOOK = NEVER_FAIL | {"futex"}
LINE = re.compile(r"^(?:\d+ +)?(?P<name>\w+)\(")


def by_thread(trace):
    """The lines of each process and thread in a trace, in the order in which they began."""
    lines = {}
    for line in trace.read_text(errors="replace").splitlines():
        lines.setdefault(line.split(" ", 1)[0], []).append(line)
    return list(lines.values())


def calls_of(lines, never_fail, begins=0, ends=None):
    """What may fail between two indices, in its order: each name with its number among the calls of that name."""
    numbers = Counter()
    calls = []
    for index, line in enumerate(lines):
        match = LINE.match(line)
        if not match:
            continue
        name = match["name"]
        numbers[name] += 1
        if begins <= index and (ends is None or index <= ends) and name not in never_fail:
            calls.append((name, numbers[name]))
    return calls


def calls_of_the_hook(lines):
    # What the loader does before is the system's: without a C library there is no run.
    begin = next(index for index, line in enumerate(lines) if "rt_sigaction(SIGPIPE" in line)
    return calls_of(lines, NEVER_FAIL_IN_A_HOOK, begin)


def learn_decoder(stage):
    """The calls of the decoder, and of its second thread where the scenario's picture is large enough for one."""
    trace = stage.traced_decoder([])
    stage.play()
    stage.plain_decoder()
    first, *others = by_thread(trace)
    kinds = {"decoder": calls_of(first[1:], NEVER_FAIL)}
    if stage.scenario.threaded:
        kinds["thread"] = [call for lines in others for call in calls_of(lines, NEVER_FAIL)]
    return kinds


def learn(stage):
    """The calls of the hook, and in a scenario with a picture of its child until that is another program, and of the
    decoder."""
    stage.play(["strace", "-f", "-qq", "-o", stage.trace])
    hook, *children = by_thread(stage.trace)
    kinds = {"hook": calls_of_the_hook(hook)}
    if stage.scenario.decodes:
        start = children[0]
        end = next(index for index, line in enumerate(start) if " execve(" in line)
        kinds["start"] = calls_of(start, NEVER_FAIL_IN_A_HOOK, 0, end)
        kinds |= learn_decoder(stage)
    return kinds
