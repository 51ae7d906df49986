# SPDX-License-Identifier: MIT
"""What is decoded into has the room that the file asks for: the library itself trusts a caller."""

import numpy as np
import pytest

import jpg
from jpg import _read
from test_exif import with_jpeg

CANARY = 0xA5


def streams(cjpeg, picture):
    """Streams of every process, with the array that each one fits."""
    grey = np.ascontiguousarray(picture[:, :, 0])
    four = np.concatenate([picture, picture[:, :, :1]], axis=2)
    rows, width = grey.shape
    yield cjpeg(grey), (rows, width, 1), np.uint8
    yield cjpeg(picture), (rows, width, 3), np.uint8
    yield jpg.write(None, four, mode="CMYK"), (rows, width, 3), np.uint8
    yield cjpeg(grey, "-progressive"), (rows, width, 1), np.uint8
    yield cjpeg(picture, "-progressive"), (rows, width, 3), np.uint8
    yield jpg.write_lossless(None, four), (rows, width, 4), np.uint8
    yield jpg.write_lossless(None, picture.astype(np.uint16), bits=12), (rows, width, 3), np.uint16


def others(shape, kind):
    """Arrays that pictures of a shape and kind would overrun, or not fill."""
    rows, width, channels = shape
    yield (rows - 1, width, channels), kind
    yield (rows, width - 1, channels), kind
    yield (rows, width + 1, channels), kind
    yield (rows, width, 1 if channels > 1 else 3), kind
    yield shape, np.uint8 if kind == np.uint16 else np.uint16
    yield (rows, width * channels), kind


def within(shape, kind):
    """An array of a shape and the memory around it, four times as much on either side."""
    size = int(np.prod(shape)) * np.dtype(kind).itemsize
    memory = np.full(9 * size, CANARY, np.uint8)
    return memory, memory[4 * size:5 * size].view(kind).reshape(shape)


def test_arrays_of_another_shape_are_refused_and_stay_as_they_were(cjpeg, picture):
    for stream, shape, kind in streams(cjpeg, picture):
        for wrong_shape, wrong_kind in others(shape, kind):
            memory, pixels = within(wrong_shape, wrong_kind)
            with _read._Reader(stream, False, False) as reader:
                with pytest.raises(ValueError):
                    reader.decode(pixels, 75, 1)
                with pytest.raises(ValueError):
                    reader.next_scan(pixels)
            assert (memory == CANARY).all()


def test_an_array_that_just_fits_is_filled_and_no_more(cjpeg, picture):
    for stream, shape, kind in streams(cjpeg, picture):
        memory, pixels = within(shape, kind)
        with _read._Reader(stream, False, False) as reader:
            assert reader.decode_all(pixels, 75, 1) == 0
            assert np.array_equal(reader.shaped(pixels), jpg.read(stream, strict=True))
        around = np.concatenate([memory[:4 * pixels.nbytes], memory[5 * pixels.nbytes:]])
        assert (around == CANARY).all()


def test_part_of_a_lossless_picture_takes_one_row_more(picture):
    stream = jpg.write_lossless(None, picture)
    with _read._Reader(stream, False, False) as reader:
        with pytest.raises(ValueError, match="11 rows"):
            reader.decode(np.zeros((10, 53, 3), np.uint8), 10, 1)
        pixels = np.full((11, 53, 3), CANARY, np.uint8)
        assert reader.decode(pixels, 10, 1) == 0
        assert np.array_equal(pixels[:10], picture[:10])
        assert (pixels[10] == CANARY).all()
        with pytest.raises(ValueError):
            reader.keep_row(pixels[10:])


def test_scaled_rows_are_as_wide_as_the_scale_makes_them(cjpeg, picture):
    with _read._Reader(cjpeg(picture), False, False) as reader:
        with pytest.raises(ValueError):
            reader.decode(np.zeros((38, 26, 3), np.uint8), 38, 2)  # 53 / 2 is 27
        assert reader.decode(np.zeros((38, 27, 3), np.uint8), 38, 2) == 0


def test_arrays_with_gaps_or_of_constants_are_refused(cjpeg, picture):
    with _read._Reader(cjpeg(picture), False, False) as reader:
        constant = np.zeros((75, 53, 3), np.uint8)
        constant.flags.writeable = False
        for pixels in (np.zeros((75, 106, 3), np.uint8)[:, ::2], constant):
            with pytest.raises(ValueError):
                reader.decode(pixels, 75, 1)


def test_a_thumbnail_of_no_height_is_refused(picture):
    small = bytearray(jpg.write(None, picture[:16, :16]))
    at = small.index(b"\xff\xc0") + 5
    small[at:at + 2] = b"\0\0"  # left to a DNL segment, which isn't there
    with pytest.raises(jpg.JpgError) as caught:
        jpg.exif_thumbnail(with_jpeg(bytes(small), picture))
    assert caught.value.code == 0x800000FE
