# SPDX-License-Identifier: MIT
"""Thumbnails of Exif segments put together by hand."""

import struct

import numpy as np
import pytest

import jpg


def directory(entries, following=0):
    """A little-endian directory (TIFF 6.0): tag, type, count, value."""
    body = b"".join(struct.pack("<HHII", *entry) for entry in entries)
    return struct.pack("<H", len(entries)) + body + struct.pack("<I", following)


def with_exif(entries, data, pixels):
    """A picture whose Exif segment has a first directory of these entries, and data behind."""
    first = directory([], 14)  # empty 0th directory at 8, 1st one behind it at 14
    tiff = b"II*\0" + struct.pack("<I", 8) + first + directory(entries) + data
    return jpg.write(None, pixels, segments=[(0xFFE1, b"Exif\0\0" + tiff)])


def data_at(count):
    """Where data begin behind a directory of so many entries."""
    return 14 + 2 + 12 * count + 4


def with_jpeg(stream, pixels):
    return with_exif([(259, 3, 1, 6), (513, 4, 1, data_at(3)), (514, 4, 1, len(stream))], stream,
                     pixels)


def test_uncompressed_thumbnails(picture):
    thumbnail = np.arange(5 * 3 * 3, dtype=np.uint8).reshape(5, 3, 3)
    data = thumbnail.tobytes()
    # Three strips' worth of bits a sample aren't told: 8 is the format's own.
    entries = [(256, 4, 1, 3), (257, 4, 1, 5), (259, 3, 1, 1), (262, 3, 1, 2),
               (273, 4, 1, data_at(6)), (279, 4, 1, len(data))]
    stream = with_exif(entries, data, picture)
    assert np.array_equal(jpg.exif_thumbnail(stream), thumbnail)


def test_jpeg_thumbnails(picture):
    small = jpg.write(None, picture[:21, :30])
    assert np.array_equal(jpg.exif_thumbnail(with_jpeg(small, picture)), jpg.read(small))


def test_grey_jpeg_thumbnails(picture):
    small = jpg.write(None, picture[:21, :30, 0])
    thumbnail = jpg.exif_thumbnail(with_jpeg(small, picture))
    assert thumbnail.shape == (21, 30)
    assert np.array_equal(thumbnail, jpg.read(small))


def test_pictures_without_thumbnails_are_told(picture):
    with pytest.raises(jpg.JpgError) as caught:
        jpg.exif_thumbnail(jpg.write(None, picture))
    assert caught.value.code == 0x80000109  # no Exif segment
    with pytest.raises(jpg.JpgError) as caught:
        jpg.exif_thumbnail(with_exif([], b"", picture))
    assert caught.value.code == 0x80000300  # no thumbnail in it
