# SPDX-License-Identifier: MIT
"""A reader of PE files for the tests: it knows nothing of how ours are made."""
import struct


def field(data, offset, kind):
    return struct.unpack_from("<" + kind, data, offset)[0]


def library_members(data):
    """(machine, function, library) of each member of an import library; a member that is
    no import has None for the two names."""
    if data[:8] != b"!<arch>\n":
        raise ValueError("not a library")
    found, at = [], 8
    while at < len(data):
        size = int(data[at + 48:at + 58])
        body = data[at + 60:at + 60 + size]
        if body[:4] == b"\0\0\xff\xff":
            # Code, imported by the symbol's own name, is type 0, name type 1.
            if field(body, 18, "H") != 1 << 2:
                raise ValueError("an import of another kind")
            name, library = body[20:].split(b"\0")[:2]
            found.append((field(body, 6, "H"), name.decode(), library.decode()))
        elif data[at:at + 2] != b"/ ":
            found.append((field(body, 0, "H"), None, None))
        at += 60 + size + size % 2
    return found


class Section:
    def __init__(self, data, at):
        self.name = data[at:at + 8].rstrip(b"\0").decode()
        self.virtual_size, self.address, self.raw_size, self.raw = struct.unpack_from(
            "<4I", data, at + 8)
        self.flags = field(data, at + 36, "I")

    def holds(self, address, size):
        return self.address <= address and address + size <= self.address + self.virtual_size


class PeFile:
    def __init__(self, data):
        self.data = data
        header = field(data, 0x3C, "I")
        if data[:2] != b"MZ" or data[header:header + 4] != b"PE\0\0":
            raise ValueError("not a PE file")
        self.machine, count, self.time = struct.unpack_from("<HHI", data, header + 4)
        optional_size, self.characteristics = struct.unpack_from("<HH", data, header + 20)
        o = self.optional = header + 24
        self.magic = field(data, o, "H")
        self.entry = field(data, o + 16, "I")
        self.wide = self.magic == 0x20B  # 64 bits
        self.base = field(data, o + 24, "Q") if self.wide else field(data, o + 28, "I")
        self.section_alignment, self.file_alignment = struct.unpack_from("<II", data, o + 32)
        self.os_version = struct.unpack_from("<HH", data, o + 40)
        self.subsystem_version = struct.unpack_from("<HH", data, o + 48)
        self.image_size, self.headers_size, self.checksum = struct.unpack_from("<III", data, o + 56)
        self.subsystem, self.dll_characteristics = struct.unpack_from("<HH", data, o + 68)
        tables = o + (112 if self.wide else 96)
        self.directories = [struct.unpack_from("<II", data, tables + 8 * i)
                            for i in range(field(data, tables - 4, "I"))]
        self.sections = [Section(data, o + optional_size + 40 * i) for i in range(count)]

    def section_of(self, address, size=1):
        """The section that holds all these bytes of the image, or None."""
        found = [s for s in self.sections if s.holds(address, size)]
        return found[0] if found else None

    def at(self, address):
        """The file offset of an address of the image."""
        section = self.section_of(address)
        if section is None:
            raise ValueError(f"{address:#x} lies outside of the sections")
        return section.raw + address - section.address

    def word(self, address):
        return field(self.data, self.at(address), "I")

    def move_pair(self, address):
        """The constant that the Thumb-2 instructions movw and movt at an address load."""
        value = 0
        for i, opcode in enumerate((0xF240, 0xF2C0)):
            first, second = (field(self.data, self.at(address + 4 * i + j), "H") for j in (0, 2))
            if first & 0xFBF0 != opcode:
                raise ValueError(f"{address:#x} holds no movw and movt")
            half = ((first & 0xF) << 12 | (first >> 10 & 1) << 11 | (second >> 12 & 7) << 8
                    | second & 0xFF)
            value |= half << 16 * i
        return value

    def text(self, address):
        offset = self.at(address)
        return self.data[offset:self.data.index(b"\0", offset)].decode()

    def imports(self):
        """{library: names}; a function imported by number comes as a number."""
        found, entry = {}, self.directories[1][0]
        while True:
            lookup, _, _, library, addresses = (self.word(entry + 4 * i) for i in range(5))
            if library == 0:
                return found
            names = found.setdefault(self.text(library).lower(), [])
            slot, kind, size = lookup or addresses, "Q" if self.wide else "I", 8 if self.wide else 4
            while (word := field(self.data, self.at(slot), kind)) != 0:
                by_number = word >> 8 * size - 1
                names.append(word & 0xFFFF if by_number else self.text(word + 2))
                slot += size
            entry += 20

    def exports(self):
        """[(name, address)] in the table's order."""
        table = self.directories[0][0]
        count, = struct.unpack_from("<I", self.data, self.at(table) + 24)
        functions, names, ordinals = (self.word(table + i) for i in (28, 32, 36))
        return [(self.text(self.word(names + 4 * i)),
                 self.word(functions + 4 * field(self.data, self.at(ordinals + 2 * i), "H")))
                for i in range(count)]

    def export_name(self):
        return self.text(self.word(self.directories[0][0] + 12))

    def relocations(self):
        """[(type, address)], padding left out."""
        found, (at, size) = [], self.directories[5]
        end = at + size
        while at < end:
            page, length = self.word(at), self.word(at + 4)
            for i in range((length - 8) // 2):
                entry = field(self.data, self.at(at + 8 + 2 * i), "H")
                if entry >> 12 != 0:
                    found.append((entry >> 12, page + (entry & 0xFFF)))
            at += length
        return found

    def computed_checksum(self):
        total = 0
        for i in range(0, len(self.data) - 1, 2):
            if i not in (self.optional + 64, self.optional + 66):
                total += field(self.data, i, "H")
        if len(self.data) % 2:
            total += self.data[-1]
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        return total + len(self.data)
