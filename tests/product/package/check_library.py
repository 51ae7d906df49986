#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks of the built shared library and of the interface's three lists of names.

check_library.py LIBRARY SOURCE_DIR OBJECT...

The exported symbols, the .def file and the header must name the same functions; the
library must need libc alone, have its SONAME, no start-up code of its own and no
writable data.
"""
import re
import subprocess
import sys
import unittest

LIBRARY, SOURCE, OBJECTS = sys.argv[1], sys.argv[2], sys.argv[3:]

EXPORTS = """
jpgExifReadThumbnailToWinDIBits
jpgReadEpilog
jpgReadExifReadAttributeEpilog
jpgReadExifReadAttributeProlog
jpgReadGetCodingProcess
jpgReadGetImageSize
jpgReadGetNumberOfChannels
jpgReadGetSamplePrecision
jpgReadProgressiveToRect
jpgReadProgressiveToWinDIBits
jpgReadPrologFromFile
jpgReadPrologFromMemory
jpgReadReadMarkerData
jpgReadScaleOutputGetImageSize
jpgReadScaleOutputToRect
jpgReadScaleOutputToWinDIBits
jpgReadSeekMarkerData
jpgReadSeekMarkerSegment
jpgReadSeekRestartMarker
jpgReadSetNoColorConversion
jpgReadSetPartialBitstream
jpgReadSpatialToRect
jpgReadToRect
jpgReadToWinDIBits
jpgWriteEpilogToFile
jpgWriteEpilogToMemory
jpgWriteFreeBitstream
jpgWriteFromRect
jpgWriteFromWinDIBits
jpgWriteGetPartialBitstream
jpgWritePrologToFile
jpgWritePrologToMemory
jpgWriteSetImageSize
jpgWriteSetNoColorConversion
jpgWriteSetNumberOfComponents
jpgWriteSetQuantizationFactor
jpgWriteSetRestartInterval
jpgWriteSetSpatialPredictor
jpgWriteSetSubsamplingFactor
jpgWriteSpatialFromRect
jpgWriteWriteMarkerCode
jpgWriteWriteMarkerData
jpgWriteWriteMarkerSegment
""".split()

# What the C library gives: memory, files, and what every shared object asks for; `raise`
# is for the compiler's division routines, which ARM's cores need.
IMPORTS = set("""
close free fstat fstat64 __fxstat64 lseek lseek64 malloc malloc_usable_size memcpy memset open
open64 read realloc write __errno_location __cxa_finalize __gmon_start__ _ITM_deregisterTMCloneTable
_ITM_registerTMCloneTable __stack_chk_fail __stack_chk_guard memmove raise
""".split())


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def text(name):
    with open(f"{SOURCE}/{name}", encoding="utf-8") as file:
        return file.read()


class Library(unittest.TestCase):
    def test_exports_exactly_the_interface(self):
        lines = output("nm", "-D", "--defined-only", LIBRARY).splitlines()
        self.assertEqual(sorted(line.split()[-1] for line in lines), EXPORTS)

    def test_def_file_names_the_same_functions(self):
        names = text("src/jpg.def").split("EXPORTS")[1].split()
        self.assertEqual(sorted(names), EXPORTS)

    def test_header_declares_the_same_functions(self):
        names = re.findall(r"JPG_CALL\s+(jpg\w+)\(", text("include/jpg.h"))
        self.assertEqual(sorted(names), EXPORTS)

    def test_needs_libc_alone(self):
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-d", LIBRARY))
        # The loader, which is the C library's own, holds the stack protector's value on ARM.
        self.assertEqual([name for name in needed if not name.startswith("ld-linux")],
                         ["libc.so.6"])

    def test_has_its_soname(self):
        major = re.search(r"JPG_VERSION_MAJOR (\d+)", text("include/jpg.h")).group(1)
        sonames = re.findall(r"\(SONAME\).*\[(.*)\]", output("readelf", "-d", LIBRARY))
        self.assertEqual(sonames, [f"libjpg.so.{major}"])

    def test_imports_memory_and_file_operations_alone(self):
        lines = output("nm", "-D", "--undefined-only", LIBRARY).splitlines()
        names = {line.split()[-1].split("@")[0] for line in lines}
        self.assertEqual(names - IMPORTS, set())

    def test_objects_have_no_start_up_code_and_no_writable_data(self):
        self.assertTrue(OBJECTS)
        for name in OBJECTS:
            with self.subTest(name):
                sections = output("readelf", "-SW", name)
                self.assertNotRegex(sections, r"\.(init_array|ctors)")
                for line in sections.splitlines():
                    match = re.match(r"\s*\[\s*\d+\]\s+(\.data|\.bss)\S*\s+\w+\s+\w+\s+\w+\s+(\w+)", line)
                    # Constant pointers are relocated data; only what the program may
                    # write counts.
                    if match and ".rel.ro" not in line:
                        self.assertEqual(int(match.group(2), 16), 0, line)

    def test_every_table_is_read_only(self):
        """Objects of the shared library lie where nobody can write once it is loaded."""
        sections = {}
        for line in output("readelf", "-SW", LIBRARY).splitlines():
            match = re.match(r"\s*\[\s*(\d+)\]\s+(\S+)\s+\S+\s+\w+\s+\w+\s+\w+\s+\w+\s+(\w*)", line)
            if match:
                sections[match.group(1)] = (match.group(2), match.group(3))
        objects = re.findall(r":\s+\w+\s+\d+\s+OBJECT\s+\w+\s+\w+\s+(\d+)\s+(\S+)",
                             output("readelf", "-sW", LIBRARY))
        start_up = {"__dso_handle", "completed.0", "__TMC_END__", "_GLOBAL_OFFSET_TABLE_"}
        tables = 0
        for index, name in objects:
            section, flags = sections[index]
            # Constants with pointers in them are relocated once and then made read-only.
            if ("W" not in flags and section.startswith(".rodata")) or section == ".data.rel.ro":
                tables += 1
            elif not section.startswith((".init_array", ".fini_array", ".dynamic", ".eh_frame")):
                self.assertIn(name, start_up, f"{name} is in {section}")
        self.assertGreater(tables, 10)
        self.assertIn("GNU_RELRO", output("readelf", "-lW", LIBRARY))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
