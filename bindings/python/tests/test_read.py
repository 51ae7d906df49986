# SPDX-License-Identifier: MIT
"""Reading, compared with an independent decoder and with itself."""

import threading
import warnings

import numpy as np
import pytest

import jpg

# Two inverse transforms and two colour conversions, each rounded in its own way.
NEAR = 4


def close(ours, theirs):
    difference = np.abs(ours.astype(int) - theirs.astype(int))
    return ours.shape == theirs.shape and difference.mean() < 1 and difference.max() <= NEAR


def test_the_frame_header_is_told(cjpeg, picture):
    assert jpg.info(cjpeg(picture)) == ("baseline", 53, 75, 3, 8)
    assert jpg.info(cjpeg(picture, "-progressive")).process == "progressive"
    assert jpg.info(cjpeg(picture[:, :, 0])).components == 1


@pytest.mark.parametrize("arguments", [(), ("-progressive",), ("-sample", "1x1"),
                                       ("-sample", "2x1", "-restart", "1")])
def test_pictures_are_those_of_another_decoder(cjpeg, djpeg, picture, arguments):
    for pixels in (picture, np.ascontiguousarray(picture[:, :, 0])):
        stream = cjpeg(pixels, "-quality", "95", *arguments)
        ours = jpg.read(stream, strict=True)  # chroma replicated, as that program is told to
        assert ours.dtype == np.uint8
        assert close(ours, djpeg(stream))


def test_red_is_first(cjpeg):
    red = np.zeros((16, 16, 3), np.uint8)
    red[:, :, 0] = 255
    pixels = jpg.read(cjpeg(red, "-quality", "100"))
    assert (pixels[:, :, 0] > 245).all() and (pixels[:, :, 1:] < 10).all()


def test_a_flat_picture_is_its_grey(cjpeg):
    flat = np.full((24, 40), 200, np.uint8)
    stream = cjpeg(flat, "-quality", "100")
    assert (jpg.read(stream) == 200).all()
    for scale in (1, 2, 4, 8):
        small = jpg.read_scaled(stream, scale)
        assert small.shape == (24 // scale, 40 // scale)
        assert (small == 200).all()


@pytest.mark.parametrize("scale", [1, 2, 4, 8])
def test_scaled_sizes_are_rounded_up(cjpeg, picture, scale):
    stream = cjpeg(picture)
    small = jpg.read_scaled(stream, scale)
    assert small.shape == (-(-75 // scale), -(-53 // scale), 3)
    # The mean of a smooth picture stays.
    assert np.abs(small.mean((0, 1)) - picture.mean((0, 1))).max() < 12
    bands = [band.pixels for band in jpg.read_bands(stream, 16, scale=scale)]
    assert np.array_equal(np.concatenate(bands), small)


@pytest.mark.parametrize("rows", [1, 16, 17, 64, 100000])
@pytest.mark.parametrize("arguments", [(), ("-progressive",)])
def test_bands_are_the_picture(cjpeg, picture, rows, arguments):
    stream = cjpeg(picture, *arguments)
    height = -(-rows // 16) * 16
    bands = list(jpg.read_bands(stream, rows))
    assert [band.top for band in bands] == list(range(0, 75, height))
    assert np.array_equal(np.concatenate([band.pixels for band in bands]), jpg.read(stream))


def test_an_iteration_may_end_early(cjpeg, picture):
    bands = jpg.read_bands(cjpeg(picture), 16)
    first = next(bands)
    bands.close()
    assert first.pixels.shape == (16, 53, 3)


def test_a_progressive_picture_grows(cjpeg, picture):
    stream = cjpeg(picture, "-progressive", "-quality", "95")
    scans = list(jpg.read_scans(stream))
    assert len(scans) == stream.count(b"\xff\xda")
    assert np.array_equal(scans[-1], jpg.read(stream))
    errors = [np.abs(scan.astype(int) - picture).mean() for scan in scans]
    assert errors[0] > errors[-1] and errors[-1] < 3


def test_components_come_as_they_are_coded(cjpeg):
    grey = np.full((16, 16, 3), 77, np.uint8)
    pixels = jpg.read(cjpeg(grey, "-quality", "100"), components=True)
    assert (pixels == (77, 128, 128)).all()  # Y, Cb, Cr of a grey


def test_files_and_memory_give_the_same(sample):
    stream = sample.read_bytes()
    expected = jpg.read(stream)
    assert np.array_equal(jpg.read(sample), expected)
    assert np.array_equal(jpg.read(str(sample)), expected)
    assert np.array_equal(jpg.read(bytearray(stream)), expected)
    assert np.array_equal(jpg.read(memoryview(stream)), expected)
    assert np.array_equal(jpg.read(np.frombuffer(stream, np.uint8)), expected)


def test_names_beyond_ascii_are_found(tmp_path, sample):
    for name in ("übung.jpg", "絵.jpg", "\U0001f600.jpg"):
        path = tmp_path / name
        path.write_bytes(sample.read_bytes())
        assert jpg.info(path) == jpg.info(sample)


def test_damage_keeps_the_rows_ahead_of_it(cjpeg, picture):
    whole = cjpeg(picture, "-restart", "1")
    expected = jpg.read(whole, strict=True)
    cut = whole[:whole.index(b"\xff\xd2")] + b"\xff\xd9"  # three rows of MCUs, then the end
    with pytest.raises(jpg.JpgError) as caught:
        jpg.read(cut, strict=True)
    partial = caught.value.partial
    assert caught.value.code & 0x80000000
    assert np.array_equal(partial[:48], expected[:48])
    assert (partial[64:] == 0).all()


@pytest.mark.parametrize("source, code", [
    (b"\xff\xd8\xff\xd9", None), (b"no picture at all", 0x80000109)])
def test_what_is_no_picture_is_refused(source, code):
    with pytest.raises(jpg.JpgError) as caught:
        jpg.read(source)
    assert caught.value.code == (code or caught.value.code)
    assert f"{caught.value.code:08X}" in str(caught.value)


def test_errors_of_the_system_come_as_they_are(tmp_path):
    for source, kind in ((tmp_path / "none.jpg", FileNotFoundError), (tmp_path, IsADirectoryError),
                         ("x" * 300, OSError)):
        with pytest.raises(kind) as caught:
            jpg.read(source)
        assert str(caught.value.filename) == str(source)


def test_arguments_are_checked(sample):
    for call in (lambda: jpg.read(b""), lambda: jpg.read_scaled(sample, 3),
                 lambda: next(jpg.read_bands(sample, 0)), lambda: jpg.read("a\0b")):
        with pytest.raises(ValueError):
            call()
    with pytest.raises((TypeError, AttributeError)):
        jpg.read(3.5)
    for wrong in ({"scale": 3}, {"rows": (5, 5)}, {"rows": (480, 481)}, {"mode": "HSV"},
                  {"max_pixels": 640 * 480 - 1}):
        with pytest.raises(ValueError):
            jpg.read(sample, **wrong)


def test_a_stream_without_an_end_is_read_when_told(cjpeg, picture):
    stream = cjpeg(picture)
    with pytest.raises(jpg.JpgError):
        jpg.read(stream[:-2], strict=True)
    strict = jpg.read(stream[:-2], complete=True, strict=True)
    assert np.array_equal(strict, jpg.read(stream, strict=True))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", jpg.DamageWarning)
        assert np.array_equal(jpg.read(stream[:-2]), jpg.read(stream))


def with_open_height(stream):
    """The stream with its height in a DNL segment behind the scan."""
    at = next(i for i in range(len(stream))
              if stream[i] == 0xFF and stream[i + 1] in (0xC0, 0xC1, 0xC2, 0xC3)) + 5
    assert stream[-2:] == b"\xff\xd9"
    return (stream[:at] + b"\0\0" + stream[at + 2:-2] + b"\xff\xdc\0\4" + stream[at:at + 2]
            + b"\xff\xd9")


@pytest.mark.parametrize("restart", [0, 1, 4])
def test_a_height_told_behind_the_rows_is_the_height(tmp_path, picture, restart):
    for stream in (jpg.write(None, picture, restart=restart),
                   jpg.write_lossless(None, picture.astype(np.uint16) << 4, bits=12, predictor=6)):
        told = with_open_height(stream)
        path = tmp_path / "told.jpg"
        path.write_bytes(told)
        expected = jpg.read(stream)
        for source in (told, path, str(path), np.frombuffer(told, np.uint8)):
            assert jpg.info(source) == jpg.info(stream)
            assert np.array_equal(jpg.read(source), expected)
            bands = [band.pixels for band in jpg.read_bands(source, 16)]
            assert np.array_equal(np.concatenate(bands), expected)


def test_a_height_that_nothing_tells_is_refused(cjpeg, picture):
    told = with_open_height(jpg.write(None, picture))
    silent = told[:-8] + told[-2:]
    wrong = told[:-8] + b"\xff\xdc\0\5\0\x4b\0" + told[-2:]
    for stream in (silent, wrong, with_open_height(cjpeg(picture, "-progressive"))):
        assert jpg.info(stream, strict=True).height == 0
        with pytest.raises(jpg.JpgError) as caught:
            jpg.read(stream, strict=True)
        assert caught.value.code == 0x800000FE
    small = jpg.read_scaled(told, 2)
    assert small.shape == (38, 27, 3)
    for size in range(1, len(told)):
        try:
            assert jpg.info(told[:size], complete=True, strict=True).height == (75 if size > len(told) - 3 else 0)
        except jpg.JpgError:
            pass


@pytest.mark.parametrize("bits, kind", [(8, np.uint8), (9, np.uint16), (16, np.uint16)])
@pytest.mark.parametrize("scale", [1, 2])
def test_lossless_samples_keep_their_type_in_every_mode(picture, bits, kind, scale):
    colour = jpg.write_lossless(None, picture.astype(kind), bits=bits)
    grey = jpg.write_lossless(None, picture[:, :, 0].astype(kind), bits=bits)
    for mode, shapes in (("RGB", (3, 3)), ("BGR", (3, 3)), ("L", (2, 2)), ("raw", (3, 2)),
                         (None, (3, 2))):
        for stream, axes in zip((colour, grey), shapes):
            pixels = jpg.read(stream, mode=mode, scale=scale)
            assert (pixels.dtype, pixels.ndim) == (kind, axes), mode


@pytest.mark.parametrize("mode", ["RGB", "BGR", "L", "raw", None])
def test_dct_pictures_are_of_8_bits_in_every_mode(cjpeg, picture, mode):
    for options in ((), ("-grayscale",), ("-progressive",)):
        assert jpg.read(cjpeg(picture, *options), mode=mode).dtype == np.uint8


def test_threads_do_not_disturb_each_other(sample):
    expected = jpg.read(sample)
    results = []
    threads = [threading.Thread(target=lambda: results.append(jpg.read(sample))) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4
    assert all(np.array_equal(result, expected) for result in results)


def test_real_photographs_are_those_of_another_decoder(corpus, djpeg):
    files = sorted((corpus / "photos").rglob("*.jp*g"))[::20]
    checked = 0
    for path in files:
        if jpg.info(path).components in (1, 3):
            ours = jpg.read(path, orient=False, strict=True)
            theirs = djpeg(path.read_bytes())
            assert ours.shape == theirs.shape, path
            assert np.abs(ours.astype(int) - theirs).mean() < 4, path
            checked += 1
    assert checked > 0
