"""Reading: headers, whole pictures, bands, scans, thumbnails."""

from __future__ import annotations

import os
import re
from ctypes import byref, c_uint16, c_uint32, c_void_p
from types import TracebackType
from typing import Any, Iterator, NamedTuple, Optional, Type, Union

import numpy as np
from numpy.typing import NDArray

from ._library import (E_UNSUPPORTED, NO_DATA, OK, BitmapInfo, JpgError, Rect, check, lib,
                       path_units, rect_of, sample_type)

Pixels = NDArray[Any]
#: A path, or the stream itself in anything with the buffer interface.
Source = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, NDArray[np.uint8]]

_PROCESSES = {0x8000: "baseline", 0x4000: "extended", 0x2000: "progressive", 0x1000: "lossless"}
_SCALES = {8: 0, 4: 1, 2: 2, 1: 3}
_COMPLETE = 4
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
    pixels: Pixels  #: the rows


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


class _Reader:
    """A read handle; closes itself."""

    def __init__(self, source: Source, complete: bool, components: bool) -> None:
        self.handle = c_void_p()
        self._open(source, _COMPLETE if complete else 0)
        try:
            self.info = self._info()
            #: The library doesn't know the height before the rows are decoded.
            self.open_height = self.info.height == 0
            if self.open_height and self.info.process != "progressive":
                self.info = self.info._replace(height=self._told_height(source))
            if components:
                check(lib.jpgReadSetNoColorConversion(self.handle))
        except BaseException:
            self.close()
            raise
        self.raw = components or self.info.process == "lossless"
        self.channels = self.info.components if self.raw else 1 if self.info.components < 3 else 3
        self.bits = self.info.precision if self.info.process == "lossless" else 8

    def _open(self, source: Source, flags: int) -> None:
        if isinstance(source, (str, os.PathLike)):
            path = path_units(os.fspath(source))
            check(lib.jpgReadPrologFromFile(path, 0, 0, flags, byref(self.handle)))
            return
        self._data = np.frombuffer(source, np.uint8)  # lives as long as the handle
        size = self._data.size
        if size > 0x7FFFFFFF:
            raise ValueError("a stream in memory has less than 2 GiB")
        if size == 0:
            raise ValueError("an empty stream")
        check(lib.jpgReadPrologFromMemory(self._data.ctypes.data, size, flags, byref(self.handle)))

    def _told_height(self, source: Source) -> int:
        at = _coded_data(self.handle)
        if not isinstance(source, (str, os.PathLike)):
            return _lines_of_dnl(self._data.data[at:])
        with open(source, "rb") as file:
            file.seek(at)
            return _lines_of_dnl(file.read())

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

    def shaped(self, pixels: Pixels) -> Pixels:
        """Puts red first, and removes the axis of the single channel of grey."""
        if self.channels == 1:
            return pixels[:, :, 0]
        if self.raw:
            return pixels
        return np.ascontiguousarray(pixels[:, :, ::-1])


def info(source: Source, *, complete: bool = False) -> Info:
    """Reads the frame header."""
    with _Reader(source, complete, False) as reader:
        return reader.info


def read(source: Source, *, components: bool = False, complete: bool = False) -> Pixels:
    """Decodes a picture: sequential, progressive or lossless.

    source      a path or the stream itself
    components  the components as they are coded, without conversion to RGB
    complete    an end marker need not be there

    Gives rows x columns (grey) or rows x columns x channels. DCT pictures: uint8, red,
    green, blue. Lossless pictures: the components in order, uint16 above 8 bits. Damaged
    data raise JpgError, whose `partial` is what came before.
    """
    return _whole(source, 1, components, complete)


def read_scaled(source: Source, scale: int, *, complete: bool = False) -> Pixels:
    """Decodes a sequential DCT picture at 1/scale of its size; scale is 1, 2, 4 or 8."""
    return _whole(source, scale, False, complete)


def _whole(source: Source, scale: int, components: bool, complete: bool) -> Pixels:
    with _Reader(source, complete, components) as reader:
        width, height = reader.size(scale)
        pixels = reader.rows(width, height)
        code = reader.decode(pixels, height, scale)
        if code != OK:
            raise JpgError(code, reader.shaped(pixels))
        return reader.shaped(pixels)


def read_bands(source: Source, rows: int = 256, *, scale: int = 1, components: bool = False,
               complete: bool = False) -> Iterator[Band]:
    """Decodes a picture band by band, in the memory of one band.

    rows   rows of a band, rounded up to a multiple of 16
    scale  1, 2, 4 or 8; above 1 for sequential DCT pictures only

    The pixels of each band are an array of its own. Progressive pictures keep their
    coefficients in memory.
    """
    if rows < 1:
        raise ValueError("rows is at least 1")
    band_rows = min((rows + 15) // 16 * 16, 65536)
    with _Reader(source, complete, components) as reader:
        width, height = reader.size(scale)
        lossless = reader.info.process == "lossless" and scale == 1
        for top in range(0, height, band_rows):
            count = min(band_rows, height - top)
            # The lossless decoder reads the row behind its last one.
            pixels = reader.rows(width, count + 1)
            check(reader.decode(pixels, count, scale))
            if lossless and top + count < height:
                reader.keep_row(pixels[count - 1:])
            yield Band(top, reader.shaped(pixels[:count]))


def read_scans(source: Source, *, complete: bool = False) -> Iterator[Pixels]:
    """Decodes a progressive picture scan by scan: yields the whole picture after each scan."""
    with _Reader(source, complete, False) as reader:
        width, height = reader.size(1)
        pixels = reader.rows(width, height)
        while True:
            code = reader.next_scan(pixels)
            if code == NO_DATA:
                return
            if code != OK:
                raise JpgError(code, reader.shaped(pixels))
            yield reader.shaped(pixels).copy()


def exif_thumbnail(source: Source, *, complete: bool = False) -> NDArray[np.uint8]:
    """Decodes the thumbnail of the Exif segment: rows x columns x 3 (red, green, blue) or,
    for a grey one, rows x columns."""
    attributes = c_void_p()
    with _Reader(source, complete, False) as reader:
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
    check(lib.jpgExifReadThumbnailToWinDIBits(attributes, rows.ctypes.data, byref(bmi)))
    rows = rows[::-1, :bmi.biWidth * channels]  # bitmaps are bottom-up
    if channels == 1:
        return np.ascontiguousarray(rows)
    return np.ascontiguousarray(rows.reshape(bmi.biHeight, bmi.biWidth, 3)[:, :, ::-1])
