"""The system calls of a run without a fault, as a tracer writes them down."""

import re
from collections import Counter

# These cannot fail, or return nothing; and a futex fails in ways of which the C library ends a process for any other.
NEVER_FAIL = {"exit_group", "exit", "rt_sigreturn", "restart_syscall", "getpid", "alarm", "set_tid_address", "futex"}
LINE = re.compile(r"^(?:\d+ +)?(?P<name>\w+)\(")


def by_thread(trace):
    """The lines of each process and thread in a trace, in the order in which they began."""
    lines = {}
    for line in trace.read_text(errors="replace").splitlines():
        lines.setdefault(line.split(" ", 1)[0], []).append(line)
    return list(lines.values())


def calls_of(lines, begins=0, ends=None):
    """What may fail between two indices, in its order: each name with its number among the calls of that name."""
    numbers = Counter()
    calls = []
    for index, line in enumerate(lines):
        match = LINE.match(line)
        if not match:
            continue
        name = match["name"]
        numbers[name] += 1
        if begins <= index and (ends is None or index <= ends) and name not in NEVER_FAIL:
            calls.append((name, numbers[name]))
    return calls


def calls_of_the_hook(lines):
    # What the loader does before is the system's: without a C library there is no run.
    begin = next(index for index, line in enumerate(lines) if "rt_sigaction(SIGPIPE" in line)
    return calls_of(lines, begin)


def learn_decoder(scene):
    """The calls of the decoder."""
    trace = scene.traced_decoder([])
    scene.play()
    scene.plain_decoder()
    return calls_of(by_thread(trace)[0][1:])


def learn(scene):
    """The calls of the hook, and on a road with a picture of its child before that is another program, and of the
    decoder."""
    scene.play(["strace", "-f", "-qq", "-o", scene.trace])
    hook, *children = by_thread(scene.trace)
    kinds = {"hook": calls_of_the_hook(hook)}
    if scene.road.decodes:
        start = children[0]
        end = next(index for index, line in enumerate(start) if " execve(" in line)
        kinds["start"] = calls_of(start, 0, end)
        kinds["decoder"] = learn_decoder(scene)
    return kinds
