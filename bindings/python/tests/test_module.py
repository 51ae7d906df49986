# SPDX-License-Identifier: MIT
"""The module itself: version, records and functions agree with the header, types hold."""

import ctypes
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


def test_types_hold():
    program = shutil.which("mypy", path="/usr/bin") or shutil.which("mypy")
    if program is None:
        pytest.skip("mypy is not installed")
    module = ROOT / "bindings" / "python" / "jpg"
    result = subprocess.run([program, "--strict", "--cache-dir=/dev/null", str(module)],
                            capture_output=True, text=True)
    assert result.returncode == 0, result.stdout + result.stderr
