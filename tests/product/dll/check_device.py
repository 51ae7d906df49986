#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks of the device's DLL as a file: what its system's loader will find in it.

check_device.py FOLDER SOURCE_DIR MACHINE [AGAIN]

FOLDER holds jpg.dll and jpg.lib. MACHINE is the number in their headers, 0x1C0 (ARM) or
0x1C4 (ARMv7). AGAIN is the folder of a second build.
"""
import re
import subprocess
import sys
import tempfile
import unittest

from pe_file import PeFile, library_members

FOLDER, SOURCE, MACHINE = sys.argv[1], sys.argv[2], int(sys.argv[3], 16)
AGAIN = sys.argv[4] if len(sys.argv) > 4 else None
DLL, LIBRARY = f"{FOLDER}/jpg.dll", f"{FOLDER}/jpg.lib"

SYSTEM = "coredll.dll"
OPERATIONS = """
CloseHandle CreateFileW GetDC GetFileSize GetProcessHeap GetSystemPaletteEntries HeapAlloc
HeapFree HeapReAlloc ReadFile ReleaseDC SetFilePointer WriteFile
""".split()
MEMORY_FUNCTIONS = ["memcpy", "memset"]

MAX_SIZE = 200 * 1024
HIGH_LOW, MOV32_THUMB = 3, 7  # relocation types
ARM, ARMV7 = 0x1C0, 0x1C4
SUBSYSTEM_CE = 9
OLDEST_SYSTEM = (3, 0)
CODE, DISCARDABLE, EXECUTABLE, WRITABLE = 0x20, 0x02000000, 0x20000000, 0x80000000
IS_IMAGE, IS_32BIT, IS_DLL, NO_RELOCATIONS = 0x0002, 0x0100, 0x2000, 0x0001

PROGRAM = """
#include "jpg.h"
uint32_t begin(void) {
  JPGHANDLE h = 0;
  return jpgWritePrologToMemory(0, &h) + jpgReadEpilog(h);
}
"""


def names_of_def_file():
    with open(f"{SOURCE}/src/jpg.def", encoding="utf-8") as file:
        return file.read().split("EXPORTS")[1].split()


def bytes_of(name):
    with open(name, "rb") as file:
        return file.read()


class DeviceDll(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pe = PeFile(bytes_of(DLL))
        print(f"{DLL}: {len(cls.pe.data)} bytes, {len(cls.pe.relocations())} relocations")
        for s in cls.pe.sections:
            print(f"  {s.name:8} {s.address:#8x} {s.virtual_size:7} bytes, flags {s.flags:#x}")

    def in_code(self, address):
        section = self.pe.section_of(address & ~1)
        return section is not None and section.flags & EXECUTABLE != 0

    def test_is_a_dll_for_the_machine(self):
        self.assertEqual(self.pe.machine, MACHINE)
        self.assertEqual(self.pe.magic, 0x10B)
        wanted = IS_IMAGE | IS_32BIT | IS_DLL
        self.assertEqual(self.pe.characteristics & (wanted | NO_RELOCATIONS), wanted)

    def test_runs_on_the_oldest_system_and_later(self):
        self.assertEqual(self.pe.subsystem, SUBSYSTEM_CE)
        self.assertEqual(self.pe.subsystem_version, OLDEST_SYSTEM)
        self.assertEqual(self.pe.os_version, OLDEST_SYSTEM)

    def test_is_small(self):
        self.assertLess(len(self.pe.data), MAX_SIZE)

    def test_holds_neither_dates_nor_a_wrong_checksum(self):
        self.assertEqual(self.pe.time, 0)
        self.assertEqual(self.pe.checksum, self.pe.computed_checksum())

    def test_sections_follow_each_other_in_image_and_file(self):
        address, raw = self.pe.headers_size, self.pe.headers_size
        for s in self.pe.sections:
            with self.subTest(s.name):
                self.assertEqual(s.address % self.pe.section_alignment, 0)
                self.assertEqual(s.raw % self.pe.file_alignment, 0)
                self.assertGreaterEqual(s.address, address)
                self.assertEqual(s.raw, raw)
                address, raw = s.address + s.virtual_size, s.raw + s.raw_size
        self.assertEqual(raw, len(self.pe.data))
        self.assertGreaterEqual(self.pe.image_size, address)

    def test_no_section_is_code_and_writable(self):
        for s in self.pe.sections:
            self.assertFalse(s.flags & EXECUTABLE and s.flags & WRITABLE, s.name)

    def test_the_loader_alone_writes(self):
        # The library has no state: only the import addresses are written, by the loader.
        addresses, size = self.pe.directories[12]
        for s in self.pe.sections:
            if s.flags & WRITABLE:
                self.assertTrue(s.holds(addresses, size), s.name)

    def test_the_entry_point_is_code(self):
        self.assertTrue(self.in_code(self.pe.entry))

    def test_relocations_are_whole_addresses_inside_the_image(self):
        relocations = self.pe.relocations()
        self.assertTrue(relocations)
        wanted = {ARM: {HIGH_LOW}, ARMV7: {HIGH_LOW, MOV32_THUMB}}[MACHINE]
        self.assertEqual({kind for kind, _ in relocations}, wanted)
        places = [address for _, address in relocations]
        self.assertEqual(places, sorted(set(places)))
        for kind, address in relocations:
            size = 4 if kind == HIGH_LOW else 8
            self.assertIsNotNone(self.pe.section_of(address, size), hex(address))
            value = self.pe.word(address) if kind == HIGH_LOW else self.pe.move_pair(address)
            self.assertTrue(0 <= value - self.pe.base < self.pe.image_size, hex(address))

    def test_no_address_lacks_its_relocation(self):
        # With the base chosen nothing but an address looks like one, Thumb code excepted.
        places = {address for _, address in self.pe.relocations()}
        for s in self.pe.sections:
            if MACHINE == ARMV7 and s.flags & EXECUTABLE:
                continue
            for address in range(s.address, s.address + s.virtual_size // 4 * 4, 4):
                target = self.pe.word(address) - self.pe.base
                if 0 <= target < self.pe.image_size:
                    self.assertTrue(address in places, f"{s.name}: {address:#x}")

    def test_imports_the_listed_operations_from_the_system_library_alone(self):
        imports = self.pe.imports()
        self.assertEqual(list(imports), [SYSTEM])
        self.assertEqual(sorted(imports[SYSTEM]), sorted(OPERATIONS + MEMORY_FUNCTIONS))

    def test_exports_the_named_functions_undecorated(self):
        names = names_of_def_file()
        exports = self.pe.exports()
        self.assertEqual([name for name, _ in exports], sorted(names))
        self.assertEqual(len(names), 43)
        self.assertEqual(self.pe.export_name(), "jpg.dll")
        self.assertEqual(len({address for _, address in exports}), len(names))
        for name, address in exports:
            self.assertTrue(self.in_code(address), name)

    def test_a_second_build_gives_the_same_bytes(self):
        if AGAIN is None:
            self.skipTest("no second build given")
        self.assertEqual(bytes_of(f"{AGAIN}/jpg.dll"), self.pe.data)
        self.assertEqual(bytes_of(f"{AGAIN}/jpg.lib"), bytes_of(LIBRARY))


class Code(unittest.TestCase):
    # ldrd and strd want 8-byte alignment, which the calling convention doesn't promise; with
    # the others of ARMv5TE and later they trap on older cores, but not in every emulator.
    LATER = re.compile(r"(ldrd|strd|pld|smul[bwt]|smla[bwt]|smlal[bt]|q[ad]|qsub|movw|movt|rev|"
                       r"[us]xt|ldrex|strex|[us]div|bf[ci]|[us]bfx|ssat|usat)")

    def test_uses_the_instructions_of_armv5_alone(self):
        if MACHINE != ARM:
            self.skipTest("for any ARMv7 core")
        text = subprocess.run(["arm-linux-gnueabi-objdump", "-d", f"{FOLDER}/src/jpg.elf"],
                              check=True, capture_output=True, text=True).stdout
        mnemonics = set(re.findall(r"^ *[0-9a-f]+:\t[0-9a-f]{8} \t(\S+)", text, re.MULTILINE))
        self.assertTrue({"ldr", "str", "bl", "mul"} <= mnemonics)
        self.assertEqual([m for m in mnemonics if self.LATER.match(m)], [])


class ImportLibrary(unittest.TestCase):
    def test_is_for_the_machine_and_names_each_export_once(self):
        members = library_members(bytes_of(LIBRARY))
        self.assertEqual({machine for machine, _, _ in members}, {MACHINE})
        imports = [(name, library) for _, name, library in members if name is not None]
        self.assertEqual(sorted(imports),
                         sorted((name, "jpg.dll") for name in names_of_def_file()))
        # The import directory's entry, its end and the end of the address table.
        self.assertEqual(len(members) - len(imports), 3)

    def test_serves_a_program(self):
        if MACHINE != ARMV7:
            self.skipTest("no linker at hand takes a library for any ARM")
        with tempfile.TemporaryDirectory() as folder:
            with open(f"{folder}/program.c", "w", encoding="utf-8") as file:
                file.write(PROGRAM)
            subprocess.run(["clang", "--target=thumbv7-unknown-windows-gnu", "-U_WIN32",
                            "-ffreestanding", "-Werror", f"-I{SOURCE}/include", "-c",
                            f"{folder}/program.c", "-o", f"{folder}/program.o"], check=True)
            subprocess.run(["lld-link", "/nologo", "/machine:arm", "/entry:begin",
                            "/nodefaultlib", "/subsystem:windows,6.00",
                            f"/out:{folder}/program.exe", f"{folder}/program.o", LIBRARY],
                           check=True)
            imports = PeFile(bytes_of(f"{folder}/program.exe")).imports()
        self.assertEqual(imports, {"jpg.dll": ["jpgReadEpilog", "jpgWritePrologToMemory"]})


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
