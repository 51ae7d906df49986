#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes docs/performance.md and its drawings, docs/performance*.svg, of docs/performance.json:
performance_page.py [--update] [DOCS]
performance_page.py --collect RESULTS [--load LOAD] [DOCS]

Without an option files that differ from what would be made are told and the status is 1;
--update writes them. --collect brings what the benchmarks left in a folder into the JSON file:
speeds.json, sizes.json, many.json, sse2.json, instructions.txt, heap.txt, arm.txt, neon.txt. What
isn't there stays as it was.
"""
import argparse
import json
import math
import pathlib
import sys
import textwrap

from performance_drawings import drawing, sizes_drawing
from performance_rows import (ROOT, collect, faster, is_debian, is_newest, is_other, is_sheet,
                              is_small, names, side, written)

# What the page calls the parts of the JSON file.
PARTS = {"sizes": "speed by size", "many": "many combinations", "sse2": "SSE2 alone",
         "instructions": "instructions", "heap": "heap", "arm": "32-bit ARM", "neon": "NEON"}

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

SIZES = """\

## Speed by size
![Speed by size of the picture](performance-sizes.svg)

Millions of pixels a second at 4:2:0, quality 90: sixteen squares cut from sheets, then the sheets.

"""

MANY = """\

## Many combinations
Sizes, layouts, qualities, restarts, progressive and reduced ones, noise and screens: {count} rows
(`jpg_bench --many --short`), in a third of the time for each. Beside the faster one of the two
the ratio is **{mean:.2f}** in the geometric mean, {median:.2f} in the middle, and {least:.2f} at
least; rows below 1: {under}. By kind:

"""

SSE2 = """\

## Processors with SSE2 alone
A build with `-DJPG_KERNELS=sse2` beside libjpeg-turbo held to SSE2 by `JSIMD_FORCESSE2=1`.

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

NEON = """\

## ARM with NEON
Instructions a pixel, counted by `scripts/bench_arm.sh v7-neon v8` under qemu, beside libjpeg-turbo
2.1.5 of Debian's armhf and arm64 with its NEON. A ratio in bold is below 1.

"""

ARM = """\

## 32-bit ARM without vector instructions
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
- **Rows within 0.03 of what they must reach** change sides from run to run: encoding 4:2:0 at
  quality 90 was 1.14 to 1.20, progressive pictures of 12.3 megapixels 1.24 to 1.32, lossless words
  1.58 to 1.61 in three runs of one day.
- **Progressive, from 3.5 megapixels on**: the store of coefficients, 3 bytes a pixel, comes from
  the system in every call here, 9000 pages at 12.3 megapixels with either codec. In a process that
  keeps it the ratios are nearer to that of 0.4 megapixels. Ours is in pieces below 32 MB, which
  glibc's heap keeps by default.
- **Lossless decoding**: each sample waits for the length of the one before and for the sample on
  its left. Codes of 16-bit samples are mostly 16 to 22 bits long, so that two of them are decoded
  between refills.
- **Dense streams**, quality 95 and more: nearly every level has a code of its own, and the two
  codecs take about as long for a code. At 12.3 megapixels the stream of some 8 MB lies in a new
  block in every call, whose pages the system clears: 4 % of the time. The others write into room
  that stays. Another 4 % were the block's steps of 4096 bytes; on Linux large blocks now grow by an
  eighth.
- **SSE2 alone**: the kernels are the same source as NEON's; what is hand-tuned is AVX2's. Encoding
  stays below 1.1: at 4:4:4 the transform with the zig-zag sequence takes 41 % of the time, coding
  37 %, taking pixels of 3 bytes apart 22 %. SSSE3's shuffles of bytes would help the zig-zag
  sequence and the pixels; that set hasn't been made.
"""

ARM_NOTES = """\

What keeps rows below 1.2, or with NEON below 1:

- **Up to 32 x 32 pixels** the look-ups of up to four tables are made at every opening, of 1024
  entries each. They pay from 64 x 64 on. In time they are no loss where it was measured, on x86.
- **Grey, noise, quality 98**: of 46 instructions a grey pixel the transform takes 23, the block
  decoder 13. The check of samples for saturation takes two a sample. Reckoned, not tried: putting
  pixels together into words takes as many instructions as storing bytes; one check a block by the
  sum of its coefficients would fail for bright and dark blocks.
- **Progressive**: 32 of 111 are refinement, which copies each block beforehand, since it is decoded
  again by the bit reader where the data end; 12 the masks of coefficients and dequantisation.
- **Interpolated chroma** without vector instructions: 25 instructions a pixel blend rows and 29 make
  colours. With NEON on ARMv7 the colours take 9 and the transform 8, where the other codec's
  assembly takes 6 and 6: gcc moves vectors to memory and back for want of registers. Tried: a
  multiplication by 3 in place of two additions, which took more.
- **Encoding 4:4:4 on ARMv7 with NEON**: 40 of 72 are the transform, quantisation and the zig-zag
  sequence, for want of registers too.
- **Made codes and progressive encoding**: each scan's levels are masked and counted before they are
  coded: 16 to 79 instructions a pixel for the masks.

Multiplications of halfwords (ARMv5TE's `smulxy`) are in the block decoder, where a shortcut's value
is taken as it stands, and the compiler chooses them by `-march`; in the transforms the operands of
the second pass have more than 16 bits, and `mla` counts the same in the first. On 32-bit registers
the bit window takes two bytes at a refill, which is 13 instructions instead of 33.
"""


# ---- Tables -----------------------------------------------------------------

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


def arm_table(counts, targets):
    """`targets`: names by those of the script's."""
    cells = {}
    for r in counts:
        ours, theirs = (int(r[k]) / float(r["pixels"]) for k in ("ours", "theirs"))
        text = f"{theirs / ours:.2f}"
        cells.setdefault((r["name"], r["size"]), {})[r["target"]] = [
            f"{ours:.1f}", f"{theirs:.1f}", text if theirs >= ours else f"**{text}**"]
    lines = [[*key, *(cell for target in targets for cell in each.get(target, [""] * 3))]
             for key, each in cells.items()]
    heads = [head for name in targets.values() for head in (f"{name}: ours", "theirs", "ratio")]
    return table(["workload", "size", *heads], lines, 2)


def geometric(values):
    return math.exp(sum(map(math.log, values)) / len(values))


def kind_of(row):
    words = row["name"].split()
    kind = " ".join(words[:2]) if words[1] in ("noise", "screen", "progressive") else words[0]
    if " at 1/" in row["name"]:
        kind += " reduced"
    return kind + (" small" if is_small(row) else "")


def many_part(data):
    """The summary of many workloads, their kinds, and the weakest of them."""
    ratios = sorted(faster(row) for row in data["many"])
    text = MANY.format(count=len(ratios), mean=geometric(ratios), least=ratios[0],
                       median=ratios[len(ratios) // 2],
                       under=sum(round(ratio, 2) < 1 for ratio in ratios) or "none")
    kinds = {}
    for row in data["many"]:
        kinds.setdefault(kind_of(row), []).append(faster(row))
    text += table(["kind", "rows", "mean", "least", "most"], [
        [kind, str(len(each)), f"{geometric(each):.2f}", f"{min(each):.2f}", f"{max(each):.2f}"]
        for kind, each in sorted(kinds.items())], 1)
    text += "\nThe ten weakest:\n\n"
    weakest = sorted(data["many"], key=faster)[:10]
    return text + table(["workload", "size", "ratio"], [
        [row["name"], row["size"], f"{faster(row):.2f}"] for row in weakest], 2)


def bullet(text):
    return textwrap.fill("- " + text, 100, subsequent_indent="  ", break_on_hyphens=False,
                         break_long_words=False)


def other_commits(data):
    """Which parts were measured with another commit than the table."""
    parts = {}
    for name, commit in data.get("commits", {}).items():
        if commit != data["machine"]["commit"]:
            parts.setdefault(commit, []).append(PARTS[name])
    if not parts:
        return ""
    told = "; ".join(f"{', '.join(names_)}: {commit}" for commit, names_ in parts.items())
    return bullet(f"**Measured with other commits**, and at another load: {told}.") + "\n"


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
    text += other_commits(data)
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
    if "sizes" in data:
        text += SIZES + speed_table(data, data["sizes"], "MP/s", speed, *both)
    if "many" in data:
        text += many_part(data)
    if "sse2" in data:
        text += SSE2 + speed_table(data, [dict(row, must=min(row["must"], 1.1))
                                          for row in data["sse2"] if not row["lossless"]],
                                   "MP/s", speed, *both)
    text += below(data) + NOTES
    if "instructions" in data:
        text += INSTRUCTIONS + counts_table(data)
    if "arm" in data:
        text += ARM + arm_table(data["arm"], {"v5": "ARMv5TE", "v7": "ARMv7"})
    if "neon" in data:
        text += NEON + arm_table(data["neon"], {"v7-neon": "ARMv7", "v8": "AArch64"})
    return text + (ARM_NOTES if "arm" in data else "")


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
    made = {"performance.md": page(data), "performance.svg": drawing(data)}
    if "sizes" in data:
        made["performance-sizes.svg"] = sizes_drawing(data)
    for name, text in made.items():
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
