# SPDX-License-Identifier: MIT
"""Numbers and helpers of the PE format that the device's build needs."""
import struct

MACHINE_ARM = 0x1C0       # ARM instructions, any core
MACHINE_ARMV7 = 0x1C4     # Thumb-2 instructions
OPTIONAL_MAGIC = 0x10B    # PE32
SUBSYSTEM_CE = 9          # Windows CE, graphical
SUBSYSTEM_VERSION = (3, 0)  # the oldest system that may load the image
OPTIONAL_SIZE = 224
DIRECTORIES = 16
EXPORT, IMPORT, BASE_RELOCATION, IMPORT_ADDRESSES = 0, 1, 5, 12

# Offsets in the optional header.
OS_VERSION, SUBSYSTEM_VERSION_AT, CHECKSUM, SUBSYSTEM = 40, 48, 64, 68


def align(value, step):
    return (value + step - 1) // step * step


def header_offset(image):
    """Where the PE signature stands."""
    return struct.unpack_from("<I", image, 0x3C)[0]


def optional_offset(image):
    return header_offset(image) + 24


def set_checksum(image):
    """Stores the checksum: a sum of 16-bit words with carry, plus the file's length."""
    at = optional_offset(image) + CHECKSUM
    struct.pack_into("<I", image, at, 0)
    total = 0
    padded = bytes(image) + bytes(len(image) % 2)
    for (word,) in struct.iter_unpack("<H", padded):
        total += word
        total = (total & 0xFFFF) + (total >> 16)
    struct.pack_into("<I", image, at, total + len(image))
