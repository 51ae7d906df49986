#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws what the writer gives beside cjpeg: rate_distortion.py CORPUS [OUT.svg]

Four photographs of the corpus, made smaller by averaging squares of pixels, are written at several
qualities by the library (as it is, and with JPG_WRITE_AVERAGE | JPG_WRITE_PROGRESSIVE) and by cjpeg
(as it is, and with -progressive), 4:2:0 all of them, and decoded by djpeg -dct int. The drawing,
docs/quality.svg unless another name is given, has the PSNR of all components in dB and the SSIM of
luminance (windows of 8 x 8 pixels) over the bytes a pixel. Prints the numbers.
Needs cjpeg, djpeg and numpy, and the library: JPG_LIBRARY=build/release/src/libjpg.so
"""
import ctypes
import math
import os
import pathlib
import subprocess
import sys

import numpy as np

PHOTOGRAPHS = (("photos/flower_12mp_420_q90.jpg", 4), ("exif/lake.jpg", 2),
               ("exif/landscape_1.jpg", 2), ("plain/comment.jpg", 2))
QUALITIES = (30, 40, 50, 60, 70, 75, 80, 85, 90, 93, 95)
AVERAGE, PROGRESSIVE = 0x4A500100, 0x4A500400
# Name, colour, dashes, and the flags of ours or the arguments of cjpeg.
WAYS = (("library, no options", "#c0392b", "", 0),
        ("library, averaged and progressive", "#1f5fa8", "", AVERAGE | PROGRESSIVE),
        ("cjpeg", "#555555", "6 3", ()),
        ("cjpeg -progressive", "#7a9e3a", "2 3", ("-progressive",)))


class Rect(ctypes.Structure):
    """JpgRect."""
    _fields_ = [(name, ctypes.c_int32) for name in
                ("width", "height", "stride", "bits_per_pixel", "channels", "bits_per_sample")]
    _fields_ += [("bits", ctypes.c_void_p), ("size", ctypes.c_uint32), ("reserved", ctypes.c_uint32)]


def parse_netpbm(data):
    kind, size, _, pixels = data.split(b"\n", 3)
    width, height = map(int, size.split())
    shape = (height, width) + (3,) * (kind == b"P6")
    return np.frombuffer(pixels, np.uint8).reshape(shape)


def netpbm(pixels):
    return b"P6\n%d %d\n255\n" % pixels.shape[1::-1] + pixels.tobytes()


def run(command, data):
    return subprocess.run(command, input=data, capture_output=True, check=True).stdout


def smaller(pixels, n):
    height, width = pixels.shape[0] // n, pixels.shape[1] // n
    squares = pixels[:height * n, :width * n].reshape(height, n, width, n, 3)
    return np.rint(squares.mean((1, 3))).astype(np.uint8)


def ours(library, pixels, quality, flags):
    """The stream of the library."""
    def call(name, *arguments):
        code = getattr(library, name)(*arguments)
        if code != 0:
            raise RuntimeError(f"{name} gives {code & 0xFFFFFFFF:#x}")
    rows = np.ascontiguousarray(pixels[:, :, ::-1])
    height, width = rows.shape[:2]
    rect = Rect(width, height, 3 * width, 24, 3, 8, rows.ctypes.data, rows.size, 0)
    handle, data, size = ctypes.c_void_p(), ctypes.c_void_p(), ctypes.c_uint32()
    call("jpgWritePrologToMemory", ctypes.c_uint32(flags), ctypes.byref(handle))
    call("jpgWriteSetQuantizationFactor", handle, quality)
    call("jpgWriteFromRect", handle, ctypes.byref(rect), height)
    call("jpgWriteEpilogToMemory", handle, ctypes.byref(data), ctypes.byref(size))
    stream = ctypes.string_at(data, size.value)
    call("jpgWriteFreeBitstream", data)
    return stream


def psnr(a, b):
    return 10 * math.log10(255 ** 2 / np.square(a.astype(float) - b).mean())


def window_means(plane, n=8):
    """The means of all windows of n x n pixels."""
    sums = np.zeros((plane.shape[0] + 1, plane.shape[1] + 1))
    sums[1:, 1:] = plane.cumsum(0).cumsum(1)
    return (sums[n:, n:] - sums[:-n, n:] - sums[n:, :-n] + sums[:-n, :-n]) / n ** 2


def ssim(a, b):
    """Structural similarity of luminance (Wang et al. 2004), with windows of equal weights."""
    weights = np.array([0.299, 0.587, 0.114])
    x, y = a @ weights, b @ weights
    mean_x, mean_y = window_means(x), window_means(y)
    var_x = window_means(x * x) - mean_x ** 2
    var_y = window_means(y * y) - mean_y ** 2
    both = window_means(x * y) - mean_x * mean_y
    c1, c2 = (0.01 * 255) ** 2, (0.03 * 255) ** 2
    return float((((2 * mean_x * mean_y + c1) * (2 * both + c2)) /
                  ((mean_x ** 2 + mean_y ** 2 + c1) * (var_x + var_y + c2))).mean())


def measure(library, pixels):
    """For each way a list of (bytes a pixel, PSNR, SSIM)."""
    source = netpbm(pixels)
    curves = []
    for _, _, _, how in WAYS:
        curve = []
        for quality in QUALITIES:
            if isinstance(how, int):
                stream = ours(library, pixels, quality, how)
            else:
                stream = run(["cjpeg", "-dct", "int", "-quality", str(quality), *how], source)
            decoded = parse_netpbm(run(["djpeg", "-dct", "int", "-pnm"], stream))
            size = len(stream) / (pixels.shape[0] * pixels.shape[1])
            curve.append((size, psnr(decoded, pixels), ssim(decoded, pixels)))
        curves.append(curve)
    return curves


def panel(left, top, width, height, title, curves, value):
    """One drawing: value 1 is PSNR, 2 is SSIM."""
    xs = [p[0] for c in curves for p in c]
    ys = [p[value] for c in curves for p in c]
    low, high = min(ys), max(ys)
    pad = (high - low) * 0.05
    low, high = low - pad, high + pad

    def place(point):
        x = left + (point[0] / max(xs)) * width
        y = top + height - (point[value] - low) / (high - low) * height
        return f"{x:.1f},{y:.1f}"

    out = [f'<text x="{left}" y="{top - 8}" class="t">{title}</text>',
           f'<rect x="{left}" y="{top}" width="{width}" height="{height}" class="f"/>']
    for i in range(5):
        v = low + (high - low) * i / 4
        y = top + height - height * i / 4
        text = f"{v:.1f}" if value == 1 else f"{v:.3f}"
        out.append(f'<line x1="{left}" x2="{left + width}" y1="{y:.1f}" y2="{y:.1f}" class="g"/>')
        out.append(f'<text x="{left - 5}" y="{y + 4:.1f}" text-anchor="end">{text}</text>')
        x = left + width * i / 4
        out.append(f'<text x="{x:.1f}" y="{top + height + 16}" text-anchor="middle">'
                   f'{max(xs) * i / 4:.2f}</text>')
    for (_, colour, dashes, _), curve in zip(WAYS, curves):
        points = " ".join(place(p) for p in curve)
        out.append(f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="1.6" '
                   f'stroke-dasharray="{dashes or "none"}"/>')
    return out


def draw(results):
    width, height = 300, 170
    lines = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 760 1010" width="760" '
             'height="1010" role="img">', '<title>Rate and distortion beside cjpeg</title>',
             '<style>text{font:11px sans-serif;fill:#222}.t{font-weight:bold}.f{fill:#fff;'
             'stroke:#888}.g{stroke:#ddd}</style>',
             '<rect width="760" height="1010" fill="#fff"/>']
    for i, (name, _, _, _) in enumerate(WAYS):
        x, y = 60 + i % 2 * 350, 18 + i // 2 * 16
        dashes = WAYS[i][2] or "none"
        lines.append(f'<line x1="{x}" x2="{x + 30}" y1="{y - 4}" y2="{y - 4}" '
                     f'stroke="{WAYS[i][1]}" stroke-width="2" stroke-dasharray="{dashes}"/>')
        lines.append(f'<text x="{x + 36}" y="{y}">{name}</text>')
    for row, (name, curves) in enumerate(results):
        top = 70 + row * 235
        lines += panel(60, top, width, height, f"{name}: PSNR, dB", curves, 1)
        lines += panel(430, top, width, height, f"{name}: SSIM", curves, 2)
    lines += ['<text x="380" y="1000" text-anchor="middle">bytes a pixel</text>', "</svg>"]
    return "\n".join(lines) + "\n"


def main(corpus, out):
    library = ctypes.CDLL(os.path.abspath(os.environ["JPG_LIBRARY"]))
    results = []
    for path, reduction in PHOTOGRAPHS:
        stream = (pathlib.Path(corpus) / path).read_bytes()
        pixels = smaller(parse_netpbm(run(["djpeg", "-dct", "int", "-pnm"], stream)), reduction)
        curves = measure(library, pixels)
        name = f"{pathlib.Path(path).stem}, {pixels.shape[1]} x {pixels.shape[0]}"
        results.append((name, curves))
        print(name)
        for (way, _, _, _), curve in zip(WAYS, curves):
            for quality, (size, decibels, similarity) in zip(QUALITIES, curve):
                print(f"  {way:34} q{quality}  {size:.4f}  {decibels:.3f} dB  {similarity:.4f}")
    pathlib.Path(out).write_text(draw(results), encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2] if len(sys.argv) == 3 else "docs/quality.svg")
