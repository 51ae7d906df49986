#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool decode --rows: test_rows.py JPGTOOL SOURCE_DIR."""
import shutil
import subprocess
import sys
import unittest

from test_jpgtool import SAMPLE, Tool, flat_jpeg, parse_pnm, ppm, run

WIDTH, HEIGHT = 70, 131
BANDS = ((0, 131), (0, 1), (1, 2), (7, 9), (8, 16), (15, 49), (16, 131), (47, 48), (48, 49),
         (100, 131), (130, 131), (128, 500))


def pixel(x, y):
    return (3 * x, 255 - y, (x * y) % 256)


class Rows(Tool):
    def bands_match(self, name, bands=BANDS, options=()):
        """Each band is the same as these rows of the whole picture."""
        _, width, height, _, whole = parse_pnm(self.check("decode", name, "-o", "-", *options))
        row = len(whole) // height
        for first, end in bands:
            with self.subTest(name=name, rows=(first, end), options=options):
                out = parse_pnm(self.check("decode", name, "-o", "-", "--rows", f"{first}:{end}",
                                           *options))
                end = min(end, height)
                self.assertEqual(out[1:3], (width, end - first))
                self.assertEqual(out[4], whole[first * row : end * row])

    def encode(self, name, *options, size=(WIDTH, HEIGHT)):
        picture = self.write("p.ppm", ppm(*size, pixel))
        self.check("encode", picture, "-o", self.path(name), *options)
        return self.path(name)

    def test_bands_of_files_without_restart_markers(self):
        self.bands_match(self.encode("a.jpg"))

    def test_bands_by_restart_markers(self):
        # 70 pixels: 5 MCUs of 16, or 9 of 8. Whole MCU rows, several of them, and pieces.
        for sampling, intervals in (("420", (5, 10, 15, 3, 7)), ("444", (9, 27, 4))):
            for n in intervals:
                self.bands_match(self.encode("r.jpg", "--restart", str(n), "--sampling", sampling))

    def test_bands_of_raw_and_of_scaled_pictures(self):
        name = self.encode("r.jpg", "--restart", "5")
        self.bands_match(name, options=("--raw",))
        self.bands_match(name, ((0, 9), (8, 17), (9, 10), (33, 66)), ("--scale", "1/2"))
        self.bands_match(name, ((0, 9), (2, 3), (9, 17)), ("--scale", "1/8"))
        self.bands_match(self.encode("s.jpg"), ((1, 17), (3, 4)), ("--scale", "1/4"))

    def test_bands_of_lossless_files(self):
        for options in ([], ["--restart", "1"], ["--restart", "7"], ["--predictor", "7"]):
            self.bands_match(self.encode("l.jpg", "--lossless", *options))

    def test_bands_of_grey_and_of_a_height_told_by_dnl(self):
        gray = b"P5\n40 70\n255\n" + bytes((x * y) % 256 for y in range(70) for x in range(40))
        self.check("encode", self.write("g.pgm", gray), "-o", self.path("g.jpg"), "--restart", "5")
        self.bands_match(self.path("g.jpg"), ((8, 9), (63, 70), (20, 60)))
        self.bands_match(self.write("d.jpg", flat_jpeg(9, 39, 1, first=8, dnl=39)),
                         ((0, 3), (17, 39), (38, 39)))

    def test_bands_of_progressive_files(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(WIDTH, HEIGHT, pixel))
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", picture], stdout=out, check=True)
        self.bands_match(self.path("p.jpg"))
        self.bands_match(self.path("p.jpg"), ((17, 40),), ("--scans", "3"))

    def test_what_is_above_the_band_is_not_decoded_where_there_are_markers(self):
        name = self.encode("r.jpg", "--restart", "5")
        with open(name, "rb") as file:
            data = bytearray(file.read())
        scan = data.index(b"\xff\xda") + 14
        marker = data.index(b"\xff\xd0", scan)
        for i in range(scan, marker):  # all ones are no code, without being a marker
            data[i] = 0xFE
        broken = self.write("b.jpg", data)
        words = ["decode", broken, "-o", self.path("x.ppm"), "--strict"]
        self.refused(1, "near byte", *words)
        self.refused(1, "near byte", *words, "--rows", "15:17")
        below = self.check("decode", broken, "-o", "-", "--rows", "16:131", "--strict")
        self.assertEqual(below, self.check("decode", name, "-o", "-", "--rows", "16:131", "--strict"))

    def test_markers_that_are_missing_or_out_of_order_are_no_guide(self):
        # Nine rows of MCUs, RST0 to RST7 between them. The rows are those of the whole picture,
        # whatever the decoder makes of it, not those of another interval.
        with open(self.encode("r.jpg", "--restart", "5"), "rb") as file:
            data = file.read()
        third = data.index(b"\xff\xd2", data.index(b"\xff\xda"))
        last = data.index(b"\xff\xd7", third)
        self.assertEqual(data[third + 2 :].count(b"\xff\xd3"), 1)
        cases = {
            "missing.jpg": data[:third] + data[third + 2 :],
            "number.jpg": data[:third] + b"\xff\xd5" + data[third + 2 :],
            "interval.jpg": data[:third] + data[data.index(b"\xff\xd3", third) :],
            "more.jpg": data[:last] + b"\xff\xd7" + data[last:],
        }
        self.assertEqual(len(set(cases.values())), 4)
        row = 3 * WIDTH
        for name, broken in cases.items():
            words = ["decode", self.write(name, broken), "--keep-going", "--strict", "-o"]
            status = run(*words, self.path("whole.ppm")).returncode
            whole = parse_pnm(self.read("whole.ppm"))[4]
            for first, end in ((47, 49), (64, 80), (112, 131)):
                with self.subTest(name=name, rows=(first, end)):
                    result = run(*words, self.path("band.ppm"), "--rows", f"{first}:{end}")
                    self.assertLessEqual(result.returncode, status)
                    self.assertEqual(parse_pnm(self.read("band.ppm"))[4],
                                     whole[first * row : end * row])

    def test_the_last_interval_may_end_with_a_marker_or_without(self):
        with open(self.encode("r.jpg", "--restart", "5", "--strict", size=(WIDTH, 48)), "rb") as file:
            data = file.read()
        self.assertEqual(data[-4:], b"\xff\xd2\xff\xd9")
        scan = data.index(b"\xff\xda") + 14
        for name, end in (("with.jpg", b"\xff\xd2\xff\xd9"), ("without.jpg", b"\xff\xd9")):
            whole = data[:-4] + end
            self.bands_match(self.write(name, whole), ((15, 17), (16, 48), (40, 48)))
            # That the intervals above are passed over shows where one of them is damaged.
            first = whole.index(b"\xff\xd0", scan)
            broken = whole[:scan] + b"\xfe" * (first - scan) + whole[first:]
            self.check("decode", self.write("b.jpg", broken), "-o", "-", "--rows", "16:48", "--strict")

    def test_either_end_may_be_missing(self):
        whole = self.check("decode", SAMPLE, "-o", "-", "--rows", ":")
        self.assertEqual(whole, self.check("decode", SAMPLE, "-o", "-"))
        self.assertEqual(parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--rows", "470:"))[2], 10)
        self.assertEqual(parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--rows", ":3"))[2], 3)

    def test_what_is_refused(self):
        words = ["decode", SAMPLE, "-o", self.path("x.ppm"), "--rows"]
        for bad in ("", "5", "5:5", "9:3", "a:b", "-1:4", "1:2:3", "1:70000"):
            self.refused(64, "--rows takes A:B", *words, bad)
        self.refused(1, "the picture has 480 rows (0x80000057", *words, "480:481")
        self.refused(64, "--rows and --each-scan", "decode", SAMPLE, "--each-scan",
                     self.path("d"), "--rows", "1:2")
        self.refused(64, "--bits and --rows", "decode", SAMPLE, "-o", self.path("x.bmp"), "--rows",
                     "1:2", "--bits", "24")

    def test_kept_rows_of_a_damaged_band(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        broken = self.write("b.jpg", data[: len(data) // 2] + b"\xff\xd9")
        result = run("decode", broken, "-o", self.path("b.ppm"), "--keep-going", "--strict", "--rows",
                     "40:470")
        self.assertEqual(result.returncode, 2)
        with open(self.path("b.ppm"), "rb") as file:
            _, _, height, _, kept = parse_pnm(file.read())
        whole = parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--strict"))[4]
        row = 3 * 640
        self.assertEqual(height, 430)
        self.assertEqual(kept[: 20 * row], whole[40 * row : 60 * row])
        self.assertEqual(kept[-row:], bytes([128]) * row)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
