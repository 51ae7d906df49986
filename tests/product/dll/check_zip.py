#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the zip of a DLL's build and builds programs with what is in it.

check_zip.py BUILD SOURCE_DIR TARGET WORK

BUILD is the build folder of TARGET: win32, win64, device or device-v7. The 64-bit Windows
programs run, under Wine; of the others it is looked at what they want of the DLL.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest
import zipfile

from pe_file import PeFile, library_members

BUILD, SOURCE, TARGET, WORK = (*map(pathlib.Path, sys.argv[1:3]), sys.argv[3],
                               pathlib.Path(sys.argv[4]))
HEADER = (SOURCE / "include/jpg.h").read_bytes()
VERSION = re.search(rb'JPG_VERSION_STRING "([^"]*)"', HEADER)[1].decode()
SYSTEM = {"win32": "Windows-i686", "win64": "Windows-x86_64", "device": "device-armv5",
          "device-v7": "device-armv7"}[TARGET]
WINDOWS = TARGET.startswith("win")
CONSUMER = SOURCE / "tests/product/consumer"

# Each zip holds these; what else is in it are the parts for CMake and the pages to read.
LIBRARY = "lib/libjpg.dll.a" if WINDOWS else "lib/jpg.lib"
PARTS = {"bin/jpg.dll", LIBRARY, "lib/jpg.def", "include/jpg.h"}
if WINDOWS:
    PARTS |= {"bin/jpgtool.exe", "lib/libjpg.a", "include/jpg.hpp", "lib/pkgconfig/jpg.pc"}
    PARTS |= {f"include/jpg/{name}.hpp" for name in ("exif", "exifEntry", "height", "memory",
                                                     "picture", "reader", "result", "segments",
                                                     "simple", "writer")}
    PARTS |= {"include/jpg/exif.h", "include/jpg/paths.h", "include/jpg/text.h"}

# What the consumer in C calls.
CALLS = {"jpgReadEpilog", "jpgReadPrologFromMemory", "jpgReadToRect", "jpgWriteEpilogToMemory",
         "jpgWriteFreeBitstream", "jpgWriteFromRect", "jpgWritePrologToMemory"}


def run(*command):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    if result.returncode != 0:
        raise AssertionError(f"{command}\n{result.stdout}{result.stderr}")
    return result.stdout


def imports_of(program):
    return PeFile(program.read_bytes()).imports()


class Zip(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(WORK, ignore_errors=True)
        run("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", WORK / "out")
        archives = list((WORK / "out").glob("*.zip"))
        assert [path.name for path in archives] == [f"jpg-{VERSION}-{SYSTEM}.zip"], archives
        with zipfile.ZipFile(archives[0]) as archive:
            assert archive.testzip() is None
            cls.names = {name.split("/", 1)[1] for name in archive.namelist()}
            archive.extractall(WORK)
        cls.tree = WORK / archives[0].stem
        print(f"{archives[0].name}: {archives[0].stat().st_size} bytes, {len(cls.names)} files")

    def test_has_the_dll_what_links_it_and_the_header(self):
        others = {name for name in self.names
                  if not name.startswith(("share/doc/", "lib/cmake/")) and not name.endswith("/")}
        self.assertEqual(others, PARTS)
        for page in ("README.md", "docs/overview.svg", "docs/targets.md"):
            self.assertIn(f"share/doc/jpg/{page}", self.names)

    def test_the_dll_is_the_one_that_was_tested(self):
        built = BUILD / ("bin/jpg.dll" if WINDOWS else "jpg.dll")
        self.assertEqual((self.tree / "bin/jpg.dll").read_bytes(), built.read_bytes())
        self.assertEqual((self.tree / "include/jpg.h").read_bytes(), HEADER)

    def test_the_list_of_exports_is_the_dlls(self):
        listed = (self.tree / "lib/jpg.def").read_text(encoding="utf-8").split("EXPORTS")[1].split()
        dll = PeFile((self.tree / "bin/jpg.dll").read_bytes())
        self.assertEqual([name for name, _ in dll.exports()], sorted(listed))

    def test_programs_are_linked_by_its_cmake_package(self):
        if not WINDOWS:
            self.skipTest("the device's zip has none")
        build = WORK / "build"
        run("cmake", "-S", CONSUMER, "-B", build, "-G", "Ninja",
            f"-DCMAKE_TOOLCHAIN_FILE={SOURCE.resolve()}/cmake/toolchains/{TARGET}.cmake",
            f"-Djpg_DIR={self.tree}/lib/cmake/jpg")
        run("cmake", "--build", build)
        shutil.copy(self.tree / "bin/jpg.dll", build)
        for name in ("c_with_jpg", "cpp_with_jpg", "c_with_jpg_static", "cpp_with_jpg_static"):
            with self.subTest(name):
                program = build / f"{name}.exe"
                self.assertEqual("jpg.dll" in imports_of(program), not name.endswith("static"))
                if TARGET == "win64":
                    run(SOURCE / "scripts/wine.sh", program)

    def test_a_program_is_linked_by_one_command(self):
        program = WORK / "program.exe"
        if WINDOWS:
            compiler = {"win32": "i686", "win64": "x86_64"}[TARGET] + "-w64-mingw32-gcc-posix"
            run(compiler, CONSUMER / "consumer.c", f"-I{self.tree}/include", self.tree / LIBRARY,
                "-o", program)
            if TARGET == "win64":
                shutil.copy(self.tree / "bin/jpg.dll", WORK)
                run(SOURCE / "scripts/wine.sh", program)
        elif TARGET == "device-v7":
            # The compiler has no headers of the system; of its library the program wants memset.
            run("clang", "--target=thumbv7-unknown-windows-gnu", "-U_WIN32", "-ffreestanding",
                "-fshort-wchar", "-mfpu=none", f"-I{self.tree}/include",
                "-isystem", SOURCE / "tests/product/dll/system", "-c", CONSUMER / "consumer.c",
                "-o", WORK / "program.o")
            run("lld-link", "/nologo", "/machine:arm", "/entry:main", "/nodefaultlib",
                "/subsystem:windows,6.00", f"/out:{program}", WORK / "program.o",
                self.tree / LIBRARY, BUILD / "src/coredll.lib")
        else:
            self.skipTest("no linker at hand takes a library for any ARM")
        self.assertEqual(set(imports_of(program)["jpg.dll"]), CALLS)

    def test_the_import_library_names_each_export(self):
        data = (self.tree / LIBRARY).read_bytes()
        dll = PeFile((self.tree / "bin/jpg.dll").read_bytes())
        exports = {name for name, _ in dll.exports()}
        if WINDOWS:
            tool = {"win32": "i686", "win64": "x86_64"}[TARGET] + "-w64-mingw32-nm"
            symbols = re.findall(r" I (?:__imp_)_?(\w+)$", run(tool, self.tree / LIBRARY), re.M)
            self.assertEqual(set(symbols), exports)
        else:
            members = library_members(data)
            self.assertEqual({machine for machine, _, _ in members}, {dll.machine})
            self.assertEqual({name for _, name, _ in members if name is not None}, exports)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
