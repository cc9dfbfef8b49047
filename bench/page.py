"""Tables and plots, and how they become a page in Markdown with pictures in SVG."""

import math
from dataclasses import dataclass, field

MISSED = "**missed**"


class Table:
    """The last column is the aim, and whether it was reached."""

    def __init__(self, title, heads):
        self.title = title
        self.heads = heads
        self.rows = []
        self.missed = []

    def add(self, *cells, at_most=None):
        """`at_most`: the limit and the figure that is held to it."""
        if at_most is not None:
            limit, figure = at_most
            good = figure <= limit
            cells = (*cells, f"at most {limit:g}" + ("" if good else f", {MISSED}"))
            if not good:
                told = f"{figure:,.0f}" if figure >= 100 else f"{figure:.4g}"
                self.missed.append(f"{cells[0]}: {told}, at most {limit:g}")
        self.rows.append(cells)

    def text(self):
        lines = [f"{self.title}:", "", "| " + " | ".join(self.heads) + " |",
                 "| --- |" + " ---: |" * (len(self.heads) - 1)]
        lines += ["| " + " | ".join(row) + " |" for row in self.rows]
        return "\n".join(lines) + "\n"


# ---- Plots ----

WIDTH, HEIGHT = 480, 250
LEFT, RIGHT, TOP, BOTTOM = 52, 178, 30, 40

STYLE = """
  text { font: 11px sans-serif; fill: #444 }
  .title { font-weight: bold }
  .grid { stroke: #ddd }
  .limit { stroke-dasharray: 5 4 }
  .curve { fill: none; stroke-width: 2 }
  .c0 { stroke: #0b6bb8 } .c1 { stroke: #c2500a } .c2 { stroke: #2e8540 } .c3 { stroke: #7a3db8 } .c4 { stroke: #8a6d00 }
  .back { fill: #fff }
  @media (prefers-color-scheme: dark) {
    text { fill: #ccc }
    .grid { stroke: #333 }
    .c0 { stroke: #5ab0f0 } .c1 { stroke: #f5924a } .c2 { stroke: #6cc780 } .c3 { stroke: #b98af0 } .c4 { stroke: #d8b840 }
    .back { fill: #0d1117 }
  }
"""


def short(number):
    """A number as an axis shows it."""
    for size, letter in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if number >= size:
            return f"{number / size:g}{letter}"
    return f"{number:g}"


@dataclass
class Axis:
    """Logarithmic, from one power of ten to another, or to a part of one where that leaves less room empty."""

    low: float
    high: float

    @staticmethod
    def over(values):
        values = [value for value in values if value > 0]
        steps = (1, 2, 5, 10)

        def round_down(value):
            power = 10.0 ** math.floor(math.log10(value))
            return max(step * power for step in steps if step * power <= value * 1.0001)

        def round_up(value):
            power = 10.0 ** math.floor(math.log10(value))
            return min(step * power for step in steps if step * power >= value * 0.9999)

        low, high = round_down(min(values)), round_up(max(values))
        return Axis(low / 2, high * 2) if low == high else Axis(low, high)

    def share(self, value):
        return math.log(value / self.low) / math.log(self.high / self.low)

    def ticks(self):
        powers = range(math.floor(math.log10(self.low)), math.ceil(math.log10(self.high)) + 1)
        ticks = [10.0**power for power in powers]
        if len([tick for tick in ticks if self.low <= tick <= self.high]) < 3:
            ticks = [step * tick for tick in ticks for step in (1, 2, 5)]
        return [tick for tick in ticks if self.low * 0.999 <= tick <= self.high * 1.001]


@dataclass
class Plot:
    name: str  # of the file
    title: str
    across: str
    up: str
    curves: dict  # points by name
    limits: dict = field(default_factory=dict)  # as curves: what is allowed

    def svg(self):
        every = {**self.curves, **self.limits}
        points = [point for curve in every.values() for point in curve]
        x_axis, y_axis = Axis.over([x for x, _ in points]), Axis.over([y for _, y in points])
        right, bottom = WIDTH - RIGHT, HEIGHT - BOTTOM

        def place(x, y):
            return (LEFT + x_axis.share(x) * (right - LEFT), bottom - y_axis.share(y) * (bottom - TOP))

        parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" '
                 f'height="{HEIGHT}" role="img"><title>{escape(self.title)}</title><style>{STYLE}</style>',
                 f'<rect class="back" width="{WIDTH}" height="{HEIGHT}"/>',
                 f'<text class="title" x="8" y="16">{escape(self.title)}</text>']
        for tick in x_axis.ticks():
            x, _ = place(tick, y_axis.low)
            parts.append(f'<path class="grid" d="M{x:.1f} {TOP}V{bottom}"/>'
                         f'<text x="{x:.1f}" y="{bottom + 14}" text-anchor="middle">{short(tick)}</text>')
        for tick in y_axis.ticks():
            _, y = place(x_axis.low, tick)
            parts.append(f'<path class="grid" d="M{LEFT} {y:.1f}H{right}"/>'
                         f'<text x="{LEFT - 5}" y="{y + 4:.1f}" text-anchor="end">{short(tick)}</text>')
        parts.append(f'<text x="{(LEFT + right) / 2}" y="{HEIGHT - 6}" text-anchor="middle">{escape(self.across)}</text>'
                     f'<text x="{right + 4}" y="16">{escape(self.up)}</text>')
        labels = []
        for number, (name, curve) in enumerate(every.items()):
            places = [place(x, y) for x, y in sorted(curve) if y > 0]
            kind = f"curve c{number % 5}" + (" limit" if name in self.limits else "")
            parts.append(f'<path class="{kind}" d="M' + "L".join(f"{x:.1f} {y:.1f}" for x, y in places) + '"/>')
            labels.append([places[-1][1] + 4, name])
        parts += [f'<text x="{right + 6}" y="{y:.1f}">{escape(name)}</text>' for y, name in apart(labels)]
        return "\n".join(parts) + "\n</svg>\n"

    def text(self):
        return f"![{self.title}](performance/{self.name}.svg)\n"


def apart(labels, least=13):
    """So that no two labels cover each other."""
    labels.sort()
    for before, label in zip(labels, labels[1:]):
        label[0] = max(label[0], before[0] + least)
    beyond = labels[-1][0] - (HEIGHT - BOTTOM + 4)
    if beyond > 0:
        for label in labels:
            label[0] -= beyond
    return labels


def escape(text):
    return text.replace("&", "&amp;").replace("<", "&lt;")
