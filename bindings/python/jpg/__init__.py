# SPDX-License-Identifier: MIT
"""JPEG pictures to and from numpy arrays, through the jpg library.

    import jpg
    pixels = jpg.read("photo.jpg")                  # rows x columns x 3, uint8
    small = jpg.read("photo.jpg", scale=8)
    for band in jpg.read_bands("big.jpg", 256):
        use(band.top, band.pixels)
    jpg.write("copy.jpg", pixels, quality=85, progressive=True, icc=jpg.icc("photo.jpg"))
    jpg.write_lossless("scan.jpg", samples16, bits=12)
    jpg.exif("photo.jpg").date

Calls on different threads don't disturb each other, and the interpreter runs on meanwhile.
"""

from ._exif import Exif, Segment
from ._library import DamageWarning, JpgError, Samples
from ._look import exif, icc, segments
from ._read import (MAX_PIXELS, Band, Colour, Grey, Info, Mode, Source, exif_thumbnail, info, read,
                    read_bands, read_scaled, read_scans, thumbnail)
from ._write import Output, Target, WriteMode, jfif, write, write_lossless

__version__ = "0.2.0"

__all__ = ["MAX_PIXELS", "Band", "Colour", "DamageWarning", "Exif", "Grey", "Info", "JpgError",
           "Mode", "Output", "Samples", "Segment", "Source", "Target", "WriteMode", "exif",
           "exif_thumbnail", "icc", "info", "jfif", "read", "read_bands", "read_scaled",
           "read_scans", "segments", "thumbnail", "write", "write_lossless"]
