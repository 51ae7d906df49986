#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares decoded pictures with those of djpeg -dct int -nosmooth: beside_djpeg.py FOLDER...

Takes the DCT files of 8 bits and of one or three components in the folders, of at least 200 x 200
pixels, that both decode. Prints the mean absolute difference, the PSNR in dB and the largest
difference of each, and a summary in the form of docs/quality.md. Needs djpeg and numpy, and the
Python module: PYTHONPATH=bindings/python JPG_LIBRARY=build/release/src/libjpg.so
"""
import math
import pathlib
import statistics
import subprocess
import sys

import numpy as np

import jpg

LEAST_SIDE = 200  # pixels


def theirs(path):
    """The picture by djpeg: rows x columns (x 3), or None."""
    result = subprocess.run(["djpeg", "-dct", "int", "-nosmooth", "-pnm", path],
                            capture_output=True, check=False)
    if result.returncode != 0:
        return None
    kind, size, _, data = result.stdout.split(b"\n", 3)
    width, height = map(int, size.split())
    return np.frombuffer(data, np.uint8).reshape((height, width) + (3,) * (kind == b"P6"))


def ours(path):
    """The picture by the library, or None for files that aren't compared."""
    try:
        info = jpg.info(path)
        served = info.process != "lossless" and info.precision == 8 and info.components in (1, 3)
        large = min(info.width, info.height) >= LEAST_SIDE
        return jpg.read(path, orient=False, strict=True) if served and large else None
    except jpg.JpgError:
        return None


def compare(path):
    """Mean, PSNR (infinite for equal pictures) and largest difference, or None."""
    a = ours(path)
    b = theirs(path) if a is not None else None
    if b is None or a.shape != b.shape:
        return None
    difference = np.abs(a.astype(np.int16) - b)
    square = float(np.square(difference, dtype=np.int32).mean())
    psnr = 10 * math.log10(255 * 255 / square) if square > 0 else math.inf
    return float(difference.mean()), psnr, int(difference.max())


def main(folders):
    results = []
    for folder in folders:
        for path in sorted(p for p in pathlib.Path(folder).rglob("*") if p.is_file()):
            result = compare(path)
            if result is not None:
                print(f"{path.name:60} {result[0]:7.3f} {result[1]:7.2f} {result[2]:4}")
                results.append(result)
    print(f"{len(results)} pictures; lowest, median, highest:")
    for name, values, form in zip(("mean", "PSNR", "largest"), zip(*results), (".1f", ".1f", ".0f")):
        print(name, *(format(f(values), form) for f in (min, statistics.median, max)))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(sys.argv[1:])
