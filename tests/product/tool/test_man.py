#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool's manual page, docs/jpgtool.1: test_man.py JPGTOOL SOURCE_DIR."""
import os
import re
import shutil
import subprocess
import sys
import unittest

from test_jpgtool import SOURCE, TOOL, Tool, run

PAGE = f"{SOURCE}/docs/jpgtool.1"


class ManualPage(Tool):
    def rendered(self):
        """The page as a terminal 80 columns wide shows it, blanks made single."""
        if shutil.which("groff") is None:
            self.skipTest("groff isn't installed")
        result = subprocess.run(["groff", "-man", "-ww", "-Tascii", "-P-c", "-P-b", "-P-u", PAGE],
                                capture_output=True, check=True, timeout=60)
        self.assertEqual(result.stderr, b"")
        # Words that were divided at the end of a line are made whole.
        return " ".join(re.sub(r"(?<=[a-z])-\n\s+", "", result.stdout.decode()).split())

    def test_it_is_what_the_help_texts_make(self):
        out = self.path("jpgtool.1")
        subprocess.run([sys.executable, f"{SOURCE}/scripts/make_man.py", TOOL[-1], out], check=True,
                       timeout=60)
        with open(PAGE, "rb") as file:
            self.assertEqual(file.read(), self.read("jpgtool.1"),
                             "out of date: cmake --build BUILD --target man")

    def test_man_accepts_it_without_a_warning(self):
        if shutil.which("man") is None:
            self.skipTest("man isn't installed")
        environment = {**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"}
        result = subprocess.run(["man", "--warnings", "-l", PAGE], capture_output=True,
                                env=environment, timeout=60)
        if b"minimized" in result.stdout:
            self.skipTest("man is switched off on this machine")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(b"EXIT STATUS", result.stdout)

    def test_every_command_and_every_option_stands_in_it(self):
        text = self.rendered()
        overview = self.check("--help").decode()
        commands = re.findall(r"^  ([a-z]+)  +\S", overview, re.MULTILINE)
        self.assertGreaterEqual(len(commands), 7)
        for command in commands:
            self.assertIn(f" {command.upper()} jpgtool {command} ", text)
            section = text.split(f" {command.upper()} jpgtool {command} ", 1)[1]
            section = re.split(r" [A-Z]+ jpgtool [a-z]+ | EXIT STATUS ", section)[0] + " "
            help_text = self.check(command, "--help").decode()
            options = re.findall(r"^  (-[^ \n]+(?: [^ \n]+)*)", help_text, re.MULTILINE)
            self.assertTrue(options)
            for option in options:
                self.assertIn(f" {option} ", section, command)

    def test_it_has_examples_and_tells_where_to_read_on(self):
        text = self.rendered()
        self.assertIn(" EXAMPLES All photographs of a folder as PNG files", text)
        self.assertIn(" SEE ALSO The pages of the library", text)
        # Every command of an example is one.
        for command in re.findall(r"jpgtool ([a-z]+)", text.split(" EXAMPLES ")[1].split(" SEE ALSO ")[0]):
            self.check("help", command)

    def test_the_statuses_stand_in_it(self):
        self.assertIn("EXIT STATUS 0 done 1 error 2 decoded with damage 64 wrong usage",
                      self.rendered())


class Completions(Tool):
    def completed(self, *words):
        """What bash offers for the last word."""
        quoted = " ".join(f"'{word}'" for word in words)
        script = (f"source '{SOURCE}/docs/completions/jpgtool.bash'; COMP_WORDS=({quoted}); "
                  f"COMP_CWORD={len(words) - 1}; _jpgtool; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
        out = subprocess.run(["bash", "-c", script], capture_output=True, check=True, cwd=self.folder)
        self.assertEqual(out.stderr, b"")
        return out.stdout.decode().split()

    def test_they_are_what_the_help_texts_make(self):
        for shell, name in (("bash", "jpgtool.bash"), ("zsh", "_jpgtool"), ("fish", "jpgtool.fish")):
            with open(f"{SOURCE}/docs/completions/{name}", "rb") as file:
                self.assertEqual(file.read(), self.check("completion", shell),
                                 "out of date: cmake --build BUILD --target man")
            program = shutil.which(shell)
            if program:
                subprocess.run([program, "-n", f"{SOURCE}/docs/completions/{name}"], check=True, timeout=60)
        self.refused(64, "completion takes bash, zsh or fish", "completion", "csh")

    def test_commands_options_and_files_are_completed(self):
        self.assertEqual(self.completed("jpgtool", "de"), ["decode"])
        self.assertEqual(self.completed("jpgtool", "help", "vi"), ["view"])
        self.assertEqual(self.completed("jpgtool", "decode", "--max"),
                         ["--max-scans", "--max-pixels", "--max-memory"])
        self.assertEqual(self.completed("jpgtool", "compare", "--no"), ["--no-eoi", "--no-orient"])
        self.write("photo.jpg", b"")
        self.assertEqual(self.completed("jpgtool", "info", "ph"), ["photo.jpg"])

    def test_every_option_that_is_offered_is_known(self):
        for line in self.check("completion", "bash").decode().splitlines():
            found = re.match(r"    (\w+)\) options=\"(-.*)\" ;;", line)
            for option in found[2].split() if found else []:
                result = run(found[1], option, "1") if option != "--help" else run(found[1], option)
                self.assertNotIn(b"unknown option", result.stderr, line)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
