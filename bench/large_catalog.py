"""Questions to a catalog of many items, and its making anew."""

import statistics

from page import Plot, Table


PROGRAMS = 6  # that a restore starts: backint, the mover, and the control tool four times


class LargeCatalog:
    def __init__(self, place, scale):
        self.place = place
        self.scale = scale
        self.figures = {}  # by number of items, then by name

    def run(self):
        for items in self.scale.catalogs:
            self.figures[items] = self.measure(items)
            self.place.remove("plain.repository")
        return self.tables(), self.plots()

    def measure(self, items):
        """As many savesets and packs as a million items would have 2,000 and 10,000 of."""
        place, savesets, packs = self.place, items // 500, items // 100
        place.make_servers(plain=False)
        name = place.path("one.dbf")
        place.write("one.dbf", "one small file\n" * 400)
        place.run("large_repository", "plain", str(items), str(savesets), str(packs))
        figures = {"rebuild": place.run("korvo", "rebuild", "plain").seconds}
        lookups = place.lines_of(str(place.programs / "lookup_bench"), "plain", str(items // savesets))
        figures.update((which, value / 1000) for which, value, _ in lookups)
        place.backint("backup", [name])
        line = place.read("out").removeprefix("#SAVED ").rstrip("\n")
        figures["restore"] = self.median(lambda: place.backint("restore", [line]).seconds)
        figures["idle"] = self.median(lambda: sum(place.run("true").seconds for _ in range(PROGRAMS)))
        query = ("xfr_com_interface", "-q", "-C", "plain", "-s", "NULL")
        figures["query"] = self.median(lambda: place.run(*query, "BEN@" + name).seconds)
        figures["query of all"] = self.median(
            lambda: place.run(*query, "BEN@/oracle/BEN/sapdata5/undo_5/undo.data5").seconds)
        figures["list"] = self.median(lambda: place.run(*query, "BEN@").seconds)
        figures["catalog"] = (place.home / "plain.repository" / "catalog.db").stat().st_size
        return figures

    def median(self, run):
        return statistics.median(run() for _ in range(self.scale.short_rounds))

    # ---- What is told ----

    def tables(self):
        items = self.scale.catalogs[-1]
        figures = self.figures[items]
        table = Table(f"{items:,} items in {items // 500:,} savesets and {items // 100:,} packs, times in milliseconds",
                      ("work", "ms", "aim"))
        for text, name, limit in (("restore one small file, the whole run of `backint`", "restore", 60),
                                  ("ask for the savesets that contain a file, the whole process", "query", 20),
                                  ("ask for those that contain a file that all contain", "query of all", 20),
                                  ("ask for all savesets (`#NULL`), the whole process", "list", 20)):
            table.add(text, f"{figures[name] * 1000:.1f}", at_most=(limit, figures[name] * 1000))
            if name == "restore":
                table.add(f"start `true`, which does nothing, {PROGRAMS} times, as often as that run starts a program",
                          f"{figures['idle'] * 1000:.1f}", "")
        table.add("look up 1,000 names that are there", f"{figures['there'] * 1000:.1f}", "")
        ratio = figures["not there"] / figures["there"]
        table.add(f"look up 1,000 names that are not there, {ratio:.2f} times that",
                  f"{figures['not there'] * 1000:.1f}", at_most=(1.5, ratio))
        table.add(f"`korvo rebuild`; the catalog has {figures['catalog'] / 1e6:.0f} MB then",
                  f"{figures['rebuild'] * 1000:,.0f}", "")
        return [table]

    def plots(self):
        def curve(name, factor):
            return [(items, figures[name] * factor) for items, figures in self.figures.items()]
        return [Plot("catalog", "Questions to the catalog", "items", "ms",
                     {"restore one file": curve("restore", 1000), "query a file": curve("query", 1000),
                      "all savesets": curve("list", 1000), "1,000 names": curve("there", 1000)}),
                Plot("rebuild", "Making the catalog anew", "items", "seconds", {"korvo rebuild": curve("rebuild", 1)})]
