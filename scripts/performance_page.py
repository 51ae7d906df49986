#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes docs/performance.md and docs/performance.svg of docs/performance.json:
performance_page.py [--update] [DOCS]
performance_page.py --collect RESULTS [--load LOAD] [DOCS]

Without an option files that differ from what would be made are told and the status is 1;
--update writes them. --collect brings what the benchmarks left in a folder into the JSON file:
speeds.json, instructions.txt, heap.txt, arm.txt. What isn't there stays as it was.
"""
import argparse
import datetime
import json
import math
import os
import pathlib
import platform
import subprocess
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
DEBIAN, OTHERS = "libjpeg-turbo 2", ("libavcodec", "DCMTK")

HEAD = """\
# How fast it is
![Ratios of all workloads](performance.svg)

Made by `scripts/performance_page.py` of [performance.json](performance.json), which
`scripts/bench.sh --publish` measures; [bench/README.md](../bench/README.md) tells how to repeat it.

## How it is measured
{machine}
{turns}
- **Ratios** are their processor time by ours: above 1 the library is the faster one. A ratio is the
  median of the rounds' ratios, in parentheses that of the best times. One in bold is below what
  the row must reach. Speeds are medians.
- **The same work.** Accurate integer transforms (`JDCT_ISLOW`), replicated chroma, pixels blue
  first, standard tables, from open to close; one thread. Ahead of the timing the results are
  compared: lossless ones must be the same, others alike.
- **The others at their best.** libjpeg-turbo has its vector instructions, gets the pointers of all
  rows at once, and encodes into a buffer that is large enough; ours collects the stream in blocks
  of its own. libjpeg-turbo 2.1.5 is Debian's shared library; 3.2.0 is a static one, compiled by
  gcc with -O3. Beside them libexif finds the Exif thumbnail.
- **The pictures** are sheets of tiles of 256 x 256 pixels, cut at many places of five photographs
  (flowers, a lake, a car, cloth, a cheetah), some mirrored. Before that the photographs were halved
  by a box filter, so that their noise and chroma aren't what an encoder left of them. Such a sheet
  has more detail than a camera's picture of its size: 2.7 bits a pixel at quality 90, 4:2:0. A
  call works on three sheets of 0.4 megapixels, two of 3.5 or one of 12.3, on sixteen cuts of a
  sheet for the small sizes, on five whole photographs shrunk to 160 x 120, on three files with
  Exif thumbnails of that size. The 16-bit samples are the light of the same, twelve bits of it and
  three of noise. Noise and screen are made by rule.
- **The streams** for decoding are coded by libjpeg-turbo 2.1.5 with its standard tables; "restarts"
  has an interval a row of MCUs, "progressive" is libjpeg's standard script of ten scans, "spectral
  selection" has five scans without approximation. Lossless streams are the library's, predictor 1.
"""

SMALL = """\

## Small pictures
Microseconds a picture from open to close. libjpeg-turbo 3.2.0 asks the processor what it is for
every picture, by three CPUID instructions. One of them took {cpuid:.1f} microseconds here, since a
virtual machine has to answer for it; on bare metal it is a small part of one. That is nearly all of
its time at 8 x 8, and the instructions below don't show it.

"""

LOSSLESS = """\

## Lossless
libavcodec codes differences of the colours when it encodes 8 bits x 3, DCMTK stands in for its
encoder with 16 bits. libjpeg-turbo 3.2.0 fits the codes of 16 bits to the picture, so that its
streams are a quarter smaller than ours.

"""

INSTRUCTIONS = """\

## Instructions and heap
Instructions a pixel as callgrind counts them, which repeat to the digit, and KiB of heap that a
call holds at its peak beside what it began with (the output stands apart, but for coded data that
a codec collects itself).

"""

ARM = """\

## 32-bit ARM
Instructions a pixel with the plain kernels, counted by `scripts/bench_arm.sh` under qemu, beside
libjpeg-turbo 2.1.5 of Debian's armel and armhf without its vector instructions. Both are compiled
with -O2, as the device's DLL is; ARMv5TE in ARM instructions, ARMv7 in Thumb-2. A count isn't a
time: a multiplication, a load that misses the cache and a branch that is guessed wrongly take
longer than another instruction. A ratio in bold is below 1.

"""

NOTES = """\

## What stands behind it
- **Noise, encoded at 4:2:0**: the two codecs reduce the chroma differently. Ours keeps more of the
  noise, so that its stream is 9 % longer; per bit the two are as fast. Sixty per cent of the time
  is the coding of levels. Tried there: BMI2's shifts, which gain 3 %, too little for a second copy
  of the code; state in registers, one mask of 64 bits, and bytes stuffed out of line, which are in.
- **Encoding grey and 4:4:4**: the transform works on two blocks at a time, and components have one
  block in an MCU, so that MCUs are taken in pairs. What is left is mostly the coding of levels,
  symbol by symbol.
- **Progressive, from 3.5 megapixels on**: the store of coefficients, 3 bytes a pixel, comes from
  the system in every call here, 9000 pages at 12.3 megapixels with either codec. In a process that
  keeps it the ratios are nearer to that of 0.4 megapixels. Ours is in pieces below 32 MB, which
  glibc's heap keeps by default.
- **Lossless decoding**: each sample waits for the length of the one before and for the sample on
  its left. Codes of 16-bit samples are mostly 16 to 22 bits long, so that two of them are decoded
  between refills.

`scripts/bench_arm.sh v7-neon v8` counts instructions with NEON on both sides; `JSIMD_FORCESSE2=1`
holds libjpeg-turbo to SSE2, beside a build with `-DJPG_KERNELS=sse2`.
"""


# ---- Collecting -------------------------------------------------------------

def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def machine(cpuid, load):
    def said(*command):
        return subprocess.run(command, capture_output=True, text=True, cwd=ROOT).stdout.strip()
    flags = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    return {"processor": processor(), "processors": os.cpu_count(),
            "virtual": " hypervisor " in flags, "avx2": " avx2 " in flags,
            "compiler": "gcc " + said("gcc", "-dumpfullversion"), "cpuid": cpuid, "load": load,
            "commit": said("git", "describe", "--always", "--dirty", "--exclude", "*"),
            "date": datetime.date.today().isoformat()}


def rows(path, *fields):
    """Lines of words between bars, as dictionaries."""
    return [dict(zip(fields, line.split("|"))) for line in
            path.read_text(encoding="utf-8").splitlines()]


def collect(folder, load, data):
    speeds = folder / "speeds.json"
    if speeds.exists():
        first, *lines = map(json.loads, speeds.read_text(encoding="utf-8").splitlines())
        data["machine"] = machine(first["cpuid"], load)
        data["speeds"] = lines
    for name, last in (("instructions", "count"), ("heap", "kib")):
        path = folder / f"{name}.txt"
        if path.exists():
            fields = ("name", "size", "codec") + (("pixels",) if name == "instructions" else ())
            data[name] = rows(path, *fields, last)
    # Its counts are those of another run than the rest.
    if (folder / "arm.txt").exists():
        data["arm"] = rows(folder / "arm.txt", "target", "name", "size", "pixels", "ours", "theirs")
    return data


# One row a line, so that a difference can be read.
def written(data):
    parts = []
    for key, value in data.items():
        if isinstance(value, list):
            lines = ",\n  ".join(json.dumps(row) for row in value)
            parts.append(f'"{key}": [\n  {lines}\n]')
        else:
            parts.append(f'"{key}": {json.dumps(value)}')
    return "{" + ",\n".join(parts) + "}\n"


# ---- Tables -----------------------------------------------------------------

def is_debian(codec):
    return codec.startswith(DEBIAN)


def is_other(codec):
    return codec.startswith(OTHERS)


def is_newest(codec):
    return codec.startswith("libjpeg-turbo") and not is_debian(codec)


def side(row, wanted):
    return next((s for s in row["sides"] if wanted(s["codec"])), None)


def ratio(row, wanted):
    found = side(row, wanted)
    if found is None:
        return ""
    text = f"{found['ratio']:.2f}"
    if round(found["ratio"], 2) < row["must"]:
        text = f"**{text}**"
    return f"{text} ({found['ratioOfBest']:.2f})"


def table(heads, lines, left):
    return "\n".join(["| " + " | ".join(heads) + " |",
                      "|" + "---|" * left + "---:|" * (len(heads) - left),
                      *("| " + " | ".join(line) + " |" for line in lines)]) + "\n"


def speed(row, found):
    return f"{row['pixels'] / found['median'] / 1e6:.1f}" if found else ""


def micros(row, found):
    return f"{found['median'] / row['pictures'] * 1e6:.1f}" if found else ""


def names(data, *wanted):
    """The codecs' own names, as they were measured."""
    found = []
    for which in wanted:
        codecs = {s["codec"] for row in data["speeds"] for s in row["sides"] if which(s["codec"])}
        found.append(" or ".join(sorted(codecs)))
    return found


def speed_table(data, chosen, unit, value, *others):
    heads = ["workload", "size", f"ours, {unit}"]
    for other, name in zip(others, names(data, *others)):
        if name:
            heads += [name, "ratio"]
    others = [o for o, name in zip(others, names(data, *others)) if name]
    lines = []
    for row in chosen:
        line = [row["name"], row["size"], value(row, row["sides"][0])]
        for other in others:
            line += [value(row, side(row, other)), ratio(row, other)]
        lines.append(line + [f"{row['must']:g}"])
    return table(heads + ["must"], lines, 2)


def is_small(row):
    return " x " in row["size"]


def is_sheet(row):
    return not is_small(row) and row["size"] != "1.0 MP"


def below(data):
    lines = []
    for row in data["speeds"]:
        for s in row["sides"][1:]:
            if round(s["ratio"], 2) < 1:
                lines.append(f"- {row['name']}, {row['size']}: {s['ratio']:.2f} beside "
                             f"{s['codec']}")
    if not lines:
        return ""
    return "\n## Below 1\n" + "\n".join(lines) + "\n"


def counts_table(data):
    """Instructions of the one size that is counted, heap of that and of the largest."""
    codecs = list(dict.fromkeys(r["codec"] for r in data["instructions"]))[1:]
    heap = {(r["name"], r["size"], r["codec"]): r["kib"] for r in data.get("heap", [])}
    largest = [r["size"] for r in data["speeds"]][-1]
    heads = ["workload", "size", "ours, instructions"]
    for codec in codecs:
        heads += [codec, "ratio"]
    heads += ["ours, KiB", "most of the others", f"at {largest}: ours", "most of the others"]
    counts = {}
    for r in data["instructions"]:
        each = counts.setdefault((r["name"], r["size"]), {})
        each[r["codec"]] = int(r["count"]) / float(r["pixels"])
    lines = []
    for (name, size), each in counts.items():
        line = [name, size, f"{each['ours']:.1f}"]
        for codec in codecs:
            line += ([f"{each[codec]:.1f}", f"{each[codec] / each['ours']:.2f}"] if codec in each
                     else ["", ""])
        for at in (size, largest):
            others = [int(v) for (n, s, c), v in heap.items()
                      if (n, s) == (name, at) and c != "ours"]
            known = others and (at == size or is_sheet({"size": size}))
            line += [heap[name, at, "ours"], str(max(others))] if known else ["", ""]
        lines.append(line)
    return table(heads, lines, 2)


def arm_table(data):
    cells = {}
    for r in data["arm"]:
        ours, theirs = (int(r[k]) / float(r["pixels"]) for k in ("ours", "theirs"))
        text = f"{theirs / ours:.2f}"
        cells.setdefault((r["name"], r["size"]), {})[r["target"]] = [
            f"{ours:.1f}", f"{theirs:.1f}", text if theirs >= ours else f"**{text}**"]
    lines = [[*key, *each.get("v5", [""] * 3), *each.get("v7", [""] * 3)]
             for key, each in cells.items()]
    return table(["workload", "size", "ARMv5TE: ours", "theirs", "ratio", "ARMv7: ours", "theirs",
                  "ratio"], lines, 2)


def bullet(text):
    return textwrap.fill("- " + text, 100, subsequent_indent="  ", break_on_hyphens=False,
                         break_long_words=False)


def page(data):
    m = data["machine"]
    codecs = list(dict.fromkeys(s["codec"] for row in data["speeds"] for s in row["sides"][1:]))
    where = f"{m['processors']} cores of an {m['processor']}"
    where += " with AVX2" if m["avx2"] else ""
    where += " in a virtual machine" if m["virtual"] else ""
    text = HEAD.format(
        machine=bullet(
            f"**The machine**: {where}, {m['compiler']} -O3, {m['date']}. Its load was "
            f"{m['load'].split()[0]} when the benchmark began, which ran pinned to one core."),
        turns=bullet(
            f"**In one process, in turn.** The library (commit {m['commit']}) and the others "
            f"({', '.join(codecs)}) are called in rounds, each of which begins with another one. "
            "The first calls and the first round are thrown away. There are 7 to 21 rounds, in "
            "each of which a codec works for 20 ms or one call. Blocks of memory of 4 MB and "
            "more come from the system in every call, smaller ones stay in the process."))
    lossy = [r for r in data["speeds"] if not r["lossless"]]
    both = (is_debian, is_newest)
    text += "\n## Photographs\n" + speed_table(
        data, [r for r in lossy if is_sheet(r)], "MP/s", speed, *both)
    text += SMALL.format(cpuid=m["cpuid"]) + speed_table(
        data, [r for r in lossy if is_small(r)], "\u00b5s", micros, *both)
    text += "\n## Noise and screens\n" + speed_table(
        data, [r for r in lossy if r["size"] == "1.0 MP"], "MP/s", speed, *both)
    text += LOSSLESS + speed_table(
        data, [r for r in data["speeds"] if r["lossless"]], "MP/s", speed, is_newest, is_other)
    text += below(data) + NOTES
    if "instructions" in data:
        text += INSTRUCTIONS + counts_table(data)
    if "arm" in data:
        text += ARM + arm_table(data)
    return text


# ---- The drawing ------------------------------------------------------------

LEFT, WIDTH, ROW, TOP = 250, 860, 17, 58
LOW, HIGH = 0.3, 15.0
STYLE = """<style>text{font:12px sans-serif;fill:#222}.s{font-size:11px;fill:#666}
.g{stroke:#ddd}.one{stroke:#444}.a{fill:#1f77b4;stroke:#1f77b4}.b{fill:#d62728;stroke:#d62728}
.c{fill:#2ca02c;stroke:#2ca02c}line.a,line.b,line.c{stroke-width:2}</style>"""
MARKS = ((is_debian, "a", -3), (is_newest, "b", 0), (is_other, "c", 3))


def across(value):
    part = math.log(min(max(value, LOW), HIGH) / LOW) / math.log(HIGH / LOW)
    return LEFT + part * (WIDTH - LEFT - 20)


def grid(bottom):
    out = []
    for value in (0.3, 0.5, 0.75, 1, 1.25, 1.5, 2, 3, 5, 7, 10, 15):
        x = across(value)
        style = "one" if value == 1 else "g"
        out.append(f'<line x1="{x:.1f}" y1="{TOP - 8}" x2="{x:.1f}" y2="{bottom}" '
                   f'class="{style}"/>')
        out.append(f'<text x="{x:.1f}" y="{TOP - 13}" class="s" text-anchor="middle">'
                   f'{value:g}</text>')
    return out


def legend(data):
    out, x = [], LEFT
    for (which, style, _), name in zip(MARKS, names(data, *(m[0] for m in MARKS))):
        if not name:
            continue
        out.append(f'<circle cx="{x}" cy="17" r="4" class="{style}"/>')
        out.append(f'<text x="{x + 9}" y="21">{name}</text>')
        x += 30 + 7 * len(name)
    out.append('<text x="12" y="21">their time by ours; a line: all sizes</text>')
    return out


def mark(ratios, style, y):
    if not ratios:
        return []
    ends, middle = (across(min(ratios)), across(max(ratios))), sorted(ratios)[len(ratios) // 2]
    return [f'<line x1="{ends[0]:.1f}" y1="{y}" x2="{ends[1]:.1f}" y2="{y}" class="{style}"/>',
            f'<circle cx="{across(middle):.1f}" cy="{y}" r="3.5" class="{style}"/>']


def drawing(data):
    groups = {}
    for row in data["speeds"]:
        # Small ones differ by much from size to size.
        name = row["name"] + (", " + row["size"] if "small" in row["name"] else "")
        groups.setdefault(name, []).append(row)
    bottom = TOP + ROW * len(groups)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + 10}" '
           f'viewBox="0 0 {WIDTH} {bottom + 10}">', STYLE,
           f'<rect width="{WIDTH}" height="{bottom + 10}" fill="#fff"/>', *legend(data),
           *grid(bottom)]
    for i, (name, each) in enumerate(groups.items()):
        y = TOP + ROW * i + ROW // 2
        out.append(f'<text x="12" y="{y + 4}">{name}</text>')
        for which, style, shift in MARKS:
            ratios = [s["ratio"] for row in each if (s := side(row, which))]
            out += mark(ratios, style, y + shift)
    return "\n".join(out + ["</svg>"]) + "\n"


# ---- Files ------------------------------------------------------------------

def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--collect", type=pathlib.Path)
    parser.add_argument("--load", default="")
    parser.add_argument("docs", nargs="?", type=pathlib.Path, default=ROOT / "docs")
    words = parser.parse_args()
    source = words.docs / "performance.json"
    data = json.loads(source.read_text(encoding="utf-8")) if source.exists() else {}
    if words.collect:
        source.write_text(written(collect(words.collect, words.load, data)), encoding="utf-8")
        return 0
    status = 0
    for name, text in (("performance.md", page(data)), ("performance.svg", drawing(data))):
        path = words.docs / name
        if path.exists() and path.read_text(encoding="utf-8") == text:
            continue
        if words.update:
            path.write_text(text, encoding="utf-8")
            continue
        print(f"{path}: not what performance.json gives (scripts/performance_page.py --update)")
        status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
