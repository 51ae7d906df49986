#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of scripts/pre-commit in a repository of their own: test_precommit.py SOURCE_DIR."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = sys.argv[1]
GOOD = "int twice(int n) { return 2 * n; }\n"
BAD = "int twice( int n ){return 2*n;}\n"


@unittest.skipUnless(shutil.which("git"), "git isn't installed")
class PreCommit(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        # nothing of the caller's repository or settings
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith("GIT_")}
        self.environment.update(HOME=self.folder, GIT_CONFIG_NOSYSTEM="1",
                                GIT_AUTHOR_NAME="a", GIT_AUTHOR_EMAIL="a@b",
                                GIT_COMMITTER_NAME="a", GIT_COMMITTER_EMAIL="a@b")
        self.git("init", "-q")
        os.mkdir(self.folder + "/scripts")
        shutil.copy(f"{SOURCE}/scripts/pre-commit", self.folder + "/scripts/pre-commit")
        shutil.copy(f"{SOURCE}/.clang-format", self.folder)
        self.git("config", "core.hooksPath", "scripts")
        self.stage("a.txt", "text\n")
        self.assertEqual(self.commit()[0], 0)

    def git(self, *words):
        return subprocess.run(["git", *words], cwd=self.folder, env=self.environment, check=True,
                              capture_output=True, timeout=60)

    def stage(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)
        self.git("add", name)

    def commit(self):
        result = subprocess.run(["git", "commit", "-qm", "A change"], cwd=self.folder, timeout=60,
                                env=self.environment, capture_output=True)
        return result.returncode, result.stderr.decode()

    def refused(self, text):
        status, said = self.commit()
        self.assertNotEqual(status, 0)
        self.assertIn(text, said)

    @unittest.skipUnless(shutil.which("clang-format-14"), "clang-format-14 isn't installed")
    def test_headers_have_a_format_too(self):
        for name in ("a.h", "a.hpp", "a.c"):
            self.stage(name, BAD)
            self.refused(f"{name} isn't formatted")
            self.stage(name, GOOD)
            self.assertEqual(self.commit()[0], 0)

    @unittest.skipUnless(shutil.which("clang-format-14"), "clang-format-14 isn't installed")
    def test_what_is_staged_counts_for_the_format(self):
        self.stage("a.cpp", BAD)
        with open(self.folder + "/a.cpp", "w", encoding="utf-8") as file:
            file.write(GOOD)  # not staged
        self.refused("a.cpp isn't formatted")
        self.git("add", "a.cpp")
        self.assertEqual(self.commit()[0], 0)

    def test_what_was_there_before_is_left_alone(self):
        self.stage("old.cpp", BAD)
        self.git("commit", "-qm", "Old", "--no-verify")
        self.stage("b.txt", "more\n")
        self.assertEqual(self.commit()[0], 0)

    def test_scripts_must_parse(self):
        self.stage("x.py", "def f(:\n")
        self.refused("x.py isn't valid Python")
        self.stage("x.py", "def f():\n    pass\n")
        self.stage("scripts/run.sh", "#!/usr/bin/env bash\nif true; then\n")
        self.refused("scripts/run.sh isn't valid bash")
        self.stage("scripts/run.sh", "#!/usr/bin/env bash\nif true; then :; fi\n")
        self.assertEqual(self.commit()[0], 0)

    def test_white_space_at_the_end_of_a_line(self):
        self.stage("b.txt", "blank \n")
        self.refused("white space errors")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
