#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts what a run of ctest skipped, by reason.

skips.py LOG [CORPUS]

LOG is ctest's Testing/Temporary/LastTest.log, with what every test printed. Prints the counts.
With the environment variable CI set, a skip for want of real files is an error if the folder
CORPUS is there: prints the tests and exits with 1.
"""
import collections
import os
import re
import sys
from pathlib import Path

BLOCK = re.compile(r"^\d+/\d+ Test: (.*?)$(.*?)^<end of output>\n(.*?)(?=^\d+/\d+ Testing:|\Z)",
                   re.M | re.S)
# What GoogleTest, unittest (-v), pytest (-rs) and our own scripts print.
REASONS = (
    re.compile(r"^\S+:\d+: Skipped\n(.*)$", re.M),
    re.compile(r"\.\.\. skipped [\"'](.*)[\"']$", re.M),
    re.compile(r"^SKIPPED \[(?P<count>\d+)\] \S+: (?P<reason>.*)$", re.M),
    re.compile(r"^(?:skipped|SKIPPED): (.*)$", re.M),
)
CORPUS = "JPG_CORPUS"  # stands in the reason of every test that wants the corpus


def skips_of(log):
    """A pair for each skip: the test as ctest names it, and the reason."""
    for name, output, end in BLOCK.findall(log):
        found = []
        for pattern in REASONS:
            for match in pattern.finditer(output):
                count = int(match.groupdict().get("count", 1))
                reason = match.groupdict().get("reason", match.group(1))
                found += [reason.strip() or "no reason given"] * count
        if not found and "Test Skipped." in end:
            found = ["no reason given"]
        for reason in found:
            yield name, reason


def main():
    skips = list(skips_of(Path(sys.argv[1]).read_text(encoding="utf-8", errors="replace")))
    counts = collections.Counter(reason for _, reason in skips)
    print(f"\nSkipped: {len(skips)}")
    for reason, count in sorted(counts.items(), key=lambda pair: (-pair[1], pair[0])):
        print(f"{count:5}  {reason}")
    missed = sorted({name for name, reason in skips if CORPUS in reason})
    folder = Path(sys.argv[2]) if len(sys.argv) > 2 else None
    if not missed or "CI" not in os.environ or folder is None or not folder.is_dir():
        return 0
    print(f"The corpus is in {folder}, but these tests didn't find it:")
    print("\n".join(f"  {name}" for name in missed))
    return 1


if __name__ == "__main__":
    sys.exit(main())
