#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Guides and headers show the examples' own lines: check_snippets.py SOURCE_DIR WORK_DIR"""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

SOURCE, WORK = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
GUIDES = sorted((SOURCE / "docs/guides").glob("*.md"))
HEADER = SOURCE / "include/jpg.h"


def snippets(root, *arguments):
    return subprocess.run([sys.executable, root / "scripts/snippets.py", *arguments],
                          capture_output=True, text=True)


class Snippets(unittest.TestCase):
    def test_are_the_lines_of_the_examples(self):
        self.assertTrue(GUIDES)
        result = snippets(SOURCE, HEADER, SOURCE / "README.md", *GUIDES)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_stand_in_every_group_of_functions(self):
        groups = re.split(r"/\*\* @name ", HEADER.read_text(encoding="utf-8"))[1:]
        groups = [group for group in groups if "JPG_CALL jpg" in group]
        self.assertGreater(len(groups), 8)
        for group in groups:
            self.assertRegex(group, r"Example \(examples/", group.split("\n", 1)[0])

    def test_that_differ_are_told_and_renewed(self):
        shutil.rmtree(WORK, ignore_errors=True)
        for folder in ("scripts", "examples"):
            shutil.copytree(SOURCE / folder, WORK / folder)
        for original in (HEADER, next(g for g in GUIDES if "JPG_SCALE_EIGHTH);" in g.read_text("utf-8"))):
            copy = WORK / original.name
            text = original.read_text(encoding="utf-8")
            copy.write_text(text, encoding="utf-8")
            self.assertEqual(snippets(WORK, copy).returncode, 0)
            changed = text.replace("JPG_SCALE_EIGHTH);", "JPG_SCALE_HALF);")
            self.assertNotEqual(changed, text)
            copy.write_text(changed, encoding="utf-8")
            self.assertEqual(snippets(WORK, copy).returncode, 1)
            self.assertEqual(snippets(WORK, "--update", copy).returncode, 0)
            self.assertEqual(copy.read_text(encoding="utf-8"), text)

    def test_code_outside_any_example_is_reported(self):
        WORK.mkdir(exist_ok=True)
        guide = WORK / "stray.md"
        guide.write_text("```c\nint x;\n```\n", encoding="utf-8")
        result = snippets(SOURCE, guide)
        self.assertEqual(result.returncode, 1)
        self.assertIn("isn't in any example", result.stdout)

    def test_links_lead_somewhere(self):
        for guide in GUIDES + [SOURCE / "README.md", SOURCE / "docs/building.md"]:
            text = guide.read_text(encoding="utf-8")
            for target in re.findall(r"\]\(([^)#:]+)\)", text):
                self.assertTrue((guide.parent / target).exists(), f"{guide.name}: {target}")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
