#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the binary interface with the committed list.

check_abi.py HEADER LIBRARY C_COMPILER LIST [--update] [--link FLAGS] [--run EMULATOR]

What a program compiled yesterday relies on: the exported symbols, the layout of every
structure of the header (measured by the compiler, not read), the values of its constants
and the functions' signatures. Lists differ by the size of a pointer; there is one for each.
With --update the list is written anew, for a change that is meant. --link and --run say how
a program for another machine is linked and run.
"""
import argparse
import difflib
import pathlib
import re
import subprocess
import sys
import tempfile


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def without_comments(text):
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S)


def structures(text):
    """(name, [field]) of every structure that the header defines."""
    for body, name in re.findall(r"typedef struct \w+ \{(.*?)\} (\w+);", text, flags=re.S):
        yield name, re.findall(r"(\w+)(?:\[\d+\])?;", body)


def layout_program(text):
    lines = ['#include "jpg.h"', "#include <stddef.h>", "#include <stdio.h>", "int main(void) {"]
    show = '  printf("%s %lu %lu\\n", "{0}", (unsigned long){1}, (unsigned long){2});'
    for name, fields in structures(text):
        lines.append(show.format(f"size {name}", f"sizeof({name})", f"_Alignof({name})"))
        for field in fields:
            lines.append(show.format(f"field {name}.{field}", f"offsetof({name}, {field})",
                                     f"sizeof((({name} *)0)->{field})"))
    for name in ("JpgWChar", "JPGHANDLE", "JPGEXIFHANDLE"):
        lines.append(show.format(f"size {name}", f"sizeof({name})", f"_Alignof({name})"))
    # Values as the compiler sees them. The version is no part of the interface.
    for name in re.findall(r"#define (JPG_\w+|BI_\w+) (?:0x\w+|\d+)U?\b", text):
        if not name.startswith("JPG_VERSION"):
            lines.append(f'  printf("constant {name} 0x%lX\\n", (unsigned long){name});')
    return "\n".join(lines + ["  return 0;", "}", ""])


def measured(header, compiler, link, emulator):
    text = without_comments(header.read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "layout.c")
        source.write_text(layout_program(text), encoding="utf-8")
        program = str(pathlib.Path(folder, "layout"))
        run(compiler, "-std=c11", f"-I{header.parent}", str(source), "-o", program, *link)
        lines = run(*emulator, program).splitlines()
    for result, name, arguments in re.findall(
            r"JPG_API (\w+) JPG_CALL\s+(\w+)\(([^)]*)\)", text):
        lines.append(f"function {result} {name}({' '.join(arguments.split())})")
    return lines


def symbols(library):
    lines = run("nm", "-D", "--defined-only", library).splitlines()
    return sorted(f"symbol {line.split()[-2]} {line.split()[-1]}" for line in lines)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("header", type=pathlib.Path)
    for name in ("library", "compiler", "list"):
        parser.add_argument(name)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--link", default="")
    parser.add_argument("--run", default="")
    words = parser.parse_args()
    emulator = words.run.replace(";", " ").split()
    actual = symbols(words.library) + measured(words.header, words.compiler, words.link.split(),
                                               emulator)
    pointer = next(line for line in actual if line.startswith("size JPGHANDLE ")).split()[2]
    path = pathlib.Path(f"{words.list}.{8 * int(pointer)}.txt")
    if words.update:
        path.write_text("\n".join(actual) + "\n", encoding="utf-8")
        return 0
    if not path.exists():
        print(f"SKIPPED: there is no list for pointers of {pointer} bytes ({path.name})")
        return 77
    expected = path.read_text(encoding="utf-8").splitlines()
    difference = list(difflib.unified_diff(expected, actual, path.name, "now", lineterm="", n=0))
    print("\n".join(difference) or f"{len(actual)} entries as listed")
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
