#!/usr/bin/env python3
"""What no test reaches, of the text that llvm-cov shows: missed.py FILE

One line each: file, line, and what is missed (the line, a side of a branch, or a condition
that never decides alone). What one instance of a template reaches counts as reached.
"""
import re
import sys

FILE = re.compile(r"^(/\S+\.(?:cpp|h)):$")
LINE = re.compile(r"^\s*(\d+)\|\s*([\d.kMGE]*)\|(.*)$")
BRANCH = re.compile(r"Branch \((\d+):(\d+)\): \[True: ([\d.kMGE]+), False: ([\d.kMGE]+)\]")
CONDITION = re.compile(r"C(\d+)-Pair: (not covered|covered)")
DECISION = re.compile(r"MC/DC Decision Region \((\d+):(\d+)\)")


def main():
    name, decision = "", ("0", "0")
    texts, reached = {}, {}

    def note(line, what, good):
        key = (name, int(line), what)
        reached[key] = reached.get(key, False) or good

    with open(sys.argv[1], encoding="utf-8") as file:
        for row in file:
            if match := FILE.match(row.strip()):
                name = match.group(1).split("/src/", 1)[-1]
            elif match := LINE.match(row):
                number, count, text = match.groups()
                texts[name, int(number)] = text.strip()
                if count:
                    note(number, "line", count != "0")
            elif match := BRANCH.search(row):
                line, column, true, false = match.groups()
                note(line, f"{column}: never true", true != "0")
                note(line, f"{column}: never false", false != "0")
            elif match := DECISION.search(row):
                decision = match.groups()
            elif match := CONDITION.search(row):
                line, column = decision
                note(line, f"{column}: condition {match.group(1)} never decides alone",
                     match.group(2) == "covered")
    for name, line, what in sorted(key for key, good in reached.items() if not good):
        print(f"{name}:{line}: {what}: {texts.get((name, line), '')}")


if __name__ == "__main__":
    main()
