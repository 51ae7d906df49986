"""A reader of 32-bit PE files for the tests: it knows nothing of how ours are made."""
import struct


def field(data, offset, kind):
    return struct.unpack_from("<" + kind, data, offset)[0]


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
        self.base = field(data, o + 28, "I")
        self.section_alignment, self.file_alignment = struct.unpack_from("<II", data, o + 32)
        self.os_version = struct.unpack_from("<HH", data, o + 40)
        self.subsystem_version = struct.unpack_from("<HH", data, o + 48)
        self.image_size, self.headers_size, self.checksum = struct.unpack_from("<III", data, o + 56)
        self.subsystem = field(data, o + 68, "H")
        self.directories = [struct.unpack_from("<II", data, o + 96 + 8 * i)
                            for i in range(field(data, o + 92, "I"))]
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
            slot = lookup or addresses
            while self.word(slot) != 0:
                word = self.word(slot)
                names.append(word & 0xFFFF if word >> 31 else self.text(word + 2))
                slot += 4
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
