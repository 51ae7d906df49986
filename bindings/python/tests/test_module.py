# SPDX-License-Identifier: MIT
"""The module itself: version, records and functions agree with the header, types hold."""

import ctypes
import os
import pathlib
import re
import shutil
import subprocess

import pytest

import jpg
from jpg import _library

ROOT = pathlib.Path(__file__).parents[3]
HEADER = (ROOT / "include" / "jpg.h").read_text(encoding="utf-8")


def test_the_version_is_the_header_s():
    assert f'JPG_VERSION_STRING "{jpg.__version__}"' in HEADER


def test_every_function_has_as_many_arguments_as_the_header_says():
    declarations = re.findall(r"JPG_CALL\s+(jpg\w+)\(([^)]*)\)", HEADER)
    counts = {name: len(arguments.split(",")) for name, arguments in declarations}
    assert counts
    for name, arguments in _library._FUNCTIONS.items():
        assert len(arguments) == counts[name], name


def test_every_result_code_has_words():
    codes = {int(code, 16) for code in re.findall(r"JPG_(?:E_\w+|NO_DATA) (0x[0-9A-F]+)U", HEADER)}
    assert codes == set(_library._TEXTS)


def test_records_have_the_sizes_of_the_interface():
    pointer = ctypes.sizeof(ctypes.c_void_p)
    assert _library.Rect.bits.offset == 24
    assert _library.Rect.size.offset == 24 + pointer
    assert _library.Rect.reserved.offset == 28 + pointer
    assert _library.BitmapInfo.bmiColors.offset == 40


#: How a program uses the module, each line with the type that it must get.
USES = """import io
from pathlib import Path
from typing import Any, Optional

import numpy as np
from numpy.typing import NDArray

import jpg

pixels: NDArray[Any] = jpg.read("a.jpg", scale=8, mode="L", orient=False)
from_path: NDArray[Any] = jpg.read(Path("a.jpg"), rows=(0, 9), strict=True, max_pixels=100)
from_file: NDArray[Any] = jpg.read(io.BytesIO(b""), mode="raw")
stream: bytes = jpg.write(None, pixels, quality=85, progressive=True, icc=jpg.icc("a.jpg"))
jpg.write("b.jpg", pixels, mode="RGBA", comment="text", segments=jpg.segments("a.jpg"))
lossless: bytes = jpg.write_lossless(None, pixels, bits=12)
thumbnail: NDArray[np.uint8] = jpg.thumbnail("a.jpg")
profile: Optional[bytes] = jpg.icc(stream)
width: int = jpg.info(stream).width
"""
#: What mypy must refuse.
MISUSES = ('jpg.read("a.jpg", mode="HSV")', "jpg.read(5)", 'jpg.write("b.jpg", pixels, mode="L8")',
           'same: bytes = jpg.write("b.jpg", pixels)', "jpg.write(None, pixels, exif=5)",
           'jpg.write_lossless(None, pixels, quality=5)')


def test_types_hold_and_serve_programs(tmp_path):
    mypy = shutil.which("mypy", path="/usr/bin") or shutil.which("mypy")
    if mypy is None:
        pytest.skip("mypy is not installed")
    module = ROOT / "bindings" / "python"
    program = tmp_path / "program.py"
    program.write_text(USES + "\n".join(MISUSES) + "\n")
    result = subprocess.run([mypy, "--strict", "--cache-dir=/dev/null", str(module / "jpg"), str(program)],
                            capture_output=True, text=True, env={**os.environ, "MYPYPATH": str(module)})
    errors = [line for line in result.stdout.splitlines() if "error:" in line]
    first = USES.count("\n") + 1
    assert all(line.startswith(str(program)) for line in errors), result.stdout + result.stderr
    lines = {int(line.split(":")[1]) for line in errors}
    assert lines == set(range(first, first + len(MISUSES))), result.stdout + result.stderr
