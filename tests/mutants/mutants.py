#!/usr/bin/env python3
"""Changes one operator, constant or call of the program at a time, and tells which changes the tests notice.

Usage: mutants.py MINUTES SEED [FOLDER...]

Works on two copies of the tree below build/mutants, at once. Each mutant is compiled, linked and tested, the quick
programs first, until a test fails that passes without it. A mutant that does not compile does not count, nor one of which the compiler
makes the same programs. With folders, only what is in them is changed.
"""

import collections
import concurrent.futures
import filecmp
import glob
import hashlib
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

WORK = "build/mutants"
COPIES = 2
GOOD = f"{WORK}/good"  # the programs without a mutant
PROGRAMS = ["unit_tests", "platform_tests", "store_tests", "scenario_tests"]
# Which of them see a folder, those first that see most of it.
PROGRAMS_OF = [
    ("src/backint/", ["unit_tests", "scenario_tests"]),
    ("src/common/", ["unit_tests", "scenario_tests"]),
    ("src/platform/", ["platform_tests", "unit_tests", "store_tests", "scenario_tests"]),
    ("tools/", ["store_tests", "scenario_tests"]),
]
PARTS = 4
# Nobody debugs a mutant: what is quick to compile and to link.
QUICK = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-Wno-maybe-uninitialized",
         "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g0", "-DCMAKE_C_FLAGS_DEBUG=-O1 -g0"]
SECONDS_OF_PART = 300
# What takes longer than all others together.
LONG = {"store_tests": ["*Hostile*", "StoreFailures*"], "scenario_tests": ["*Failures*", "PosixMemory*"]}
SECONDS_OF_BUILD = 1200
STOPPED = threading.Event()

# What is replaced by what. Blanks around operators are those of the formatter, so that templates, pointers and
# references are left alone.
REPLACEMENTS = [
    (r" == ", [" != "]), (r" != ", [" == "]),
    (r" < ", [" <= ", " >= "]), (r" <= ", [" < ", " > "]),
    (r" > ", [" >= ", " <= "]), (r" >= ", [" > ", " < "]),
    (r" && ", [" || "]), (r" \|\| ", [" && "]),
    (r"(?<!\x01) \+ (?!\x01)", [" - "]), (r" - ", [" + "]), (r" / ", [" * "]), (r" % ", [" / "]),
    (r" \+= ", [" -= "]), (r" -= ", [" += "]), (r" \|= ", [" &= "]),
    (r" \| ", [" & "]), (r"(?<=\w) & (?=\w)", [" | "]), (r" << (?=\d)", [" >> "]), (r" >> (?=\d)", [" << "]),
    (r"(?<=[(\s])!(?=[\w(])", [""]),
    (r"\btrue\b", ["false"]), (r"\bfalse\b", ["true"]),
    (r"\+\+(?=\w)", ["--"]), (r"\bbreak;", ["continue;"]), (r"\bcontinue;", ["break;"]),
    (r"(?<![\w.'])\d+(?![\w.'])", ["+1", "0"]),
    (r"\bstd::min\b", ["std::max"]), (r"\bstd::max\b", ["std::min"]),
    (r"\.front\(\)", [".back()"]), (r"\.back\(\)", [".front()"]), (r"\.find\(", [".rfind("]),
    (r"\.rfind\(", [".find("]), (r"\.empty\(\)", [".size() == 1"]),
]
# A call that stands by itself is left out.
CALL = re.compile(r"^\s*(?:[\w:]+(?:\.|->))*[A-Za-z_]\w*\(.*\);\s*$")


def code_of(text):
    """The text with comments, strings and characters blanked out, in the same places."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])*\'', re.S)
    return pattern.sub(lambda found: re.sub(r"[^\n]", "\x01", found.group(0)), text)


def changes_nothing(line, found, new):
    """A limit that is one higher or a pause that is one longer, and where a text is that is only looked for."""
    if new.isdigit() and int(new) > 3 and re.match(r"\s*(inline |static )?constexpr ", line):
        return True
    return "find(" in new and re.search(r"[!=]= std::string(_view)?::npos", line[found.end():]) is not None


def mutants_of(path):
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        text = file.read()
    code = code_of(text)
    offset = 0
    before = ""
    for number, line in enumerate(code.splitlines(keepends=True), 1):
        plain = text[offset:offset + len(line)].rstrip("\n")
        skip = line.lstrip().startswith(("#", "static_assert", "template", "using ")) or ".reserve(" in line \
            or "sodium_memzero(" in line
        begins = before.endswith((";", "{", "}", ":", ")")) or not before
        before = line.strip("\x01 \t\n") or before
        for pattern, news in [] if skip else REPLACEMENTS:
            for found in re.finditer(pattern, line):
                for new in news:
                    if new == "+1":
                        new = str(int(found.group(0), 8 if found.group(0).startswith("0") else 10) + 1) \
                            if not re.fullmatch(r"0\d*[89]\d*", found.group(0)) else "0"
                    if new != found.group(0) and not changes_nothing(line, found, new):
                        yield (path, number, plain, plain[:found.start()] + new + plain[found.end():])
        if not skip and begins and CALL.match(line.rstrip("\n")) and not re.match(r"\s*(return|delete|throw)\b", line):
            yield (path, number, plain, re.match(r"\s*", plain).group(0) + ";")
        offset += len(line)


def sources():
    listed = subprocess.run(["git", "ls-files", "src", "tools"], check=True, capture_output=True, text=True).stdout
    return [path for path in listed.split() if path.endswith((".cpp", ".c", ".h")) and "/windows/" not in path]


def folder_of(path):
    for folder in ("src/backint", "tools/store"):
        if path.startswith(folder + "/"):
            return folder
    return "others"


def run(command, seconds, ended=threading.Event(), **options):
    """Status of the command, which is ended with all that it started when the time is over, or when it is said so."""
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True, **options)
    end = time.monotonic() + seconds
    try:
        while True:
            try:
                return process.wait(0.1)
            except subprocess.TimeoutExpired:
                if time.monotonic() >= end or ended.is_set():
                    return -1
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


def build(copy, jobs=1):
    return run(["cmake", "--build", f"{copy}/build", "-j", str(jobs), "--target", "backint", "failing_backint", "xfr",
                "xfr_com_interface", "korvo", "scripted_tool", "platform_child"] + PROGRAMS, SECONDS_OF_BUILD) == 0


def fails(binaries, program, seconds, *options, ended=threading.Event(), **environment):
    """Whether tests of the program fail, crash or do not end."""
    return run([f"{binaries}/bin/{program}", "--gtest_fail_fast", *options], seconds, ended,
               env=dict(os.environ, LC_ALL="C.UTF-8", **environment)) != 0


def blind_tests(folder, program):
    """What sees nothing of the folder, or takes long."""
    left_out = list(LONG.get(program, []))
    if program == "scenario_tests" and folder == "tools/":
        for path in glob.glob("tests/scenarios/data/**/*.txt", recursive=True):
            with open(path, encoding="utf-8") as file:
                if not re.search(r"^--- server", file.read(), re.M):
                    left_out.append(f"*Happens/{os.path.basename(path)[:-len('.txt')]}_*")
    elif program == "scenario_tests":
        left_out.append("*RealServers*")
    return left_out


def failing_test(copy, program, left_out):
    """A few parts of the program's tests run at once; the first failure ends all. None if there is none."""
    ended = threading.Event()

    def part(index):
        result = os.path.abspath(f"{copy}/build/result-{index}.json")
        if os.path.exists(result):
            os.remove(result)
        filters = f"--gtest_filter=-{':'.join(left_out)}"
        shard = {"GTEST_TOTAL_SHARDS": str(PARTS), "GTEST_SHARD_INDEX": str(index)}
        failed = fails(f"{copy}/build", program, SECONDS_OF_PART, filters, f"--gtest_output=json:{result}",
                       ended=ended, **shard)
        if not failed or ended.is_set():
            return None
        if not os.path.exists(result):
            # A machine with other work may be too slow for the same tests without the mutant, too.
            if fails(GOOD, program, SECONDS_OF_PART, filters, **shard):
                return None
            ended.set()
            return "a crash or an endless run"
        ended.set()
        with open(result, encoding="utf-8", errors="replace") as file:
            suites = json.load(file)["testsuites"]
        return next((f"{suite['name']}.{test['name']}" for suite in suites for test in suite["testsuite"]
                     if "failures" in test), "something at its end")

    with concurrent.futures.ThreadPoolExecutor(PARTS) as pool:
        return next((name for name in list(pool.map(part, range(PARTS))) if name is not None), None)


def first_failure(copy, path):
    """The first test that fails with the mutant, and passes in the tree as it is."""
    folder, programs = next(both for both in PROGRAMS_OF if path.startswith(both[0]))
    for program in programs:
        left_out = blind_tests(folder, program)
        while (name := failing_test(copy, program, left_out)) is not None:
            if "." not in name:
                return f"{program}: {name}"
            only = f"--gtest_filter={name}"
            if fails(f"{copy}/build", program, SECONDS_OF_PART, only) and \
                    not fails(GOOD, program, SECONDS_OF_PART, only):
                return name
            left_out.append(name)
    return None


def same(path, other):
    return os.path.exists(other) and filecmp.cmp(path, other, shallow=False)


def prepare(copy):
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], check=True, capture_output=True, text=True)
    paths = set(listed.stdout.splitlines())
    # What has left the tree is not built any more.
    for directory, below, names in os.walk(copy):
        below[:] = [name for name in below if os.path.join(directory, name) != f"{copy}/build"]
        for name in names:
            path = os.path.join(directory, name)
            if os.path.relpath(path, copy) not in paths:
                os.remove(path)
    for path in paths:
        to = f"{copy}/{path}"
        if os.path.exists(path) and not same(path, to):
            os.makedirs(os.path.dirname(to), exist_ok=True)
            shutil.copy(path, to)
    # What one copy has compiled, the other takes from the cache of the compiler, where there is one.
    os.environ.update(CCACHE_BASEDIR=os.path.abspath(copy), CCACHE_NOHASHDIR="1")
    subprocess.run(["cmake", "-S", copy, "-B", f"{copy}/build", "-G", "Ninja"] + QUICK, check=True,
                   stdout=subprocess.DEVNULL)
    if not build(copy, COPIES):
        sys.exit("the tree does not build as it is")


def write(copy, path, number, line):
    """Puts the line in; what stood there comes back."""
    with open(f"{copy}/{path}", encoding="utf-8", errors="surrogateescape") as file:
        lines = file.read().split("\n")
    before, lines[number - 1] = lines[number - 1], line
    with open(f"{copy}/{path}", "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write("\n".join(lines))
    return before


def tell(results):
    print(f"\n{'':16}{'mutants':>10}{'noticed':>10}{'share':>8}")
    for folder in sorted({folder for folder, noticed in results}) + ["all"]:
        of_folder = [noticed for other, noticed in results if folder in (other, "all")]
        made, noticed = len(of_folder), sum(of_folder)
        print(f"{folder:16}{made:10}{noticed:10}{noticed / made if made else 0:8.0%}", flush=True)


def programs_of(copy):
    """What tells two builds apart."""
    digests = {}
    for path in glob.glob(f"{copy}/build/bin/*") + glob.glob(f"{copy}/build/scripted/*"):
        if os.path.isfile(path):
            with open(path, "rb") as file:
                digests[path] = hashlib.file_digest(file, "sha256").digest()
    return digests


def test_mutants(copy, mutants, end, counts):
    """Takes one mutant after the other from those that are left for all copies."""
    good = programs_of(copy)
    while time.monotonic() < end:
        try:
            path, number, old, new = mutants.popleft()
        except IndexError:
            return
        before = write(copy, path, number, new)
        try:
            if not build(copy):
                continue
            if programs_of(copy) == good:
                print(f"the same {path}:{number}\n-{old}\n+{new}", flush=True)
                continue
            test = first_failure(copy, path)
        finally:
            write(copy, path, number, before)
        if STOPPED.is_set():
            return
        counts.append((folder_of(path), test is not None))
        if test is None:
            print(f"SURVIVED {path}:{number}\n-{old}\n+{new}", flush=True)
        else:
            print(f"noticed  {path}:{number} by {test}", flush=True)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    minutes, seed, folders = float(sys.argv[1]), int(sys.argv[2]), tuple(sys.argv[3:])
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    if os.path.isdir("/dev/shm"):
        os.environ["TMPDIR"] = "/dev/shm"  # what is synchronised there waits for no disk
    mutants = [mutant for path in sources() if path.startswith(folders or "") for mutant in mutants_of(path)]
    if not mutants:
        sys.exit(f"there is nothing to change in {' '.join(folders)}: folders are named as src/backint")
    random.Random(seed).shuffle(mutants)
    print(f"{len(mutants)} mutants are possible; the same order again: "
          f"./run mutants {' '.join(sys.argv[1:])}\nBuilding the copies", flush=True)
    copies = [f"{WORK}/{index}" for index in range(COPIES)]
    for copy in copies:
        prepare(copy)
    for folder in ("bin", "scripted"):
        shutil.copytree(f"{copies[0]}/build/{folder}", f"{GOOD}/{folder}", dirs_exist_ok=True)
    left = collections.deque(mutants)
    counts = []
    end = time.monotonic() + minutes * 60
    with concurrent.futures.ThreadPoolExecutor(COPIES) as pool:
        try:
            for done in [pool.submit(test_mutants, copy, left, end, counts) for copy in copies]:
                done.result()
        except KeyboardInterrupt:
            # What was found until then is told. What runs now ends as it may, and does not count.
            STOPPED.set()
            left.clear()
    tell(counts)


main()
