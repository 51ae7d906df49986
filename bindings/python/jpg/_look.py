# SPDX-License-Identifier: MIT
"""What a stream carries beside its picture."""

from __future__ import annotations

from typing import List, Optional

from ._exif import Exif, Segment, exif_of, icc_of, walk
from ._read import Source, bytes_of


def segments(source: Source) -> List[Segment]:
    """The marker segments up to the first scan, with their data and places."""
    return list(walk(bytes_of(source)))


def exif(source: Source) -> Optional[Exif]:
    """The Exif attributes; None without an Exif segment."""
    return exif_of(bytes_of(source))


def icc(source: Source) -> Optional[bytes]:
    """The colour profile; None without one."""
    return icc_of(bytes_of(source))
