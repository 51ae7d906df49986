# SPDX-License-Identifier: MIT
"""Modes, turning, rows; what a stream carries beside its picture."""

import io
import struct
from fractions import Fraction

import numpy as np
import pytest

import jpg
from jpg import _library
from test_exif import directory


def exif_segment(orientation):
    """0th directory at 8 with orientation, Exif and GPS directories behind it."""
    at_exif = 8 + 2 + 3 * 12 + 4
    at_gps = at_exif + 2 + 12 + 4
    at_data = at_gps + 2 + 4 * 12 + 4
    zeroth = directory([(274, 3, 1, orientation), (34665, 4, 1, at_exif), (34853, 4, 1, at_gps)])
    camera = directory([(36867, 2, 20, at_data)])
    gps = directory([(1, 2, 2, ord("S")), (2, 5, 3, at_data + 20), (3, 2, 2, ord("E")),
                     (4, 5, 3, at_data + 44)])
    data = b"2026:11:22 08:36:00\0" + struct.pack("<6I", 50, 1, 30, 1, 36, 1)
    data += struct.pack("<6I", 7, 1, 0, 1, 9, 10)
    return 0xFFE1, b"Exif\0\0II*\0" + struct.pack("<I", 8) + zeroth + camera + gps + data


def test_exif_is_read(picture):
    found = jpg.exif(jpg.write(None, picture, segments=[exif_segment(6)]))
    assert found.orientation == 6
    assert found.date == "2026:11:22 08:36:00"
    # 50 degrees, 30 minutes, 36 seconds south; 7 degrees and 0.9 seconds east
    assert found.position == pytest.approx((-50.51, 7.00025))
    assert found.directories["GPS"][2] == (Fraction(50), Fraction(30), Fraction(36))
    assert jpg.exif(jpg.write(None, picture)) is None


def test_exif_cut_at_any_length_does_no_harm(picture):
    marker, data = exif_segment(3)
    for size in range(6, len(data)):
        found = jpg.exif(jpg.write(None, picture[:8, :8], segments=[(marker, data[:size])]))
        assert found is not None and found.orientation in (1, 3)


def test_segments_and_profiles_are_read_and_written_again(picture):
    profile = bytes(range(256)) * 300  # two segments
    pieces = [profile[:65519], profile[65519:]]
    stream = jpg.write(None, picture, segments=[
        jpg.jfif(1, 300, 300), *((0xFFE2, b"ICC_PROFILE\0" + bytes([i + 1, 2]) + piece)
                                 for i, piece in enumerate(pieces)), (0xFFFE, b"hello")])
    assert jpg.icc(stream) == profile
    found = jpg.segments(stream)
    assert [s.marker for s in found[:4]] == [0xFFE0, 0xFFE2, 0xFFE2, 0xFFFE]
    assert found[-1].marker == 0xFFDA
    for segment in found:
        assert stream[segment.offset:segment.offset + 2] == segment.marker.to_bytes(2, "big")
    again = jpg.write(None, picture, segments=[s for s in found if 0xFFE0 <= s.marker])
    assert again == stream
    assert jpg.icc(jpg.write(None, picture)) is None
    assert jpg.icc(stream.replace(b"ICC_PROFILE\0\2\2", b"ICC_PROFILE\0\3\2")) is None


# Where the values of a 2 x 3 picture stand when it is turned, by hand.
TURNED = {1: "012 345", 2: "210 543", 3: "543 210", 4: "345 012",
          5: "03 14 25", 6: "30 41 52", 7: "52 41 30", 8: "25 14 03"}


@pytest.mark.parametrize("orientation", TURNED)
def test_pictures_are_turned(orientation):
    pixels = np.arange(6, dtype=np.uint8).reshape(2, 3)
    stream = jpg.write_lossless(None, pixels, segments=[exif_segment(orientation)])
    expected = [[int(v) for v in row] for row in TURNED[orientation].split()]
    assert jpg.read(stream).tolist() == expected
    assert jpg.read(stream, orient=False).tolist() == pixels.tolist()
    assert jpg.read(stream, rows=(1, 2)).tolist() == [[3, 4, 5]]


def test_modes(picture):
    stream = jpg.write(None, picture, quality=95)
    rgb = jpg.read(stream)
    assert np.array_equal(jpg.read(stream, mode="RGB"), rgb)
    assert np.array_equal(jpg.read(stream, mode="BGR"), rgb[:, :, ::-1])
    luma = rgb.astype(float) @ [0.299, 0.587, 0.114]
    assert np.abs(jpg.read(stream, mode="L") - luma).max() <= 0.5
    assert np.array_equal(jpg.read(stream, mode="raw"), jpg.read(stream, components=True))
    grey = jpg.write(None, picture[:, :, 0])
    assert jpg.read(grey, mode="RGB").shape == (75, 53, 3)
    assert np.array_equal(jpg.read(grey, mode="L"), jpg.read(grey))
    two = jpg.write_lossless(None, picture[:, :, :2])
    with pytest.raises(ValueError):
        jpg.read(two, mode="RGB")


def test_every_process_is_scaled(cjpeg, picture):
    progressive, lossless = cjpeg(picture, "-progressive"), jpg.write_lossless(None, picture)
    for scale in (2, 4, 8):
        for stream, strict in ((progressive, True), (lossless, False)):
            small = jpg.read(stream, scale=scale, strict=strict)
            assert small.shape == (-(-75 // scale), -(-53 // scale), 3)
            whole = jpg.read(stream, strict=strict)[:scale, :scale].reshape(-1, 3)
            assert np.abs(small[0, 0] - whole.mean(0)).max() <= 0.5
        # The same coefficients in a sequential file give the same pixels.
        small = jpg.read(progressive, scale=scale)
        assert np.array_equal(small, jpg.read(cjpeg(picture), scale=scale))
        bands = [band.pixels for band in jpg.read_bands(progressive, 16, scale=scale)]
        assert np.array_equal(np.concatenate(bands), small)


def test_file_objects_are_read(sample):
    with open(sample, "rb") as file:
        assert np.array_equal(jpg.read(file), jpg.read(sample))
    assert jpg.info(io.BytesIO(sample.read_bytes())) == jpg.info(sample)


def test_names_are_bytes_of_any_length(tmp_path, sample):
    folder = tmp_path / ("d" * 200) / ("e" * 200)
    folder.mkdir(parents=True)
    for name in ("n" * 200 + ".jpg", "\udcff.jpg"):
        (folder / name).write_bytes(sample.read_bytes())
        assert jpg.info(folder / name).width == 640


def test_the_order_is_turned_with_and_without_the_compiled_routine(picture, monkeypatch):
    routine = _library._swap
    assert routine is not None, "the routine isn't beside the library"
    for width in range(1, 70):
        pixels = np.ascontiguousarray(picture[:, :width % 53 + 1])
        swapped, plain = pixels.copy(), pixels.copy()
        _library.swap_order(swapped)
        monkeypatch.setattr(_library, "_swap", None)
        _library.swap_order(plain)
        monkeypatch.setattr(_library, "_swap", routine)
        assert np.array_equal(swapped, pixels[:, :, ::-1]) and np.array_equal(plain, swapped)
