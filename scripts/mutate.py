#!/usr/bin/env python3
"""Mutation check: is a wrong library noticed by the tests?

mutate.py [--sample N] [--seed S] [--folder DIR] [--only SUBSTRING] [--jobs N]

Copies the tree to DIR (build/mutants), builds it and the fast tests once, and then changes one
operator, constant or condition of src/ at a time: N of them (20), chosen by the seed. Each
change is built and the tests are run until one fails. Prints a line for each, and the survivors
at the end with what was changed. A change after which the compiler makes the same code is no
mutant, nor is one that doesn't compile. Exits with 1 when less than 95 % are killed.
"""
import argparse
import hashlib
import os
import random
import re
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# Quick ones that need no files and no other programs, the most general first.
TESTS = """
readRectTest readPrologTest readAccessTest write_interface_test write_golden_test prog_test
win_test win_rle_test exif_test spatial_test spatial_streams_test units_share_test
units_read_test handles_test corners_test limits_test faults_test prog_heap_test
platform_posix_test write_roundtrip_test
""".split()
SECONDS = 120  # of a test program; a mutant that hangs is killed, too

# What stands for what. Operators have spaces around them in this tree.
SWAPS = [
    (r" == ", " != "), (r" != ", " == "), (r" < ", " <= "), (r" <= ", " < "),
    (r" > ", " >= "), (r" >= ", " > "), (r" && ", " || "), (r" \|\| ", " && "),
    (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " + "), (r" << ", " >> "), (r" >> ", " << "),
    (r" & ", " | "), (r" \| ", " & "), (r" \+= ", " -= "), (r" -= ", " += "), (r" \|= ", " = "),
    (r"return JPG_E_\w+;", "return JPG_OK;"), (r"\breturn true;", "return false;"),
    (r"\breturn false;", "return true;"),
]
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(U?)(?![\w.'])")
CONDITION = re.compile(r"\bif \(([^;]*)\) (?=return|break|continue|\{)")


def code_lines(text):
    """The lines that hold code: no comments, directives, assertions, strings."""
    for number, line in enumerate(text.splitlines()):
        code = line.split("//", 1)[0].rstrip()
        if code and not code.lstrip().startswith(("#", "static_assert", "namespace", "using")):
            if '"' not in code and "JPG_CHECK_OFFSET" not in code:
                yield number, code


def mutants_of(path, text):
    for number, code in code_lines(text):
        for pattern, replacement in SWAPS:
            for match in re.finditer(pattern, code):
                yield path, number, code[:match.start()] + replacement + code[match.end():]
        for match in NUMBER.finditer(code):
            digits = match.group(1)
            value = int(digits, 16 if digits.startswith("0x") else 10)
            changed = f"{value + 1}{match.group(2)}"
            yield path, number, code[:match.start()] + changed + code[match.end():]
        match = CONDITION.search(code)
        if match:
            yield path, number, code[:match.start(1)] + f"!({match.group(1)})" + code[match.end(1):]


def all_mutants(only):
    listed = subprocess.run(["git", "ls-files", "src"], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.split()
    for name in listed:
        wanted = name.endswith((".cpp", ".h")) and only in name
        if wanted and not name.startswith(("src/platform/windows", "src/platform/faulty")):
            yield from mutants_of(name, (ROOT / name).read_text(encoding="utf-8"))


class Bench:
    """The copy in which mutants are built and tried."""

    def __init__(self, folder, jobs):
        self.tree, self.build, self.jobs = folder / "tree", folder / "build", jobs
        shutil.rmtree(self.tree, ignore_errors=True)
        listed = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True,
                                text=True).stdout.splitlines()
        for name in listed:
            if (ROOT / name).is_file():
                (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, self.tree / name)
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1"],
                       check=True, stdout=subprocess.DEVNULL)
        if not self.make(TESTS):
            sys.exit("mutate: the tree doesn't build")
        self.programs = {p.name: p for p in self.build.glob("tests/**/*")
                         if p.name in TESTS and p.is_file() and os.access(p, os.X_OK)}
        self.code = self.hash_of_objects()
        failing = self.first_failing()
        if failing:
            sys.exit(f"mutate: {failing} fails without a mutant")

    def make(self, targets):
        return subprocess.run(["cmake", "--build", self.build, "-j", str(self.jobs), "--target",
                               *targets], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0

    def hash_of_objects(self):
        digest = hashlib.sha256()
        for item in sorted(self.build.glob("src/CMakeFiles/**/*.o")):
            digest.update(item.read_bytes())
        return digest.hexdigest()

    def first_failing(self):
        for name in TESTS:
            try:
                done = subprocess.run([self.programs[name], "--gtest_brief=1"], timeout=SECONDS,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            except subprocess.TimeoutExpired:
                return f"{name} (time)"
            if done.returncode != 0:
                return name
        return ""

    def judge(self, mutant):
        """What became of it, and by what."""
        path, number, changed = mutant
        file = self.tree / path
        kept = file.read_text(encoding="utf-8")
        lines = kept.splitlines()
        lines[number] = changed
        file.write_text("\n".join(lines) + "\n", encoding="utf-8")
        try:
            if not self.make(["jpg_core", "jpg_static", "jpg_faulty"]):
                return "doesn't compile", ""
            if self.hash_of_objects() == self.code:
                return "same code", ""
            if not self.make(TESTS):
                return "doesn't compile", ""
            failing = self.first_failing()
            return ("killed", failing) if failing else ("SURVIVED", "")
        finally:
            file.write_text(kept, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sample", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--folder", type=Path, default=ROOT / "build" / "mutants")
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()
    mutants = sorted(set(all_mutants(options.only)))
    print(f"mutate: {len(mutants)} possible changes, seed {options.seed}", flush=True)
    random.Random(options.seed).shuffle(mutants)
    bench = Bench(options.folder.resolve(), options.jobs)
    killed, survivors = 0, []
    for mutant in mutants:
        if killed + len(survivors) >= options.sample:
            break
        verdict, test = bench.judge(mutant)
        path, number, changed = mutant
        print(f"{path}:{number + 1}: {verdict} {test}: {changed.strip()}", flush=True)
        killed += verdict == "killed"
        if verdict == "SURVIVED":
            survivors.append(mutant)
    total = killed + len(survivors)
    print(f"mutate: {killed} of {total} killed")
    for path, number, changed in survivors:
        original = (ROOT / path).read_text(encoding="utf-8").splitlines()[number]
        print(f"survivor {path}:{number + 1}\n  - {original.strip()}\n  + {changed.strip()}")
    return 0 if total == 0 or killed >= 0.95 * total else 1


if __name__ == "__main__":
    sys.exit(main())
