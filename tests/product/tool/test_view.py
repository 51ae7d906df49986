#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool view: test_view.py JPGTOOL SOURCE_DIR."""
import fcntl
import os
import re
import struct
import subprocess
import sys
import termios
import unittest

from test_jpgtool import SAMPLE, TOOL, Tool, flat_jpeg, parse_pnm, ppm, run

CELL = re.compile(r"\x1b\[38;2;(\d+);(\d+);(\d+)m(?:\x1b\[48;2;(\d+);(\d+);(\d+)m)?\u2580")


def pixels_of(text):
    """Rows of (r, g, b) that a terminal shows; a line without a lower half ends a picture of an
    odd height."""
    rows = []
    for line in text.decode().splitlines():
        if not line.endswith("\x1b[0m"):
            raise AssertionError("a line leaves its colours on: " + repr(line))
        cells = CELL.findall(line)
        if CELL.sub("", line) != "\x1b[0m":
            raise AssertionError("not only cells: " + repr(line))
        rows.append([tuple(map(int, cell[:3])) for cell in cells])
        if cells[0][3]:
            rows.append([tuple(map(int, cell[3:])) for cell in cells])
    return rows


class View(Tool):
    def test_a_picture_smaller_than_the_terminal_is_shown_as_it_is(self):
        pixel = lambda x, y: (10 * x, 20 * y, 200 - x)
        name = self.write("a.ppm", ppm(7, 5, pixel))
        self.assertEqual(pixels_of(self.check("view", name)),
                         [[pixel(x, y) for x in range(7)] for y in range(5)])

    def test_pixels_are_means_of_boxes(self):
        name = self.write("a.pgm", b"P5\n4 4\n255\n" + bytes([10, 20, 0, 0, 30, 41, 0, 0] + [255] * 8))
        # (10 + 20 + 30 + 41) / 4 = 25.25
        self.assertEqual(pixels_of(self.check("view", name, "--width", "2")),
                         [[(25,) * 3, (0,) * 3], [(255,) * 3] * 2])

    def test_deep_samples_are_brought_to_8_bits(self):
        name = self.write("a.pgm", b"P5\n2 1\n1023\n" + bytes([0x03, 0xFF, 0x02, 0x00]))
        # 512 * 255 / 1023 = 127.6
        self.assertEqual(pixels_of(self.check("view", name)), [[(255,) * 3, (128,) * 3]])

    def test_files_decoded_at_a_scale_look_like_the_whole(self):
        whole = parse_pnm(self.check("decode", SAMPLE, "-o", "-"))[4]
        for width, rows in ((40, 30), (100, 75), (333, 250)):
            shown = pixels_of(self.check("view", SAMPLE, "--width", str(width)))
            self.assertEqual((len(shown), {len(row) for row in shown}), (rows, {width}))
            for k in range(3):
                mean = sum(pixel[k] for row in shown for pixel in row) / (rows * width)
                exact = sum(whole[k::3]) / (640 * 480)
                self.assertLess(abs(mean - exact), 2)

    def test_without_a_terminal_80_columns(self):
        shown = pixels_of(self.check("view", SAMPLE))
        self.assertEqual((len(shown), len(shown[0])), (60, 80))

    def test_a_terminal_is_filled_one_way_or_the_other(self):
        # lines are two pixels high, and the last is left for the prompt
        for columns, lines, shown_size in ((20, 40, (20, 15)), (70, 11, (27, 20)), (3, 1, (3, 2))):
            ours, theirs = self.terminal()
            fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
            with subprocess.Popen([*TOOL, "view", SAMPLE], stdout=theirs) as process:
                os.close(theirs)
                said = b""
                while True:
                    try:
                        piece = os.read(ours, 4096)
                    except OSError:  # the other end is closed
                        break
                    if not piece:
                        break
                    said += piece
                self.assertEqual(process.wait(timeout=60), 0)
            os.close(ours)
            shown = pixels_of(said.replace(b"\r\n", b"\n"))
            self.assertEqual((len(shown[0]), len(shown)), shown_size)

    def test_what_a_damaged_file_does_not_give_is_grey(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        broken = self.write("b.jpg", data[: len(data) // 2] + b"\xff\xd9")
        result = run("view", broken, "--width", "32", "--strict")
        self.assertEqual(result.returncode, 2)
        self.assertIn(b"JPG_E_", result.stderr)
        shown = pixels_of(result.stdout)
        self.assertEqual(len(shown), 24)
        self.assertEqual(shown[-1], [(128, 128, 128)] * 32)
        self.assertEqual(shown[0], pixels_of(self.check("view", SAMPLE, "--width", "32", "--strict"))[0])

    def test_flat_levels_and_refusals(self):
        name = self.write("c.jpg", flat_jpeg(5, 3, 3, first=8))
        self.assertEqual(pixels_of(self.check("view", name)), [[(136,) * 3] * 5] * 3)
        self.refused(1, "JPG_E_NOT_JPEG", "view", self.write("x.jpg", b"nothing"))
        self.refused(1, "JPG_E_OPEN_FAILED", "view", self.path("none.jpg"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
