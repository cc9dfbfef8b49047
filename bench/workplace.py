"""Where the measurements run: a directory of their own, the programs in it, and how a run is timed."""

import os
import shlex
import shutil
import statistics
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

PARAMETERS = """KORVO_SERVER={server}
KORVO_JOB=bench
KORVO_POOL=bench
XFR={xfr}
XFR_COM_INTERFACE={control}
KORVO_RAW_UTIL=none
BI_TRACE_LEVEL={level}
"""


class Failed(Exception):
    """A run that did not do what is measured."""


@dataclass
class Usage:
    seconds: float  # on the clock
    processor: float  # seconds of the process itself; the tools that backint starts count for themselves
    memory: int  # bytes at its highest

    @staticmethod
    def median(runs):
        return Usage(*(statistics.median(getattr(run, field) for run in runs) for field in Usage.__annotations__))


class Workplace:
    def __init__(self, programs, home):
        self.programs = Path(programs).resolve()
        self.home = Path(home).resolve()
        shutil.rmtree(self.home, ignore_errors=True)
        (self.home / "saptrace").mkdir(parents=True)
        self.environment = dict(
            os.environ,
            PATH=f"{self.programs}:{os.environ['PATH']}",
            KORVO_CONFIG=str(self.home / "korvo.ini"),
            BI_CALLER="BRBACKUP", BI_BACKUP="FULL", BI_REQUEST="NEW",
            ORACLE_SID="BEN", ORACLE_HOME=".", SAPDATA_HOME=".", SAPBACKUP=".", SAPARCH=".")

    def path(self, name):
        return str(self.home / name)

    def write(self, name, text):
        (self.home / name).write_text(text)

    def read(self, name):
        return (self.home / name).read_text()

    def remove(self, *names):
        for name in names:
            path = self.home / name
            if path.is_dir():
                shutil.rmtree(path)
            else:
                path.unlink(missing_ok=True)

    # ---- Running ----

    def run(self, *command, good=(0,)):
        """Runs a program, of whose output nothing is kept unless it fails."""
        with open(self.home / "console", "wb") as console:
            start = time.perf_counter()
            process = subprocess.Popen(command, cwd=self.home, env=self.environment, stdin=subprocess.DEVNULL,
                                       stdout=console, stderr=console)
            _, status, used = os.wait4(process.pid, 0)
            seconds = time.perf_counter() - start
            process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode not in good:
            tail = (self.home / "console").read_text(errors="replace")[-2000:]
            raise Failed(f"{shlex.join(command)}: exit status {process.returncode}\n{tail}")
        return Usage(seconds, used.ru_utime + used.ru_stime, used.ru_maxrss * 1024)

    def shell(self, text):
        return self.run("bash", "-o", "pipefail", "-c", text)

    def lines_of(self, *command):
        """The lines `name TAB value TAB unit` that a program of the measurements prints."""
        done = subprocess.run(command, cwd=self.home, env=self.environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise Failed(f"{shlex.join(map(str, command))}: exit status {done.returncode}\n{done.stderr[-2000:]}")
        rows = [line.split("\t") for line in done.stdout.splitlines() if line.count("\t") == 2]
        return [(name, float(value), unit) for name, value, unit in rows]

    def backint(self, function, lines=None, server="plain", level=0, tool=None, good=(0,)):
        """One run over the lines (a list, or those of the file `in` that is there already); its result lines are in
        the file `out`. `tool` takes the place of both tools."""
        self.write("par", PARAMETERS.format(server=server, level=level, xfr=tool or "xfr",
                                            control=tool or "xfr_com_interface"))
        if lines is not None:
            self.write("in", "".join(line + "\n" for line in lines))
        self.remove("out", "saptrace")
        (self.home / "saptrace").mkdir()
        return self.run("backint", "-u", "ben", "-f", function, "-p", "par", "-i", "in", "-o", "./out", good=good)

    # ---- Repositories ----

    def make_servers(self, **kinds):
        """Sections of the configuration, each with an empty repository; those that say so are encrypted."""
        sections = []
        for server, encrypted in kinds.items():
            self.remove(server + ".repository", server + ".secret", server + ".key")
            section = f"[{server}]\nrepository={self.path(server)}.repository\n"
            if encrypted:
                section += f"secret_file={self.path(server)}.secret\nkey_file={self.path(server)}.key\n"
            sections.append(section)
        self.write("korvo.ini", "".join(sections))
        for server, encrypted in kinds.items():
            self.run("korvo", "init", *(["--encrypt"] if encrypted else []), server)

    def stored(self, server):
        """Bytes of all packs."""
        return sum(file.stat().st_size for file in (self.home / (server + ".repository") / "packs").rglob("*")
                   if file.is_file())
