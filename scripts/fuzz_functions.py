#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Which functions of src no fuzz target reaches: fuzz_functions.py REPORT...

A report is what `llvm-cov export` gives for a target, whose name is the file's. Instances of a
template count as one function.
"""
import json
import os
import re
import subprocess
import sys


def plain(names):
    """The functions' names without parameters, return types and the library's namespace."""
    if not names:
        return []
    found = subprocess.run(["c++filt", "-p"], input="\n".join(names), capture_output=True,
                           text=True, check=True).stdout.splitlines()
    return [re.sub(r"<.*>", "", re.sub(r"\(anonymous namespace\)::|jpg::", "", name))
            .split("(")[0].split(" ")[-1] for name in found]


def read(report):
    """By file and place: a mangled name and whether the function was run."""
    functions = {}
    with open(report, encoding="utf-8") as file:
        listed = json.load(file)["data"][0]["functions"]
    for function in listed:
        source = function["filenames"][0]
        if "/src/" not in source or "/tests/" in source:
            continue
        # The first region is the body.
        place = source.split("/src/", 1)[1], *function["regions"][0][:2]
        name, reached = functions.get(place, ("", False))
        functions[place] = function["name"].split(":")[-1], reached or function["count"] > 0
    return functions


def main(reports):
    everything = {}
    for report in reports:
        functions = read(report)
        target = os.path.splitext(os.path.basename(report))[0]
        reached = sum(done for _, done in functions.values())
        print(f"{target}: {reached} of {len(functions)} functions")
        for place, (name, done) in functions.items():
            everything[place] = name, done or everything.get(place, ("", False))[1]
    missed = sorted(place for place, (_, done) in everything.items() if not done)
    print(f"all targets: {len(everything) - len(missed)} of {len(everything)} functions")
    names = plain([everything[place][0] for place in missed])
    for file in sorted({place[0] for place in missed}):
        print(f"{file}: " + ", ".join(sorted({name for place, name in zip(missed, names)
                                              if place[0] == file})))


if __name__ == "__main__":
    main(sys.argv[1:])
