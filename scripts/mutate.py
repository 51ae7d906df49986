#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Mutation check: do the tests detect a wrong library?

mutate.py [--sample N] [--seed S] [--folder DIR] [--only SUBSTRING] [--jobs N]
          [--patience SECONDS] [--minutes N] [--again | --continue]

Copies the tree to DIR (build/mutants) and builds the library there once. Then it changes one
operator, constant or condition of src/ at a time: N of them (20), chosen by the seed. The changed
files are compiled again and linked before the library into one test program after the other, until
one fails; those that are likely to fail come first, and those in which nothing is made from the
file are left out. A program is built and timed when it is first needed. A change survives only if
all of them pass. The tests are the everyday ones, except those of the shared library, the packages
and the documents.

Prints a line for each change, and the survivors at the end. A change doesn't count as a mutant if
it doesn't compile, or if the compiler generates the same code (for survivors also with -O2). One
that docs/mutation.md explains isn't tried and counts neither as killed nor as a survivor. Exits
with 1 when less than 95 % are killed. With --patience, a mutant that tests of so many seconds don't
notice is left for a later run; with --minutes, no mutant is begun after that time, so that the
sample may be smaller; with --again, mutants that the last run has killed count without being tried,
as long as their file is the same; with --continue, so do the others: that goes on with a run that
was interrupted.
"""
import argparse
import collections
import concurrent.futures
import fcntl
import hashlib
import itertools
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
EXPLAINED = ROOT / "docs" / "mutation.md"
# Platforms that aren't built here, or are part of the tests.
NOT_HERE = ("src/platform/windows", "src/platform/device", "src/platform/faulty")
# Tests that need files made elsewhere, or that check texts.
LEFT_OUT = {"JpgtoolDecodesTheSample", "TheExamplesDoWhatTheySay", "jpgtool_man",
            "WhatIsDeliveredIsHardened"}
BROKEN = "doesn't compile"
LATER = "left for later"
SKIPPED = 77  # a test's exit status
SLOW = 4  # seconds: the cases of such programs are tests of their own, from the next run on
# Without the second, gcc leaves the upper halves of vector registers in use, which a test reports.
OPTIMISATION = "-O1 -fexpensive-optimizations"
MEMORY = 8 << 30  # bytes of address space of a test or compiler, at most

# Replacements. Operators have spaces around them in this tree.
SWAPS = [
    (r" == ", " != "), (r" != ", " == "), (r" < ", " <= "), (r" <= ", " < "),
    (r" > ", " >= "), (r" >= ", " > "), (r" && ", " || "), (r" \|\| ", " && "),
    (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " + "), (r" << ", " >> "), (r" >> ", " << "),
    (r" & ", " | "), (r" \| ", " & "), (r" \+= ", " -= "), (r" -= ", " += "), (r" \|= ", " = "),
    (r"return JPG_E_\w+;", "return JPG_OK;"), (r"\breturn true;", "return false;"),
    (r"\breturn false;", "return true;"),
]
# Any negative index in a byte shuffle gives 0.
SHUFFLE = re.compile(r".*setr_epi8\(|[\s\d,;()-]+$")
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(U?)(?![\w.'])")
CONDITION = re.compile(r"\bif \(([^;]*)\) (?=return|break|continue|\{)")

# `original` and `changed` are the line's code without comment and indentation; `nth` distinguishes
# equal changes of equal lines.
Mutant = collections.namedtuple("Mutant", "file number code original changed nth")


def code_lines(text):
    """The lines that hold code: no comments, directives, assertions, strings."""
    text = re.sub(r"JPG_ASSERT\(.*?\);", lambda m: "\n" * m.group().count("\n"), text, flags=re.S)
    for number, line in enumerate(text.splitlines()):
        code = line.split("//", 1)[0].rstrip()
        if code and not code.lstrip().startswith(("#", "static_assert", "namespace", "using")):
            if '"' not in code and "JPG_CHECK_OFFSET" not in code:
                yield number, code


def changes_of(code):
    for pattern, replacement in SWAPS:
        for match in re.finditer(pattern, code):
            yield code[:match.start()] + replacement + code[match.end():]
    for match in NUMBER.finditer(code):
        if code[match.start() - 1] == "-" and SHUFFLE.match(code):
            continue
        digits = match.group(1)
        value = int(digits, 16 if digits.startswith("0x") else 10)
        yield code[:match.start()] + f"{value + 1}{match.group(2)}" + code[match.end():]
    match = CONDITION.search(code)
    if match:
        yield code[:match.start(1)] + f"!({match.group(1)})" + code[match.end(1):]


def mutants_of(file, text):
    seen = collections.Counter()
    for number, code in code_lines(text):
        for changed in sorted(set(changes_of(code))):
            key = (code.strip(), changed.strip())
            yield Mutant(file, number, changed, *key, seen[key])
            seen[key] += 1


def rank(mutant, seed):
    """Sort key of a sample: the seed and the line's text, so that other edits don't matter."""
    name = f"{seed}\0{mutant.file}\0{mutant.original}\0{mutant.changed}\0{mutant.nth}"
    return hashlib.sha256(name.encode()).digest()


def name_of(mutant):
    """The mutant's name, which is stable as long as its file is."""
    text = hashlib.sha256((ROOT / mutant.file).read_bytes()).hexdigest()[:16]
    return f"{mutant.file}:{mutant.number + 1}:{text}:{mutant.changed}"


def explained():
    """The changes with a row in EXPLAINED: file, function, line, change, why."""
    keys = set()
    if EXPLAINED.exists():
        for line in EXPLAINED.read_text(encoding="utf-8").splitlines():
            cells = [c.strip().replace("\\|", "|") for c in re.split(r"(?<!\\)\|", line)]
            if len(cells) == 7 and cells[1].startswith("`src/"):
                keys.add(tuple(cells[i].strip("`") for i in (1, 3, 4)))
    return keys


def run(command, seconds, folder):
    """Runs a command. True if it succeeds in time; its child processes are ended with it."""
    environment = {**os.environ, "TMPDIR": str(folder), "JPG_EMULATOR": ""}
    with subprocess.Popen(command, cwd=folder, env=environment, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            return process.wait(timeout=seconds) in (0, SKIPPED)
        except subprocess.TimeoutExpired:
            return False
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass


class Base:
    """The tree without mutants: its compile and link commands, and its tests."""

    def __init__(self, folder, jobs):
        self.tree, self.build = folder / "tree", folder / "build"
        folder.mkdir(parents=True, exist_ok=True)
        self.lock_file = (folder / "lock").open("w")  # given back at the end of the process
        try:
            fcntl.flock(self.lock_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            sys.exit(f"mutate: another run uses {folder}")
        self.copy_tree()
        self.make(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja",
                   "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS_RELEASE={OPTIMISATION}",
                   "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"])
        self.jobs, self.lock, self.times = jobs, threading.RLock(), folder / "seconds.json"
        self.build_target("jpg_static", *self.known_programs())
        listed = (self.build / "compile_commands.json").read_text(encoding="utf-8")
        commands = [shlex.split(entry["command"]) for entry in json.loads(listed)]
        # No mutant is compiled twice: a compiler cache would only cost time.
        self.compile = {words[words.index("-o") + 1]: words[words[0].endswith("ccache"):]
                        for words in commands}
        self.read_dependencies()
        self.read_links()
        self.tests = self.read_tests()
        self.parts = {program: self.parts_of(words) for program, words in self.links.items()}
        self.seconds, self.kills = {}, collections.Counter()
        self.linked = {}  # by programs: names of objects
        known = {name: seconds for name, (seconds, made) in self.known_times().items()
                 if name.split(" ")[0] not in self.tests or self.made(name.split(" ")[0]) == made}
        for name in [name for name, seconds in known.items() if seconds > SLOW]:
            if name in self.links and name in self.tests:
                self.split(name)
        self.seconds = {name: known[name] for name in self.tests if name in known}

    def copy_tree(self):
        for name in subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True,
                                   text=True).stdout.splitlines():
            source, copy = ROOT / name, self.tree / name
            if source.is_file() and not (copy.exists()
                                         and copy.read_bytes() == source.read_bytes()):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)

    def make(self, command):
        if subprocess.run(command, stdout=subprocess.DEVNULL).returncode != 0:
            sys.exit("mutate: the tree doesn't build")

    def build_target(self, *targets):
        self.make(["cmake", "--build", self.build, "-j", str(self.jobs), "--target", *targets])

    def known_programs(self):
        """Programs of runs before, which may have other sources now."""
        listed = "\n".join(self.ninja("targets", "all"))
        programs = re.findall(r"^(\S+): \w+_EXECUTABLE_LINKER", listed, re.M)
        return [name for name in programs if (self.build / name).exists()]

    def ninja(self, *words):
        return subprocess.run(["ninja", "-C", self.build, "-t", *words], check=True,
                              capture_output=True, text=True).stdout.splitlines()

    def read_dependencies(self):
        """The objects to recompile when a file of src/ changes."""
        self.users = collections.defaultdict(set)
        prefix = str(self.tree) + "/"
        for line in self.ninja("deps"):
            if not line.startswith(" "):
                target = line.split(":", 1)[0]
                continue
            # A compiler cache may make paths relative to the build folder.
            used = os.path.normpath(self.build / line.strip())
            if used.startswith(prefix + "src/") and target in self.compile:
                self.users[used[len(prefix):]].add(target)

    def read_links(self):
        """Commands that link programs over the static library; the members of archives."""
        self.links, self.members = {}, {}
        for line in self.ninja("targets", "all"):
            target, _, rule = line.partition(": ")
            if "EXECUTABLE_LINKER" not in rule and "STATIC_LIBRARY_LINKER" not in rule:
                continue
            words = shlex.split(self.ninja("commands", "-s", target)[-1])
            if "STATIC" in rule:
                self.members[target] = [word for word in words if word.endswith(".o")]
            elif not any(".so" in word for word in words):
                self.links[target] = words[words.index("&&") + 1:-2]

    def parts_of(self, words):
        """Objects of a program that aren't the library's."""
        parts = {member for word in words for member in self.members.get(word, [word])}
        return {part for part in parts if part.endswith(".o") and not part.startswith("src/")}

    def known_times(self):
        return json.loads(self.times.read_text(encoding="utf-8")) if self.times.exists() else {}

    def made(self, name):
        """When the test's program was built, 0 if it wasn't."""
        program = self.build / self.tests[name][0]
        return program.stat().st_mtime_ns if program.exists() else 0

    def build_program(self, program):
        with self.lock:
            self.build_target(program)
            if program.endswith("Replay"):
                self.build_target("fuzz_seeds")
            self.read_dependencies()
            self.read_use(program)

    def read_use(self, program):
        """Learns which files of the library the program is linked with."""
        words = [*self.links[program], "-Wl,--trace,--trace"]  # GNU ld names members from two on
        words[words.index("-o") + 1] = str(self.build.parent / "traced")
        listed = subprocess.run(words, cwd=self.build, check=True, capture_output=True,
                                text=True).stdout
        self.linked[program] = set(re.findall(r"[\w.-]+\.o\b", listed))
        archives = [word for word in words if word in self.members]
        if archives and not re.search(r"\.a[(:)].*\.o\b", listed):
            sys.exit(f"mutate: the linker doesn't say which members {program} takes")

    def concerns(self, name, file):
        """False if the test's program has nothing in it that is made from the file."""
        program = self.tests[name][0]
        if program not in self.linked:
            self.build_program(program)
        return any(Path(user).name in self.linked[program] for user in self.users[file])

    def measure(self, name, folder):
        """Builds the test's program, unless that is done, and measures how long the test takes."""
        with self.lock:
            if name in self.seconds:
                return
            program, command, home = self.tests[name]
            if program not in self.linked:
                self.build_program(program)
            here = [str(folder) if word == home else word for word in command]
            start = time.monotonic()
            if not run(here, 600, folder):
                self.build_target("all")  # some tests need other programs
                start = time.monotonic()
                if not run(here, 600, folder):
                    sys.exit(f"mutate: {name} fails without a mutant")
            self.seconds[name] = time.monotonic() - start
            times = {**self.known_times(), name: (self.seconds[name], self.made(name))}
            self.times.write_text(json.dumps(times), encoding="utf-8")

    def read_tests(self):
        listed = json.loads(subprocess.run(
            ["ctest", "--show-only=json-v1"], cwd=self.build, check=True, capture_output=True,
            text=True).stdout)["tests"]
        tests = {}
        for program, words in self.links.items():
            if any("gtest" in word for word in words):
                # All of the program's tests at once.
                file = self.build / program
                tests[program] = (program, [str(file), "--gtest_brief=1", "--gtest_fail_fast"],
                                  str(file.parent))
        for test in listed:
            command = test.get("command", [])
            programs = [os.path.relpath(word, self.build) for word in command]
            program = next((name for name in programs if name in self.links), None)
            if program is None or test["name"] in LEFT_OUT:
                continue
            home = next((p["value"] for p in test["properties"]
                         if p["name"] == "WORKING_DIRECTORY"), None)
            if not any(word.startswith("--gtest_filter") for word in command):
                tests[test["name"]] = program, command, home
        return tests

    def split(self, program):
        """Makes a test of each case of a slow program: quick ones can come early then."""
        _, command, home = self.tests.pop(program)
        suite = ""
        listed = subprocess.run([command[0], "--gtest_list_tests"], check=True,
                                capture_output=True, text=True).stdout
        for line in listed.splitlines():
            case = line.split("#")[0].strip()
            if line.startswith("  "):
                self.tests[f"{program} {suite}{case}"] = (
                    program, [*command, f"--gtest_filter={suite}{case}"], home)
            elif case.endswith("."):
                suite = case

    def learn(self, file, name):
        """Records that a test has killed a mutant of the file."""
        self.kills[name] += 1
        self.kills[name, file] += 1

    def order(self, file):
        """Names of tests: soon the quick ones that have killed mutants of the file, late those
        that must be compiled anew."""
        def use(name):
            kills = self.kills[name] + 5 * self.kills[name, file]
            parts = self.parts[self.tests[name][0]]
            missing = len(parts) + 2 if self.made(name) == 0 else 0
            work = len(parts & self.users[file]) + missing
            # The tests of a folder of src/ are in that of the same name.
            near = self.tests[name][0].startswith(f"tests/{file.split('/')[1]}/")
            return (1 + kills + 4 * near) / (0.5 + self.seconds.get(name, 2) + 3 * work)
        return sorted(self.tests, key=use, reverse=True)


class Worker:
    """A copy of src/ in which mutants are made, and what is built from it."""

    def __init__(self, base, folder):
        self.base, self.folder = base, folder
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(base.tree / "src", folder / "src")
        self.changed, self.original, self.objects, self.originals = "", "", {}, {}
        self.made = itertools.count()
        self.clear()

    def clear(self):
        self.objects = {}
        for name in ("made", "run"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
            (self.folder / name).mkdir()

    def compile(self, target, level):
        """An object of the tree as it stands, None when it doesn't compile."""
        made = self.folder / "made" / f"{next(self.made)}.o"
        words = [word.replace(f"{self.base.tree}/src", f"{self.folder}/src")
                 for word in self.base.compile[target]]
        words[words.index("-o") + 1] = str(made)
        done = subprocess.run([*words, level, "-w"], cwd=self.base.build,
                              stderr=subprocess.DEVNULL)
        return str(made) if done.returncode == 0 else None

    def compiled(self, target):
        """The object of the changed tree, None when it doesn't compile."""
        if target not in self.objects:
            self.objects[target] = self.compile(target, "-O1")
        return self.objects[target]

    def users(self):
        return self.base.users[self.changed]

    def library_objects(self):
        return sorted(user for user in self.users() if user.startswith("src/"))

    def compiles(self):
        """Recompiles the library's objects that depend on the changed file."""
        return all(self.compiled(target) for target in self.library_objects())

    @staticmethod
    def digest_of(file):
        return hashlib.sha256(Path(file).read_bytes()).hexdigest()

    def linked(self, program):
        """Links a program with the changed library: its objects come before the archive's."""
        out = self.folder / "made" / Path(program).name
        if not out.exists():
            words = []
            for word in self.base.links[program]:
                if word in self.users():
                    words.append(self.compiled(word))
                    continue
                words += [self.compiled(m) for m in self.base.members.get(word, [])
                          if m in self.users()]
                words.append(word)
            if None in words:
                return None
            words[words.index("-o") + 1] = str(out)
            if shutil.which("ld.lld"):
                words.append("-fuse-ld=lld")
            subprocess.run(words, cwd=self.base.build, check=True)
        return str(out)

    def passes(self, name, seconds):
        program, command, home = self.base.tests[name]
        made = self.linked(program)
        if made is None:
            return False  # a test's own source doesn't compile: it asserts the changed value
        folder = self.folder / "run"
        here = {str(self.base.build / program): made, home: str(folder)}
        return run([here.get(word, word) for word in command], seconds, folder)

    def write(self, mutant, code):
        file = self.folder / mutant.file
        lines = file.read_text(encoding="utf-8").splitlines()
        kept, lines[mutant.number] = lines[mutant.number], code
        file.write_text("\n".join(lines) + "\n", encoding="utf-8")
        return kept

    def same_code(self):
        """True if the compiler generates the same code for the mutant as for the original."""
        return all(self.digest_of(self.compiled(t)) == self.digest_of(self.base.build / t)
                   for t in self.library_objects())

    def same_optimised(self, mutant):
        """The same with -O2; ends at the first object that differs."""
        for target in self.library_objects():
            if target not in self.originals:
                code = self.write(mutant, self.original)
                self.originals[target] = self.digest_of(self.compile(target, "-O2"))
                self.write(mutant, code)
            if self.digest_of(self.compile(target, "-O2")) != self.originals[target]:
                return False
        return True

    def judge(self, mutant):
        """The verdict on a mutant, and the test that decided."""
        self.changed = mutant.file
        if not self.library_objects():
            return "not built", ""
        self.original = self.write(mutant, mutant.code)
        try:
            if not self.compiles():
                return BROKEN, ""
            if self.same_code():
                return "same code", ""
            return self.try_tests(mutant)
        finally:
            self.write(mutant, self.original)
            self.clear()

    def try_tests(self, mutant):
        seconds = compared = 0
        for name in self.base.order(mutant.file):
            if not self.base.concerns(name, mutant.file):
                continue
            self.base.measure(name, self.folder / "run")
            seconds += self.base.seconds[name]
            if seconds > self.base.patience:
                return LATER, ""
            if seconds > 5 and not compared:
                compared = 1
                if self.same_optimised(mutant):
                    return "same code", "-O2"
            if not self.passes(name, 10 + 10 * self.base.seconds[name]):
                self.base.learn(mutant.file, name)
                return "killed", name
        return "SURVIVED", ""


class Check:
    """Hands mutants to workers until enough of them are judged."""

    def __init__(self, mutants, sample, end, kept):
        self.mutants, self.sample, self.known = iter(mutants), sample, explained()
        self.end, self.kept = end, kept  # when to stop, and the file of verdicts
        self.verdicts = {}  # by the mutants' names
        self.again = {"", "SURVIVED", "explained", LATER}  # verdicts that are asked for anew
        self.lock, self.waiting = threading.Lock(), 0
        self.counts, self.survivors = collections.Counter(), []

    def judged(self):
        counted = ("killed", "SURVIVED", "explained", LATER)
        return sum(self.counts[verdict] for verdict in counted)

    def take(self):
        """The next mutant; None at the end. Waits while those being tried may be enough."""
        while True:
            with self.lock:
                if self.judged() >= self.sample or time.time() > self.end:
                    return None
                if self.judged() + self.waiting < self.sample:
                    mutant = next(self.mutants, None)
                    self.waiting += mutant is not None
                    return mutant
            time.sleep(0.1)

    def work(self, worker):
        while True:
            mutant = self.take()
            if mutant is None:
                return
            before, start = self.verdicts.get(name_of(mutant), ["", ""]), time.time()
            if (mutant.file, mutant.original, mutant.changed) in self.known:
                verdict, test = "explained", ""
            elif before[0] not in self.again:
                verdict, test = before
            else:
                verdict, test = worker.judge(mutant)
            with self.lock:
                self.verdicts[name_of(mutant)] = verdict, test
                self.waiting -= 1
                self.counts[verdict] += 1
                if verdict == "SURVIVED":
                    self.survivors.append(mutant)
                self.keep()
                print(f"{mutant.file}:{mutant.number + 1}: {verdict} {test} "
                      f"({time.time() - start:.1f} s): {mutant.changed}", flush=True)

    def keep(self):
        """Writes the verdicts, so that an interruption leaves the old ones or the new ones."""
        made = self.kept.with_suffix(".new")
        made.write_text(json.dumps(self.verdicts, indent=0), encoding="utf-8")
        made.replace(self.kept)

    def report(self):
        for mutant in sorted(self.survivors):
            print(f"survivor {mutant.file}:{mutant.number + 1}\n  - {mutant.original}\n"
                  f"  + {mutant.changed}")
        killed, survived = self.counts["killed"], self.counts["SURVIVED"]
        print(f"mutate: {killed} of {self.judged()} killed, {self.counts['explained']} explained, "
              f"{survived} survived, {self.counts[LATER]} left for later; not counted: "
              f"{self.counts['same code']} with the same code, {self.counts[BROKEN]} that don't "
              f"compile")
        return 0 if killed >= 0.95 * (killed + survived) else 1


def chosen(options):
    listed = subprocess.run(["git", "ls-files", "src"], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.split()
    mutants = [mutant for name in listed if name.endswith((".cpp", ".h")) and options.only in name
               and not name.startswith(NOT_HERE)
               for mutant in mutants_of(name, (ROOT / name).read_text(encoding="utf-8"))]
    print(f"mutate: {len(mutants)} possible changes, seed {options.seed}", flush=True)
    possible = {(mutant.file, mutant.original, mutant.changed) for mutant in mutants}
    for row in sorted(row for row in explained() - possible if options.only in row[0]):
        print(f"{EXPLAINED.name}: no such change any more: {' | '.join(row)}", flush=True)
    return sorted(mutants, key=lambda mutant: rank(mutant, options.seed))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sample", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--folder", type=Path, default=ROOT / "build" / "mutants")
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--patience", type=float, default=float("inf"))
    parser.add_argument("--minutes", type=float, default=float("inf"))
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--continue", dest="resume", action="store_true")
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    folder = options.folder.resolve()
    kept = folder / "verdicts.json"
    base = Base(folder, options.jobs)
    base.patience = options.patience
    mutants = chosen(options)
    workers = [Worker(base, folder / f"worker{i}") for i in range(options.jobs)]
    os.nice(max(0, 15 - os.nice(0)))  # a long run gives way to others
    print(f"mutate: {len(base.tests)} tests", flush=True)
    check = Check(mutants, options.sample, time.time() + 60 * options.minutes, kept)
    # What killed mutants of a file in the run before is tried first.
    before = json.loads(kept.read_text(encoding="utf-8")) if kept.exists() else {}
    for name, (verdict, test) in before.items():
        if verdict == "killed" and test in base.tests:
            base.learn(name.split(":", 1)[0], test)
    if options.again or options.resume:
        check.verdicts = before
    if options.resume:
        check.again -= {"SURVIVED", LATER}
    with concurrent.futures.ThreadPoolExecutor(len(workers)) as threads:
        for done in [threads.submit(check.work, worker) for worker in workers]:
            done.result()
    return check.report()


if __name__ == "__main__":
    sys.exit(main())
