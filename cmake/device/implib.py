#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Turns an import library for ARMv7 into one for any ARM.

implib.py LIBRARY

llvm-dlltool makes libraries for ARMv7 alone. Their members hold no code (the program's
linker makes the thunks) and the same relocation numbers on both machines, so that the
machine's number is all that differs.
"""
import struct
import sys

import pe

MAGIC = b"!<arch>\n"
HEADER_SIZE, SIZE_AT = 60, 48
SYMBOLS = b"/               "     # the archive's own member
SHORT_IMPORT = b"\0\0\xff\xff"  # begins an import; anything else is an object file


def convert(library):
    if library[:8] != MAGIC:
        raise SystemExit("not a library")
    members, at = 0, len(MAGIC)
    while at < len(library):
        size = int(library[at + SIZE_AT:at + SIZE_AT + 10])
        body = at + HEADER_SIZE
        if library[at:at + 16] != SYMBOLS:
            place = body + 6 if library[body:body + 4] == SHORT_IMPORT else body
            machine, = struct.unpack_from("<H", library, place)
            if machine != pe.MACHINE_ARMV7:
                raise SystemExit(f"a member for machine {machine:#x}")
            struct.pack_into("<H", library, place, pe.MACHINE_ARM)
            members += 1
        at = pe.align(body + size, 2)
    return members


def main():
    with open(sys.argv[1], "r+b") as file:
        library = bytearray(file.read())
        if convert(library) == 0:
            raise SystemExit("an empty library")
        file.seek(0)
        file.write(library)


if __name__ == "__main__":
    main()
