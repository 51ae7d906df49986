#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Keeps the code that guides and headers show the same as that of the examples.

snippets.py [--update] FILE...

A guide shows a function of an example by a line ahead of a fence:

    <!-- examples/preview.c preview -->

and a header's comment by a line ahead of @code:

    Example (examples/preview.c, preview):

The code must be the function's lines. Without --update differences are printed and the
status is 1; with it the code is replaced. Every C or C++ fence in a guide must have such a line.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GUIDE = re.compile(r"<!-- (examples/\S+) (\w+) -->\n```\w*\n(.*?)^```$", re.S | re.M)
HEADER = re.compile(r"Example \((examples/\S+), (\w+)\):\n \*(?:  )?\s*@code\n(.*?)^ \*\s*@endcode$",
                    re.S | re.M)


def function(path, name):
    """The lines of a function, from its head to the brace that ends it."""
    text = (ROOT / path).read_text(encoding="utf-8")
    found = re.search(rf"^(?![ /*#}}])[^\n;]*\b{name}\((?:[^;{{]*)\{{\n.*?^\}}$", text, re.S | re.M)
    if found is None:
        raise SystemExit(f"{path} has no function {name}")
    return found.group(0).split("\n")


def guide_block(match):
    lines = function(match.group(1), match.group(2))
    language = "cpp" if match.group(1).endswith(".cpp") else "c"
    return (f"<!-- {match.group(1)} {match.group(2)} -->\n```{language}\n" + "\n".join(lines)
            + "\n```")


def header_block(match):
    lines = function(match.group(1), match.group(2))
    if any("*/" in line for line in lines):
        raise SystemExit(f"{match.group(2)}: a comment in it would end the header's")
    indent = re.match(r" \*(\s*)@code", match.group(0).split("\n")[1]).group(1)
    body = "\n".join(f" *{indent}{line}".rstrip() for line in lines)
    return (f"Example ({match.group(1)}, {match.group(2)}):\n *{indent}@code\n{body}\n"
            f" *{indent}@endcode")


def renewed(path, text):
    if path.suffix == ".md":
        return GUIDE.sub(guide_block, text)
    return HEADER.sub(header_block, text)


def unchecked(path, text):
    """True if a guide has code that isn't from an example."""
    if path.suffix != ".md":
        return False
    return len(re.findall(r"^```(?:c|cpp)$", text, re.M)) != len(GUIDE.findall(text))


def main():
    status = 0
    update = "--update" in sys.argv
    for path in (pathlib.Path(name) for name in sys.argv[1:] if not name.startswith("--")):
        text = path.read_text(encoding="utf-8")
        new = renewed(path, text)
        if new != text and update:
            path.write_text(new, encoding="utf-8")
        elif new != text:
            print(f"{path}: the code differs from the examples (scripts/snippets.py --update)")
            status = 1
        if unchecked(path, new):
            print(f"{path}: code that isn't in any example")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
