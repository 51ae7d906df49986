#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Keeps the README's table of speeds in step with docs/performance.json:
speed_table.py [--update] [README JSON]

The table follows the README's line "<!-- of docs/performance.json -->" and has some of the
workloads there, with the library's megapixels a second and the ratio to the fastest of the other
codecs; below it stand the weakest and the strongest of all. Without --update differences are
printed and the status is 1; with it the table is replaced.
"""
import json
import pathlib
import re
import sys
import textwrap

from performance_rows import faster

ROOT = pathlib.Path(__file__).resolve().parent.parent
MARK = "<!-- of docs/performance.json -->\n"
WORKLOADS = {
    "decode 4:2:0 q90": "decoding, 4:2:0",
    "decode 4:4:4 q90": "decoding, 4:4:4",
    "decode progressive 4:2:0 q90": "decoding, progressive",
    "decode 4:2:0 q90 at 1/8": "decoding at 1/8",
    "encode 4:2:0 q90": "encoding, 4:2:0",
    "encode 4:4:4 q90": "encoding, 4:4:4",
    "decode lossless 8 bits x 3": "lossless decoding",
    "encode lossless 8 bits x 3": "lossless encoding",
}


def extremes(measured):
    """A paragraph that begins with "Of"."""
    rows = sorted(measured["speeds"], key=faster)
    weakest, strongest = (f"{row['name']}, {row['size']} ({faster(row):.2f})"
                          for row in (rows[0], rows[-1]))
    return textwrap.fill(f"Of {len(rows)} workloads the weakest is: {weakest}; the strongest: "
                         f"{strongest}.", 100, break_on_hyphens=False) + "\n"


def table(measured):
    cells, sizes = {}, []
    for row in measured["speeds"]:
        if row["name"] in WORKLOADS:
            speed = row["pixels"] / row["sides"][0]["median"] / 1e6
            cells[row["name"], row["size"]] = f"{speed:.0f} ({faster(row):.2f})"
            if row["size"] not in sizes:
                sizes.append(row["size"])
    if len(cells) != len(WORKLOADS) * len(sizes) or not cells:
        raise SystemExit("speed_table.py: docs/performance.json lacks some of the workloads")
    lines = ["| MP/s (ratio) | " + " | ".join(sizes) + " |", "|---|" + "---:|" * len(sizes)]
    for work, name in WORKLOADS.items():
        lines.append(f"| {name} | " + " | ".join(cells[work, size] for size in sizes) + " |")
    return "\n".join(lines) + "\n\n" + extremes(measured)


def main():
    words = [word for word in sys.argv[1:] if word != "--update"]
    readme, measured = (map(pathlib.Path, words) if words
                           else (ROOT / "README.md", ROOT / "docs/performance.json"))
    text = readme.read_text(encoding="utf-8")
    if text.count(MARK) != 1:
        raise SystemExit(f"speed_table.py: {readme} has no place for the table")
    before, rest = text.split(MARK)
    after = re.sub(r"\A(\|.*\n)*(\nOf .*\n(.+\n)*)?", "", rest)
    new = before + MARK + table(json.loads(measured.read_text(encoding="utf-8"))) + after
    if new == text:
        return 0
    if "--update" in sys.argv:
        readme.write_text(new, encoding="utf-8")
        return 0
    print(f"{readme}: speeds differ from {measured} (scripts/speed_table.py --update)")
    return 1


if __name__ == "__main__":
    sys.exit(main())
