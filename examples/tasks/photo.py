# SPDX-License-Identifier: MIT
"""A photograph as a PPM file: photo.py IN.jpg OUT.ppm"""
import sys

import jpg

pixels = jpg.read(sys.argv[1], mode="RGB")
with open(sys.argv[2], "wb") as out:
    out.write(b"P6\n%d %d\n255\n" % (pixels.shape[1], pixels.shape[0]) + pixels.tobytes())
