# SPDX-License-Identifier: MIT
"""The module itself: version, records and functions agree with the header, types hold."""

import ctypes
import os
import pathlib
import re
import shutil
import subprocess

import numpy as np
import pytest
from numpy.typing import NDArray

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


#: How a program uses the module, each line with the type that it must get. The program isn't run.
USES = """import io
from pathlib import Path
from typing import Iterator, List, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray
from typing_extensions import assert_type

import jpg

Grey = Union[np.ndarray[Tuple[int, int], np.dtype[np.uint8]],
             np.ndarray[Tuple[int, int], np.dtype[np.uint16]]]
Colour = Union[np.ndarray[Tuple[int, int, int], np.dtype[np.uint8]],
               np.ndarray[Tuple[int, int, int], np.dtype[np.uint16]]]
Either = Union[NDArray[np.uint8], NDArray[np.uint16]]


def unsettled(mode: jpg.Mode, maybe: Optional[jpg.Mode], target: Optional[Path],
              pixels: NDArray[np.uint8]) -> None:
    assert_type(jpg.read("a.jpg", mode=mode), Either)
    assert_type(jpg.read("a.jpg", mode=maybe), Either)
    assert_type(jpg.write(target, pixels), Optional[bytes])
    assert_type(jpg.write_lossless(target, pixels), Optional[bytes])


def keep(pixels: NDArray[np.uint8]) -> None: ...


{page}

pixels = jpg.read("a.jpg", scale=8, orient=False)
assert_type(pixels, Either)
assert_type(jpg.read("a.jpg", mode=None), Either)
assert_type(jpg.read(io.BytesIO(b""), mode="raw"), Either)
assert_type(jpg.read(b"", mode="L", scale=8), Grey)
assert_type(jpg.read(Path("a.jpg"), mode="RGB", rows=(0, 9), strict=True, max_pixels=100), Colour)
assert_type(jpg.read("a.jpg", mode="BGR", components=True, complete=True), Colour)
assert_type(jpg.read_scaled("a.jpg", 8), Either)
assert_type(jpg.read_bands("a.jpg", 16), Iterator[jpg.Band])
assert_type([band.pixels for band in jpg.read_bands("a.jpg")], List[Either])
assert_type(jpg.read_scans("a.jpg"), Iterator[NDArray[np.uint8]])
assert_type(jpg.thumbnail("a.jpg"), NDArray[np.uint8])
assert_type(jpg.JpgError(1).partial, Optional[Either])
assert_type(jpg.write(None, pixels, quality=85, progressive=True, icc=jpg.icc("a.jpg")), bytes)
assert_type(jpg.write_lossless(None, pixels, bits=12), bytes)
assert_type(jpg.icc(b""), Optional[bytes])
assert_type(jpg.info(b"").width, int)
keep(jpg.read("a.jpg", mode="RGB").astype(np.uint8, copy=False))
grey: jpg.Grey = jpg.read("a.jpg", mode="L")
colour: jpg.Colour = jpg.read("a.jpg", mode="RGB")
some: jpg.Samples = grey[::2]
some = colour[:, ::-1]
jpg.write("b.jpg", pixels, mode="RGBA", comment="text", segments=jpg.segments("a.jpg"))
"""
#: What mypy must refuse.
MISUSES = ('jpg.read("a.jpg", mode="HSV")', "jpg.read(5)", 'jpg.write("b.jpg", pixels, mode="L8")',
           'same: bytes = jpg.write("b.jpg", pixels)', "jpg.write(None, pixels, exif=5)",
           'jpg.write_lossless(None, pixels, quality=5)', 'keep(jpg.read("a.jpg"))',
           'keep(jpg.read("a.jpg", mode="RGB"))', 'grey = jpg.read("a.jpg", mode="BGR")',
           'colour = jpg.read("a.jpg", mode="L")',
           'assert_type(jpg.read("a.jpg", mode="L"), Colour)')


def on_the_page():
    """The function of the page's section on types."""
    page = (ROOT / "bindings" / "python" / "README.md").read_text(encoding="utf-8")
    return page.split("## Types")[1].split("```python\n")[1].split("```")[0]


def test_the_page_s_function_reads_8_bits_alone(tmp_path, sample):
    names = {"jpg": jpg, "np": np, "NDArray": NDArray}
    exec(on_the_page(), names)
    assert np.array_equal(names["read8"](str(sample)), jpg.read(sample))
    deep = tmp_path / "deep.jpg"
    jpg.write_lossless(deep, np.full((4, 5), 300, np.uint16), bits=12)
    with pytest.raises(ValueError, match="12 bits"):
        names["read8"](str(deep))


def test_types_hold_and_serve_programs(tmp_path):
    mypy = shutil.which("mypy", path="/usr/bin") or shutil.which("mypy")
    if mypy is None:
        pytest.skip("mypy is not installed")
    module = ROOT / "bindings" / "python"
    program = tmp_path / "program.py"
    uses = USES.replace("{page}", on_the_page())
    program.write_text(uses + "\n".join(MISUSES) + "\n")
    result = subprocess.run([mypy, "--strict", "--cache-dir=/dev/null", str(module / "jpg"), str(program)],
                            capture_output=True, text=True, env={**os.environ, "MYPYPATH": str(module)})
    errors = [line for line in result.stdout.splitlines() if "error:" in line]
    first = uses.count("\n") + 1
    assert all(line.startswith(str(program)) for line in errors), result.stdout + result.stderr
    lines = {int(line.split(":")[1]) for line in errors}
    assert lines == set(range(first, first + len(MISUSES))), result.stdout + result.stderr
