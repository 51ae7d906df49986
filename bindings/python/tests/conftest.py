# SPDX-License-Identifier: MIT
"""What the tests share: a way to ask another maker's program."""

import os
import pathlib
import shutil
import subprocess

import numpy as np
import pytest

SAMPLE = pathlib.Path(__file__).parents[3] / "examples" / "sample.jpg"


@pytest.fixture
def djpeg(tmp_path):
    """Decodes a stream with an independent program: rows x columns x channels."""
    program = shutil.which("djpeg")
    if program is None:
        pytest.skip("djpeg is not installed")

    def decode(stream, *arguments):
        result = subprocess.run([program, "-pnm", "-nosmooth", *arguments], input=bytes(stream),
                                capture_output=True, check=True)
        kind, size, _, data = result.stdout.split(b"\n", 3)
        width, height = map(int, size.split())
        pixels = np.frombuffer(data, np.uint8)
        return pixels.reshape((height, width) if kind == b"P5" else (height, width, 3))

    return decode


@pytest.fixture
def cjpeg():
    """Encodes pixels with an independent program."""
    program = shutil.which("cjpeg")
    if program is None:
        pytest.skip("cjpeg is not installed")

    def encode(pixels, *arguments):
        kind = b"P5" if pixels.ndim == 2 else b"P6"
        head = b"%s\n%d %d\n255\n" % (kind, pixels.shape[1], pixels.shape[0])
        return subprocess.run([program, *arguments], input=head + pixels.tobytes(),
                              capture_output=True, check=True).stdout

    return encode


@pytest.fixture
def picture():
    """Smooth colour, different in each channel, of a size that fills no whole MCUs.

    From row to row it changes between MCUs only: the library's inverse transform departs
    from the textbook's where a block has the vertical frequency 1.
    """
    y, x = np.mgrid[0:75, 0:53]
    step = y // 16
    return np.stack([40 * step, 4 * x, 255 - 30 * step - x], axis=2).astype(np.uint8)


@pytest.fixture
def sample():
    """A photograph-like stream."""
    return SAMPLE


@pytest.fixture
def corpus():
    """A folder of real files."""
    folder = os.environ.get("JPG_CORPUS")
    if not folder or not os.path.isdir(folder):
        pytest.skip("no corpus: set JPG_CORPUS to a folder of JPEG files")
    return pathlib.Path(folder)
