#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Planted mistakes: do the tests notice what no operator of mutate.py makes?

planted.py [--only SUBSTRING] [--check] [--folder DIR] [--jobs N]

Each file of scripts/planted names a source, says what is wrong, and has the text to replace and
its replacement: an error path that doesn't free, checks in another order, state that a restart
keeps, a table index that is right for the common tables. Builds the tree as mutate.py does, plants
one mistake at a time, and runs the everyday tests until one fails. Prints the test that noticed
and what it said first. With --check only tries whether every text is found once. Exits with 1 when
a mistake isn't found in the sources, doesn't compile or isn't noticed.
"""
import argparse
import collections
import os
import re
import resource
import subprocess
import sys
import threading
from pathlib import Path

import mutate

FOLDER = mutate.ROOT / "scripts" / "planted"
FILE = re.compile(r"file: (\S+)\nwhat: (.+)\n<<<<\n(.*?)\n====\n(.*?)\n?>>>>\n", re.S)

Mistake = collections.namedtuple("Mistake", "name file what old new")


def mistakes(only):
    for path in sorted(FOLDER.glob("*.txt")):
        if only in path.name:
            match = FILE.fullmatch(path.read_text(encoding="utf-8"))
            if match is None:
                sys.exit(f"planted: {path.name} isn't of the form that it should be")
            yield Mistake(path.stem, *match.groups())


def found(mistake):
    return (mutate.ROOT / mistake.file).read_text(encoding="utf-8").count(mistake.old) == 1


class Planter(mutate.Worker):
    def plant(self, mistake):
        """What noticed it: the test, and its first words."""
        file = self.folder / mistake.file
        text = file.read_text(encoding="utf-8")
        self.changed = mistake.file
        file.write_text(text.replace(mistake.old, mistake.new), encoding="utf-8")
        try:
            if not self.library_objects():
                return "isn't built here", ""
            if not self.compiles():
                return mutate.BROKEN, ""
            return self.first_to_notice(mistake.file)
        finally:
            file.write_text(text, encoding="utf-8")
            self.clear()

    def first_to_notice(self, file):
        for name in self.base.order(file):
            self.base.measure(name, self.folder / "run")
            if not self.passes(name, 10 + 10 * self.base.seconds[name]):
                self.base.learn(file, name)
                return name, self.words(name)
        return "UNNOTICED", ""

    def words(self, name):
        """The name of the first case that failed, or the last line that the test prints."""
        program, command, home = self.base.tests[name]
        here = {str(self.base.build / program): self.linked(program),
                home: str(self.folder / "run")}
        if None in here:
            return "a test's own source doesn't compile"
        try:
            done = subprocess.run([here.get(word, word) for word in command], timeout=60,
                                  cwd=self.folder / "run", capture_output=True, text=True,
                                  errors="replace", env={**os.environ, "JPG_EMULATOR": "",
                                                       "TMPDIR": str(self.folder / "run")})
        except subprocess.TimeoutExpired:
            return "doesn't end"
        output = done.stdout + done.stderr
        match = re.search(r"^\[  FAILED  \] ([\w./]+)|^FAIL: (\w+)", output, re.M)
        if match:
            return match.group(1) or match.group(2)
        lines = [line for line in output.splitlines() if line.strip()]
        return lines[-1] if lines and done.returncode >= 0 else f"signal {-done.returncode}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--only", default="")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--folder", type=Path, default=mutate.ROOT / "build" / "mutants")
    parser.add_argument("--jobs", type=int, default=1)
    options = parser.parse_args()
    planted = list(mistakes(options.only))
    lost = [mistake for mistake in planted if not found(mistake)]
    for mistake in lost:
        print(f"{mistake.name}: its text isn't in {mistake.file}, or more than once")
    if options.check:
        print(f"planted: {len(planted)} mistakes, {len(lost)} not found")
        return 1 if lost else 0
    resource.setrlimit(resource.RLIMIT_AS, (mutate.MEMORY, mutate.MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    folder = options.folder.resolve()
    base = mutate.Base(folder, options.jobs)
    workers = [Planter(base, folder / f"planter{i}") for i in range(options.jobs)]
    os.nice(max(0, 15 - os.nice(0)))
    waiting = [mistake for mistake in planted if mistake not in lost]
    unnoticed = []

    def work(worker):
        while waiting:
            mistake = waiting.pop(0)
            test, words = worker.plant(mistake)
            print(f"{mistake.name}: {mistake.what}\n    {test}: {words}".rstrip(": "), flush=True)
            if test in ("UNNOTICED", mutate.BROKEN, "isn't built here"):
                unnoticed.append(mistake)

    threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    noticed = len(planted) - len(lost) - len(unnoticed)
    print(f"planted: {noticed} of {len(planted)} noticed, {len(unnoticed)} not, "
          f"{len(lost)} not found")
    return 1 if lost or unnoticed else 0


if __name__ == "__main__":
    sys.exit(main())
