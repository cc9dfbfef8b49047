"""Backups and restores beside tar and zstd: one large file, and many small ones."""

import os
import random
import statistics
from collections import defaultdict

from page import Plot, Table

PAGE = 8192
SERVERS = ("plain", "encrypted")


class Times(defaultdict):
    """Seconds by title, of each round."""

    def __init__(self):
        super().__init__(list)

    def of(self, *title):
        return statistics.median(self[title])


class Backups:
    def __init__(self, place, scale):
        self.place = place
        self.scale = scale
        self.times = Times()
        self.sizes = {}
        self.written = defaultdict(list)
        self.lines = {}
        self.random = random.Random(1)

    def run(self):
        self.make_files()
        for round_ in range(self.scale.rounds):
            self.compare("large", "large")
            self.compare("small", "small")
            self.place.make_servers(plain=False, encrypted=True)
            for server in SERVERS:
                self.save_small(server)
                self.save_large(server, last=round_ + 1 == self.scale.rounds)
            # Both begin with the same file.
            self.place.shell("cp original large")
        for server in SERVERS:
            self.save_generations(server)
        for round_ in range(self.scale.rounds):
            self.restore_all(round_)
        growth = [self.grow_large(), self.grow_small()]
        self.place.remove("large", "original", "ninth", "small", "to", "large.tar.zst", "small.tar.zst",
                          *(server + ".repository" for server in SERVERS))
        return self.tables(), growth

    # ---- Files ----

    def make_files(self):
        size = self.scale.large
        self.place.shell("{ find /usr/lib /usr/bin -type f -size +16k -print0 2>/dev/null | sort -z | "
                         f"xargs -0 cat 2>/dev/null || true; }} | {{ head -c {size} >original; cat >/dev/null; }}")
        self.large = os.path.getsize(self.place.path("original"))
        self.place.shell("cp original large; mkdir small to")
        self.small = self.make_small("small", self.scale.small)

    def make_small(self, directory, count):
        """Pages of the large file, each in a file of its own."""
        names = []
        with open(self.place.path("original"), "rb") as original:
            for i in range(count):
                names.append(self.place.path(f"{directory}/f{i}"))
                original.seek(i * PAGE * 13 % (self.large - PAGE))
                with open(names[-1], "wb") as file:
                    file.write(original.read(PAGE))
        return names

    def change_pages(self):
        pages = self.large // PAGE
        with open(self.place.path("large"), "r+b") as file:
            for _ in range(pages // 100):
                file.seek(self.random.randrange(pages) * PAGE + 100)
                file.write(self.random.randbytes(8))

    # ---- Runs ----

    def time(self, title, run):
        """Everything that was written before is on the disk."""
        self.place.shell("sync")
        self.times[title].append(run().seconds)

    def compare(self, title, name):
        self.place.shell(f"cat {name} {name}/* >/dev/null 2>&1 || true")
        self.time(("tar", title),
                  lambda: self.place.shell(f"tar -cf - {name} | zstd -q -3 -T2 -f -o {name}.tar.zst; sync"))
        self.sizes["tar", title] = os.path.getsize(self.place.path(name + ".tar.zst"))

    def save(self, server, title, names, measured=True):
        """What is not measured is only saved."""
        before = self.place.stored(server)
        if measured:
            self.time((server, title), lambda: self.place.backint("backup", names, server))
        else:
            self.place.backint("backup", names, server)
        return self.place.stored(server) - before

    def saved_lines(self):
        return [line.removeprefix("#SAVED ") for line in self.place.read("out").splitlines()]

    def save_small(self, server):
        self.sizes[server, "small"] = self.save(server, "small", self.small)
        self.lines[server, "small"] = self.saved_lines()
        self.save(server, "small again", self.small)

    def save_large(self, server, last):
        names = [self.place.path("large")]
        self.place.shell("cp original large")
        self.sizes[server, "large"] = self.save(server, "large", names)
        if last:
            self.lines[server, "large"] = self.saved_lines()
        self.sizes[server, "large again"] = self.save(server, "large again", names)
        self.random.seed(2)
        self.change_pages()
        self.sizes[server, "large changed"] = self.save(server, "large changed", names)

    def save_generations(self, server):
        """Ten versions in all, each with one of a hundred pages changed since the last."""
        names = [self.place.path("large")]
        self.place.shell("cp original large")
        self.random.seed(2)
        for generation in range(1, 11):
            if generation > 1:
                self.change_pages()
            if generation > 2:
                self.save(server, "generation", names, measured=False)
            if generation == 9:
                self.lines[server, "ninth"] = self.saved_lines()
                self.place.shell("cp large ninth")

    def restore_all(self, round_):
        place = self.place
        place.shell("rm -f to/large")
        self.time(("tar", "restore large"), lambda: place.shell("zstd -q -d -c large.tar.zst | tar -xf - -C to; sync"))
        for server in SERVERS:
            for title, same in (("large", "original"), ("ninth", "ninth")):
                place.shell("rm -f to/large")
                lines = [f"{line} {place.path('to')}" for line in self.lines[server, title]]
                self.time((server, "restore " + title), lambda: place.backint("restore", lines, server))
                place.shell(f"cmp to/large {same}")
        # A file system makes new files more slowly where others were deleted a short while ago, as each of these does.
        # So each comes first once.
        whose = ("tar", *SERVERS)
        for who in whose[round_ % len(whose):] + whose[:round_ % len(whose)]:
            self.time((who, "restore small"), lambda: self.restore_small(who))
            place.shell("zstd -q -d -c small.tar.zst | tar -df -")

    def restore_small(self, who):
        if who == "tar":
            return self.place.shell("zstd -q -d -c small.tar.zst | tar -xf -; sync")
        return self.place.backint("restore", self.lines[who, "small"], who)

    # ---- Growth ----

    def grow_large(self):
        for size in self.scale.large_growth:
            self.place.shell(f"head -c {size} original >large")
            self.grow("large", size, [self.place.path("large")], "large")
        return Plot("backup-large", "One file: first backup", "MiB", "seconds",
                    self.curves("large", self.scale.large_growth, self.large, 1 / 2**20))

    def grow_small(self):
        for count in self.scale.small_growth:
            self.place.remove("small")
            (self.place.home / "small").mkdir()
            self.grow("small", count, self.make_small("small", count), "small")
        return Plot("backup-small", "Files of 8 KiB: first backup", "files", "seconds",
                    self.curves("small", self.scale.small_growth, len(self.small), 1))

    def grow(self, kind, size, names, tarred):
        for _ in range(self.scale.rounds):
            self.compare((kind, size), tarred)
            self.place.make_servers(plain=False)
            self.save("plain", (kind, size), names)

    def curves(self, kind, sizes, whole, factor):
        def points(who):
            grown = [(size * factor, self.times.of(who, (kind, size))) for size in sizes]
            return sorted([*grown, (whole * factor, self.times.of(who, kind))])
        return {"backint": points("plain"), "tar | zstd": points("tar")}

    # ---- What is told ----

    def tables(self):
        large = f"{self.large / 2**30:.3g} GiB"
        small = f"{len(self.small):,} files of 8 KiB"
        rows = [
            (f"save one file of {large}, nothing known yet", "large", "large", 1.0),
            ("save it again unchanged, every byte read", "large again", "large", 0.25),
            ("save it with 1 % of its 8 KiB pages changed", "large changed", "large", 0.4),
            ("restore it, every chunk checked", "restore large", "restore large", 0.7),
            (f"save {small}", "small", "small", 2.0),
            ("save them again unchanged", "small again", "small", 1.0),
            ("restore them, each renamed over its target", "restore small", "restore small", 1.0),
        ]
        speed = Table("Times in seconds, and beside those of the peer as a ratio",
                      ("work", "plain", "encrypted", "peer", "ratio", "encrypted", "aim"))
        for text, title, peer, aim in rows:
            self.add_ratio(speed, text, [self.times.of(server, title) for server in SERVERS],
                           self.times.of("tar", peer), aim)
        ratios = [self.times.of(server, "restore ninth") / self.times.of(server, "restore large")
                  for server in SERVERS]
        speed.add("restore the version before the last of ten, each with 1 % of its pages changed",
                  *(f"{self.times.of(server, 'restore ninth'):.2f}" for server in SERVERS),
                  "a fresh copy", *(f"{ratio:.2f}" for ratio in ratios), at_most=(1.5, max(ratios)))
        stored = Table("Bytes stored, in millions", ("of", "plain", "encrypted", "peer", "ratio", "encrypted", "aim"))
        for text, title in ((f"the file of {large}", "large"), (small, "small")):
            self.add_ratio(stored, text, [self.sizes[server, title] / 1e6 for server in SERVERS],
                           self.sizes["tar", title] / 1e6, 1.05)
        for text, title in (("the file again, unchanged", "large again"), ("with 1 % changed", "large changed")):
            stored.add(text, *(f"{self.sizes[server, title] / 1e6:.3f}" for server in SERVERS), "", "", "", "")
        return [speed, stored]

    @staticmethod
    def add_ratio(table, text, ours, peer, aim):
        ratios = [value / peer for value in ours]
        table.add(text, *(f"{value:.2f}" for value in ours), f"{peer:.2f}", *(f"{ratio:.2f}" for ratio in ratios),
                  at_most=(aim, max(ratios)))
