"""Tables of text: numbers to the right, their columns as wide as they must be."""


def decimals(value):
    return f"{value:.1f}" if value >= 9.95 else f"{value:.2f}"


def spread(values):
    return f"{decimals(values.median)} [{decimals(values.low)}-{decimals(values.high)}]"


def mebibytes(kibibytes):
    return f"{kibibytes / 1024:.1f}"


def millions(count):
    return "-" if count is None else f"{count / 1e6:.2f}"


def verdict(measured, target, unit=1):
    """The words for a target and what was measured against it."""
    if target is None:
        return ""
    return f"<= {target / unit:g} " + ("ok" if measured <= target else "MISSED")


def show(title, head, rows):
    print(f"\n{title}\n")
    lines = [head, *rows]
    widths = [max(len(line[i]) for line in lines) for i in range(len(head))]
    for line in lines:
        cells = [line[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(line[1:], widths[1:]))]
        print("  ".join(cells).rstrip())
        if line is head:
            print("-" * (sum(widths) + 2 * (len(widths) - 1)))
