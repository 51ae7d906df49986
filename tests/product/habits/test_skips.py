#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests that a run of the tests says what it skipped: test_skips.py SOURCE_DIR."""
import os
import subprocess
import sys
import tempfile
import unittest

SOURCE = sys.argv[1]

# As ctest 3.25 writes it: GoogleTest, unittest with -v, pytest with -rs and a script of our own.
LOG = """Start testing: Nov 22 08:55 UTC
----------------------------------------------------------
1/5 Testing: Real.Files
1/5 Test: Real.Files
Command: "real_test" "--gtest_filter=Real.Files"
Output:
----------------------------------------------------------
[ RUN      ] Real.Files
../tests/real.cpp:12: Skipped
no files: set JPG_CORPUS to a folder of JPEG files
[  SKIPPED ] Real.Files (0 ms)
<end of output>
Test time =   0.01 sec
----------------------------------------------------------
Test Passed.
"Real.Files" end time: Nov 22 08:55 UTC
----------------------------------------------------------

2/5 Testing: tool
2/5 Test: tool
Output:
----------------------------------------------------------
test_a (__main__.A.test_a) ... skipped "cjpeg isn't installed"
test_b (__main__.A.test_b) ... ok
<end of output>
Test time =   0.01 sec
----------------------------------------------------------
Test Passed.
----------------------------------------------------------

3/5 Testing: python
3/5 Test: python
Output:
----------------------------------------------------------
..ss [100%]
SKIPPED [2] tests/test_read.py:40: cjpeg isn't installed
<end of output>
Test time =   0.01 sec
----------------------------------------------------------
Test Passed.
----------------------------------------------------------

4/5 Testing: abi
4/5 Test: abi
Output:
----------------------------------------------------------
skipped: no list
<end of output>
Test time =   0.01 sec
----------------------------------------------------------
Test Skipped.
----------------------------------------------------------

5/5 Testing: quiet
5/5 Test: quiet
Output:
----------------------------------------------------------
<end of output>
Test time =   0.01 sec
----------------------------------------------------------
Test Skipped.
----------------------------------------------------------
"""


def skips(log, folder, ci):
    environment = {key: value for key, value in os.environ.items() if key != "CI"}
    if ci:
        environment["CI"] = "true"
    with tempfile.NamedTemporaryFile("w", suffix=".log", encoding="utf-8") as file:
        file.write(log)
        file.flush()
        return subprocess.run([sys.executable, "-B", f"{SOURCE}/scripts/skips.py", file.name, folder],
                              env=environment, capture_output=True, text=True, check=False)


class Skips(unittest.TestCase):
    def test_are_counted_by_reason(self):
        result = skips(LOG, "/nonexistent", ci=False)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout.strip().splitlines(), [
            "Skipped: 6",
            "    3  cjpeg isn't installed",
            "    1  no files: set JPG_CORPUS to a folder of JPEG files",
            "    1  no list",
            "    1  no reason given"])

    def test_for_want_of_files_that_are_there_are_errors_in_ci(self):
        result = skips(LOG, SOURCE, ci=True)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout.splitlines()[-1].strip(), "Real.Files")

    def test_for_want_of_files_elsewhere_are_none(self):
        self.assertEqual(skips(LOG, SOURCE, ci=False).returncode, 0)
        self.assertEqual(skips(LOG, "/nonexistent", ci=True).returncode, 0)
        other = LOG.replace("set JPG_CORPUS to", "make")
        self.assertEqual(skips(other, SOURCE, ci=True).returncode, 0)

    def test_of_nothing_are_nothing(self):
        result = skips("Start testing\n", SOURCE, ci=True)
        self.assertEqual((result.returncode, result.stdout.strip()), (0, "Skipped: 0"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
