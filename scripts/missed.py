#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists code that no test reaches, by the output of "llvm-cov show", one file per target:
missed.py [OPTION] SHOW...

  --list        every line, side of a branch and condition that is missed (a condition of
                MC/DC is missed when it never decides alone)
  --check FILE  compares them with the exclusions in FILE (docs/coverage-exclusions.md): fails if
                something missed isn't excluded, or something excluded is reached
Without an option it prints the numbers of each file.

Code counts as reached when one instance of a template, or one target, reaches it.
"""
import collections
import pathlib
import re
import sys

FILE = re.compile(r"^(/\S+\.(?:cpp|h)):$")
LINE = re.compile(r"^[\s|]*(\d+)\|\s*([\d.kMGE]*)\|(.*)$")
BRANCH = re.compile(r"Branch \((\d+):(\d+)\): \[True: ([\d.kMGE]+), False: ([\d.kMGE]+)\]")
CONDITION = re.compile(r"C(\d+)-Pair: (not covered|covered)")
DECISION = re.compile(r"MC/DC Decision Region \((\d+):(\d+)\)")
FUNCTION = re.compile(r"(\w+)\(")

KINDS = ("line", "branch", "condition")
PLURAL = {"line": "lines", "branch": "branches", "condition": "conditions"}

Thing = collections.namedtuple("Thing", "file line kind what")
Key = collections.namedtuple("Key", "file function text")


class Coverage:
    """Lines, sides of branches and conditions, and whether a test reaches them."""

    def __init__(self, shows):
        self.reached = {}
        self.texts = collections.defaultdict(dict)
        for show in shows:
            self._read(show)

    def _note(self, file, line, kind, what, good):
        thing = Thing(file, int(line), kind, what)
        self.reached[thing] = self.reached.get(thing, False) or good

    def _read(self, show):
        name, decision = "", ("0", "0")
        with open(show, encoding="utf-8") as rows:
            for row in rows:
                if match := FILE.match(row.strip()):
                    name = match.group(1).split("/src/", 1)[-1]
                elif match := LINE.match(row):
                    number, count, text = match.groups()
                    self.texts[name][int(number)] = text.rstrip()
                    # Comments have counts as the code around them has.
                    if count and not text.lstrip().startswith("//"):
                        self._note(name, number, "line", "never run", count != "0")
                elif match := BRANCH.search(row):
                    line, column, true, false = match.groups()
                    self._note(name, line, "branch", f"column {column} never true", true != "0")
                    self._note(name, line, "branch", f"column {column} never false", false != "0")
                elif match := DECISION.search(row):
                    decision = match.groups()
                elif match := CONDITION.search(row):
                    line, column = decision
                    what = f"column {column}: condition {match.group(1)} never decides alone"
                    self._note(name, line, "condition", what, match.group(2) == "covered")

    def missed(self):
        return sorted(thing for thing, good in self.reached.items() if not good)

    def text(self, thing):
        return " ".join(self.texts[thing.file][thing.line].split())

    def function(self, thing):
        """The function that a line lies in: the last one above that begins in column 1."""
        for line in range(thing.line, 0, -1):
            text = self.texts[thing.file].get(line, "")
            if re.match(r"[\w\[:]", text) and (match := FUNCTION.search(text)):
                return match.group(1)
        return ""

    def key(self, thing):
        return Key(thing.file, self.function(thing), self.text(thing))


class Arguments:
    """The document's exclusions: functions that run in the compiler, and single places."""

    ITEM = re.compile(r"^- `([^`]+)`, `(\w+)`: ([\w ,]+) of `([^`]+)`\s+\S")
    ROW = re.compile(r"^\| `([^`]+\.(?:cpp|h))` \| (`.*`) \|$")
    TOTAL = re.compile(r"^Argued in all: ([\w ,]+)\.$")
    COUNT = re.compile(r"(\d+) (line|branch|condition)")

    def __init__(self, document):
        self.compiled, self.single, self.total = set(), {}, None
        self.wrong = []
        text = pathlib.Path(document).read_text(encoding="utf-8")
        for line in re.sub(r"\n  +", " ", text).splitlines():
            if match := self.ITEM.match(line):
                file, function, counts, source = match.groups()
                key = Key(file, function, " ".join(source.split()))
                if key in self.single:
                    self.wrong.append(f"argued twice: {key}")
                self.single[key] = self._counts(counts)
            elif match := self.ROW.match(line):
                names = re.findall(r"`(\w+)`", match.group(2))
                self.compiled.update((match.group(1), name) for name in names)
            elif match := self.TOTAL.match(line):
                self.total = self._counts(match.group(1))
            elif line.startswith("- `"):
                self.wrong.append(f"not understood: {line}")

    def _counts(self, text):
        counts = collections.Counter()
        for number, kind in self.COUNT.findall(text):
            counts[kind] += int(number)
        return counts


def words(counts):
    names = ((k, k if counts[k] == 1 else PLURAL[k]) for k in KINDS if counts[k])
    return ", ".join(f"{counts[k]} {name}" for k, name in names)


def check(coverage, arguments):
    """The differences, line by line."""
    found, argued = collections.defaultdict(list), collections.Counter()
    compiled = set()
    wrong = list(arguments.wrong)
    for thing in coverage.missed():
        key = coverage.key(thing)
        if (key.file, key.function) in arguments.compiled:
            compiled.add((key.file, key.function))
            argued[thing.kind] += 1
        else:
            found[key].append(thing)
    for thing, good in coverage.reached.items():
        key = coverage.key(thing)
        if good and (key.file, key.function) in arguments.compiled:
            wrong.append(f"said to run in the compiler, but reached: {key.file}, {key.function}")
    for file, function in sorted(arguments.compiled - compiled):
        wrong.append(f"said to run in the compiler, but not missed: {file}, {function}")
    for key, things in found.items():
        counts = collections.Counter(thing.kind for thing in things)
        argued.update(counts)
        if key not in arguments.single:
            wrong += [f"not argued: {t.file}:{t.line}, {key.function}: {t.what}: {key.text}"
                      for t in things]
        elif counts != arguments.single[key]:
            wrong.append(f"argued: {words(arguments.single[key])}, missed: {words(counts)}: "
                         f"{key.file}:{things[0].line}, {key.function}: {key.text}")
    for key in arguments.single.keys() - found.keys():
        wrong.append(f"argued, but reached or gone: {key.file}, {key.function}: {key.text}")
    if not wrong and arguments.total != argued:
        wrong.append(f'the sum is wrong; it should be: "Argued in all: {words(argued)}."')
    return sorted(set(wrong)), argued


def summary(coverage):
    """The numbers of each file and of all."""
    numbers = collections.defaultdict(collections.Counter)
    for thing, good in coverage.reached.items():
        for name in (thing.file, "all"):
            numbers[name][thing.kind] += 1
            numbers[name][thing.kind, "missed"] += 0 if good else 1
    for name in sorted(numbers, key=lambda n: (n == "all", n)):
        n = numbers[name]
        columns = [f"{PLURAL[k]} {n[k]:5} missed {n[k, 'missed']:3}" for k in KINDS]
        print(f"{name:34} " + "  ".join(columns))


def main(arguments):
    if arguments[:1] == ["--list"]:
        coverage = Coverage(arguments[1:])
        for thing in coverage.missed():
            print(f"{thing.file}:{thing.line}: {thing.what}: {coverage.text(thing)}")
    elif arguments[:1] == ["--check"]:
        wrong, argued = check(Coverage(arguments[2:]), Arguments(arguments[1]))
        if wrong:
            print("\n".join(wrong), file=sys.stderr)
            return 1
        print(f"missed and argued: {words(argued)}")
    else:
        summary(Coverage(arguments))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
