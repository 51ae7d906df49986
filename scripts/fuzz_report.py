#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the executions and the coverage of fuzz targets, by their logs: fuzz_report.py LOG...

A log's name begins with its target's name. Several logs of a target are added up; the largest
coverage counts. Edges are those of the instrumented program, the target's own included.
"""
import os
import re
import sys


def last(pattern, text):
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


def read(name):
    with open(name, encoding="utf-8", errors="replace") as file:
        text = file.read()
    executed = last(r"stat::number_of_executed_units: *(\d+)", text)
    return {
        "executions": executed or last(r"(?m)^#(\d+)\s", text),
        "seconds": last(r"Done \d+ runs in (\d+) second", text),
        "reached": last(r"cov: (\d+)", text),
        "edges": last(r"\((\d+) inline 8-bit counters\)", text),
        "corpus": last(r"corp: (\d+)/", text),
        "peak": last(r"stat::peak_rss_mb: *(\d+)", text),
    }


def main(names):
    totals = {}
    for name in names:
        target = os.path.basename(name).split(".")[0]
        total = totals.setdefault(target, {})
        for key, value in read(name).items():
            grows = key in ("executions", "seconds")
            total[key] = total.get(key, 0) + value if grows else max(total.get(key, 0), value)
    print("| target | executions | a second | hours | edges reached | of | corpus | MB |")
    print("|---|---|---|---|---|---|---|---|")
    for target, t in sorted(totals.items()):
        print(f"| {target} | {t['executions']:,} | {t['executions'] / max(t['seconds'], 1):,.0f} "
              f"| {t['seconds'] / 3600:.2f} | {t['reached']:,} | {t['edges']:,} | {t['corpus']:,} "
              f"| {t['peak']} |")
    runs = sum(t["executions"] for t in totals.values())
    hours = sum(t["seconds"] for t in totals.values()) / 3600
    print(f"| all | {runs:,} | {runs / 3600 / max(hours, 1 / 3600):,.0f} | {hours:.2f} | | | | |")


if __name__ == "__main__":
    main(sys.argv[1:])
