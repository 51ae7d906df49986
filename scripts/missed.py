#!/usr/bin/env python3
"""What no test reaches, of the text that llvm-cov shows: missed.py FILE

One line each: file, line, and what is missed (the line, a side of a branch, or a condition
that never decides alone).
"""
import re
import sys

FILE = re.compile(r"^(/\S+\.(?:cpp|h)):$")
LINE = re.compile(r"^\s*(\d+)\|\s*([\d.kMGE]*)\|(.*)$")
BRANCH = re.compile(r"Branch \((\d+):(\d+)\): \[True: ([\d.kMGE]+), False: ([\d.kMGE]+)\]")
CONDITION = re.compile(r"(C\d+)-Pair: not covered")
DECISION = re.compile(r"MC/DC Decision Region \((\d+):(\d+)\)")


def main():
    name = decision = ""
    texts = {}
    with open(sys.argv[1], encoding="utf-8") as file:
        for row in file:
            if match := FILE.match(row.strip()):
                name = match.group(1).split("/src/", 1)[-1]
            elif match := LINE.match(row):
                number, count, text = match.groups()
                texts[name, number] = text.strip()
                if count == "0":
                    print(f"{name}:{number}: line: {text.strip()}")
            elif match := BRANCH.search(row):
                line, column, true, false = match.groups()
                side = "never true" if true == "0" else "never false" if false == "0" else ""
                if side:
                    print(f"{name}:{line}:{column}: {side}: {texts.get((name, line), '')}")
            elif match := DECISION.search(row):
                decision = match.group(1)
            elif match := CONDITION.search(row):
                print(f"{name}:{decision}: {match.group(1)} never decides alone: "
                      f"{texts.get((name, decision), '')}")


if __name__ == "__main__":
    main()
