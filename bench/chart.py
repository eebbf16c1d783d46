"""The pictures' wall times as bars, in SVG: the hook, the floor and every peer, a picture a group."""

from html import escape

LABELS, BARS, TIMES = 130, 520, 90  # the columns' widths
LINE, GAP, TOP = 20, 14, 16
STYLE = """
text { font: 13px system-ui, sans-serif; fill: #24292f }
.name { text-anchor: end } .title { font-weight: 600 } .note { font-size: 11px; fill: #6e7781 }
.hook { fill: #0969da } .floor { fill: #8c959f } .peer { fill: #d0d7de }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3 } .note { fill: #8b949e }
  .hook { fill: #58a6ff } .floor { fill: #8b949e } .peer { fill: #484f58 }
}
"""


def bars(commands):
    """A group's rank, label and median: of several floors the fastest, and the peers from fast to slow."""
    medians = [(of["rank"], name, of["wall"][1]) for name, of in commands.items() if of["rank"] != "decoder"]
    hook, floors, peers = ([bar for bar in medians if bar[0] == rank] for rank in ("hook", "floor", "peer"))
    fastest = sorted(floors, key=lambda bar: bar[2])[:1]
    return hook + [(rank, "floor", median) for rank, _, median in fastest] + sorted(peers, key=lambda bar: bar[2])


def text(words, x, y, kind):
    return f'<text class="{kind}" x="{x:g}" y="{y:g}">{escape(words)}</text>'


def group(title, commands, top):
    """The lines of a picture's group and where it ends."""
    rows = bars(commands)
    longest = max(median for _, _, median in rows)
    lines = [text(title, LABELS, top + LINE - 6, "title")]
    for rank, name, median in rows:
        top += LINE
        width = BARS * median / longest
        lines += [text(name, LABELS - 8, top + LINE - 6, "name"),
                  f'<rect class="{rank}" x="{LABELS}" y="{top + 3}" width="{width:.1f}" height="{LINE - 6}"/>',
                  text(f"{median:.1f} ms" if median < 100 else f"{median:.0f} ms", LABELS + width + 6, top + LINE - 6,
                       "time")]
    return lines, top + LINE + GAP


def drawn(figures):
    """The chart of the figures that `scripts/bench --json` writes."""
    lines, top = [], TOP
    for title, commands in figures["pictures"].items():
        added, top = group(title, commands, top)
        lines += added
    machine = figures["machine"]
    lines.append(text(f"Medians of {figures['rounds']} whole runs, side by side; {machine['processor']}, "
                      f"{machine['cores']} cores; {figures['date']}", 8, top + 4, "note"))
    width, height = LABELS + BARS + TIMES, top + LINE
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}" '
        'role="img" aria-label="How long each program takes for each picture">',
        f"<style>{STYLE}</style>", *lines, "</svg>", ""])
