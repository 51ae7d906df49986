#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks of the DLL for desktop Windows as a file.

check_windows.py DLL SOURCE_DIR MACHINE

MACHINE is the number in its header, 0x14C (32 bits) or 0x8664 (64 bits).
"""
import sys
import unittest

from pe_file import PeFile

DLL, SOURCE, MACHINE = sys.argv[1], sys.argv[2], int(sys.argv[3], 16)

IMPORTS = {
    "kernel32.dll": ["CloseHandle", "CreateFileW", "GetFileSize", "GetProcessHeap", "HeapAlloc",
                     "HeapFree", "HeapReAlloc", "IsProcessorFeaturePresent", "ReadFile",
                     "SetFilePointer", "WriteFile"],
    "user32.dll": ["GetDC", "ReleaseDC"],
    "gdi32.dll": ["GetSystemPaletteEntries"],
    "msvcrt.dll": ["memcpy", "memset"],
}
IS_DLL = 0x2000
HIGH_ENTROPY, DYNAMIC_BASE, NX_COMPATIBLE = 0x20, 0x40, 0x100  # of the loader
EXECUTABLE, WRITABLE = 0x20000000, 0x80000000  # sections


class WindowsDll(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(DLL, "rb") as file:
            cls.pe = PeFile(file.read())
        print(f"{DLL}: {len(cls.pe.data)} bytes")

    def test_is_a_dll_for_the_machine(self):
        self.assertEqual(self.pe.machine, MACHINE)
        self.assertTrue(self.pe.characteristics & IS_DLL)
        self.assertEqual(self.pe.wide, MACHINE == 0x8664)

    def test_can_be_moved(self):
        self.assertTrue(self.pe.relocations())

    def test_is_loaded_anywhere_and_runs_no_data(self):
        wanted = DYNAMIC_BASE | NX_COMPATIBLE | (HIGH_ENTROPY if self.pe.wide else 0)
        self.assertEqual(self.pe.dll_characteristics & wanted, wanted)
        for section in self.pe.sections:
            self.assertNotEqual(section.flags & (EXECUTABLE | WRITABLE), EXECUTABLE | WRITABLE,
                                section.name)

    def test_holds_no_date(self):
        self.assertEqual(self.pe.time, 0)

    def test_imports_the_listed_operations_alone(self):
        imports = {library: sorted(names) for library, names in self.pe.imports().items()}
        self.assertEqual(imports, IMPORTS)

    def test_exports_the_named_functions_undecorated(self):
        with open(f"{SOURCE}/src/jpg.def", encoding="utf-8") as file:
            names = file.read().split("EXPORTS")[1].split()
        self.assertEqual([name for name, _ in self.pe.exports()], sorted(names))
        self.assertEqual(self.pe.export_name(), "jpg.dll")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
