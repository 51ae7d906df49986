#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the device's DLL from an ELF image linked at address 0.

elf2pe.py ELF DEF DLL

The image must keep its relocations (--emit-relocs) and come from jpg.ld: its addresses
are then offsets from the image's base, and its sections become the DLL's as they are,
moved by the base that is written into the headers. What is added:

- .edata, the export table: the names of the .def file, undecorated, in its order
  (which must be the sorted one, since the system searches by bisection);
- .reloc, the base relocations: one for each absolute address that the linker stored.

The output depends on the input alone: there are no dates and no paths in it.
"""
import struct
import sys

import pe

# No compiler makes an ARM instruction that looks like an address there, so that a check can
# tell one from the other. The system moves the image anyway.
IMAGE_BASE = 0x0E000000
SECTION_ALIGNMENT = 0x1000
FILE_ALIGNMENT = 0x200
STACK_RESERVE = 0x10000

ELF_ARM, SHT_PROGBITS, SHT_SYMTAB, SHT_REL, SHF_ALLOC = 40, 1, 2, 9, 2
SHN_UNDEFINED, SHN_FIRST_RESERVED = 0, 0xFF00

ABSOLUTE = {2}                 # R_ARM_ABS32
RELATIVE = {0, 3, 28, 29, 40}  # NONE, REL32, CALL, JUMP24, V4BX: the same at any base
OFFSETS_ONLY = ".idata"        # holds offsets from the base, not addresses

CODE, DATA = 0x60000020, 0x40000040  # executable; initialised data, readable
WRITABLE, DISCARDABLE = 0x80000000, 0x02000000
CHARACTERISTICS = {".text": CODE, ".rdata": DATA, ".data": DATA | WRITABLE,
                   ".idata": DATA | WRITABLE, ".edata": DATA, ".reloc": DATA | DISCARDABLE}


class Elf:
    """Sections, symbols and relocations of a 32-bit little-endian ARM image."""

    def __init__(self, data):
        if data[:7] != b"\x7fELF\x01\x01\x01" or struct.unpack_from("<H", data, 18)[0] != ELF_ARM:
            raise SystemExit("not a 32-bit ARM ELF image")
        self.data = data
        self.entry = struct.unpack_from("<I", data, 24)[0]
        table, = struct.unpack_from("<I", data, 32)
        size, count, names = struct.unpack_from("<HHH", data, 46)
        self.headers = [struct.unpack_from("<10I", data, table + i * size) for i in range(count)]
        self.names = [self.string(names, header[0]) for header in self.headers]
        self.symbols = self.read_symbols()

    def body(self, index):
        offset, size = self.headers[index][4:6]
        return self.data[offset:offset + size]

    def string(self, index, offset):
        body = self.body(index)
        return body[offset:body.index(b"\0", offset)].decode()

    def read_symbols(self):
        """(name, value, section) of each symbol."""
        table = [i for i, header in enumerate(self.headers) if header[1] == SHT_SYMTAB][0]
        strings = self.headers[table][6]
        return [(self.string(strings, name), value, section) for name, value, _, _, _, section
                in struct.iter_unpack("<IIIBBH", self.body(table))]

    def sections(self):
        """(name, address, bytes) of what is loaded, in order of address."""
        found = []
        for i, header in enumerate(self.headers):
            if header[2] & SHF_ALLOC and header[5] != 0:
                if header[1] != SHT_PROGBITS or self.names[i] not in CHARACTERISTICS:
                    raise SystemExit(f"section {self.names[i]} has no place in the DLL")
                found.append((self.names[i], header[3], self.body(i)))
        return sorted(found, key=lambda section: section[1])

    def absolute_words(self):
        """Addresses of the words that hold an address."""
        words = set()
        for i, header in enumerate(self.headers):
            if header[1] != SHT_REL or self.names[header[7]] == OFFSETS_ONLY:
                continue
            for offset, info in struct.iter_unpack("<II", self.body(i)):
                name, _, section = self.symbols[info >> 8]
                if info & 0xFF in RELATIVE:
                    continue
                if info & 0xFF not in ABSOLUTE:
                    raise SystemExit(f"relocation type {info & 0xFF} at {offset:#x}")
                if section == SHN_UNDEFINED or section >= SHN_FIRST_RESERVED or offset % 4 != 0:
                    raise SystemExit(f"relocation against {name} at {offset:#x}")
                words.add(offset)
        return sorted(words)

    def address(self, name):
        found = [value for symbol, value, section in self.symbols
                 if symbol == name and section != SHN_UNDEFINED]
        if len(found) != 1:
            raise SystemExit(f"{name} is defined {len(found)} times")
        return found[0]


def exported_names(text):
    names = text.split("EXPORTS")[1].split()
    if names != sorted(names) or len(set(names)) != len(names):
        raise SystemExit("the .def file's names must be sorted and different")
    return names


def export_table(elf, names, library, base):
    """The bytes of .edata at offset `base`."""
    addresses = base + 40
    pointers = addresses + 4 * len(names)
    ordinals = pointers + 4 * len(names)
    strings = ordinals + 2 * len(names)
    text, places = library.encode() + b"\0", []
    for name in names:
        places.append(strings + len(text))
        text += name.encode() + b"\0"
    table = struct.pack("<IIHHIIIIIII", 0, 0, 0, 0, strings, 1, len(names), len(names), addresses,
                        pointers, ordinals)
    table += struct.pack(f"<{len(names)}I", *[elf.address(name) for name in names])
    table += struct.pack(f"<{len(names)}I", *places)
    table += struct.pack(f"<{len(names)}H", *range(len(names)))
    return table + text


def relocation_table(words):
    """The bytes of .reloc: a block for each page that has absolute words."""
    high_low = 3 << 12
    table = b""
    for page in sorted({word & ~0xFFF for word in words}):
        entries = [high_low | word & 0xFFF for word in words if word & ~0xFFF == page]
        if len(entries) % 2 != 0:
            entries.append(0)
        table += struct.pack(f"<II{len(entries)}H", page, 8 + 2 * len(entries), *entries)
    return table


def rebased(name, address, body, words):
    """A section's bytes with its addresses moved to the image's base."""
    out = bytearray(body)
    for word in words:
        if address <= word < address + len(body):
            value, = struct.unpack_from("<I", out, word - address)
            struct.pack_into("<I", out, word - address, value + IMAGE_BASE)
    return name, address, bytes(out)


def headers(sections, directories, entry):
    """DOS header, PE signature, file and optional header, section table."""
    dos = b"MZ" + bytes(0x3A) + struct.pack("<I", 0x40)
    kinds = 0x0002 | 0x0004 | 0x0008 | 0x0100 | 0x2000  # image, no lines or symbols, 32 bits, DLL
    out = dos + b"PE\0\0" + struct.pack("<HHIIIHH", pe.MACHINE_ARM, len(sections), 0, 0, 0,
                                        pe.OPTIONAL_SIZE, kinds)
    size_of_headers = pe.align(len(out) + pe.OPTIONAL_SIZE + 40 * len(sections), FILE_ALIGNMENT)
    raw = {name: pe.align(len(body), FILE_ALIGNMENT) for name, _, body in sections}
    last = sections[-1]
    out += struct.pack(
        "<HBBIIIIIIIIIHHHHHHIIIIHHIIIIII", pe.OPTIONAL_MAGIC, 1, 0, raw[".text"],
        sum(raw.values()) - raw[".text"], 0, entry, dict((s[0], s[1]) for s in sections)[".text"],
        dict((s[0], s[1]) for s in sections)[".rdata"], IMAGE_BASE, SECTION_ALIGNMENT,
        FILE_ALIGNMENT, *pe.SUBSYSTEM_VERSION, 0, 0, *pe.SUBSYSTEM_VERSION, 0,
        pe.align(last[1] + len(last[2]), SECTION_ALIGNMENT), size_of_headers, 0, pe.SUBSYSTEM_CE, 0,
        STACK_RESERVE, 0x1000, 0x100000, 0x1000, 0, pe.DIRECTORIES)
    for i in range(pe.DIRECTORIES):
        out += struct.pack("<II", *directories.get(i, (0, 0)))
    place = size_of_headers
    for name, address, body in sections:
        out += struct.pack("<8sIIIIIIHHI", name.encode(), len(body), address, raw[name], place, 0,
                           0, 0, 0, CHARACTERISTICS[name])
        place += raw[name]
    return out + bytes(size_of_headers - len(out))


def convert(elf, names, library):
    words = elf.absolute_words()
    sections = [rebased(*section, words) for section in elf.sections()]
    directories = {}

    def append(name, number, make):
        base = pe.align(sections[-1][1] + len(sections[-1][2]), SECTION_ALIGNMENT)
        sections.append((name, base, make(base)))
        directories[number] = (base, len(sections[-1][2]))

    append(".edata", pe.EXPORT, lambda base: export_table(elf, names, library, base))
    append(".reloc", pe.BASE_RELOCATION, lambda base: relocation_table(words))
    imports = elf.address("__import_directory")
    addresses, end = elf.address("__import_addresses"), elf.address("__import_addresses_end")
    directories[pe.IMPORT] = (imports, elf.address("__import_directory_end") - imports)
    directories[pe.IMPORT_ADDRESSES] = (addresses, end - addresses)
    image = bytearray(headers(sections, directories, elf.entry))
    for _, _, body in sections:
        image += body + bytes(pe.align(len(body), FILE_ALIGNMENT) - len(body))
    pe.set_checksum(image)
    return image


def main():
    elf_name, def_name, dll_name = sys.argv[1:]
    with open(elf_name, "rb") as file:
        elf = Elf(file.read())
    with open(def_name, encoding="utf-8") as file:
        names = exported_names(file.read())
    with open(dll_name, "wb") as file:
        file.write(convert(elf, names, "jpg.dll"))


if __name__ == "__main__":
    main()
