# SPDX-License-Identifier: MIT
"""Reading: headers, whole pictures, bands, scans, thumbnails."""

from __future__ import annotations

import os
import re
import warnings
from ctypes import byref, c_uint16, c_uint32, c_void_p
from types import TracebackType
from typing import (Any, BinaryIO, Iterator, Literal, NamedTuple, Optional, Tuple, Type, Union,
                    overload)

import numpy as np
from numpy.typing import NDArray

from ._exif import orientation_of
from ._library import (E_DAMAGED, E_UNSUPPORTED, NO_DATA, OK, BitmapInfo, DamageWarning, JpgError,
                       Rect, Samples, check, lib, rect_of, sample_type, swap_order)

Pixels = NDArray[Any]
#: A path, the stream itself in anything with the buffer interface, or a file object.
Source = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, NDArray[np.uint8], BinaryIO]
#: What a pixel consists of.
Mode = Literal["RGB", "BGR", "L", "raw"]
_Plane = Tuple[int, int]
_Planes = Tuple[int, int, int]
#: Rows x columns. Lossless pictures above 8 bits have uint16 in every mode, all others uint8.
Grey = Union[np.ndarray[_Plane, np.dtype[np.uint8]], np.ndarray[_Plane, np.dtype[np.uint16]]]
#: Rows x columns x 3, of the same types.
Colour = Union[np.ndarray[_Planes, np.dtype[np.uint8]], np.ndarray[_Planes, np.dtype[np.uint16]]]

_PROCESSES = {0x8000: "baseline", 0x4000: "extended", 0x2000: "progressive", 0x1000: "lossless"}
_SCALES = {8: 0, 4: 1, 2: 2, 1: 3}
_COMPLETE = 4
#: A more exact inverse transform, interpolated chroma, and whatever can be opened.
_USUAL = _COMPLETE | 0x4A500100 | 0x4A500200 | 0x4A500400
#: Limit on width times height, unless told otherwise.
MAX_PIXELS = 500_000_000
#: Rows that are decoded at a time: their pixels are turned to red first while they are in the cache.
_CHUNK = 64
_ALL_SCANS, _NEXT_SCAN = 0, 1


class Info(NamedTuple):
    """What the frame header says."""

    process: str  #: baseline, extended, progressive or lossless
    width: int  #: pixels
    height: int  #: rows; if the header leaves them open, by the DNL segment behind the scan
    components: int  #: 1 to 4
    precision: int  #: bits a sample


class Band(NamedTuple):
    """Rows of a picture."""

    top: int  #: row of the picture that the first one is
    pixels: Samples  #: the rows


_SOS = 0xFFDA
_SEGMENT_FIRST, _SEGMENT_NEXT = 0, 1

#: A marker in coded data other than those between restart intervals.
_BEHIND_SCAN = re.compile(rb"\xff[^\x00\xd0-\xd7]")


def _coded_data(handle: c_void_p) -> int:
    """Where in the stream the coded data of the first scan begin. Moves the handle's place; the
    first decode call goes back by itself."""
    marker, length = c_uint16(), c_uint32()
    at, mode = 2, _SEGMENT_FIRST
    while marker.value != _SOS:
        check(lib.jpgReadSeekMarkerSegment(handle, mode, byref(marker), byref(length)))
        stands_alone = 0xFFD0 <= marker.value <= 0xFFD9
        at += 2 if stands_alone else 4 + length.value
        mode = _SEGMENT_NEXT
    return at


def _lines_of_dnl(data: Union[bytes, memoryview]) -> int:
    """The number of lines in a DNL segment behind coded data (T.81 B.2.5), 0 without one."""
    found = _BEHIND_SCAN.search(data)
    segment = bytes(data[found.start():found.start() + 6]) if found else b""
    told = len(segment) == 6 and segment[1:4] == b"\xdc\0\4"
    return int.from_bytes(segment[4:], "big") if told else 0


def bytes_of(source: Source) -> NDArray[np.uint8]:
    """The stream. Errors of the system are raised as they come, with the file's name."""
    if isinstance(source, (str, os.PathLike)):
        with open(source, "rb") as file:
            data = np.frombuffer(file.read(), np.uint8)
    elif hasattr(source, "read"):
        data = np.frombuffer(source.read(), np.uint8)
    else:
        data = np.frombuffer(source, np.uint8)
    if data.size > 0x7FFFFFFF:
        raise ValueError("a stream has less than 2 GiB")
    if data.size == 0:
        raise ValueError("an empty stream")
    return data


class _Reader:
    """A read handle; closes itself."""

    def __init__(self, source: Source, complete: bool, components: bool,
                 strict: bool = True) -> None:
        self.handle = c_void_p()
        self.data = bytes_of(source)  # lives as long as the handle
        self.strict = strict
        flags = _USUAL if not strict else _COMPLETE if complete else 0
        check(lib.jpgReadPrologFromMemory(self.data.ctypes.data, self.data.size, flags,
                                          byref(self.handle)))
        try:
            self.info = self._info()
            #: The library doesn't know the height before the rows are decoded.
            self.open_height = self.info.height == 0
            if self.open_height and self.info.process != "progressive":
                height = _lines_of_dnl(self.data.data[_coded_data(self.handle):])
                self.info = self.info._replace(height=height)
            if components:
                check(lib.jpgReadSetNoColorConversion(self.handle))
        except BaseException:
            self.close()
            raise
        self.raw = components or self.info.process == "lossless"
        self.channels = self.info.components if self.raw else 1 if self.info.components < 3 else 3
        self.bits = self.info.precision if self.info.process == "lossless" else 8

    def _info(self) -> Info:
        values = [c_uint32() for _ in range(5)]
        check(lib.jpgReadGetCodingProcess(self.handle, byref(values[0])))
        check(lib.jpgReadGetImageSize(self.handle, byref(values[1]), byref(values[2])))
        check(lib.jpgReadGetNumberOfChannels(self.handle, byref(values[3])))
        check(lib.jpgReadGetSamplePrecision(self.handle, byref(values[4])))
        process, *numbers = (value.value for value in values)
        return Info(_PROCESSES[process], *numbers)

    def close(self) -> None:
        if self.handle:
            lib.jpgReadEpilog(self.handle)
            self.handle = c_void_p()

    def __enter__(self) -> "_Reader":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def size(self, scale: int) -> tuple[int, int]:
        """Width and height of the output; the height must be known."""
        if scale not in _SCALES:
            raise ValueError("scale is 1, 2, 4 or 8")
        width, height = self.info.width, self.info.height
        if scale != 1:
            out = c_uint32(), c_uint32()
            check(lib.jpgReadScaleOutputGetImageSize(self.handle, byref(out[0]), byref(out[1]),
                                                     _SCALES[scale]))
            width, height = out[0].value, out[1].value
        if height == 0:
            raise JpgError(E_UNSUPPORTED)
        return width, height

    def rows(self, width: int, height: int) -> Pixels:
        """Rows of black."""
        try:
            return np.zeros((height, width, self.channels), sample_type(self.bits))
        except MemoryError:
            raise MemoryError(f"a picture of {width} x {height} pixels") from None

    def rect(self, pixels: Pixels, rows: int, scale: int) -> Rect:
        """Describes an array to the library for so many rows of this picture.

        The library trusts the description and stores what the file holds: an array of another
        width, other channels or other samples would be overrun, so it is refused here.
        """
        width, height = self.size(scale)
        # Unless it stores the last row, the lossless decoder reads the row behind those it stores.
        spare = self.info.process == "lossless" and not self.open_height and rows < height
        kind = sample_type(self.bits)
        if pixels.ndim != 3 or pixels.shape[1:] != (width, self.channels) or pixels.dtype != kind:
            raise ValueError(f"the picture has rows of {width} x {self.channels} {kind}, the array "
                             f"is {' x '.join(map(str, pixels.shape))} {pixels.dtype}")
        if pixels.shape[0] < rows + spare or not pixels.flags.carray:
            raise ValueError(f"the array must hold {rows + spare} rows in one piece, not read-only")
        return rect_of(pixels, self.channels, self.bits)

    def decode(self, pixels: Pixels, rows: int, scale: int) -> int:
        """Decodes the next rows; returns the library's code."""
        rect = self.rect(pixels, rows, scale)
        process = self.info.process
        if scale != 1:
            code = lib.jpgReadScaleOutputToRect(self.handle, byref(rect), rows, _SCALES[scale])
        elif process == "lossless" and self.open_height:
            return self._decode_row_by_row(rect, rows)
        elif process == "lossless":
            code = lib.jpgReadSpatialToRect(self.handle, byref(rect), rows)
        elif process == "progressive":
            code = lib.jpgReadProgressiveToRect(self.handle, byref(rect), rows, _ALL_SCANS)
        else:
            code = lib.jpgReadToRect(self.handle, byref(rect), rows)
        return int(code)

    def keep_row(self, row: Pixels) -> None:
        """Gives the lossless decoder the row from which it predicts the next one."""
        check(lib.jpgReadSpatialToRect(self.handle, byref(self.rect(row, 1, 1)), 0))

    def next_scan(self, pixels: Pixels) -> int:
        """Decodes one more scan of a progressive picture, then all rows; returns the code."""
        rows = self.size(1)[1]
        rect = self.rect(pixels, rows, 1)
        return int(lib.jpgReadProgressiveToRect(self.handle, byref(rect), rows, _NEXT_SCAN))

    def _decode_row_by_row(self, rect: Rect, rows: int) -> int:
        """While the library doesn't know the height, a call delivers one row and saves it."""
        for row in range(rows):
            code = int(lib.jpgReadSpatialToRect(self.handle, byref(rect), 1))
            if code != OK:
                return code
            rect.bits += rect.stride
        return OK

    def decode_all(self, pixels: Pixels, rows: int, scale: int) -> int:
        """Decodes so many rows as red, green, blue where they are colours; returns the code."""
        swapped = self.channels == 3 and not self.raw
        if not swapped or (self.info.process == "progressive" and scale == 1):
            code = self.decode(pixels, rows, scale)
            if swapped:
                swap_order(pixels[:rows])
            return code
        damage = OK
        for top in range(0, rows, _CHUNK):
            count = min(_CHUNK, rows - top)
            code = self.decode(pixels[top:], count, scale)
            swap_order(pixels[top:top + count])
            if code not in (OK, E_DAMAGED):
                return code
            damage = code if code != OK else damage
        return damage

    def shaped(self, pixels: Pixels) -> Pixels:
        """Removes the axis of the single channel of grey."""
        return pixels[:, :, 0] if self.channels == 1 else pixels


def info(source: Source, *, complete: bool = False, strict: bool = False) -> Info:
    """Reads the frame header."""
    with _Reader(source, complete, False, strict) as reader:
        return reader.info


@overload
def read(source: Source, *, scale: int = ..., rows: Optional[Tuple[int, int]] = ...,
         mode: Literal["RGB", "BGR"], orient: bool = ..., strict: bool = ...,
         max_pixels: int = ..., components: bool = ..., complete: bool = ...) -> Colour: ...


@overload
def read(source: Source, *, scale: int = ..., rows: Optional[Tuple[int, int]] = ...,
         mode: Literal["L"], orient: bool = ..., strict: bool = ...,
         max_pixels: int = ..., components: bool = ..., complete: bool = ...) -> Grey: ...


@overload
def read(source: Source, *, scale: int = ..., rows: Optional[Tuple[int, int]] = ...,
         mode: Optional[Mode] = ..., orient: bool = ..., strict: bool = ...,
         max_pixels: int = ..., components: bool = ..., complete: bool = ...) -> Samples: ...


def read(source: Source, *, scale: int = 1, rows: Optional[Tuple[int, int]] = None,
         mode: Optional[Mode] = None, orient: bool = True, strict: bool = False,
         max_pixels: int = MAX_PIXELS, components: bool = False, complete: bool = False) -> Samples:
    """Decodes a picture: sequential, progressive or lossless.

    source      a path, the stream itself, or a file object
    scale       1, 2, 4 or 8: at 1/scale of the size
    rows        (first, end): only these rows of the picture as it is stored, which isn't turned
    mode        "RGB", "BGR" or "L" (luminance) for any picture, "raw" for the components as they
                are coded; without it colour is RGB, and grey has no third axis
    orient      turns the picture as Exif says
    strict      the device's decoder: its bits, and no file that it refuses
    max_pixels  refuses pictures whose header asks for more, width times height (ValueError)
    components  the same as mode="raw"
    complete    with strict: an end marker need not be there

    Gives rows x columns (grey) or rows x columns x channels. DCT pictures: uint8. Lossless
    pictures: the components in order, uint16 above 8 bits in every mode. Damage that could be passed over is a
    DamageWarning; other damage raises JpgError, whose `partial` is what came before.
    """
    raw = components or mode == "raw"
    with _Reader(source, complete, raw, strict) as reader:
        stored = reader.info
        if stored.width * stored.height > max_pixels:
            raise ValueError(f"a picture of {stored.width} x {stored.height} pixels; "
                             f"max_pixels is {max_pixels}")
        pixels = _decoded(reader, scale, rows)
        orientation = orientation_of(reader.data) if orient and rows is None else 1
    return _turned(_as_mode(pixels, mode), orientation)


def _decoded(reader: _Reader, scale: int, rows: Optional[Tuple[int, int]]) -> Pixels:
    processes = ("baseline", "extended", *(() if reader.strict else ("progressive",)))
    by_library = scale == 1 or (reader.info.process in processes
                                and not reader.open_height and not reader.raw)
    if scale not in _SCALES:
        raise ValueError("scale is 1, 2, 4 or 8")
    width, height = reader.size(scale if by_library else 1)
    pixels = reader.rows(width, height)
    code = reader.decode_all(pixels, height, scale if by_library else 1)
    if code == E_DAMAGED:
        warnings.warn("the picture is damaged; some rows are guessed", DamageWarning, stacklevel=4)
    elif code != OK:
        raise JpgError(code, reader.shaped(pixels))
    if not by_library:
        pixels = _reduced(pixels, scale)
    if rows is not None:
        first, end = rows
        if not 0 <= first < end or first >= len(pixels):
            raise ValueError(f"rows are (first, end) of {len(pixels)} rows")
        pixels = pixels[first:end].copy()
    return reader.shaped(pixels)


def _reduced(pixels: Pixels, scale: int) -> Pixels:
    """Means of squares of pixels; at the right and lower edge of what there is of them."""
    starts = np.arange(0, pixels.shape[0], scale), np.arange(0, pixels.shape[1], scale)
    sums = np.add.reduceat(np.add.reduceat(pixels.astype(np.uint32), starts[0], 0), starts[1], 1)
    counts = np.outer(*(np.diff(np.append(s, n)) for s, n in zip(starts, pixels.shape)))
    counts = counts[:, :, np.newaxis].astype(np.uint32)
    means: Pixels = ((sums + counts // 2) // counts).astype(pixels.dtype)
    return means


def _as_mode(pixels: Pixels, mode: Optional[Mode]) -> Pixels:
    if mode is None or mode == "raw":
        return pixels
    if mode not in ("RGB", "BGR", "L"):
        raise ValueError('mode is "RGB", "BGR", "L" or "raw"')
    if pixels.ndim == 2:
        return pixels if mode == "L" else np.repeat(pixels[:, :, np.newaxis], 3, 2)
    if pixels.shape[2] != 3:
        raise ValueError(f"a picture of {pixels.shape[2]} components: mode is \"raw\"")
    if mode == "BGR" and pixels.dtype == np.uint8:
        swap_order(pixels)
    elif mode == "BGR":
        pixels = np.ascontiguousarray(pixels[:, :, ::-1])
    elif mode == "L":  # T.871
        weighed = pixels.astype(np.uint32) @ np.array([299, 587, 114], np.uint32)
        grey: Pixels = ((weighed + 500) // 1000).astype(pixels.dtype)
        return grey
    return pixels


def _turned(pixels: Pixels, orientation: int) -> Pixels:
    if orientation == 1:
        return pixels
    if orientation >= 5:
        pixels = pixels.swapaxes(0, 1)
    if orientation in (2, 3, 6, 7):
        pixels = pixels[:, ::-1]
    if orientation in (3, 4, 7, 8):
        pixels = pixels[::-1]
    return np.ascontiguousarray(pixels)


def read_scaled(source: Source, scale: int, *, complete: bool = False,
                strict: bool = False) -> Samples:
    """Decodes a picture as it is stored, at 1/scale of its size; scale is 1, 2, 4 or 8."""
    return read(source, scale=scale, complete=complete, strict=strict, orient=False)


def read_bands(source: Source, rows: int = 256, *, scale: int = 1, components: bool = False,
               complete: bool = False, strict: bool = False) -> Iterator[Band]:
    """Decodes a picture band by band, in the memory of one band.

    rows   rows of a band, rounded up to a multiple of 16
    scale  1, 2, 4 or 8; above 1 not for lossless pictures, with strict only for sequential ones

    The pixels of each band are an array of its own. Progressive pictures keep their
    coefficients in memory.
    """
    if rows < 1:
        raise ValueError("rows is at least 1")
    band_rows = min((rows + 15) // 16 * 16, 65536)
    with _Reader(source, complete, components, strict) as reader:
        width, height = reader.size(scale)
        lossless = reader.info.process == "lossless" and scale == 1
        for top in range(0, height, band_rows):
            count = min(band_rows, height - top)
            # The lossless decoder reads the row behind its last one.
            pixels = reader.rows(width, count + 1)
            code = reader.decode_all(pixels, count, scale)
            check(OK if code == E_DAMAGED else code)
            if lossless and top + count < height:
                reader.keep_row(pixels[count - 1:])
            yield Band(top, reader.shaped(pixels[:count]))


def read_scans(source: Source, *, complete: bool = False,
               strict: bool = False) -> Iterator[NDArray[np.uint8]]:
    """Decodes a progressive picture scan by scan: yields the whole picture after each scan."""
    with _Reader(source, complete, False, strict) as reader:
        width, height = reader.size(1)
        pixels = reader.rows(width, height)
        while True:
            code = reader.next_scan(pixels)
            if code == NO_DATA:
                return
            shown = pixels.copy()
            if reader.channels == 3:
                swap_order(shown)
            if code not in (OK, E_DAMAGED):
                raise JpgError(code, reader.shaped(shown))
            yield reader.shaped(shown)


def thumbnail(source: Source, *, complete: bool = False,
              strict: bool = False) -> NDArray[np.uint8]:
    """Decodes the thumbnail of the Exif segment: rows x columns x 3 (red, green, blue) or,
    for a grey one, rows x columns."""
    attributes = c_void_p()
    with _Reader(source, complete, False, strict) as reader:
        check(lib.jpgReadExifReadAttributeProlog(reader.handle, byref(attributes)))
    try:
        return _thumbnail(attributes, 24)
    except JpgError as error:
        if error.code != E_UNSUPPORTED:
            raise
        return _thumbnail(attributes, 8)  # grey can't be read at 24 bits
    finally:
        lib.jpgReadExifReadAttributeEpilog(attributes)


def _thumbnail(attributes: c_void_p, depth: int) -> NDArray[np.uint8]:
    bmi = BitmapInfo(biSize=40, biBitCount=depth)
    check(lib.jpgExifReadThumbnailToWinDIBits(attributes, None, byref(bmi)))
    if bmi.biWidth < 1 or bmi.biHeight < 1:
        raise JpgError(E_UNSUPPORTED)  # a size of 0, or one too large for a bitmap
    channels = depth // 8
    stride = (bmi.biWidth * channels + 3) // 4 * 4
    rows = np.zeros((bmi.biHeight, stride), np.uint8)
    code = lib.jpgExifReadThumbnailToWinDIBits(attributes, rows.ctypes.data, byref(bmi))
    check(OK if code == E_DAMAGED else code)
    rows = rows[::-1, :bmi.biWidth * channels]  # bitmaps are bottom-up
    if channels == 1:
        return np.ascontiguousarray(rows)
    return np.ascontiguousarray(rows.reshape(bmi.biHeight, bmi.biWidth, 3)[:, :, ::-1])


#: The earlier name.
exif_thumbnail = thumbnail
