"""JPEG pictures to and from numpy arrays, through the jpg library.

    import jpg
    pixels = jpg.read("photo.jpg")                  # rows x columns x 3, uint8
    small = jpg.read_scaled("photo.jpg", 8)
    for band in jpg.read_bands("big.jpg", 256):
        use(band.top, band.pixels)
    jpg.write("copy.jpg", pixels, quality=85, segments=[jpg.jfif()])
    jpg.write_lossless("scan.jpg", samples16, bits=12)

Calls on different threads don't disturb each other, and the interpreter runs on meanwhile.
"""

from ._library import JpgError
from ._read import (Band, Info, Source, exif_thumbnail, info, read, read_bands, read_scaled,
                    read_scans)
from ._write import Segment, Target, jfif, write, write_lossless

__version__ = "0.1.0"

__all__ = ["Band", "Info", "JpgError", "Segment", "Source", "Target", "exif_thumbnail", "info",
           "jfif", "read", "read_bands", "read_scaled", "read_scans", "write", "write_lossless"]
