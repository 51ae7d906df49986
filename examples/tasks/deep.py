# SPDX-License-Identifier: MIT
"""16 bits without loss, from a PGM file: deep.py IN.pgm OUT.jpg"""
import sys

import numpy as np

import jpg

with open(sys.argv[1], "rb") as file:
    kind, size, top, samples = file.read().split(b"\n", 3)
width, height = map(int, size.split())
assert kind == b"P5" and top == b"65535"
pixels = np.frombuffer(samples, ">u2").astype(np.uint16).reshape(height, width)
jpg.write_lossless(sys.argv[2], pixels)
assert np.array_equal(jpg.read(sys.argv[2]), pixels)
