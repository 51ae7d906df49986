#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool compare: test_compare.py JPGTOOL SOURCE_DIR."""
import struct
import sys
import unittest

from test_jpgtool import SAMPLE, Tool, bmp, flat_jpeg, ppm, run


class Compare(Tool):
    def test_numbers_worked_out_by_hand(self):
        # 4 x 2 pixels; red differs by 3 in one pixel, blue by 10 in two.
        a = self.write("a.ppm", ppm(4, 2, lambda x, y: (100, 50, 20)))
        b = self.write("b.ppm", ppm(4, 2, lambda x, y: (
            103 if (x, y) == (2, 1) else 100, 50, 10 if y == 1 and x < 2 else 20)))
        lines = self.check("compare", a, b).decode().splitlines()
        self.assertEqual(lines, [
            f"{a}: 4 x 2, 3 components, 0 to 255, 35 bytes",
            f"{b}: 4 x 2, 3 components, 0 to 255, 35 bytes",
            # 10 log10(255^2 / (9 / 8))
            "red: PSNR 47.62 dB, mean difference 0.3750, largest 3",
            "green: PSNR inf dB, mean difference 0.0000, largest 0",
            # 10 log10(255^2 / (200 / 8))
            "blue: PSNR 34.15 dB, mean difference 2.5000, largest 10",
            # 10 log10(255^2 / (209 / 24))
            "all: PSNR 38.73 dB, mean difference 0.9583, largest 10",
            "different samples: 3 of 24",
            "first difference: column 0, row 1, blue: 20 and 10",
        ])
        result = run("compare", a, b, "--exact")
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        self.assertEqual(result.stdout.decode().splitlines(), lines)

    def test_equal_pictures_of_all_kinds(self):
        pixel = lambda x, y: (x * 20, y * 30, 7 * x + y)
        rows = [b"".join(bytes(pixel(x, y)[::-1]) for x in range(5)) for y in range(7)]
        names = [self.write("a.ppm", ppm(5, 7, pixel)), self.write("b.bmp", bmp(5, 7, 24, rows)),
                 self.write("c.bmp", bmp(5, -7, 24, rows)), self.path("d.jpg"), self.path("e.bmp")]
        self.check("encode", names[0], "-o", names[3], "--lossless")
        self.check("decode", names[3], "-o", names[4])
        for name in names[1:]:
            with self.subTest(name):
                text = self.check("compare", names[0], name, "--exact").decode()
                self.assertIn("all: PSNR inf dB", text)
                self.assertIn("different samples: 0 of 105\n", text)
                self.assertNotIn("first difference", text)

    def test_jpeg_levels_against_a_picture_of_them(self):
        coded = self.write("g.jpg", flat_jpeg(13, 10, 1, first=8))
        flat = self.write("g.pgm", b"P5\n13 10\n255\n" + bytes([136]) * 129 + bytes([130]))
        text = self.check("compare", coded, flat).decode()
        self.assertIn("first difference: column 12, row 9, grey: 136 and 130\n", text)
        colour = self.write("c.jpg", flat_jpeg(5, 3, 3, first=8))
        raw = self.write("c.ppm", ppm(5, 3, lambda x, y: (136, 128, 127)))
        text = self.check("compare", colour, raw, "--raw").decode()
        self.assertIn("component 1: PSNR inf dB", text)
        self.assertIn("first difference: column 0, row 0, component 2: 128 and 127\n", text)

    def test_words_count_with_their_own_peak(self):
        picture = lambda last: b"P5\n3 1\n4095\n" + struct.pack(">3H", 0, 4095, last)
        a, b = self.write("a.pgm", picture(1000)), self.write("b.pgm", picture(1003))
        # 10 log10(4095^2 / (9 / 3))
        self.assertIn(b"grey: PSNR 67.47 dB, mean difference 1.0000, largest 3\n",
                      self.check("compare", a, b))

    def test_what_cannot_be_compared(self):
        a = self.write("a.ppm", ppm(4, 2, lambda x, y: (1, 2, 3)))
        cases = {
            "b.ppm": (ppm(2, 4, lambda x, y: (1, 2, 3)), "is 2 x 4, 3 components, 0 to 255, but"),
            "c.pgm": (b"P5\n4 2\n255\n" + bytes(8), "1 component, 0 to 255"),
            "d.ppm": (b"P6\n4 2\n254\n" + bytes(24), "3 components, 0 to 254"),
            "e.bmp": (bmp(4, 2, 3, [bytes(4)] * 2), "not a BMP file that can be read"),
            "f.txt": (b"hello", "no start marker (FF D8) at byte 0"),
            "g.ppm": (ppm(4, 2, lambda x, y: (1, 2, 3))[:-1], "the file ends early"),
        }
        for name, (data, text) in cases.items():
            with self.subTest(name):
                result = run("compare", a, self.write(name, data))
                self.assertEqual(result.returncode, 1)
                self.assertIn(text, result.stderr.decode())
        self.refused(1, "JPG_E_OPEN_FAILED", "compare", SAMPLE, self.path("none.ppm"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
