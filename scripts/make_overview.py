#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws docs/overview.svg, the README's picture of what the library does:
make_overview.py JPGTOOL OUT.svg

All pictures in it are what the tool makes of examples/sample.jpg. The progressive file comes
from cjpeg, since the library writes none.
"""
import base64
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
SAMPLE = ROOT / "examples/sample.jpg"
WIDTH, HEIGHT = 880, 476
FULL = (320, 240)           # the whole picture, drawn at half of its size
BAND = (112, 160)           # rows of that
CUT = (160, 176, 320, 160)  # left, top, width and height of what is shown of the growing one
STATE = (200, 100)          # its size as drawn
SCANS = (1, 2, 4, 10)
TOOL = sys.argv[1]


def tool(*words):
    subprocess.run([TOOL, *map(str, words)], check=True)


def drawn(folder, picture, quality=85):
    """A picture file as a data URI."""
    stream = folder / "drawn.jpg"
    tool("encode", picture, "-o", stream, "--quality", quality)
    return "data:image/jpeg;base64," + base64.b64encode(stream.read_bytes()).decode()


def image(x, y, size, address):
    return f'<image x="{x}" y="{y}" width="{size[0]}" height="{size[1]}" href="{address}"/>'


def text(x, y, words, style=""):
    return f'<text x="{x}" y="{y}"{style}>{words}</text>'


def rows(folder):
    """The whole picture and a band of its rows."""
    picture = folder / "half.ppm"
    tool("decode", SAMPLE, "-o", picture, "--scale", "1/2")
    whole = drawn(folder, picture)
    tool("decode", SAMPLE, "-o", folder / "band.ppm", "--scale", "1/2", "--rows",
         f"{BAND[0]}:{BAND[1]}")
    band = drawn(folder, folder / "band.ppm")
    top, size = 52 + BAND[0], (FULL[0], BAND[1] - BAND[0])
    return [text(20, 36, "A whole picture"), image(20, 52, FULL, whole),
            text(540, 36, "A band of rows, in the memory of the band"),
            f'<rect x="540" y="52" width="{FULL[0]}" height="{FULL[1]}" class="rest"/>',
            image(540, top, size, band)]


def previews(folder):
    out, y = [text(360, 36, "At 1/2, 1/4 and 1/8")], 52
    for scale in (2, 4, 8):
        picture = folder / "small.ppm"
        tool("decode", SAMPLE, "-o", picture, "--scale", f"1/{scale}")
        size = (FULL[0] // scale, FULL[1] // scale)
        out.append(image(360, y, size, drawn(folder, picture)))
        y += size[1] + 15
    return out


def cut_out(picture):
    """Crops a PPM file to its middle, in place."""
    head, data = picture.read_bytes().split(b"\n255\n", 1)
    width = int(head.split()[1])
    left, top, columns, rows = CUT
    cut = [data[3 * (width * y + left):][:3 * columns] for y in range(top, top + rows)]
    picture.write_bytes(b"P6\n%d %d\n255\n" % (columns, rows) + b"".join(cut))


def growing(folder):
    stream = folder / "progressive.jpg"
    tool("decode", SAMPLE, "-o", folder / "whole.ppm")
    with open(stream, "wb") as file:
        subprocess.run(["cjpeg", "-progressive", "-quality", "85", folder / "whole.ppm"], stdout=file,
                       check=True)
    tool("decode", stream, "--each-scan", folder / "scans")
    out = [text(20, 332, "A progressive picture growing, scan by scan")]
    for i, scan in enumerate(SCANS):
        picture = folder / f"scans/scan-{scan:03}.ppm"
        cut_out(picture)
        x = 20 + i * (STATE[0] + 13)
        out.append(image(x, 348, STATE, drawn(folder, picture)))
        out.append(text(x, 466, f"{scan} of {SCANS[-1]} scans" if scan > 1 else "1 scan"))
    return out


def main():
    style = (".rest { fill: none; stroke: #8a94a6; stroke-dasharray: 4 3 } "
             "text { font: 14px sans-serif; fill: #1f2a3a }")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        parts = rows(folder) + previews(folder) + growing(folder)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}">',
             f"<style>{style}</style>",
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>', *parts, "</svg>"]
    pathlib.Path(sys.argv[2]).write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
