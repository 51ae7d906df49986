# SPDX-License-Identifier: MIT
"""Writing, read again by this library and by another one."""

import io
import pathlib

import numpy as np
import pytest

import jpg


def noise(shape, bits, seed=1):
    samples = np.random.default_rng(seed).integers(0, 1 << bits, shape)
    return samples.astype(np.uint16 if bits > 8 else np.uint8)


@pytest.mark.parametrize("sampling", ["444", "422", "440", "420"])
def test_another_decoder_reads_what_is_written(djpeg, picture, sampling):
    stream = jpg.write(None, picture, quality=95, sampling=sampling, segments=[jpg.jfif()])
    assert np.abs(djpeg(stream).astype(int) - picture).mean() < 3


def test_grey_and_four_components(djpeg, picture):
    grey = picture[:, :, 0]
    stream = jpg.write(None, grey, quality=95)
    assert jpg.info(stream).components == 1
    assert np.abs(djpeg(stream).astype(int) - grey).mean() < 2
    assert jpg.write(None, grey[:, :, np.newaxis], quality=95) == stream
    four = np.concatenate([picture, picture[:, :, :1]], axis=2)
    again = jpg.read(jpg.write(None, four, quality=95, mode="CMYK"), components=True)
    assert again.shape == four.shape
    assert np.abs(again.astype(int) - four).mean() < 3


def test_rgb_components_are_kept(picture):
    picture = picture[:64]
    stream = jpg.write(None, picture, quality=100, sampling="444", rgb=True)
    assert np.abs(jpg.read(stream).astype(int) - picture).max() < 8
    assert np.abs(jpg.read(stream, components=True).astype(int) - picture).max() < 8


def test_quality_and_restart_intervals_reach_the_stream(picture):
    sizes = [len(jpg.write(None, picture, quality=quality)) for quality in (10, 50, 95)]
    assert sizes == sorted(sizes) and sizes[0] < sizes[2]
    assert b"\xff\xdd\0\4\0\7" in jpg.write(None, picture, restart=7)
    assert b"\xff\xdd" not in jpg.write(None, picture)


def test_segments_come_first_and_in_order(picture):
    stream = jpg.write(None, picture, segments=[jpg.jfif(1, 300, 72), (0xFFFE, b"hello")])
    head = b"\xff\xd8\xff\xe0\0\x10JFIF\0\1\2\1\x01\x2c\0\x48\0\0" + b"\xff\xfe\0\7hello"
    assert stream.startswith(head)


@pytest.mark.parametrize("bits", range(2, 17))
def test_lossless_samples_come_back(bits):
    for channels in (1, 2, 3, 4):
        pixels = noise((41, 23, channels), bits, bits)
        stream = jpg.write_lossless(None, pixels, bits=bits, predictor=bits % 7 + 1)
        info = jpg.info(stream)
        assert info == ("lossless", 23, 41, channels, bits)
        again = jpg.read(stream)
        assert again.dtype == pixels.dtype
        assert np.array_equal(again, pixels[:, :, 0] if channels == 1 else pixels)
        for rows in (1, 32):
            bands = [band.pixels for band in jpg.read_bands(stream, rows)]
            assert np.array_equal(np.concatenate(bands), again)


def test_lossless_bits_follow_the_type():
    assert jpg.info(jpg.write_lossless(None, noise((4, 4), 8))).precision == 8
    assert jpg.info(jpg.write_lossless(None, noise((4, 4), 16))).precision == 16
    # Few bits in a wide type, many bits' room in a narrow one.
    few = noise((4, 4), 5).astype(np.uint16)
    assert np.array_equal(jpg.read(jpg.write_lossless(None, few, bits=5)), few)
    narrow = noise((4, 4), 8)
    assert np.array_equal(jpg.read(jpg.write_lossless(None, narrow, bits=12)), narrow)


def test_files_get_what_memory_gets(tmp_path, picture):
    path = tmp_path / "絵.jpg"
    assert jpg.write(path, picture) is None
    assert path.read_bytes() == jpg.write(None, picture)
    assert jpg.write_lossless(str(path), picture) is None
    assert path.read_bytes() == jpg.write_lossless(None, picture)


def test_arrays_of_any_order_are_written(picture):
    expected = jpg.write(None, picture)
    assert jpg.write(None, np.asfortranarray(picture)) == expected
    assert jpg.write(None, np.repeat(picture, 2, 0)[::2]) == expected
    assert jpg.write(None, picture.copy()) == expected


def test_a_failure_leaves_the_old_file_and_no_other(tmp_path, picture):
    path = tmp_path / "a.jpg"
    for old in (None, b"what was there"):
        if old is not None:
            path.write_bytes(old)
        for wrong in ({"quality": 0}, {"sampling": "411"}, {"segments": [(0xFFE1, b"")]},
                      {"segments": [(0xFFE1, bytes(70000))]}, {"segments": 5}):
            with pytest.raises((jpg.JpgError, ValueError, TypeError)):
                jpg.write(path, picture, **wrong)
            assert (path.read_bytes() if path.exists() else None) == old
        assert len(list(tmp_path.iterdir())) == (0 if old is None else 1)
    with pytest.raises(FileNotFoundError) as caught:
        jpg.write(tmp_path / "none" / "a.jpg", picture)
    assert caught.value.filename == str(tmp_path / "none" / "a.jpg")


def test_a_file_is_replaced_with_its_rights_and_its_link(tmp_path, picture):
    path, link = tmp_path / "a.jpg", tmp_path / "link.jpg"
    path.write_bytes(b"old")
    path.chmod(0o640)
    link.symlink_to("a.jpg")
    jpg.write(link, picture)
    assert link.is_symlink() and path.stat().st_mode & 0o777 == 0o640
    assert path.read_bytes() == jpg.write(None, picture)


def test_a_device_stays(picture):
    if not pathlib.Path("/dev/full").exists():
        pytest.skip("there is no /dev/full")
    with pytest.raises(OSError):
        jpg.write("/dev/full", picture)
    assert pathlib.Path("/dev/full").is_char_device()
    jpg.write("/dev/null", picture)


def test_arguments_are_checked(picture):
    wrong = [
        lambda: jpg.write(None, picture.astype(np.uint16)),
        lambda: jpg.write(None, picture.astype(float)),
        lambda: jpg.write(None, picture[:, :, :2]),
        lambda: jpg.write(None, picture[0, 0]),
        lambda: jpg.write(None, np.zeros((0, 4), np.uint8)),
        lambda: jpg.write(None, np.zeros((1, 65536), np.uint8)),
        lambda: jpg.write(None, picture, sampling="411"),
        lambda: jpg.write(None, picture, restart=65536),
        lambda: jpg.write_lossless(None, picture, bits=7),
        lambda: jpg.write_lossless(None, picture, bits=17),
        lambda: jpg.write_lossless(None, picture.astype(np.int16)),
        lambda: jpg.jfif(3),
        lambda: jpg.jfif(1, 0, 1),
    ]
    for call in wrong:
        with pytest.raises(ValueError):
            call()
    for quality in (0, 101):
        with pytest.raises(ValueError):
            jpg.write(None, picture, quality=quality)
    with pytest.raises(ValueError):
        jpg.write_lossless(None, picture, predictor=8)


def test_four_channels_are_written_only_when_told_what_they_are(picture):
    four = np.concatenate([picture, picture[:, :, :1]], axis=2)
    with pytest.raises(ValueError):
        jpg.write(None, four)
    assert jpg.write(None, four, mode="RGBA") == jpg.write(None, picture)
    bgr = np.ascontiguousarray(picture[:, :, ::-1])
    assert jpg.write(None, bgr, mode="BGR") == jpg.write(None, picture, mode="RGB")
    for mode in ("L", "RGBA", "CMYK", "HSV"):
        with pytest.raises(ValueError):
            jpg.write(None, picture, mode=mode)


def test_the_array_stays_as_it_was(picture):
    before = picture.copy()
    jpg.write(None, picture)
    assert np.array_equal(picture, before)


def test_file_objects_are_written(picture):
    file = io.BytesIO()
    assert jpg.write(file, picture) is None
    assert file.getvalue() == jpg.write(None, picture)


def markers(stream):
    return [segment.marker for segment in jpg.segments(stream)]


def test_options_reach_the_stream(djpeg, picture):
    plain = jpg.write(None, picture, average=False, optimize=False)
    # The tables of T.81 Annex K: the first has 12 codes, of 2 to 9 bits (table K.3).
    usual = bytes([0, 0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0])
    optimized = jpg.write(None, picture, average=False)
    assert usual in plain and usual not in optimized
    assert len(optimized) < len(plain)
    assert np.array_equal(djpeg(optimized), djpeg(plain))
    progressive = jpg.write(None, picture, progressive=True)
    assert jpg.info(progressive).process == "progressive"
    # The same levels, whatever the process and the tables.
    assert np.array_equal(djpeg(progressive), djpeg(jpg.write(None, picture)))


def test_averaged_chroma_keeps_the_mean_colour(djpeg):
    # Colours that change from column to column; decimated, the first one stands for both.
    pixels = np.full((32, 32, 3), (120, 130, 110), np.uint8)
    pixels[:, ::2] = (180, 110, 90)
    means = [np.abs(djpeg(jpg.write(None, pixels, quality=98, average=average)).mean((0, 1))
                    - pixels.mean((0, 1))).max() for average in (True, False)]
    assert means[0] < 1.5 and means[1] > 10


def test_restart_intervals_of_lossless_files_are_lines(picture):
    stream = jpg.write_lossless(None, picture, restart=2)
    assert b"\xff\xdd\0\4" + (2 * 53).to_bytes(2, "big") in stream
    assert np.array_equal(jpg.read(stream), picture)
    small, usual = (len(jpg.write_lossless(None, picture, optimize=told)) for told in (True, False))
    assert small < usual


def test_what_goes_along_with_a_picture(picture):
    tiff = b"II*\0\x08\0\0\0" + b"\x01\0" + b"\x12\1\3\0\1\0\0\0\3\0\0\0" + bytes(4)
    profile = bytes(range(256)) * 512  # three segments
    for write in (jpg.write, jpg.write_lossless):
        stream = write(None, picture, exif=tiff, icc=profile, comment="Grüße",
                       segments=[jpg.jfif(1, 300, 300)])
        assert markers(stream)[:6] == [0xFFE0, 0xFFE1, 0xFFE2, 0xFFE2, 0xFFE2, 0xFFFE]
        assert jpg.exif(stream).orientation == 3
        assert jpg.icc(stream) == profile
        assert b"\xff\xfe\0\x09" + "Grüße".encode() in stream
        assert write(None, picture, exif=b"Exif\0\0" + tiff, icc=profile, comment="Grüße".encode(),
                     segments=[jpg.jfif(1, 300, 300)]) == stream
        for wrong in ({"exif": bytes(65528)}, {"icc": b""}, {"icc": bytes(255 * 65519 + 1)},
                      {"comment": ""}, {"comment": bytes(65534)}, {"segments": [(0xFFBF, b"x")]},
                      {"restart": -1}, {"restart": 65536}):
            with pytest.raises(ValueError):
                write(None, picture, **wrong)


def test_every_combination_is_read_again(djpeg, picture):
    for progressive in (False, True):
        for sampling in ("444", "422", "440", "420"):
            stream = jpg.write(None, picture, quality=95, sampling=sampling, restart=3,
                               progressive=progressive)
            assert np.abs(djpeg(stream).astype(int) - picture).mean() < 3
            assert np.abs(jpg.read(stream).astype(int) - picture).mean() < 3
