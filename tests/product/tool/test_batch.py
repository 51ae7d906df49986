#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool's work on many files at once: test_batch.py JPGTOOL SOURCE_DIR."""
import os
import signal
import subprocess
import sys
import time
import unittest

from test_jpgtool import SAMPLE, TOOL, Tool, flat_jpeg, parse_any_bmp, parse_pnm, ppm, run


class Batch(Tool):
    def pictures(self, count):
        """Files of different sizes, and the pictures that they decode to."""
        names = [self.write(f"p{i}.jpg", flat_jpeg(5 + i, 9, 1, first=8)) for i in range(count)]
        return names, [b"P5\n%d 9\n255\n" % (5 + i) + bytes([136]) * (9 * (5 + i))
                       for i in range(count)]

    def test_every_file_gets_its_picture_whatever_the_number_of_processes(self):
        names, expected = self.pictures(17)
        for jobs in ([], ["-j", "1"], ["-j", "3"], ["-j", "200"]):
            out = self.path("out" + "".join(jobs)) + "/"
            self.assertEqual(self.check("decode", *names, "-o", out, "--to", "pgm", *jobs), b"")
            self.assertEqual(sorted(os.listdir(out)), sorted(f"p{i}.pgm" for i in range(17)))
            for i, picture in enumerate(expected):
                with open(f"{out}p{i}.pgm", "rb") as file:
                    self.assertEqual(file.read(), picture)

    def test_kinds_and_options_are_for_all(self):
        os.mkdir(self.path("d"))  # a folder that is there needs no slash
        self.check("decode", SAMPLE, "-o", self.path("d"), "--scale", "1/8")
        self.assertEqual(parse_pnm(self.read("d/sample.ppm"))[1:3], (80, 60))
        self.check("decode", SAMPLE, "-o", self.path("d/"), "--to", "bmp", "--bits", "8")
        self.assertEqual(parse_any_bmp(self.read("d/sample.bmp"))[:3], (640, 480, 8))

    def test_many_pictures_are_encoded(self):
        names = [self.write(f"a.b{i}.ppm", ppm(8 + i, 8, lambda x, y: (x, y, 9))) for i in range(5)]
        self.check("encode", *names, "-o", self.path("jpg/"), "--lossless", "-j", "2")
        back = [self.path(f"jpg/a.b{i}.jpg") for i in range(5)]
        self.check("decode", *back, "-o", self.path("back/"))
        for i, name in enumerate(names):
            with open(name, "rb") as file:
                self.assertEqual(self.read(f"back/a.b{i}.ppm"), file.read())

    def test_errors_come_at_the_end_in_the_order_of_the_files(self):
        names, expected = self.pictures(4)
        bad = self.write("bad.jpg", b"nothing")
        missing = self.path("none.jpg")
        result = run("decode", names[0], bad, *names[1:3], missing, names[3], "-o", self.path("o/"),
                     "--to", "pgm", "-j", "4")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.decode().splitlines(), [
            f"jpgtool: {bad}: no start marker (FF D8) at byte 0 (0x80000109 JPG_E_NOT_JPEG)",
            f"jpgtool: {missing}: cannot open the file: no such file or directory "
            "(0x80000301 JPG_E_OPEN_FAILED)",
            "jpgtool: 6 files: 2 failed, 0 decoded with damage"])
        self.assertEqual([self.read(f"o/p{i}.pgm") for i in range(4)], expected)
        self.assertEqual(len(os.listdir(self.path("o"))), 4)

    def test_the_status_is_the_worst(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        damaged = self.write("d.jpg", data[: len(data) // 2] + b"\xff\xd9")
        bad = self.write("bad.jpg", b"nothing")
        words = ["-o", self.path("o/"), "--keep-going"]
        self.assertEqual(run("decode", SAMPLE, damaged, *words).returncode, 2)
        self.assertEqual(run("decode", SAMPLE, damaged, bad, *words).returncode, 1)
        self.assertEqual(run("decode", SAMPLE, damaged, "-o", self.path("q/"), "--strict").returncode, 1)
        self.assertEqual(os.listdir(self.path("q")), ["sample.ppm"])

    def test_what_cannot_be_a_batch(self):
        names, _ = self.pictures(2)
        os.mkdir(self.path("other"))
        twin = self.write("other/p0.jpeg", b"")
        cases = {
            ("decode", *names): "needs -o",
            ("decode", *names, "-o", self.path("x.ppm")): "several files go into a folder: -o DIR/",
            ("decode", names[0], twin, "-o", self.path("o/")): "would both become",
            ("decode", *names, "-o", self.path("o/"), "--to", "gif"): "--to takes png, bmp, ppm, pgm or pam",
            ("decode", *names, "-o", self.path("o/"), "-j", "0"): "-j takes a number from 1 to 256",
            ("decode", names[0], "-o", self.path("x.ppm"), "--to", "bmp"): "--to is for a folder",
            ("decode", *names, "-o", self.path("o/"), "--bits", "8"): "--bits needs",
            ("decode", *names, "--each-scan", self.path("o")): "--each-scan takes one file",
            ("encode", *names, "-o", self.path("x.jpg")): "several files go into a folder",
            ("encode", "-", "-o", self.path("o/")): "standard input has no name",
        }
        for words, text in cases.items():
            with self.subTest(words):
                self.refused(64, text, *words)
        self.assertFalse(os.path.exists(self.path("o")))
        self.refused(1, "cannot make the folder", "decode", *names, "-o", self.path("no/such/"))

    def test_a_terminal_sees_one_progress_line(self):
        side = 3000
        gray = b"P5\n%d %d\n255\n" % (side, side) + bytes(range(250)) * (side * side // 250)
        self.check("encode", self.write("g.pgm", gray), "-o", self.path("g.jpg"))
        names = [self.path("g.jpg")]
        for i in range(60):
            names.append(self.path(f"g{i}.jpg"))
            os.link(names[0], names[-1])
        ours, theirs = self.terminal()
        start = time.monotonic()
        with subprocess.Popen([*TOOL, "decode", *names, "-o", self.path("o/"), "--to", "pgm", "--rows",
                               ":2900", "-j", "2"], stderr=theirs) as process:
            os.close(theirs)
            said = b""
            while True:
                try:
                    piece = os.read(ours, 4096)
                except OSError:
                    break
                if not piece:
                    break
                said += piece
            self.assertEqual(process.wait(timeout=300), 0)
        os.close(ours)
        self.assertNotIn(b"\n", said)
        if time.monotonic() - start > 1.5:  # quiet for the first second
            self.assertRegex(said, rb"\rdecoding 61 files \d+%")

    def test_an_interrupted_batch_leaves_complete_files_only(self):
        side = 4000
        gray = b"P5\n%d %d\n255\n" % (side, side) + bytes(range(250)) * (side * side // 250)
        self.check("encode", self.write("g.pgm", gray), "-o", self.path("g0.jpg"))
        names = [self.path(f"g{i}.jpg") for i in range(12)]
        for name in names[1:]:
            os.link(names[0], name)
        with subprocess.Popen([*TOOL, "decode", *names, "-o", self.path("o/"), "--to", "pgm", "-j",
                               "3"], stderr=subprocess.DEVNULL) as process:
            for _ in range(3000):
                if os.path.isdir(self.path("o")) and os.listdir(self.path("o")):
                    break
                time.sleep(0.001)
            process.send_signal(signal.SIGTERM)
            status = process.wait(timeout=30)
        self.assertIn(status, (0, 128 + signal.SIGTERM))  # it may have been faster
        for name in os.listdir(self.path("o")):
            self.assertEqual(os.path.getsize(self.path("o/" + name)), side * side + 15)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
