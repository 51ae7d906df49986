# SPDX-License-Identifier: MIT
"""A copy of quality 85 at 4:2:0 with the Exif segment: copy.py IN.jpg OUT.jpg"""
import sys

import jpg

source, target = sys.argv[1:]
exif = [segment for segment in jpg.segments(source) if segment.marker == 0xFFE1]
# The Exif segment tells how to turn the picture, so that stays as it is stored.
jpg.write(target, jpg.read(source, orient=False), quality=85, sampling="420", segments=exif)
