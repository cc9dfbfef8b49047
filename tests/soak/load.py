#!/usr/bin/env python3
"""load.py PROGRAMS MINUTES SEED: ten backint at once under one SAPDATA_HOME, against two repositories.

One repository is a directory, the other a bucket with its catalog in a database. Each worker backs up its own files,
restores and asks, and changes the files between. Beside them korvo deletes, verifies and copies. All the time some
program is killed, and now and then a server.

What has to be true:
  - a run that nobody disturbed ends with status 0 and a line for each item;
  - what comes back is what was saved, whoever was killed meanwhile;
  - what korvo expire must keep is there in the end, and everything that is listed and was confirmed restores;
  - korvo verify finds no damage, in the copy too.

The seed decides what each worker does, in which order; which of them are quicker is the machine's matter.
"""

import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import traceback

WORKERS = 10
FILES = 6
# Whose backups are never deleted.
KEPT = ("DB0", "DB1")
SERVERS_SCRIPTS = pathlib.Path(__file__).resolve().parent.parent / "servers"
ENDS = (signal.SIGKILL, signal.SIGKILL, signal.SIGTERM)


def processes():
    """All there are: number and directory in /proc."""
    return [(int(entry.name), entry) for entry in pathlib.Path("/proc").iterdir() if entry.name.isdigit()]


class Failures:
    """What went wrong, told at once."""

    def __init__(self):
        self.count = 0
        self.lock = threading.Lock()

    def tell(self, what):
        with self.lock:
            self.count += 1
            if self.count <= 30:
                print("WRONG:", what, flush=True)


class RealServer:
    """A server of tests/servers, which keeps its files when it is killed."""

    def __init__(self, script, place):
        self.script = script
        self.place = place
        self.down = []  # [from, until]
        self.process = None

    def start(self):
        (self.place / "ready").unlink(missing_ok=True)
        with open(self.place / "log", "ab") as log:
            self.process = subprocess.Popen(
                [SERVERS_SCRIPTS / self.script, self.place],
                stdin=subprocess.PIPE, stdout=log, stderr=log, start_new_session=True)
        while not (self.place / "ready").exists():
            if self.process.poll() is not None:
                return False
            time.sleep(0.1)
        return True

    def kill(self):
        self.down.append([time.monotonic(), float("inf")])
        # Those of its processes that are sessions of their own name the place in their command lines.
        os.killpg(self.process.pid, signal.SIGKILL)
        for process, entry in processes():
            try:
                if str(self.place).encode() in (entry / "cmdline").read_bytes():
                    os.kill(process, signal.SIGKILL)
            except OSError:
                pass  # it has ended by itself
        self.process.wait()

    def is_back(self):
        self.down[-1][1] = time.monotonic()

    def end(self):
        self.process.stdin.close()
        self.process.wait()

    def was_down(self, begin):
        return any(until >= begin for _, until in self.down)


class World:
    def __init__(self, place, programs, seed):
        self.place = place
        self.programs = programs
        self.seed = seed
        self.failures = Failures()
        self.over = threading.Event()
        self.kills = []  # (time, owner)
        self.figures = dict.fromkeys(
            ("backups", "restores", "inquiries", "saved", "compared", "disturbed", "expires", "verifies", "copies"), 0)
        self.lock = threading.Lock()
        self.servers = {}
        self.servers_of_ours = ("disk", "many", "second")

    # ---- What is run on ----

    def make(self):
        for name in ("sapdata/saptrace", "sapbackup", "saparch", "oracle", "data", "store", "state"):
            (self.place / name).mkdir(parents=True)
        # The database's own user has to get there.
        self.database = pathlib.Path(tempfile.mkdtemp(prefix="load_"))
        self.servers = {"store": RealServer("object_store.sh", self.place / "store"),
                        "database": RealServer("database.sh", self.database)}
        for name, server in self.servers.items():
            if not server.start():
                sys.exit(f"the server {name} does not start: {server.place / 'log'} tells why")
        sections = {
            "disk": f"repository = {self.place}/repository\ngrace = 0s\n",
            "second": f"repository = {self.place}/second\ngrace = 0s\n",
            "many": f"repository = s3://bucket/load\nendpoint = {(self.place / 'store/ready').read_text().strip()}\n"
                    "access_key = test:tester\nsecret_key = testing\ngrace = 0s\n"
                    f"catalog = postgresql://korvo@/postgres?host={self.database}\n",
        }
        config = self.place / "korvo.ini"
        config.write_text("".join(f"[{name}]\n{text}" for name, text in sections.items()))
        config.chmod(0o600)
        for name in ("disk", "many"):
            (self.place / f"{name}.utl").write_text(
                f"KORVO_SERVER={name}\nKORVO_JOB=LOAD\nKORVO_POOL=POOL\nXFR=xfr\n"
                "XFR_COM_INTERFACE=xfr_com_interface\nKORVO_RAW_UTIL=none\n")
        for name in ("disk", "many"):
            self.korvo_good("init", name)
        self.korvo_good("copy", "disk", "--to", "second")

    def environment(self, owner):
        return os.environ | {
            "KORVO_CONFIG": str(self.place / "korvo.ini"), "XDG_STATE_HOME": str(self.place / "state"),
            "PATH": f"{self.programs}:/usr/bin:/bin", "BI_CALLER": "BRBACKUP", "BI_BACKUP": "FULL",
            "BI_REQUEST": "NEW", "ORACLE_SID": owner, "ORACLE_HOME": str(self.place / "oracle"),
            "SAPDATA_HOME": str(self.place / "sapdata"), "SAPBACKUP": str(self.place / "sapbackup"),
            "SAPARCH": str(self.place / "saparch"), "LOAD_OWNER": owner}

    # ---- Runs, and what disturbed them ----

    def run(self, owner, server, command):
        """Exit status, output, and whether somebody was killed on whom it depends."""
        begin = time.monotonic()
        done = subprocess.run(command, env=self.environment(owner), cwd=self.place, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, errors="replace")
        disturbed = any(when >= begin and killed == owner for when, killed in self.kills)
        if server == "many":
            disturbed = disturbed or any(one.was_down(begin) for one in self.servers.values())
        if disturbed:
            self.count("disturbed")
        return done.returncode, done.stdout + done.stderr, disturbed

    def korvo(self, owner, server, *arguments):
        return self.run(owner, server, [self.programs / "korvo", *arguments])

    def korvo_good(self, *arguments):
        status, said, _ = self.korvo("END", arguments[1], *arguments)
        if status != 0:
            self.failures.tell(f"korvo {' '.join(map(str, arguments))}: status {status}: {said[-500:]}")
        return said

    def backint(self, owner, server, function, lines):
        name = f"{owner}.{function}"
        result = self.place / "sapbackup" / f"{name}.out"
        result.unlink(missing_ok=True)
        (self.place / "sapbackup" / f"{name}.in").write_text("".join(line + "\n" for line in lines))
        status, said, disturbed = self.run(owner, server, [
            self.programs / "backint", "-u", "load", "-f", function, "-t", "file",
            "-p", self.place / f"{server}.utl", "-i", f"{name}.in", "-o", f"{name}.out"])
        text = result.read_text() if result.exists() else ""
        # A line that was not written to its end tells nothing.
        told = text[:text.rfind("\n") + 1].splitlines()
        enough = told if function == "inquire" else len(told) == len(lines)
        # What was deleted is not found, and that alone is no good end of a restore.
        ended_well = status == (2 if function == "restore" and any(map(is_not_found, told)) else 0)
        if not disturbed and not (enough and ended_well):
            self.failures.tell(f"{owner}: backint -f {function} on {server} ended with {status}, {len(told)} lines "
                               f"for {len(lines)}: {told[:3]} {said[-300:]}")
        return status, told, disturbed

    def count(self, what, number=1):
        with self.lock:
            self.figures[what] += number


def is_not_found(line):
    return line.startswith("#NOTFOUND ")


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class Worker:
    """One database with its files, and what was confirmed of them."""

    def __init__(self, world, number):
        self.world = world
        self.name = f"DB{number}"
        self.dice = random.Random(f"{world.seed}-{self.name}")
        self.files = [world.place / "data" / self.name / f"file{index}" for index in range(FILES)]
        self.files[0].parent.mkdir()
        self.confirmed = []  # (server, saveset, file, digest), oldest first
        self.newest = {}  # (server, file): the saveset of its newest copy of a run that ended well

    def work(self):
        while not self.world.over.is_set():
            self.change()
            step = self.dice.random()
            server = self.dice.choice(("disk", "many"))
            known = [one for one in self.confirmed if one[0] == server]
            if step < 0.6 or not known:
                self.back_up(server)
            elif step < 0.8:
                self.restore(server, known)
            else:
                self.inquire(server)

    def change(self):
        for file in self.files:
            if not file.exists() or self.dice.random() < 0.3:
                file.unlink(missing_ok=True)
                size = self.dice.choice((0, 100, 8192, 300_000, 3_000_000))
                file.write_bytes(self.dice.randbytes(size))

    def back_up(self, server):
        digests = {str(file): digest(file) for file in self.files}
        status, told, _ = self.world.backint(self.name, server, "backup", digests)
        self.world.count("backups")
        for line in told:
            if line.startswith("#SAVED "):
                _, saveset, file = line.split(" ", 2)
                self.confirmed.append((server, saveset, file, digests[file]))
                self.world.count("saved")
                if status == 0:
                    self.newest[server, file] = saveset

    def must_be_there(self, server, saveset, file):
        return self.name in KEPT or self.newest.get((server, file)) == saveset

    def restore(self, server, known):
        chosen = {one[2]: one for one in self.dice.sample(known, min(3, len(known)))}
        _, told, disturbed = self.world.backint(
            self.name, server, "restore", [f"{saveset} {file}" for _, saveset, file, _ in chosen.values()])
        self.world.count("restores")
        for line in told:
            if line.startswith("#RESTORED "):
                _, saveset, file = line.split(" ", 2)
                self.world.count("compared")
                if not pathlib.Path(file).exists() or digest(pathlib.Path(file)) != chosen[file][3]:
                    self.world.failures.tell(f"{self.name}: {file} of {server} {saveset} came back with other bytes")
        if not disturbed:
            for one in chosen.values():
                if self.must_be_there(*one[:3]) and f"#RESTORED {one[1]} {one[2]}" not in told:
                    self.world.failures.tell(f"{self.name}: not restored from {server}: {one[1]} {one[2]}: {told}")

    def inquire(self, server):
        _, told, disturbed = self.world.backint(
            self.name, server, "inquire", [f"#NULL {self.dice.choice(self.files)}"])
        self.world.count("inquiries")
        if not disturbed:
            for line in told:
                if is_not_found(line) and (server, line.split(" ", 1)[1]) in self.newest:
                    self.world.failures.tell(f"{self.name}: an inquiry on {server} says {line}")


class Keeper:
    """Deletes, verifies and copies, as long as the others work."""

    def __init__(self, world):
        self.world = world
        self.dice = random.Random(f"{world.seed}-keeper")

    def expire(self):
        while not self.world.over.is_set():
            server = self.dice.choice(("disk", "many", "second"))
            database = f"DB{self.dice.randrange(len(KEPT), WORKERS)}"
            self.check("expires", "EXPIRE", server, "expire", server, "--database", database, "--keep-last", "2",
                       "--delete", "--now")

    def verify(self):
        while not self.world.over.is_set():
            server = self.dice.choice(("disk", "many", "second"))
            self.check("verifies", "VERIFY", server, "verify", server, "--sample", "30", "--quiet")

    def copy(self):
        while not self.world.over.is_set():
            self.check("copies", "COPY", "disk", "copy", "disk", "--to", "second", "--quiet")
            time.sleep(1)

    def check(self, what, owner, server, *arguments):
        status, said, disturbed = self.world.korvo(owner, server, *arguments)
        self.world.count(what)
        nothing_yet = "there is no saveset of database" in said
        if status != 0 and not disturbed and not nothing_yet and not self.left_by_copy(server, said):
            self.world.failures.tell(f"korvo {' '.join(arguments)}: status {status}: {said[-500:]}")


    def left_by_copy(self, server, said):
        """Packs that no row names are what a copy leaves that was killed."""
        killed = any(owner == "COPY" for _, owner in self.world.kills)
        damages = [line for line in said.splitlines() if line.startswith("Damage: ")]
        return server == "second" and killed and damages and all(
            "is there, and the catalog does not know it" in line for line in damages)


class Killer:
    def __init__(self, world):
        self.world = world
        self.dice = random.Random(f"{world.seed}-killer")
        self.programs = 0
        self.of_servers = 0

    def work(self):
        next_server = time.monotonic() + 20
        while not self.world.over.wait(self.dice.uniform(0.2, 1.5)):
            if time.monotonic() >= next_server:
                self.kill_server(self.dice.choice(sorted(self.world.servers)))
                next_server = time.monotonic() + self.dice.uniform(15, 45)
            else:
                self.kill_program()

    def kill_program(self):
        running = []
        for process, entry in processes():
            try:
                program = pathlib.Path(os.readlink(entry / "exe"))
                if program.parent == self.world.programs:
                    owner = (entry / "environ").read_bytes().split(b"LOAD_OWNER=")[1].split(b"\0")[0].decode()
                    running.append((process, owner))
            except (OSError, IndexError):
                pass
        if running:
            process, owner = self.dice.choice(running)
            self.world.kills.append((time.monotonic(), owner))
            try:
                os.kill(process, self.dice.choice(ENDS))
                self.programs += 1
            except ProcessLookupError:
                pass

    def kill_server(self, name):
        server = self.world.servers[name]
        server.kill()
        self.of_servers += 1
        time.sleep(self.dice.uniform(0, 3))
        # A database whose processes have not all noticed yet that it is gone does not start.
        for _ in range(20):
            if server.start():
                break
            time.sleep(0.5)
        else:
            self.world.failures.tell(f"the server {name} does not start again")
        while self.world.korvo("END", "disk", "list", "many")[0] != 0 and not self.world.over.is_set():
            time.sleep(0.2)
        server.is_back()


# ---- In the end ----

def check_all(world, workers):
    """What was confirmed and is listed restores; what must be there is listed."""
    compared = 0
    # A server that was killed last may not be quite there yet.
    for _ in range(60):
        if all(world.korvo("END", "disk", "list", server)[0] == 0 for server in world.servers_of_ours):
            break
        time.sleep(1)
    # What killed copies left.
    world.korvo_good("rebuild", "second")
    for server in world.servers_of_ours:
        listed = {one["name"] for one in json.loads(world.korvo_good("list", server, "--json"))["savesets"]}
        savesets = {}
        for worker in workers:
            for source, saveset, file, truth in worker.confirmed:
                if source == ("disk" if server == "second" else server):
                    savesets.setdefault(saveset, {})[file] = truth
                    if server != "second" and worker.must_be_there(source, saveset, file) and saveset not in listed:
                        world.failures.tell(f"{source}: saveset {saveset} with {file} is not listed any more")
        for saveset in sorted(listed & savesets.keys()):
            back = world.place / "back"
            shutil.rmtree(back, ignore_errors=True)
            status, said, _ = world.korvo("END", server, "restore", server, saveset, "--to", back, "--quiet")
            if status != 0:
                world.failures.tell(f"{server}: korvo restore of {saveset}: status {status}: {said[-300:]}")
            for file, truth in savesets[saveset].items():
                compared += 1
                copy = pathlib.Path(f"{back}{file}")
                if not copy.exists() or digest(copy) != truth:
                    world.failures.tell(f"{server}: {saveset} gives back something else for {file}, or nothing")
        world.korvo_good("verify", server, "--quiet")
    return compared


def main():
    programs, minutes, seed = pathlib.Path(sys.argv[1]).resolve(), float(sys.argv[2]), sys.argv[3]
    print(f"seed {seed}", flush=True)
    world = World(pathlib.Path(tempfile.mkdtemp()), programs, seed)
    # A line that nobody understands ends its thread.
    threading.excepthook = lambda thrown: world.failures.tell(
        "".join(traceback.format_exception(thrown.exc_type, thrown.exc_value, thrown.exc_traceback)))
    try:
        world.make()
        workers = [Worker(world, number) for number in range(WORKERS)]
        keeper = Keeper(world)
        killer = Killer(world)
        threads = [threading.Thread(target=work) for work in
                   [*(one.work for one in workers), keeper.expire, keeper.verify, keeper.copy, killer.work]]
        for thread in threads:
            thread.start()
        time.sleep(minutes * 60)
        world.over.set()
        for thread in threads:
            thread.join()
        compared = check_all(world, workers)
        print(", ".join(f"{number} {what}" for what, number in world.figures.items()))
        print(f"{killer.programs} programs and {killer.of_servers} servers killed; in the end {compared} copies "
              f"compared, {world.failures.count} wrong")
        if not compared:
            world.failures.tell("nothing was compared")
    finally:
        world.over.set()
        for server in world.servers.values():
            server.end()
        if world.failures.count == 0 or "KEEP_FAILED" not in os.environ:
            shutil.rmtree(world.place, ignore_errors=True)
            shutil.rmtree(getattr(world, "database", world.place), ignore_errors=True)
        else:
            print(f"Left to look at: {world.place}")
    return 1 if world.failures.count else 0


if __name__ == "__main__":
    sys.exit(main())
