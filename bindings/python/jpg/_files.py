"""Output files that take their name only when they are complete."""

from __future__ import annotations

import os
import stat
import tempfile
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
    try:
        handle, temporary = tempfile.mkstemp(prefix=".jpg-", dir=os.path.dirname(name) or ".")
    except OSError as error:
        raise type(error)(error.errno, error.strerror, told) from None
    try:
        with open(handle, "wb") as file:
            file.write(data)
        os.chmod(temporary, _usual_mode() if mode is None else mode)
        os.replace(temporary, name)
    except BaseException:
        os.unlink(temporary)
        raise


def _usual_mode() -> int:
    mask = os.umask(0)
    os.umask(mask)
    return 0o666 & ~mask
