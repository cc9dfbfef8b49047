"""What backint itself costs, with tools that do nothing, and how long the programs need to start."""

import re
import statistics

from page import Plot, Table
from workplace import Usage

NAME = "/oracle/BEN/oraarch/BENarch1_{:07d}_900000001.log"
NAME_PATTERN = re.compile(rb"/oracle/BEN/oraarch/BENarch1_\d{7}_900000001\.log")
NAME_SIZE = len(NAME.format(0))

# The function, a line of the input for a name, and what ends well.
KINDS = {
    "a log run": ("backup", "{}", (0,)),
    "a restore": ("restore", "SET1 {}", (0,)),
    "missing files": ("backup", "{}.dbf", (0, 1)),
}
LEAST_ITEMS = 10  # fewer are handed over on the command line


class Limits:
    def __init__(self, place, scale):
        self.place = place
        self.scale = scale
        self.usages = {}  # by kind and number of items, trace off
        self.traced = {}  # by kind: usage, bytes of trace beside the names, and usage without trace
        self.starts = {}
        self.lines = []

    def run(self):
        tool = str(self.place.programs / "idle_tool")
        # First, since a program that this one starts is told to have had as much memory as this one has.
        for kind in KINDS:
            for items in self.scale.items:
                self.write_input(kind, items)
                self.usages[kind, items] = Usage.median(
                    [self.once(kind, tool, 0) for _ in range(self.scale.rounds)])
        for kind in KINDS:
            self.write_input(kind, self.scale.traced)
            silent = Usage.median([self.once(kind, tool, 0) for _ in range(self.scale.rounds)])
            loud = Usage.median([self.once(kind, tool, 3) for _ in range(self.scale.rounds)])
            with open(self.place.home / "saptrace" / "backint_BEN.log", "rb") as trace:
                size = sum(len(NAME_PATTERN.sub(b"", line)) for line in trace)
            self.traced[kind] = (loud, size, silent)
        self.place.remove("in", "out", "saptrace")
        (self.place.home / "saptrace").mkdir()
        self.time_starts()
        self.lines = self.place.lines_of(str(self.place.programs / "mover_bench"))
        return self.tables(), self.plots()

    def write_input(self, kind, items):
        with open(self.place.home / "in", "w", encoding="ascii") as file:
            for i in range(items):
                file.write(KINDS[kind][1].format(NAME.format(i)) + "\n")

    def once(self, kind, tool, level):
        function, _, good = KINDS[kind]
        return self.place.backint(function, level=level, tool=tool, good=good)

    def time_starts(self):
        for program, arguments, good in (("true", (), (0,)), ("backint", (), (2,)), ("xfr", ("--help",), (0,)),
                                         ("xfr_com_interface", ("--help",), (0,)), ("korvo", ("--version",), (0,))):
            self.starts[program] = statistics.median(
                self.place.run(program, *arguments, good=good).seconds for _ in range(self.scale.starts))

    # ---- What is told ----

    def tables(self):
        return [self.whole_runs(), self.traces(), self.start_times(), self.mover_lines()]

    def whole_runs(self):
        most = max(self.scale.items)
        table = Table(f"{most:,} items with a name of {NAME_SIZE} characters, trace off, for each item",
                      ("run", "figure", "aim"))
        for kind in KINDS:
            usage = self.usages[kind, most]
            table.add(f"{kind}: bytes of memory beside its name", f"{usage.memory / most - NAME_SIZE:.0f}",
                      at_most=(400, usage.memory / most - NAME_SIZE))
            table.add(f"{kind}: µs of processor time", f"{usage.processor / most * 1e6:.2f}",
                      at_most=(15, usage.processor / most * 1e6))
            each = (usage.processor - 0.005) / most * 1e6
            table.add(f"{kind}: the same beyond 5 ms for the run", f"{each:.2f}", at_most=(5, each))
            table.add(f"{kind}: µs on the clock, with the tools", f"{usage.seconds / most * 1e6:.2f}", "")
        return table

    def traces(self):
        items = self.scale.traced
        table = Table(f"{items:,} items, what the trace of level 3 costs for each item", ("run", "figure", "aim"))
        for kind, (loud, size, silent) in self.traced.items():
            more = (loud.processor - silent.processor) / items * 1e6
            table.add(f"{kind}: µs of processor time more", f"{more:.2f}", at_most=(10, more))
            table.add(f"{kind}: bytes of trace beside its name", f"{size / items:.0f}", at_most=(300, size / items))
        return table

    def start_times(self):
        table = Table("Starts", ("program", "ms", "aim"))
        for program, seconds in self.starts.items():
            if program == "true":
                table.add("`true`, which does nothing, for comparison", f"{seconds * 1000:.2f}", "")
                continue
            table.add(f"`{program}` starts and ends", f"{seconds * 1000:.2f}", at_most=(3, seconds * 1000))
        return table

    def mover_line_figures(self, what):
        """By case, then by number of items."""
        figures = {}
        for name, value, _ in self.lines:
            head, case, items = name.split(", ")
            if head == what:
                figures.setdefault(case, {})[int(items.split()[0])] = value
        return figures

    def mover_lines(self):
        times = self.mover_line_figures("a line")
        pieces = self.mover_line_figures("pieces of memory of a line")
        few, many = min(next(iter(times.values()))), max(next(iter(times.values())))
        table = Table("A line of the data mover, in jobs of few and of many items",
                      ("names", f"µs of {few:,} items", f"of {many:,}", "pieces of memory for its search",
                       "times as much with many items"))
        for case, figures in times.items():
            ratio = figures[many] / figures[few]
            table.add(case, f"{figures[few]:.2f}", f"{figures[many]:.2f}",
                      f"{pieces[case][few]:.0f} and {pieces[case][many]:.0f}", f"{ratio:.2f}")
        return table

    def plots(self):
        items = self.scale.items
        def curves(figure):
            return {kind: [(count, figure(self.usages[kind, count], count)) for count in items] for kind in KINDS}
        limit = {"limit": [(count, 0.005 + 5e-6 * count) for count in items]}
        large = [count for count in items if count >= 100_000] or items
        memory = {kind: [(count, (self.usages[kind, count].memory - NAME_SIZE * count) / 1e6) for count in large]
                  for kind in KINDS}
        return [Plot("backint-time", "backint itself: processor time", "items", "seconds",
                     curves(lambda usage, _: usage.processor), limit),
                Plot("backint-memory", "backint itself: memory beside names", "items", "MB", memory,
                     {"limit": [(count, 400 * count / 1e6) for count in large]}),
                Plot("mover-line", "A line of the data mover", "items of the job", "µs",
                     {case: sorted(figures.items()) for case, figures in self.mover_line_figures("a line").items()})]
