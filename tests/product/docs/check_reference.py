#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the reference and looks into it: check_reference.py SOURCE_DIR WORK_DIR"""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

SOURCE, WORK = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])


def make(source, out):
    return subprocess.run([source / "scripts/docs.sh", "--no-install", out], capture_output=True,
                          text=True)


class Reference(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(WORK, ignore_errors=True)
        WORK.mkdir(parents=True)

    def test_is_made_without_a_warning_and_has_every_function(self):
        result = make(SOURCE, WORK / "out")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        page = (WORK / "out/html/jpg_8h.html").read_text(encoding="utf-8")
        header = (SOURCE / "include/jpg.h").read_text(encoding="utf-8")
        names = re.findall(r"JPG_CALL\s+(jpg\w+)\(", header)
        self.assertTrue(names)
        for name in names:
            self.assertIn(f"{name}()</h2>", page)
        for name in ("Reader", "FileWriter", "MemoryWriter", "Picture", "Result"):
            self.assertTrue(list((WORK / "out/html").glob(f"classjpg_1_1v0_1_1{name}.html")), name)

    def test_isnt_made_when_a_parameter_is_undocumented(self):
        for folder in ("include", "scripts", "docs"):
            shutil.copytree(SOURCE / folder, WORK / "tree" / folder)
        header = WORK / "tree/include/jpg.h"
        text = header.read_text(encoding="utf-8")
        line = " * @param lines  lines to encode from `bits` on, not 0\n"
        self.assertIn(line, text)
        header.write_text(text.replace(line, "", 1), encoding="utf-8")
        result = make(WORK / "tree", WORK / "out")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("lines", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
