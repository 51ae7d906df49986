#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes docs/quality.png and the table beside it in docs/quality.md: quality_picture.py LIBRARY.so

Codes examples/sample.jpg anew with cjpeg, 4:2:0, and decodes that with the library (strict,
accurate, accurate and smooth) and with djpeg. The picture has crops of all, enlarged; the table,
which goes to the standard output, the PSNR beside the picture that was coded and beside djpeg.
Needs cjpeg and djpeg.
"""
import ctypes
import math
import pathlib
import struct
import subprocess
import sys
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
QUALITY = 85
CROPS = ((122, 182), (150, 300))  # left, top
CROP = (56, 40)                   # width, height
ZOOM = 4
GAP = 8
COMPLETE, ACCURATE, SMOOTH = 4, 0x4A500100, 0x4A500200
WAYS = (("strict", 0), ("accurate", ACCURATE), ("accurate and smooth", ACCURATE | SMOOTH))


class Rect(ctypes.Structure):
    _fields_ = [(name, ctypes.c_int32) for name in
                ("width", "height", "stride", "bits_per_pixel", "channels", "bits_per_sample")]
    _fields_ += [("bits", ctypes.c_void_p), ("size", ctypes.c_uint32), ("reserved", ctypes.c_uint32)]


def run(*words, data=None):
    return subprocess.run([str(w) for w in words], input=data, capture_output=True, check=True).stdout


def parse(ppm):
    """Width, height and the bytes of a PPM picture."""
    _, size, _, pixels = ppm.split(b"\n", 3)
    width, height = map(int, size.split())
    return width, height, pixels


def decode(library, stream, flags, width, height):
    """The picture as the library decodes it, red first."""
    handle = ctypes.c_void_p()
    out = ctypes.create_string_buffer(3 * width * height)
    rect = Rect(width, height, 3 * width, 24, 3, 8, ctypes.cast(out, ctypes.c_void_p), len(out), 0)
    if library.jpgReadPrologFromMemory(stream, len(stream), COMPLETE | flags, ctypes.byref(handle)):
        raise SystemExit("quality_picture: the stream doesn't open")
    result = library.jpgReadToRect(handle, ctypes.byref(rect), height)
    library.jpgReadEpilog(handle)
    if result:
        raise SystemExit(f"quality_picture: {result & 0xFFFFFFFF:#x}")
    pixels = bytearray(out.raw)
    pixels[0::3], pixels[2::3] = pixels[2::3], pixels[0::3]
    return bytes(pixels)


def difference(a, b):
    """PSNR in dB and the largest difference."""
    squares = sum((x - y) ** 2 for x, y in zip(a, b))
    psnr = 10 * math.log10(255 * 255 * len(a) / squares) if squares else math.inf
    return psnr, max(abs(x - y) for x, y in zip(a, b))


def enlarged(pixels, width, left, top):
    """Rows of a crop, each pixel ZOOM times as large."""
    rows = []
    for y in range(top, top + CROP[1]):
        start = 3 * (y * width + left)
        row = b"".join(pixels[i:i + 3] * ZOOM for i in range(start, start + 3 * CROP[0], 3))
        rows += [row] * ZOOM
    return rows


def beside(pictures):
    """Rows of pictures of one height, side by side with white between them."""
    return [(b"\xff" * (3 * GAP)).join(rows) for rows in zip(*pictures)]


def write_png(path, rows):
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data)))

    size = struct.pack(">IIBBBBB", len(rows[0]) // 3, len(rows), 8, 2, 0, 0, 0)
    # Filter 2: the difference from the row above, of which most are equal.
    raw, above = b"", bytes(len(rows[0]))
    for row in rows:
        raw += b"\2" + bytes((a - b) & 255 for a, b in zip(row, above))
        above = row
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) +
                     chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def main(path):
    library = ctypes.CDLL(str(pathlib.Path(path).resolve()))
    ppm = run("djpeg", "-dct", "int", ROOT / "examples/sample.jpg")
    stream = run("cjpeg", "-dct", "int", "-quality", QUALITY, "-sample", "2x2", data=ppm)
    width, height, original = parse(ppm)
    made = [(name, decode(library, stream, flags, width, height)) for name, flags in WAYS]
    theirs = parse(run("djpeg", "-dct", "int", data=stream))[2]
    made.append(("djpeg", theirs))
    print("| decoded | PSNR beside the picture that was coded, dB | beside `djpeg -dct int`, dB "
          "| largest difference from it, levels |\n|---|---|---|---|")
    for name, pixels in made:
        from_theirs, largest = difference(pixels, theirs)
        equal = "equal" if largest == 0 else f"{from_theirs:.1f}"
        print(f"| {name} | {difference(pixels, original)[0]:.2f} | {equal} | {largest} |")
    rows = []
    for left, top in CROPS:
        if rows:
            rows += [b"\xff" * len(rows[0])] * GAP
        rows += beside([enlarged(pixels, width, left, top)
                        for pixels in [original] + [pixels for _, pixels in made]])
    write_png(ROOT / "docs/quality.png", rows)


if __name__ == "__main__":
    main(sys.argv[1])
