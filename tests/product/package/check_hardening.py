#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads the hardening of what is delivered: check_hardening.py MACHINE LIBRARY TOOL [OBJECT...]

MACHINE is CMake's name of the processor, OBJECT are the library's own objects, without which only
the two files are looked at. What the flags are for, and what they cost, is in docs/robustness.md.
"""
import re
import subprocess
import sys
import unittest

MACHINE, LIBRARY, TOOL, OBJECTS = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4:]

# Objects whose functions run for every block or pixel; src/CMakeLists.txt lists their sources.
LOOPS = ("kernels/portable/jpgFdct", "kernels/portable/jpgIdct", "read/jpgRFastBlock",
         "read/jpgRFastProg", "win/jpgReduce", "write/jpgWBits", "write/jpgWVLC", "kernels/x86/")
X86 = re.fullmatch(r"x86_64|i.86", MACHINE) is not None


def readelf(*words):
    return subprocess.run(["readelf", *words], check=True, capture_output=True, text=True).stdout


def undefined(file, *options):
    out = subprocess.run(["nm", *options, "--undefined-only", file], check=True,
                         capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in out.splitlines()}


class Files(unittest.TestCase):
    def test_bind_all_symbols_at_once_and_then_write_protect_them(self):
        for file in (LIBRARY, TOOL):
            with self.subTest(file):
                dynamic = readelf("-dW", file)
                self.assertRegex(dynamic, r"\(FLAGS\).*BIND_NOW|\(BIND_NOW\)|\(FLAGS_1\).*\bNOW\b")
                self.assertIn("GNU_RELRO", readelf("-lW", file))

    def test_have_no_place_that_is_both_writable_and_executable(self):
        for file in (LIBRARY, TOOL):
            with self.subTest(file):
                programs = readelf("-lW", file)
                stack = re.search(r"GNU_STACK.*?\b(R[WE ]{0,2})\s+0x", programs)
                self.assertIsNotNone(stack, programs)
                self.assertNotIn("E", stack.group(1))
                for flags in re.findall(r"^\s+LOAD(?:\s+0x\w+){5}\s+(.*?)\s+0x", programs, re.M):
                    self.assertFalse("W" in flags and "E" in flags, flags)

    def test_may_be_loaded_anywhere(self):
        for file in (LIBRARY, TOOL):
            with self.subTest(file):
                self.assertRegex(readelf("-hW", file), r"Type:\s+DYN")
                self.assertNotIn("TEXTREL", readelf("-dW", file))

    def test_protect_their_stacks(self):
        for file in (LIBRARY, TOOL):
            with self.subTest(file):
                self.assertIn("__stack_chk_fail", undefined(file, "-D"))


@unittest.skipUnless(OBJECTS, "no objects given")
class Objects(unittest.TestCase):
    def test_protect_their_stacks_except_in_hot_loops(self):
        lines = subprocess.run(["nm", "-A", "--undefined-only", *OBJECTS], check=True,
                               capture_output=True, text=True).stdout.splitlines()
        protected = {line.split(":", 1)[0] for line in lines if line.endswith(" __stack_chk_fail")}
        self.assertLessEqual(protected, set(OBJECTS))
        for name in OBJECTS:
            if any(loop in name for loop in LOOPS):
                self.assertNotIn(name, protected)
        # Most of the others have no array on the stack.
        self.assertGreater(len(protected), 15)

    def test_check_the_sizes_that_the_c_library_is_given(self):
        # The library's own copies have sizes that the compiler knows or the caller promises.
        checked = [name for name in undefined(TOOL, "-D") if name.endswith("_chk")]
        self.assertTrue(checked)

    @unittest.skipUnless(X86, "control-flow protection is for x86 here")
    def test_of_x86_say_where_indirect_calls_may_go(self):
        notes = readelf("-nW", *OBJECTS).split("\nFile: ")[1:]
        self.assertEqual(len(notes), len(OBJECTS))
        for note in notes:
            self.assertRegex(note, "x86 feature:.*IBT.*SHSTK")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
