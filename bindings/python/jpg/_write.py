# SPDX-License-Identifier: MIT
"""Writing: baseline and lossless pictures, to files and to memory."""

from __future__ import annotations

import ctypes
import os
from ctypes import byref, c_uint32, c_void_p
from typing import Any, BinaryIO, Callable, Iterable, Literal, Optional, Tuple, Union, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._exif import Segment
from ._files import save
from ._library import JpgError, check, lib, rect_of, sample_type, swap_order

#: A path, or a file object.
Output = Union[str, "os.PathLike[str]", BinaryIO]
Target = Optional[Output]
#: A marker (0xFFE0 to 0xFFFE) and 1 to 65533 bytes of data; a Segment that was read will do.
AnySegment = Union[Tuple[int, bytes], Segment]
#: What the channels of an array are.
WriteMode = Literal["RGB", "BGR", "RGBA", "L", "CMYK"]

_CHANNELS = {"RGB": 3, "BGR": 3, "RGBA": 4, "L": 1, "CMYK": 4}
_SAMPLINGS = {"444": 0x00111111, "422": 0x00211111, "440": 0x00121111, "420": 0x00221111}


def jfif(unit: int = 0, x: int = 1, y: int = 1) -> Tuple[int, bytes]:
    """A JFIF segment (ITU-T T.871): unit 0 = aspect ratio, 1 = per inch, 2 = per centimetre."""
    if unit not in (0, 1, 2) or not 1 <= x <= 65535 or not 1 <= y <= 65535:
        raise ValueError("unit is 0 to 2, densities are 1 to 65535")
    return 0xFFE0, b"JFIF\0\1\2" + bytes([unit, x >> 8, x & 255, y >> 8, y & 255, 0, 0])


@overload
def write(target: None, pixels: ArrayLike, *, quality: int = ..., sampling: str = ...,
          mode: Optional[WriteMode] = ..., rgb: bool = ..., restart: int = ...,
          segments: Iterable[AnySegment] = ...) -> bytes: ...


@overload
def write(target: Output, pixels: ArrayLike, *, quality: int = ..., sampling: str = ...,
          mode: Optional[WriteMode] = ..., rgb: bool = ..., restart: int = ...,
          segments: Iterable[AnySegment] = ...) -> None: ...


def write(target: Target, pixels: ArrayLike, *, quality: int = 90, sampling: str = "420",
          mode: Optional[WriteMode] = None, rgb: bool = False, restart: int = 0,
          segments: Iterable[AnySegment] = ()) -> Optional[bytes]:
    """Writes a baseline picture.

    target    a path or a file object, or None for the stream as bytes. A file of that name is
              replaced when the new one is complete
    pixels    uint8, rows x columns (grey), x 3 (red, green, blue) or x 4
    quality   1 to 100
    sampling  of colour: "444", "422", "440", "420"; four components are not subsampled
    mode      what the channels are, unless grey or red, green, blue: "BGR"; "RGBA", whose
              transparency is left out; "CMYK" for four components as they are
    rgb       keeps red, green and blue as components instead of YCbCr
    restart   MCUs of a restart interval, 0 = none
    segments  written ahead of the picture; jfif() makes one, segments() reads those of a file
    """
    array = _shaped(pixels)
    channels = array.shape[2]
    if array.dtype != np.uint8 or channels not in (1, 3, 4):
        raise ValueError("a baseline picture has 1, 3 or 4 channels of uint8")
    if mode is None and channels == 4:
        raise ValueError('four channels: mode is "RGBA" or "CMYK"')
    if mode is not None and _CHANNELS.get(mode) != channels:
        raise ValueError(f"mode is one of {', '.join(_CHANNELS)} and fits the array's channels")
    if not 1 <= quality <= 100:
        raise ValueError("quality is 1 to 100")
    if sampling not in _SAMPLINGS:
        raise ValueError(f"sampling is one of {', '.join(_SAMPLINGS)}")
    if not 0 <= restart <= 65535:
        raise ValueError("restart is 0 to 65535")
    if mode == "RGBA":
        array, channels = np.ascontiguousarray(array[:, :, 2::-1]), 3
    elif channels == 3 and mode != "BGR":
        array = array.copy()
        swap_order(array)
    factors = 0x11111111 if channels == 4 else _SAMPLINGS[sampling]

    def encode(handle: c_void_p) -> None:
        check(lib.jpgWriteSetQuantizationFactor(handle, quality))
        check(lib.jpgWriteSetSubsamplingFactor(handle, factors))
        check(lib.jpgWriteSetRestartInterval(handle, restart))
        if rgb:
            check(lib.jpgWriteSetNoColorConversion(handle))
        _segments(handle, segments)
        check(lib.jpgWriteFromRect(handle, byref(rect_of(array, channels, 8)), array.shape[0]))

    return _written(target, encode)


@overload
def write_lossless(target: None, pixels: ArrayLike, *, bits: Optional[int] = ...,
                   predictor: int = ..., segments: Iterable[AnySegment] = ...) -> bytes: ...


@overload
def write_lossless(target: Output, pixels: ArrayLike, *, bits: Optional[int] = ...,
                   predictor: int = ..., segments: Iterable[AnySegment] = ...) -> None: ...


def write_lossless(target: Target, pixels: ArrayLike, *, bits: Optional[int] = None,
                   predictor: int = 1, segments: Iterable[AnySegment] = ()) -> Optional[bytes]:
    """Writes a lossless picture.

    target     a path, or None for the stream as bytes
    pixels     uint8 or uint16, rows x columns or x 1 to 4 components, written as they are
    bits       2 to 16, precision that holds every sample; 8 or 16 unless told
    predictor  1 to 7 (T.81 table H.1)
    segments   written ahead of the picture
    """
    array = _shaped(pixels)
    if array.dtype not in (np.uint8, np.uint16) or not 1 <= array.shape[2] <= 4:
        raise ValueError("a lossless picture has 1 to 4 channels of uint8 or uint16")
    depth = 8 * array.itemsize if bits is None else bits
    if not 2 <= depth <= 16 or int(array.max()) >> depth != 0:
        raise ValueError("bits is 2 to 16 and holds every sample")
    if not 1 <= predictor <= 7:
        raise ValueError("predictor is 1 to 7")
    array = np.ascontiguousarray(array, sample_type(depth))

    def encode(handle: c_void_p) -> None:
        check(lib.jpgWriteSetSpatialPredictor(handle, predictor))
        _segments(handle, segments)
        rect = rect_of(array, array.shape[2], depth)
        check(lib.jpgWriteSpatialFromRect(handle, byref(rect), array.shape[0]))

    return _written(target, encode)


def _shaped(pixels: ArrayLike) -> NDArray[Any]:
    array = np.asarray(pixels)
    if array.ndim == 2:
        array = array[:, :, np.newaxis]
    if array.ndim != 3 or not (1 <= array.shape[0] <= 65535 and 1 <= array.shape[1] <= 65535):
        raise ValueError("a picture is rows x columns x channels, 1 to 65535 each way")
    return np.ascontiguousarray(array)


def _segments(handle: c_void_p, segments: Iterable[AnySegment]) -> None:
    for segment in segments:
        marker, data = segment[0], segment[1]
        check(lib.jpgWriteWriteMarkerSegment(handle, marker, data, len(data)))


def _written(target: Target, encode: Callable[[c_void_p], None]) -> Optional[bytes]:
    """The stream, or None when it went to a file, which is touched only once it is complete."""
    handle = c_void_p()
    check(lib.jpgWritePrologToMemory(0, byref(handle)))
    stream = _to_memory(handle, encode)
    if target is None:
        return stream
    if isinstance(target, (str, os.PathLike)):
        save(os.fspath(target), stream)
    else:
        target.write(stream)
    return None


def _to_memory(handle: c_void_p, encode: Callable[[c_void_p], None]) -> bytes:
    data, size = c_void_p(), c_uint32()
    failure: Optional[BaseException] = None
    try:
        encode(handle)
    except BaseException as error:  # always close the handle first
        failure = error
    code = lib.jpgWriteEpilogToMemory(handle, byref(data), byref(size))
    stream = ctypes.string_at(data, size.value) if data and failure is None else b""
    if data:
        lib.jpgWriteFreeBitstream(data)
    if failure is not None:
        raise failure
    if code != 0:
        raise JpgError(code)
    return stream
