#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Marks a DLL that was linked for desktop Windows on ARM as one for the device.

mark.py DLL

Subsystem, versions and checksum of the optional header change; the code stays.
"""
import struct
import sys

import pe


def mark(image):
    optional = pe.optional_offset(image)
    machine, = struct.unpack_from("<H", image, pe.header_offset(image) + 4)
    magic, = struct.unpack_from("<H", image, optional)
    if machine != pe.MACHINE_ARMV7 or magic != pe.OPTIONAL_MAGIC:
        raise SystemExit("not a 32-bit ARM image")
    struct.pack_into("<H", image, optional + pe.SUBSYSTEM, pe.SUBSYSTEM_CE)
    for version in (pe.OS_VERSION, pe.SUBSYSTEM_VERSION_AT):
        struct.pack_into("<HH", image, optional + version, *pe.SUBSYSTEM_VERSION)
    pe.set_checksum(image)


def main():
    with open(sys.argv[1], "r+b") as file:
        image = bytearray(file.read())
        mark(image)
        file.seek(0)
        file.write(image)


if __name__ == "__main__":
    main()
