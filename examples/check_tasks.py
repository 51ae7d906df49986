#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the programs of the five tasks and compares what they give:
check_tasks.py BIN_DIR JPGTOOL LIBRARY [--without-python]"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

BIN, JPGTOOL, LIBRARY = (pathlib.Path(word) for word in sys.argv[1:4])
HERE = pathlib.Path(__file__).parent
SAMPLE = HERE / "sample.jpg"
PYTHON = "/usr/bin/python3"


def python_works():
    if "--without-python" in sys.argv:
        return False
    return subprocess.run([PYTHON, "-c", "import numpy"], capture_output=True).returncode == 0


class Tasks(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        # Latitude and longitude in degrees, minutes and seconds, as the tags want them.
        entries = [(274, 3, 1, struct.pack("<HH", 1, 0)), (34665, 4, 1, struct.pack("<I", 50)),
                   (34853, 4, 1, struct.pack("<I", 88))]
        gps = [(1, 2, 2, b"S\0\0\0"), (2, 5, 3, struct.pack("<I", 142)), (3, 2, 2, b"E\0\0\0"),
               (4, 5, 3, struct.pack("<I", 166))]
        tiff = b"II*\0" + struct.pack("<I", 8) + self.directory(entries)
        tiff += self.directory([(36867, 2, 20, struct.pack("<I", 68))]) + b"2026:11:22 08:36:00\0"
        tiff += self.directory(gps) + struct.pack("<12I", 50, 1, 30, 1, 36, 1, 7, 1, 0, 1, 9, 10)
        data = b"Exif\0\0" + tiff
        stream = SAMPLE.read_bytes()
        self.exif = b"\xff\xe1" + struct.pack(">H", len(data) + 2) + data
        self.photo = self.folder / "Foto ä.jpg"
        self.photo.write_bytes(stream[:2] + self.exif + stream[2:])

    @staticmethod
    def directory(entries):
        body = b"".join(struct.pack("<HHI", *entry[:3]) + entry[3] for entry in entries)
        return struct.pack("<H", len(entries)) + body + bytes(4)

    def results(self, task, source, extension=""):
        """What the programs of a task give, by language: their output, or the file that they write."""
        environment = {**os.environ, "PYTHONPATH": str(HERE.parent / "bindings" / "python"),
                       "JPG_LIBRARY": str(LIBRARY), "PATH": f"{JPGTOOL.parent}:{os.environ['PATH']}"}
        commands = {"C": [BIN / f"task_{task}_c"], "C++": [BIN / f"task_{task}_cpp"],
                    "tool": ["sh", HERE / "tasks" / "tool.sh", task]}
        if python_works():
            commands["Python"] = [PYTHON, "-B", HERE / "tasks" / f"{task}.py"]
        found = {}
        for language, command in commands.items():
            out = self.folder / f"{task}-{language}{extension}"
            words = [*command, source, *([out] if extension else [])]
            result = subprocess.run(words, capture_output=True, env=environment, timeout=60)
            self.assertEqual(result.returncode, 0, (words, result.stderr))
            found[language] = out if extension else result.stdout.decode()
        return found

    def decoded(self, path):
        return subprocess.run([JPGTOOL, "decode", path, "-o", "-"], check=True, capture_output=True).stdout

    def test_a_photograph(self):
        expected = self.decoded(self.photo)
        for language, out in self.results("photo", self.photo, ".ppm").items():
            self.assertEqual(out.read_bytes(), expected, language)

    def test_a_preview(self):
        for language, out in self.results("preview", self.photo, ".jpg").items():
            self.assertEqual(self.decoded(out)[:9], b"P6\n80 60\n", language)

    def test_attributes(self):
        for language, text in self.results("attributes", self.photo).items():
            if language == "tool":
                self.assertRegex(text, r"(?s)Orientation .* 1\n.*2026:11:22 08:36:00.*50/1 30/1 36/1.*7/1 0/1 9/10")
                continue
            # 50 degrees, 30 minutes, 36 seconds; 7 degrees, 0.9 seconds
            self.assertEqual(text, "orientation 1\ndate 2026:11:22 08:36:00\nplace -50.51000 7.00025\n")

    def test_a_copy_with_its_attributes(self):
        for language, out in self.results("copy", self.photo, ".jpg").items():
            self.assertIn(self.exif, out.read_bytes(), language)
            told = subprocess.run([JPGTOOL, "info", out], check=True, capture_output=True).stdout
            for line in (b"quality: 85\n", b"chroma: 4:2:0\n"):
                self.assertIn(line, told, language)

    def test_sixteen_bits_without_loss(self):
        data = b"P5\n7 5\n65535\n" + bytes((17 * i) % 256 for i in range(70))
        source = self.folder / "deep.pgm"
        source.write_bytes(data)
        for language, out in self.results("deep", source, ".jpg").items():
            self.assertEqual(self.decoded(out), data, language)

    def test_each_program_is_short(self):
        for path in (HERE / "tasks").iterdir():
            if path.suffix in (".c", ".cpp", ".py", ".sh"):
                lines = [line for line in path.read_text().splitlines() if "SPDX" not in line]
                self.assertLessEqual(len(lines), 25, path.name)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
