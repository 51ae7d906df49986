#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of scripts/missed.py on what llvm-cov would show: test_coverage.py SOURCE_DIR."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = sys.argv[1]

# A maker of a table, and a function with a branch that is never taken and a line behind it.
WIDE = """\
/home/x/src/share/a.cpp:
    1|      0|constexpr int makeTable() {
    2|      0|  return 1;
    3|      0|}
    4|       |
    5|      7|int twice(int n, int m) {
    6|      7|  if (n < 0 && m < 0) return fail();
  ------------------
  |  Branch (6:7): [True: 1, False: 6]
  |  Branch (6:16): [True: 0, False: 1]
  ------------------
  |---> MC/DC Decision Region (6:7) to (6:21)
  |  C1-Pair: not covered
  |  C2-Pair: not covered
  ------------------
    7|      0|  odd();
    8|      7|  return 2 * n;
    9|      7|}
"""
# On another target the line is run.
NARROW = WIDE.replace("    7|      0|", "    7|      3|")
IF = "`if (n < 0 && m < 0) return fail();`"
GOOD = f"""\
| in | functions |
|---|---|
| `share/a.cpp` | `makeTable` |

- `share/a.cpp`, `twice`: 1 branch, 2 conditions of
  {IF}
  Nobody calls it so.
- `share/a.cpp`, `twice`: 1 line of `odd();` Never odd.

Argued in all: 4 lines, 1 branch, 2 conditions.
"""


class Missed(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def run_script(self, *words):
        result = subprocess.run([sys.executable, "-B", f"{SOURCE}/scripts/missed.py", *words],
                                capture_output=True, encoding="utf-8", timeout=60)
        return result.returncode, result.stdout + result.stderr

    def check(self, document, *shows):
        texts = [self.write(f"show{i}", show) for i, show in enumerate(shows or (WIDE,))]
        return self.run_script("--check", self.write("document", document), *texts)

    def refused(self, document, message, *shows):
        status, said = self.check(document, *shows)
        self.assertEqual(status, 1)
        self.assertIn(message, said)

    def test_what_is_missed_is_listed_and_counted(self):
        show = self.write("show", WIDE)
        status, said = self.run_script("--list", show)
        self.assertEqual(status, 0)
        self.assertEqual(said.splitlines()[3:], [
            "share/a.cpp:6: column 16 never true: if (n < 0 && m < 0) return fail();",
            "share/a.cpp:6: column 7: condition 1 never decides alone: "
            "if (n < 0 && m < 0) return fail();",
            "share/a.cpp:6: column 7: condition 2 never decides alone: "
            "if (n < 0 && m < 0) return fail();",
            "share/a.cpp:7: never run: odd();"])
        self.assertIn("lines     8 missed   4  branches     4 missed   1", self.run_script(show)[1])

    def test_arguments_for_all_of_it_are_accepted(self):
        self.assertEqual(self.check(GOOD),
                         (0, "missed and argued: 4 lines, 1 branch, 2 conditions\n"))

    def test_what_is_not_argued_is_refused(self):
        document = GOOD.replace("- `share/a.cpp`, `twice`: 1 line of `odd();` Never odd.\n", "")
        self.refused(document, "not argued: share/a.cpp:7, twice: never run: odd();")
        self.refused(GOOD.replace("`makeTable`", ""), "not argued: share/a.cpp:1, makeTable")
        self.refused(GOOD.replace("1 branch, 2 c", "1 c"), "missed: 1 branch, 2 conditions")

    def test_what_is_argued_and_reached_is_refused(self):
        self.refused(GOOD, "argued, but reached or gone: share/a.cpp, twice: odd();", WIDE, NARROW)
        self.refused(GOOD, "said to run in the compiler, but reached: share/a.cpp, makeTable",
                     WIDE.replace("    2|      0|", "    2|      1|"))
        self.refused(GOOD.replace("`makeTable`", "`makeTable`, `gone`"),
                     "not missed: share/a.cpp, gone")

    def test_an_argument_needs_a_reason_and_the_sum_must_be_right(self):
        self.refused(GOOD.replace(" Never odd.", ""), "not understood")
        self.refused(GOOD.replace("4 lines, 1", "5 lines, 1"), "the sum is wrong")

    def test_the_text_of_the_line_counts_and_not_its_number(self):
        moved = re.sub(r"(?m)^ +(\d)\|", r"   4\1|", WIDE).replace("(6:", "(46:")
        self.assertEqual(self.check(GOOD, moved), self.check(GOOD))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
