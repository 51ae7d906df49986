# SPDX-License-Identifier: MIT
"""Writing: baseline, progressive and lossless pictures, to files and to memory."""

from __future__ import annotations

import ctypes
import os
from ctypes import byref, c_uint32, c_void_p
from typing import (Any, BinaryIO, Callable, Iterable, List, Literal, Optional, Tuple, Union,
                    overload)

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
#: Options of the prolog; each counts with the mark in the upper half.
_MARK, _AVERAGE, _OPTIMIZE, _PROGRESSIVE = 0x4A500000, 0x100, 0x200, 0x400
#: Of a colour profile in a segment, beside its name and the two bytes that count the pieces.
_ICC_BYTES = 65533 - 14
_SAMPLINGS = {"444": 0x00111111, "422": 0x00211111, "440": 0x00121111, "420": 0x00221111}


def jfif(unit: int = 0, x: int = 1, y: int = 1) -> Tuple[int, bytes]:
    """A JFIF segment (ITU-T T.871): unit 0 = aspect ratio, 1 = per inch, 2 = per centimetre."""
    if unit not in (0, 1, 2) or not 1 <= x <= 65535 or not 1 <= y <= 65535:
        raise ValueError("unit is 0 to 2, densities are 1 to 65535")
    return 0xFFE0, b"JFIF\0\1\2" + bytes([unit, x >> 8, x & 255, y >> 8, y & 255, 0, 0])


@overload
def write(target: None, pixels: ArrayLike, *, quality: int = ..., sampling: str = ...,
          mode: Optional[WriteMode] = ..., rgb: bool = ..., restart: int = ...,
          average: bool = ..., optimize: bool = ..., progressive: bool = ...,
          exif: Optional[bytes] = ..., icc: Optional[bytes] = ...,
          comment: Union[None, str, bytes] = ..., segments: Iterable[AnySegment] = ...) -> bytes: ...


@overload
def write(target: Output, pixels: ArrayLike, *, quality: int = ..., sampling: str = ...,
          mode: Optional[WriteMode] = ..., rgb: bool = ..., restart: int = ...,
          average: bool = ..., optimize: bool = ..., progressive: bool = ...,
          exif: Optional[bytes] = ..., icc: Optional[bytes] = ...,
          comment: Union[None, str, bytes] = ..., segments: Iterable[AnySegment] = ...) -> None: ...


def write(target: Target, pixels: ArrayLike, *, quality: int = 90, sampling: str = "420",
          mode: Optional[WriteMode] = None, rgb: bool = False, restart: int = 0,
          average: bool = True, optimize: bool = True, progressive: bool = False,
          exif: Optional[bytes] = None, icc: Optional[bytes] = None,
          comment: Union[None, str, bytes] = None,
          segments: Iterable[AnySegment] = ()) -> Optional[bytes]:
    """Writes a DCT picture of 8 bits a sample.

    target       a path or a file object, or None for the stream as bytes. A file of that name is
                 replaced when the new one is complete
    pixels       uint8, rows x columns (grey), x 3 (red, green, blue) or x 4
    quality      1 to 100
    sampling     of colour: "444", "422", "440", "420"; four components are not subsampled
    mode         what the channels are, unless grey or red, green, blue: "BGR"; "RGBA", whose
                 transparency is left out; "CMYK" for four components as they are
    rgb          keeps red, green and blue as components instead of YCbCr
    restart      MCUs of a restart interval, 0 = none
    average      chroma is averaged; otherwise one pixel of a group stands for it
    optimize     Huffman tables made for the picture
    progressive  a progressive file, with tables for each of its scans
    exif         attributes: a TIFF structure, with or without b"Exif\\0\\0" ahead of it
    icc          a colour profile
    comment      text, or bytes
    segments     written ahead of the picture, before exif, icc and comment; jfif() makes one,
                 segments() reads those of a file

    Baseline unless progressive; the device's encoder is average=False, optimize=False.
    """
    array = _shaped(pixels)
    channels = array.shape[2]
    if array.dtype != np.uint8 or channels not in (1, 3, 4):
        raise ValueError("a DCT picture has 1, 3 or 4 channels of uint8")
    if mode is None and channels == 4:
        raise ValueError('four channels: mode is "RGBA" or "CMYK"')
    if mode is not None and _CHANNELS.get(mode) != channels:
        raise ValueError(f"mode is one of {', '.join(_CHANNELS)} and fits the array's channels")
    if not 1 <= quality <= 100:
        raise ValueError("quality is 1 to 100")
    if sampling not in _SAMPLINGS:
        raise ValueError(f"sampling is one of {', '.join(_SAMPLINGS)}")
    _check_restart(restart)
    ahead = _ahead(segments, exif, icc, comment)
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
        _segments(handle, ahead)
        check(lib.jpgWriteFromRect(handle, byref(rect_of(array, channels, 8)), array.shape[0]))

    return _written(target, _options(average, optimize, progressive), encode)


@overload
def write_lossless(target: None, pixels: ArrayLike, *, bits: Optional[int] = ...,
                   predictor: int = ..., restart: int = ..., optimize: bool = ...,
                   exif: Optional[bytes] = ..., icc: Optional[bytes] = ...,
                   comment: Union[None, str, bytes] = ...,
                   segments: Iterable[AnySegment] = ...) -> bytes: ...


@overload
def write_lossless(target: Output, pixels: ArrayLike, *, bits: Optional[int] = ...,
                   predictor: int = ..., restart: int = ..., optimize: bool = ...,
                   exif: Optional[bytes] = ..., icc: Optional[bytes] = ...,
                   comment: Union[None, str, bytes] = ...,
                   segments: Iterable[AnySegment] = ...) -> None: ...


def write_lossless(target: Target, pixels: ArrayLike, *, bits: Optional[int] = None,
                   predictor: int = 1, restart: int = 0, optimize: bool = True,
                   exif: Optional[bytes] = None, icc: Optional[bytes] = None,
                   comment: Union[None, str, bytes] = None,
                   segments: Iterable[AnySegment] = ()) -> Optional[bytes]:
    """Writes a lossless picture.

    target     a path or a file object, or None for the stream as bytes
    pixels     uint8 or uint16, rows x columns or x 1 to 4 components, written as they are
    bits       2 to 16, precision that holds every sample; 8 or 16 unless told
    predictor  1 to 7 (T.81 table H.1)
    restart    lines of a restart interval, 0 = none; at most 65535 pixels
    optimize, exif, icc, comment, segments
               as for write()
    """
    array = _shaped(pixels)
    if array.dtype not in (np.uint8, np.uint16) or not 1 <= array.shape[2] <= 4:
        raise ValueError("a lossless picture has 1 to 4 channels of uint8 or uint16")
    depth = 8 * array.itemsize if bits is None else bits
    if not 2 <= depth <= 16 or int(array.max()) >> depth != 0:
        raise ValueError("bits is 2 to 16 and holds every sample")
    if not 1 <= predictor <= 7:
        raise ValueError("predictor is 1 to 7")
    interval = restart * array.shape[1]
    _check_restart(interval)
    array = np.ascontiguousarray(array, sample_type(depth))
    ahead = _ahead(segments, exif, icc, comment)

    def encode(handle: c_void_p) -> None:
        check(lib.jpgWriteSetSpatialPredictor(handle, predictor))
        check(lib.jpgWriteSetRestartInterval(handle, interval))
        _segments(handle, ahead)
        rect = rect_of(array, array.shape[2], depth)
        check(lib.jpgWriteSpatialFromRect(handle, byref(rect), array.shape[0]))

    return _written(target, _options(False, optimize, False), encode)


def _options(average: bool, optimize: bool, progressive: bool) -> int:
    chosen = ((average, _AVERAGE), (optimize, _OPTIMIZE), (progressive, _PROGRESSIVE))
    return sum(flag for told, flag in chosen if told) | (_MARK if any(t for t, _ in chosen) else 0)


def _check_restart(interval: int) -> None:
    if not 0 <= interval <= 65535:
        raise ValueError("a restart interval has 0 to 65535 units (MCUs; lossless: pixels)")


def _ahead(segments: Iterable[AnySegment], exif: Optional[bytes], icc: Optional[bytes],
           comment: Union[None, str, bytes]) -> List[Tuple[int, bytes]]:
    """The segments ahead of the picture, in their order, checked."""
    found = [(segment[0], bytes(segment[1])) for segment in segments]
    if exif is not None:
        found.append((0xFFE1, exif if exif[:6] == b"Exif\0\0" else b"Exif\0\0" + exif))
    if icc is not None:
        pieces = [icc[i:i + _ICC_BYTES] for i in range(0, len(icc), _ICC_BYTES)]
        if not 1 <= len(pieces) <= 255:
            raise ValueError("a colour profile has 1 to 16707345 bytes")
        found += [(0xFFE2, b"ICC_PROFILE\0" + bytes([i + 1, len(pieces)]) + piece)
                  for i, piece in enumerate(pieces)]
    if comment is not None:
        found.append((0xFFFE, comment.encode() if isinstance(comment, str) else comment))
    for marker, data in found:
        if not 0xFFC0 <= marker <= 0xFFFE or not 1 <= len(data) <= 65533:
            raise ValueError("a segment has a marker of 0xFFC0 to 0xFFFE and 1 to 65533 bytes")
    return found


def _shaped(pixels: ArrayLike) -> NDArray[Any]:
    array = np.asarray(pixels)
    if array.ndim == 2:
        array = array[:, :, np.newaxis]
    if array.ndim != 3 or not (1 <= array.shape[0] <= 65535 and 1 <= array.shape[1] <= 65535):
        raise ValueError("a picture is rows x columns x channels, 1 to 65535 each way")
    return np.ascontiguousarray(array)


def _segments(handle: c_void_p, segments: Iterable[Tuple[int, bytes]]) -> None:
    for marker, data in segments:
        check(lib.jpgWriteWriteMarkerSegment(handle, marker, data, len(data)))


def _written(target: Target, options: int, encode: Callable[[c_void_p], None]) -> Optional[bytes]:
    """The stream, or None when it went to a file, which is touched only once it is complete."""
    handle = c_void_p()
    check(lib.jpgWritePrologToMemory(options, byref(handle)))
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
