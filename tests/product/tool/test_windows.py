#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool as a Windows program, run by an emulator: test_windows.py JPGTOOL SOURCE_DIR.
What the commands do is tested elsewhere, with the sources that all systems share; here is what they ask
of the system."""
import json
import os
import shutil
import sys
import unittest

from test_jpgtool import SAMPLE, Tool, parse_pnm, ppm, run

OLD = b"what was there before"


class Windows(Tool):
    def setUp(self):
        super().setUp()
        os.chdir(self.folder)  # so that paths from the root lie on the drive that has them
        self.addCleanup(os.chdir, "/")

    def test_pictures_come_back(self):
        source = ppm(21, 13, lambda x, y: (x * 9, y * 11, 77))
        self.write("p.ppm", source)
        self.check("encode", "p.ppm", "-o", "p.jpg", "--lossless")
        self.assertEqual(self.check("decode", "p.jpg", "-o", "-"), source)
        self.check("decode", "p.jpg", "-o", "p.bmp")
        self.assertIn(b"PSNR inf", self.check("compare", "p.bmp", "p.ppm"))
        self.assertEqual(self.check("decode", "-", "-o", "-", stdin=self.read("p.jpg")), source)

    def test_names_are_utf_8(self):
        shutil.copy(SAMPLE, self.path("Bäume 写真.jpg"))
        self.assertEqual(json.loads(self.check("info", "--json", "Bäume 写真.jpg"))["width"], 640)
        self.check("decode", "Bäume 写真.jpg", "-o", "絵.ppm")
        self.assertEqual(parse_pnm(self.read("絵.ppm"))[1:3], (640, 480))

    def test_many_files_folders_and_reasons(self):
        os.mkdir(self.path("in"))
        for name in "ab":
            shutil.copy(SAMPLE, self.path(f"in/{name}.jpg"))
        told = json.loads(self.check("info", "-r", "--json", "in"))
        self.assertEqual([t["file"] for t in told], ["in/a.jpg", "in/b.jpg"])
        self.check("decode", "in/a.jpg", "in/b.jpg", "-o", "out/", "--scale", "1/8")
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["a.ppm", "b.ppm"])
        self.refused(1, "cannot open the file: no such file or directory", "info", "none.jpg")
        self.refused(1, "cannot open the file: is a directory", "info", "in")

    def test_a_tool_without_png_says_so(self):
        self.refused(1, "built without PNG", "decode", SAMPLE, "-o", "x.png")
        self.write("y.png", b"\x89PNG\r\n\x1a\n" + bytes(50))
        self.refused(1, "built without PNG", "encode", "y.png", "-o", "y.jpg")
        self.assertEqual(os.listdir(self.folder), ["y.png"])

    def test_a_failure_leaves_the_old_file(self):
        self.write("x.ppm", OLD)
        with open(SAMPLE, "rb") as file:
            self.write("b.jpg", file.read()[:30000])
        self.assertEqual(run("decode", "b.jpg", "-o", "x.ppm", "--strict").returncode, 1)
        self.assertEqual((self.read("x.ppm"), len(os.listdir(self.folder))), (OLD, 2))
        self.check("decode", SAMPLE, "-o", "x.ppm")  # and a success replaces it
        self.assertEqual(parse_pnm(self.read("x.ppm"))[1:3], (640, 480))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
