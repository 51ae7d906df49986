# SPDX-License-Identifier: MIT
"""Output files that take their name only when they are complete."""

from __future__ import annotations

import os
import stat
import threading
from typing import Union


def save(path: Union[str, bytes], data: bytes) -> None:
    """Writes a whole file by way of a temporary one beside it, so that after a failure a file of
    that name is what it was. Devices and pipes are written straight."""
    name = os.fsdecode(path)
    try:
        mode = os.stat(name).st_mode
    except FileNotFoundError:
        mode = 0
    if mode != 0 and not stat.S_ISREG(mode):
        with open(name, "wb") as file:
            file.write(data)
        return
    if mode != 0 and not os.access(name, os.W_OK):
        open(name, "r+b").close()  # raises what there is to say
    _replace(os.path.realpath(name), data, stat.S_IMODE(mode) if mode != 0 else None, name)


def _replace(name: str, data: bytes, mode: Union[int, None], told: str) -> None:
    temporary = os.path.join(os.path.dirname(name), f".jpg-{os.getpid()}-{threading.get_ident()}")
    try:
        # As open() does, but never over another file.
        flags = os.O_WRONLY | os.O_CREAT | os.O_EXCL | getattr(os, "O_BINARY", 0)
        handle = os.open(temporary, flags, 0o666)
    except OSError as error:
        raise type(error)(error.errno, error.strerror, told) from None
    try:
        with open(handle, "wb") as file:
            file.write(data)
        if mode is not None:
            os.chmod(temporary, mode)
        os.replace(temporary, name)
    except BaseException:
        os.unlink(temporary)
        raise
