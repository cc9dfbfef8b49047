#!/usr/bin/env python3
"""Runs all measurements, one after another on one machine, and writes the page that tells them:
docs/performance.md with its plots. `--quick`: everything small, into build/bench/page, to see that it works."""

import argparse
import datetime
import os
import platform
import shutil
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

from backups import Backups
from large_catalog import LargeCatalog
from limits import Limits
from page import Table
from workplace import Failed, Workplace

ROOT = Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build/linux/bin"


@dataclass
class Scale:
    rounds: int
    short_rounds: int  # of what takes milliseconds
    starts: int
    large: int  # bytes of the large file
    large_growth: tuple
    small: int  # files
    small_growth: tuple
    catalogs: tuple  # items
    items: tuple  # of a run of backint itself
    traced: int


WHOLE = Scale(rounds=3, short_rounds=9, starts=51, large=2 << 30, large_growth=(256 << 20, 512 << 20, 1 << 30),
              small=10_000, small_growth=(1_000, 3_000, 30_000), catalogs=(10_000, 100_000, 1_000_000),
              items=(10, 100, 1_000, 10_000, 100_000, 1_000_000), traced=100_000)
QUICK = Scale(rounds=1, short_rounds=3, starts=5, large=64 << 20, large_growth=(16 << 20, 32 << 20),
              small=500, small_growth=(100, 250), catalogs=(5_000, 20_000), items=(10, 1_000, 20_000), traced=5_000)


class Shared:
    """What bench/shared.sh prints, each figure as `name TAB value TAB unit`."""

    def __init__(self, place, scale):
        self.place = place
        self.scale = scale

    def run(self):
        table = Table("Figures of one run", ("figure", "value", "unit"))
        command = (str(ROOT / "bench/shared.sh"), str(self.place.programs), str(self.scale.large / WHOLE.large))
        for name, value, unit in self.place.lines_of(*command):
            table.add(name, f"{value:,.3g}" if value < 1000 else f"{value:,.0f}", unit)
        return [table], []


@dataclass
class Chapter:
    name: str  # on the command line
    title: str
    text: str
    measure: type


CHAPTERS = (
    Chapter("backups", "Backups and restores",
            "Whole runs of `backint` with the embedded server and the trace off, beside `tar | zstd -3 -T2` and "
            "`zstd -d | tar -x`, each with a `sync` after it, on the same files in the same minutes. What was read is "
            "in memory. A ratio is our time by that of the peer.", Backups),
    Chapter("catalog", "A large catalog",
            "The repository has the tables of all packs and no data, but for one small file. Each question is a process "
            "of its own, except for the 1,000 names.", LargeCatalog),
    Chapter("limits", "backint itself",
            "With tools that do nothing: the control tool says yes, the data mover confirms every item. Processor time "
            "and memory are those of `backint` alone.", Limits),
    Chapter("shared", "A bucket and a database", "The repository is in a bucket, its catalog in PostgreSQL.",
            Shared),
)


def version_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.splitlines()[0].strip()


def processor():
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def disk_kind(path):
    """The file system and the kind of its disk."""
    best = ("", "unknown", "")
    for line in Path("/proc/mounts").read_text(encoding="utf-8").splitlines():
        device, mount, kind = line.split()[:3]
        if (str(path) + "/").startswith(mount.rstrip("/") + "/") and len(mount) >= len(best[0]):
            best = (mount, kind, os.path.basename(os.path.realpath(device)))
    device = Path("/sys/class/block") / best[2]
    for block in (device, device.resolve().parent if device.exists() else device):
        rotational = block / "queue/rotational"
        if rotational.exists():
            turns = rotational.read_text().strip() == "1"
            virtual = ", virtual" if best[2].startswith(("vd", "xvd")) else ""
            return f"{best[1]} on a {'disk that turns' if turns else 'disk without moving parts'}{virtual}"
    return best[1]


def machine():
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return (f"{os.cpu_count()} cores ({processor()}), {memory:.0f} GiB of memory, {disk_kind(ROOT)}, "
            f"Linux {platform.release().split('-')[0]}, {version_of('c++', '--version')}, "
            f"{version_of('tar', '--version')}, zstd {version_of('zstd', '-qV')}")


def page(chapters, facts, load):
    """`chapters`: each with its tables and plots."""
    missed = [line for _, tables, _ in chapters for table in tables for line in table.missed]
    commit = subprocess.run(("git", "-C", str(ROOT), "log", "-1", "--format=%h"), capture_output=True, text=True,
                            check=False).stdout.strip()
    text = ["# Performance\n",
            f"`./run bench` measured everything on this page in one run on one machine, on "
            f"{datetime.date.today():%d %B %Y}, and wrote the page. The figures are medians of at least three rounds "
            "(a rebuild, and what takes a minute and more, is one run); what is compared ran in turns. The same again, in about twenty "
            "minutes:\n",
            "    ./run bench\n",
            f"The machine: {facts}. Revision {commit}. {load}\n"]
    if missed:
        text.append("What missed its aim:\n")
        text.append("\n".join(f"- {line}" for line in missed) + "\n")
    for chapter, tables, plots in chapters:
        text += [f"## {chapter.title}\n", chapter.text + "\n",
                 f"Only this: `./run bench {chapter.name}`.\n"]
        text += [table.text() for table in tables]
        if plots:
            text.append("".join(plot.text() for plot in plots))
    return "\n".join(text)


def load_note(before):
    after = os.getloadavg()[2]
    busy = before > 0.5
    return ("Other work ran on the machine at the beginning: these figures are no results."
            if busy else "Nothing else ran on it.") + (f" (Load: {before:.1f} before, {after:.1f} behind.)" if busy else "")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="everything small, into build/bench/page")
    parser.add_argument("chapters", nargs="*", metavar="CHAPTER",
                        help="only these, into build/bench/page: " + ", ".join(chapter.name for chapter in CHAPTERS))
    arguments = parser.parse_args()
    wanted = [chapter for chapter in CHAPTERS if not arguments.chapters or chapter.name in arguments.chapters]
    if set(arguments.chapters) - {chapter.name for chapter in CHAPTERS}:
        parser.error("no such chapter")
    docs = ROOT / "build/bench/page" if arguments.quick or arguments.chapters else ROOT / "docs"
    load = os.getloadavg()[0]
    chapters = []
    for chapter in wanted:
        start = time.monotonic()
        print(f"{chapter.title} ...", end=" ", flush=True)
        place = Workplace(PROGRAMS, ROOT / "build/bench/work")
        try:
            tables, plots = chapter.measure(place, QUICK if arguments.quick else WHOLE).run()
        except Failed as failure:
            sys.exit(f"failed: {failure}")
        shutil.rmtree(place.home)
        print(f"{time.monotonic() - start:.0f} s")
        if tables:
            chapters.append((chapter, tables, plots))
    shutil.rmtree(docs / "performance", ignore_errors=True)
    (docs / "performance").mkdir(parents=True)
    for _, _, plots in chapters:
        for plot in plots:
            (docs / "performance" / f"{plot.name}.svg").write_text(plot.svg(), encoding="utf-8")
    (docs / "performance.md").write_text(page(chapters, machine(), load_note(load)), encoding="utf-8")
    print(f"The page: {(docs / 'performance.md').relative_to(ROOT)}")
    for _, tables, _ in chapters:
        for table in tables:
            for line in table.missed:
                print(f"Missed: {line}")


if __name__ == "__main__":
    main()
