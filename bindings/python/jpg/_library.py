# SPDX-License-Identifier: MIT
"""The shared library: where it is, its records, its functions, its result codes."""

from __future__ import annotations

import ctypes
import ctypes.util
import glob
import os
import sys
from ctypes import c_char_p, c_int32, c_uint16, c_uint32, c_void_p
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import NDArray

#: Arrays of pixels: uint16 for lossless pictures above 8 bits, uint8 for all others.
Samples = Union[NDArray[np.uint8], NDArray[np.uint16]]

OK = 0
NO_DATA = 0xFFFFFFFF
E_OUT_OF_MEMORY = 0x80000008
E_INVALID_PARAMETER = 0x80000057
E_UNSUPPORTED = 0x800000FE
E_OPEN_FAILED = 0x80000301
E_DAMAGED = 0x80001882

_TEXTS = {
    NO_DATA: "nothing there to deliver",
    0x80000000: "general failure, or no rows remain",
    0x80000001: "call not possible on this handle",
    E_OUT_OF_MEMORY: "out of memory",
    0x80000009: "invalid handle or null pointer",
    0x80000019: "positioning the stream failed",
    0x8000001D: "the output accepted too few bytes",
    E_INVALID_PARAMETER: "bad number, mode or range",
    E_UNSUPPORTED: "valid, but not served",
    0x80000109: "not a JPEG stream, or cut off",
    0x80000300: "no such entry",
    E_OPEN_FAILED: "the file could not be opened",
    0x80000302: "the image ended before the rows asked for",
    0x80001801: "damaged data: no such DC code",
    0x80001802: "damaged data: no such AC code",
    0x80001803: "damaged data: a run leads past coefficient 63",
    0x80001880: "a DNL segment although the height was known",
    0x80001881: "a DRI or DNL segment of a wrong length",
    E_DAMAGED: "damaged data: some rows are guessed",
}


class JpgError(Exception):
    """A call of the library failed.

    `code` is the result code of jpg.h. `partial` holds the picture with the rows that were
    decoded before damage was met (the others are 0), where there is one.
    """

    def __init__(self, code: int, partial: Optional[Samples] = None) -> None:
        super().__init__(f"{_TEXTS.get(code, 'unknown result code')} (0x{code:08X})")
        self.code = code
        self.partial = partial


class DamageWarning(UserWarning):
    """A picture is damaged; what couldn't be read was guessed."""


def check(code: int) -> None:
    """Raises JpgError unless the code is success."""
    if code != OK:
        raise JpgError(code)


class Rect(ctypes.Structure):
    """JpgRect: the description of a pixel buffer."""

    _fields_ = [
        ("width", c_int32),
        ("height", c_int32),
        ("stride", c_int32),
        ("bitsPerPixel", c_int32),
        ("channels", c_int32),
        ("bitsPerSample", c_int32),
        ("bits", c_void_p),
        ("size", c_uint32),
        ("reserved", c_uint32),
    ]


class BitmapInfo(ctypes.Structure):
    """BITMAPINFO with a colour table of 256 entries."""

    _fields_ = [
        ("biSize", c_uint32),
        ("biWidth", c_int32),
        ("biHeight", c_int32),
        ("biPlanes", c_uint16),
        ("biBitCount", c_uint16),
        ("biCompression", c_uint32),
        ("biSizeImage", c_uint32),
        ("biXPelsPerMeter", c_int32),
        ("biYPelsPerMeter", c_int32),
        ("biClrUsed", c_uint32),
        ("biClrImportant", c_uint32),
        ("bmiColors", c_uint32 * 256),
    ]


_pointer16 = ctypes.POINTER(c_uint16)
_pointer32 = ctypes.POINTER(c_uint32)
_out = ctypes.POINTER(c_void_p)
_rect = ctypes.POINTER(Rect)
_info = ctypes.POINTER(BitmapInfo)

_FUNCTIONS: dict[str, list[Any]] = {
    "jpgReadPrologFromMemory": [c_void_p, c_int32, c_uint32, _out],
    "jpgReadEpilog": [c_void_p],
    "jpgReadGetCodingProcess": [c_void_p, _pointer32],
    "jpgReadGetImageSize": [c_void_p, _pointer32, _pointer32],
    "jpgReadGetNumberOfChannels": [c_void_p, _pointer32],
    "jpgReadGetSamplePrecision": [c_void_p, _pointer32],
    "jpgReadSetNoColorConversion": [c_void_p],
    "jpgReadSeekMarkerSegment": [c_void_p, c_int32, _pointer16, _pointer32],
    "jpgReadToRect": [c_void_p, _rect, c_int32],
    "jpgReadProgressiveToRect": [c_void_p, _rect, c_int32, c_int32],
    "jpgReadScaleOutputGetImageSize": [c_void_p, _pointer32, _pointer32, c_int32],
    "jpgReadScaleOutputToRect": [c_void_p, _rect, c_int32, c_int32],
    "jpgReadSpatialToRect": [c_void_p, _rect, c_int32],
    "jpgReadExifReadAttributeProlog": [c_void_p, _out],
    "jpgReadExifReadAttributeEpilog": [c_void_p],
    "jpgExifReadThumbnailToWinDIBits": [c_void_p, c_void_p, _info],
    "jpgWritePrologToMemory": [c_uint32, _out],
    "jpgWriteEpilogToMemory": [c_void_p, _out, _pointer32],
    "jpgWriteFreeBitstream": [c_void_p],
    "jpgWriteSetNoColorConversion": [c_void_p],
    "jpgWriteSetSubsamplingFactor": [c_void_p, c_uint32],
    "jpgWriteSetQuantizationFactor": [c_void_p, c_int32],
    "jpgWriteSetRestartInterval": [c_void_p, c_int32],
    "jpgWriteSetSpatialPredictor": [c_void_p, c_int32],
    "jpgWriteWriteMarkerSegment": [c_void_p, c_uint32, c_char_p, c_uint32],
    "jpgWriteFromRect": [c_void_p, _rect, c_uint32],
    "jpgWriteSpatialFromRect": [c_void_p, _rect, c_uint32],
}


def _names() -> list[str]:
    """Where to look for the library: the place set, this module's folder, the system's places."""
    told = os.environ.get("JPG_LIBRARY")
    if told:
        return [told]
    own = {"win32": "jpg.dll", "darwin": "libjpg.dylib"}.get(sys.platform, "libjpg.so.0")
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), own)
    found = ctypes.util.find_library("jpg")
    return [beside, own] + ([found] if found else [])


def _load() -> ctypes.CDLL:
    reasons = []
    for name in _names():
        try:
            library = ctypes.CDLL(name)
        except OSError as error:
            reasons.append(str(error))
            continue
        for function, arguments in _FUNCTIONS.items():
            entry = getattr(library, function)
            entry.argtypes = arguments
            entry.restype = c_uint32
        return library
    raise ImportError("the jpg library was not found: set JPG_LIBRARY to its path\n"
                      + "\n".join(reasons))


lib = _load()


def _load_order() -> Optional[Any]:
    """The compiled routine beside this module or beside the library; None where it wasn't built."""
    for folder in (os.path.dirname(os.path.abspath(__file__)), os.path.dirname(lib._name)):
        for name in sorted(glob.glob(os.path.join(folder, "_order*"))):
            if name.endswith((".so", ".pyd", ".dll", ".dylib")):
                try:
                    swap = ctypes.CDLL(name).jpgpySwap
                except (OSError, AttributeError):
                    continue
                swap.argtypes = [c_void_p, ctypes.c_size_t]
                swap.restype = None
                return swap
    return None


_swap = _load_order()


def swap_order(pixels: NDArray[Any]) -> None:
    """Exchanges the first and the third of three bytes: blue first and red first. In place; the
    array's rows lie without gaps."""
    if _swap is not None:
        _swap(pixels.ctypes.data, pixels.size // 3)
        return
    first = pixels[..., 0].copy()
    pixels[..., 0] = pixels[..., 2]
    pixels[..., 2] = first


def rect_of(pixels: NDArray[Any], channels: int, bits: int) -> Rect:
    """Describes a C-contiguous array of rows, which must outlive the description's use."""
    rows, width = pixels.shape[0], pixels.shape[1]
    row_bytes = width * channels * pixels.itemsize
    return Rect(width, rows, row_bytes, 8 * channels * pixels.itemsize, channels, bits,
                pixels.ctypes.data, min(row_bytes * rows, 0xFFFFFFFF), 0)


def sample_type(bits: int) -> np.dtype[Any]:
    """The array type of samples of so many bits."""
    return np.dtype(np.uint16 if bits > 8 else np.uint8)
