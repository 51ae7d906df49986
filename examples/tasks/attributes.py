# SPDX-License-Identifier: MIT
"""Orientation, date and place of a photograph: attributes.py IN.jpg"""
import sys

import jpg

exif = jpg.exif(sys.argv[1])
if exif is None:
    sys.exit(f"{sys.argv[1]}: no Exif attributes")
print("orientation", exif.orientation)
if exif.date is not None:
    print("date", exif.date)
if exif.position is not None:
    print("place {:.5f} {:.5f}".format(*exif.position))
