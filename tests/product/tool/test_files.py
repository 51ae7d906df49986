#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the files that jpgtool reads and writes: nothing is destroyed, pipes serve, names are bytes.
test_files.py JPGTOOL SOURCE_DIR"""
import json
import os
import resource
import signal
import stat
import subprocess
import sys
import time
import unittest

from test_jpgtool import SAMPLE, TOOL, Tool, flat_jpeg, parse_bmp, parse_pnm, ppm, run

with open(SAMPLE, "rb") as sample_file:
    PHOTO = sample_file.read()
OLD = b"what was there before"


class Targets(Tool):
    def unharmed(self, name, *words, **more):
        """The command fails, leaves the target as it was, and nothing beside it."""
        self.write(name, OLD)
        before = sorted(os.listdir(self.folder))
        result = run(*words, **more)
        self.assertNotEqual(result.returncode, 0, words)
        self.assertEqual(self.read(name), OLD)
        self.assertEqual(sorted(os.listdir(self.folder)), before)

    def test_a_failure_leaves_the_old_file(self):
        broken = self.write("b.jpg", PHOTO[: len(PHOTO) // 2])
        text = self.write("t.jpg", b"no picture")
        cut = self.write("c.ppm", ppm(64, 64, lambda x, y: (1, 2, 3))[:-1])
        out, jpg = self.path("x.ppm"), self.path("x.jpg")
        for name, words in {
            "x.ppm": ("decode", broken, "-o", out, "--strict"),
            "x.pgm": ("decode", SAMPLE, "-o", self.path("x.pgm")),
            "x.bmp": ("decode", text, "-o", self.path("x.bmp"), "--bits", "8"),
            "x.jpg": ("encode", cut, "-o", jpg),
        }.items():
            with self.subTest(words):
                self.unharmed(name, *words)
        self.unharmed("x.ppm", "decode", text, "-o", out)
        self.unharmed("x.ppm", "decode", SAMPLE, "-o", out, "--scale", "1/3")
        self.unharmed("x.jpg", "encode", text, "-o", jpg)
        self.unharmed("x.jpg", "encode", cut, "-o", jpg, "--quality", "101")
        self.unharmed("x.jpg", "encode", cut, "-o", jpg, "--icc", self.path("none"))
        self.unharmed("x.bmp", "thumbnail", SAMPLE, "-o", self.path("x.bmp"))

    def test_a_full_disk_leaves_the_old_file(self):
        # The limit stands for the disk; SIGXFSZ is ignored so that a write fails instead.
        def limited():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

        self.write("x.ppm", OLD)
        result = subprocess.run([*TOOL, "decode", SAMPLE, "-o", self.path("x.ppm")],
                                capture_output=True, timeout=60, preexec_fn=limited)
        self.assertIn(b"JPG_E_WRITE_FAULT", result.stderr)
        self.assertEqual((self.read("x.ppm"), os.listdir(self.folder)), (OLD, ["x.ppm"]))

    def test_signals_leave_the_old_file(self):
        side = 6000
        self.check("encode", "-", "-o", self.path("g.jpg"), "--strict",
                   stdin=b"P5\n%d %d\n255\n" % (side, side) + bytes(range(250)) * (side * side // 250))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            self.write("x.pgm", OLD)
            with subprocess.Popen([*TOOL, "decode", self.path("g.jpg"), "-o", self.path("x.pgm")],
                                  stderr=subprocess.DEVNULL) as process:
                for _ in range(5000):
                    if len(os.listdir(self.folder)) == 3:
                        break
                    time.sleep(0.001)
                process.send_signal(number)
                status = process.wait(timeout=60)
            self.assertEqual(sorted(os.listdir(self.folder)), ["g.jpg", "x.pgm"])
            self.assertIn(status, (0, 128 + number))
            # It may have been faster than the signal; then the new file is complete.
            if self.read("x.pgm") != OLD:
                self.assertEqual(os.path.getsize(self.path("x.pgm")), side * side + 15)

    def test_rights_links_and_folders_are_kept(self):
        target = self.write("x.ppm", OLD)
        os.chmod(target, 0o640)
        os.symlink("x.ppm", self.path("link.ppm"))
        self.check("decode", SAMPLE, "-o", self.path("link.ppm"))
        self.assertTrue(os.path.islink(self.path("link.ppm")))
        self.assertEqual(stat.S_IMODE(os.stat(target).st_mode), 0o640)
        self.assertEqual(parse_pnm(self.read("x.ppm"))[1:3], (640, 480))
        os.mkdir(self.path("d.ppm"))
        self.check("decode", SAMPLE, "-o", self.path("d.ppm"))  # a folder for many
        self.assertEqual(os.listdir(self.path("d.ppm")), ["sample.ppm"])
        umask = os.umask(0o077)
        self.addCleanup(os.umask, umask)
        self.check("decode", SAMPLE, "-o", self.path("new.ppm"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.ppm")).st_mode), 0o600)

    def test_devices_and_pipes_are_written_straight_and_stay(self):
        os.mkfifo(self.path("pipe"))
        for words in (("decode", SAMPLE), ("encode", self.write("p.ppm", ppm(8, 8, lambda x, y: (9, 9, 9))))):
            with open(self.path("got"), "wb") as got, \
                    subprocess.Popen(["cat", self.path("pipe")], stdout=got) as reader:
                self.check(*words, "-o", self.path("pipe"))
                reader.wait(timeout=60)
            self.assertEqual(self.read("got")[:2], b"P6" if words[0] == "decode" else b"\xff\xd8")
            self.assertTrue(stat.S_ISFIFO(os.stat(self.path("pipe")).st_mode))
        if os.path.exists("/dev/full"):
            for words in (("decode", SAMPLE), ("encode", self.path("p.ppm"))):
                self.refused(1, "JPG_E_WRITE_FAULT", *words, "-o", "/dev/full")
                self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))


class Pipes(Tool):
    def test_every_command_reads_standard_input(self):
        self.assertIn(b"size: 640 x 480", self.check("info", "-", stdin=PHOTO))
        self.assertIn(b"SOF0  at 616", self.check("segments", "-", stdin=PHOTO))
        whole = self.check("decode", SAMPLE, "-o", "-")
        self.assertEqual(self.check("decode", "-", "-o", "-", stdin=PHOTO), whole)
        self.assertEqual(len(self.check("view", "-", "--width", "8", stdin=PHOTO).splitlines()), 3)
        self.assertIn(b"PSNR inf", self.check("compare", "-", SAMPLE, stdin=whole))
        self.refused(1, "-: has no Exif segment", "exif", "-", stdin=PHOTO)
        self.refused(1, "-: has no colour profile", "icc", "-", stdin=PHOTO)
        self.refused(1, "-: no start marker", "info", "-", stdin=b"")

    def test_standard_input_alone_goes_to_standard_output(self):
        with open(SAMPLE, "rb") as file:
            stream = file.read()
        picture = self.check("decode", "-", stdin=stream)
        self.assertEqual(picture, self.check("decode", SAMPLE, "-o", "-"))
        self.assertTrue(self.check("decode", "-", "--to", "bmp", stdin=stream).startswith(b"BM"))
        self.assertTrue(self.check("encode", "-", stdin=picture).startswith(b"\xff\xd8"))
        for words in (("decode", SAMPLE), ("encode", SAMPLE)):
            self.refused(64, "needs -o", *words)

    def test_a_reader_that_has_seen_enough_hears_nothing(self):
        for words in (("decode", SAMPLE, "-o", "-"), ("info", *[SAMPLE] * 400), ("help", "decode")):
            read, write = os.pipe()
            os.close(read)
            result = subprocess.run([*TOOL, *words], stdout=write, stderr=subprocess.PIPE, timeout=60)
            os.close(write)
            self.assertEqual((result.returncode, result.stderr), (1, b""), words[0])

    def test_what_cannot_seek_serves_both_ways(self):
        picture = ppm(33, 21, lambda x, y: (5 * x, 9 * y, 77))
        encoded = self.check("encode", "-", "-o", "-", "--lossless", stdin=picture)
        self.assertEqual(self.check("decode", "-", "-o", "-", stdin=encoded), picture)
        # A bitmap's rows stand bottom-up.
        bitmap = self.check("decode", "-", "-o", "-", "--to", "bmp", stdin=encoded)
        self.assertEqual(parse_bmp(bitmap), (33, 21, 24, parse_pnm(picture)[4]))
        again = self.check("encode", "-", "-o", "-", "--lossless", stdin=bitmap)
        self.assertEqual(again, encoded)
        reduced = self.check("decode", SAMPLE, "-o", "-", "--to", "bmp", "--bits", "8")
        self.assertEqual(parse_bmp(reduced)[:3], (640, 480, 8))


class Names(Tool):
    def test_long_paths_and_odd_names(self):
        folder = self.folder + "/" + "/".join(["d" * 200] * 3)
        os.makedirs(folder)
        name = f"{folder}/{'n' * 240}.jpg"
        with open(name, "wb") as file:
            file.write(PHOTO)
        self.check("decode", name, "-o", folder + "/x.ppm")
        self.check("encode", folder + "/x.ppm", "-o", f"{folder}/{'m' * 240}.jpg")
        self.check("info", f"{folder}/{'m' * 240}.jpg")

    def test_messages_tell_the_systems_reason(self):
        none, folder = self.path("none.jpg"), self.path("folder")
        os.mkdir(folder)
        for command in ("info", "exif", "segments", "icc", "view"):
            self.refused(1, f"{none}: cannot open the file: no such file or directory (0x80000301",
                         command, none)
        self.refused(1, f"{folder}: cannot open the file: is a directory (0x", "info", folder)
        self.refused(1, "cannot open the file: is a directory", "decode", folder, "-o",
                     self.path("x.ppm"))
        self.refused(1, "cannot create the file: no such file", "decode", SAMPLE, "-o",
                     self.path("no/x.ppm"))
        self.refused(1, "cannot make the folder: no such file", "decode", SAMPLE, "-o",
                     self.path("no/such/"))
        if os.getuid() == 0:
            return
        os.chmod(self.write("shut.jpg", PHOTO), 0)
        self.refused(1, "cannot open the file: permission denied", "info", self.path("shut.jpg"))

    def test_errors_are_json_too(self):
        result = run("info", self.path("none.jpg"), "--json")
        self.assertEqual(json.loads(result.stderr), {
            "file": self.path("none.jpg"), "error": "cannot open the file: no such file or directory",
            "code": 0x80000301, "name": "JPG_E_OPEN_FAILED"})
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        result = run("decode", SAMPLE, "--json")
        self.assertEqual((result.returncode, json.loads(result.stderr)["error"]), (64, "decode needs -o OUT"))

    def test_many_files_and_folders(self):
        os.makedirs(self.path("a/b"))
        for name in ("a/1.jpg", "a/b/2.JPEG", "a/b/3.txt", "4.jpg"):
            self.write(name, flat_jpeg(8, 8, 1))
        os.symlink("..", self.path("a/b/up"))
        told = json.loads(self.check("info", "-r", "--json", self.path("a"), self.path("4.jpg")))
        self.assertEqual([t["file"] for t in told],
                         [self.path(n) for n in ("a/1.jpg", "a/b/2.JPEG", "4.jpg")])
        result = run("info", "--json", self.path("4.jpg"), self.path("a/b/3.txt"), self.path("none"))
        self.assertEqual((result.returncode, len(json.loads(result.stdout))), (1, 2))
        self.assertEqual(json.loads(self.check("info", "-r", "--json", self.path("a/b"), "--"))[0]["width"], 8)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
