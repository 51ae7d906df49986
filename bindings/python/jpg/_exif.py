# SPDX-License-Identifier: MIT
"""Marker segments, Exif attributes and colour profiles, found without decoding."""

from __future__ import annotations

import struct
from fractions import Fraction
from typing import Any, Dict, Iterator, NamedTuple, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

#: A value of an entry: text, bytes, or numbers; a single number stands alone.
Value = Union[str, bytes, int, float, Fraction, Tuple[Any, ...]]


class Segment(NamedTuple):
    """A marker segment."""

    marker: int  #: 0xFFC0 to 0xFFFE
    data: bytes  #: without marker and length
    offset: int = 0  #: of the marker in the stream


class Exif(NamedTuple):
    """The attributes of a picture, by directory and tag."""

    directories: Dict[str, Dict[int, Value]]  #: "0th", "1st", "Exif", "GPS", "Interoperability"

    @property
    def orientation(self) -> int:
        """How to show the picture, 1 to 8; 1 as it is."""
        told = self.directories.get("0th", {}).get(274)
        return told if isinstance(told, int) and 1 <= told <= 8 else 1

    @property
    def date(self) -> Optional[str]:
        """When it was taken, "YYYY:MM:DD HH:MM:SS"."""
        told = (self.directories.get("Exif", {}).get(36867)
                or self.directories.get("0th", {}).get(306))
        return told if isinstance(told, str) else None

    @property
    def position(self) -> Optional[Tuple[float, float]]:
        """Latitude and longitude in degrees, negative in the south and west."""
        gps = self.directories.get("GPS", {})
        found = _degrees(gps, 2, 1, "S"), _degrees(gps, 4, 3, "W")
        return None if found[0] is None or found[1] is None else (found[0], found[1])


def _degrees(gps: Dict[int, Value], tag: int, reference: int, negative: str) -> Optional[float]:
    parts, side = gps.get(tag), gps.get(reference)
    if not isinstance(parts, tuple) or len(parts) != 3 or not isinstance(side, str):
        return None
    if not all(isinstance(part, (Fraction, int)) for part in parts):
        return None
    angle = float(parts[0]) + float(parts[1]) / 60 + float(parts[2]) / 3600
    return -angle if side == negative else angle


def walk(data: NDArray[np.uint8]) -> Iterator[Segment]:
    """The segments up to the first scan; bytes between them that are no marker are passed over."""
    stream = data.data
    if bytes(stream[:2]) != b"\xff\xd8":
        return
    at = 2
    while at + 4 <= len(stream):
        marker = stream[at] << 8 | stream[at + 1]
        length = stream[at + 2] << 8 | stream[at + 3]
        if marker < 0xFFC0 or marker == 0xFFFF or 0xFFD0 <= marker <= 0xFFD9 or length < 2:
            if marker == 0xFFD9:
                return
            at += 1
            continue
        yield Segment(marker, bytes(stream[at + 4:at + 2 + length]), at)
        if marker == 0xFFDA:
            return
        at += 2 + length


_SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8}
_LETTERS = {1: "B", 3: "H", 4: "I", 6: "b", 8: "h", 9: "i", 11: "f", 12: "d"}


class _Tiff:
    """A TIFF structure; what lies outside counts as missing."""

    def __init__(self, data: bytes) -> None:
        self.data = data
        self.order = ">" if data[:1] == b"M" else "<"

    def number(self, letter: str, at: int) -> int:
        size = struct.calcsize(letter)
        if at < 0 or at + size > len(self.data):
            return 0
        return int(struct.unpack_from(self.order + letter, self.data, at)[0])

    def directory(self, at: int) -> Tuple[Dict[int, Value], int]:
        """Its entries, and where the next one begins; 0 without one."""
        entries: Dict[int, Value] = {}
        if at <= 0:
            return entries, 0
        count = min(self.number("H", at), max(0, (len(self.data) - at - 2) // 12))
        for entry in range(at + 2, at + 2 + 12 * count, 12):
            value = self.value(entry)
            if value is not None:
                entries.setdefault(self.number("H", entry), value)
        return entries, self.number("I", at + 2 + 12 * count)

    def value(self, entry: int) -> Optional[Value]:
        kind, count = self.number("H", entry + 2), self.number("I", entry + 4)
        size = _SIZES.get(kind, 0) * count
        at = entry + 8 if size <= 4 else self.number("I", entry + 8)
        if kind not in _SIZES or size == 0 or at + size > len(self.data):
            return None
        data = self.data[at:at + size]
        if kind == 7:
            return data
        if kind == 2:
            return data.split(b"\0", 1)[0].decode("utf-8", "replace")
        if kind in (5, 10):
            parts = struct.unpack(self.order + str(2 * count) + ("I" if kind == 5 else "i"), data)
            pairs = zip(parts[::2], parts[1::2])
            numbers: Tuple[Any, ...] = tuple(Fraction(a, b) if b else float("nan")
                                             for a, b in pairs)
        else:
            numbers = struct.unpack(self.order + str(count) + _LETTERS[kind], data)
        return numbers[0] if count == 1 else numbers


def exif_of(data: NDArray[np.uint8]) -> Optional[Exif]:
    """The attributes of a stream; None without an Exif segment."""
    for segment in walk(data):
        if segment.marker == 0xFFE1 and segment.data[:5] == b"Exif\0":
            return _parsed(_Tiff(segment.data[6:]))
    return None


def _parsed(tiff: _Tiff) -> Exif:
    directories: Dict[str, Dict[int, Value]] = {}

    def take(name: str, at: Any) -> int:
        entries, following = tiff.directory(at if isinstance(at, int) else 0)
        if entries:
            directories[name] = entries
        return following

    take("1st", take("0th", tiff.number("I", 4)))
    zeroth = directories.get("0th", {})
    take("Exif", zeroth.get(34665))
    take("GPS", zeroth.get(34853))
    take("Interoperability", directories.get("Exif", {}).get(40965))
    return Exif(directories)


def orientation_of(data: NDArray[np.uint8]) -> int:
    """How to show the picture, 1 to 8."""
    found = exif_of(data)
    return 1 if found is None else found.orientation


def icc_of(data: NDArray[np.uint8]) -> Optional[bytes]:
    """The colour profile; None without a whole one."""
    pieces: Dict[int, bytes] = {}
    count = 0
    for segment in walk(data):
        if segment.marker == 0xFFE2 and segment.data[:12] == b"ICC_PROFILE\0":
            if len(segment.data) > 14:
                pieces[segment.data[12]] = segment.data[14:]
                count = segment.data[13]
    if count == 0 or sorted(pieces) != list(range(1, count + 1)):
        return None
    return b"".join(pieces[i] for i in range(1, count + 1))
