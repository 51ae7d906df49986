#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times the Python module beside Pillow: beside_pillow.py FILE... prints a table of bindings/python.

Pictures are in memory and become arrays, and the other way; Pillow's are turned into arrays, too. Of
each pair the two are run in turn, and the least processor time of a run counts, so that what else the
machine does matters little. Wants python3-pil (scripts/setup.sh pillow) and the release build.
"""
import io
import os
import pathlib
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("JPG_LIBRARY", str(ROOT / "build/release/src/libjpg.so"))
sys.path.insert(0, str(ROOT / "bindings/python"))

import numpy as np  # noqa: E402
from PIL import Image, features  # noqa: E402

import jpg  # noqa: E402

RUNS = 15


def milliseconds(*calls):
    """The least processor time of each call, in ms."""
    best = [float("inf")] * len(calls)
    for _ in range(RUNS):
        for i, call in enumerate(calls):
            began = time.process_time()
            call()
            best[i] = min(best[i], 1000 * (time.process_time() - began))
    return best


def reading(name):
    data = pathlib.Path(name).read_bytes()
    pixels = jpg.read(data, orient=False)
    found = jpg.info(data)
    what = f"read, {found.process}, {found.width} x {found.height} x {found.components}"

    def pillow():
        return np.asarray(Image.open(io.BytesIO(data)))

    assert pillow().shape == pixels.shape
    return what, milliseconds(lambda: jpg.read(data, orient=False), pillow), pixels


def writing(pixels):
    for what, ours, theirs in (("the usual tables", {"optimize": False}, {}),
                               ("tables of its own", {}, {"optimize": True}),
                               ("progressive", {"progressive": True}, {"progressive": True})):
        def pillow(options=theirs):
            out = io.BytesIO()
            Image.fromarray(pixels).save(out, "JPEG", quality=85, **options)
            return out.getvalue()

        def module(options=ours):
            return jpg.write(None, pixels, quality=85, **options)

        sizes = f"{len(module()) // 1000} and {len(pillow()) // 1000} kB"
        yield f"write, 85, 4:2:0, {what} ({sizes})", milliseconds(module, pillow)


def main():
    print(f"| against Pillow {Image.__version__} with libjpeg-turbo "
          f"{features.version('libjpeg_turbo')} | jpg, ms | Pillow, ms |\n|---|---:|---:|")
    rows = []
    for name in sys.argv[1:]:
        what, times, pixels = reading(name)
        print(f"| {what} | {times[0]:.1f} | {times[1]:.1f} |")
        rows.append(pixels)
    for what, times in writing(rows[0]) if rows else ():
        print(f"| {what} | {times[0]:.1f} | {times[1]:.1f} |")


if __name__ == "__main__":
    main()
