#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of what jpgtool refuses, what it says of the place, and its limits:
test_refusals.py JPGTOOL SOURCE_DIR."""
import os
import re
import resource
import shutil
import struct
import subprocess
import sys
import unittest

from test_jpgtool import SAMPLE, TOOL, Tool, bmp, flat_jpeg, ppm, run, segment

with open(SAMPLE, "rb") as sample_file:
    PHOTO = sample_file.read()


def with_size(data, width, height):
    """The stream with another size in its frame header."""
    at = next(i for i in range(len(data)) if data[i] == 0xFF and data[i + 1] in (0xC0, 0xC2))
    return data[: at + 5] + struct.pack(">HH", height, width) + data[at + 9 :]


class Places(Tool):
    def test_headers_that_go_wrong(self):
        flat = flat_jpeg(8, 8, 1)  # DQT at 2, SOF0 at 71, DHT at 84, SOS at 143
        self.assertEqual((flat[71:73], flat[84:86]), (b"\xff\xc0", b"\xff\xc4"))
        three = flat_jpeg(8, 8, 3)
        cases = {
            "no start marker (FF D8) at byte 0": b"GIF89a",
            "00 00 at byte 71, not a marker": flat[:71] + b"\0\0" + flat[71:],
            "FF FF at byte 71, not a marker": flat[:71] + b"\xff" + flat[71:],
            "the length of the DHT segment at byte 84 is 1": flat[:86] + b"\0\1" + flat[88:],
            "the DHT segment at byte 84 goes beyond the end of the file":
                flat[:86] + b"\x7f\0" + flat[88:],
            "the length of the DRI segment at byte 2 is 5":
                flat[:2] + segment(0xDD, b"\0\0\0") + flat[2:],
            "the file ends at byte 84, before the first scan": flat[:84],
            "the frame SOF9 at byte 71 is not a supported type":
                flat[:72] + b"\xc9" + flat[73:],
            "the frame SOF0 at byte 71 has sampling factors 3 x 1":
                three[:82] + b"\x31" + three[83:],
            "no end marker (FF D9); --no-eoi opens such files": flat[:-2],
        }
        for text, data in cases.items():
            # so that only what is tested is wrong
            if b"\xff\xd9" not in data and "no end" not in text:
                data += b"\xff\xd9" if "the file ends" not in text else b""
            options = ["--no-eoi"] if "the file ends" in text else []
            with self.subTest(text):
                self.refused(1, text + " (0x8000", "decode", self.write("x.jpg", data), "-o",
                             self.path("x.ppm"), "--strict", *options)

    def test_damaged_data_name_a_byte_close_to_the_damage(self):
        for cut in (9000, 20000, 31111):
            broken = self.write("b.jpg", PHOTO[:cut] + b"\xff\xd9")
            for options in ([], ["--scale", "1/2"], ["--raw"]):
                result = run("decode", broken, "-o", self.path("b.ppm"), *options)
                self.assertEqual(result.returncode, 2)
                result = run("decode", broken, "-o", self.path("b.ppm"), "--strict", *options)
                self.assertEqual(result.returncode, 1)
                found = re.search(rb" near byte (\d+) \(0x8", result.stderr)
                self.assertIsNotNone(found, result.stderr)
                # A code that fits may still be read out of the end marker and what follows.
                self.assertLess(abs(int(found.group(1)) - cut), 16, result.stderr)

    def test_a_code_that_does_not_exist_is_named_by_its_byte(self):
        # flat_jpeg's one DC code and one AC code are 0 and 0: a 1 bit is no code.
        flat = flat_jpeg(8 * 400, 8, 1)
        scan = flat.index(b"\xff\xda") + 10
        self.assertEqual(set(flat[scan:-2]), {0})  # 800 bits of 0
        for at in (0, 1, 57, 99):
            data = flat[: scan + at] + b"\xfe" + flat[scan + at + 1 :]
            self.refused(1, f" near byte {scan + at} (0x8000180", "decode",
                         self.write("f.jpg", data), "-o", self.path("f.pgm"), "--strict")

    def test_stuffed_bytes_count_as_two(self):
        # 50 blocks of 16 bits, 1 111111 11 ...: DC category 1 with bit 1, then AC zero runs.
        flat = flat_jpeg(8 * 64, 8, 1, first=8)
        scan = flat.index(b"\xff\xda") + 10
        data = flat[:scan] + b"\x00\xff\x00" + flat[scan + 1 :]
        result = run("decode", self.write("s.jpg", data), "-o", self.path("s.pgm"), "--strict")
        found = re.search(rb" near byte (\d+) ", result.stderr)
        self.assertIsNotNone(found, result.stderr)
        self.assertIn(int(found.group(1)), (scan + 1, scan + 3))

    def test_damage_behind_the_restart_marker_where_decoding_begins(self):
        # 40 blocks a row, and a restart marker behind each of 8 rows: 40 blocks of 2 zero bits
        # are 10 bytes. A 1 bit is no code.
        flat = flat_jpeg(8 * 40, 64, 1)
        scan = flat.index(b"\xff\xda") + 10
        rows = [bytes(10)] * 8
        rows[1] = bytes(3) + b"\xfe" + bytes(6)
        rows[6] = bytes(7) + b"\xfe" + bytes(2)
        coded = b"".join(row + bytes([0xFF, 0xD0 + i % 8]) for i, row in enumerate(rows[:-1]))
        dri = segment(0xDD, struct.pack(">H", 40))
        data = flat[:2] + dri + flat[2:scan] + coded + rows[-1] + b"\xff\xd9"
        name, start = self.write("r.jpg", data), scan + len(dri)
        for option, row, byte in (([], 1, 3), (["--rows", "10:64"], 1, 3),
                                  (["--rows", "16:64"], 6, 7), (["--rows", "55:56"], 6, 7)):
            self.refused(1, f" near byte {start + 12 * row + byte} (0x80001801", "decode", name,
                         "-o", self.path("r.pgm"), "--strict", *option)
        self.check("decode", name, "-o", self.path("r.pgm"), "--rows", "56:64", "--strict")

    def test_data_that_end_early_are_named_by_their_end(self):
        for cut in (9000, 20000):
            result = run("decode", self.write("c.jpg", PHOTO[:cut]), "-o", self.path("c.ppm"),
                         "--no-eoi", "--strict")
            self.assertIn(f" near byte {cut} (0x8".encode(), result.stderr)

    def test_damage_of_progressive_files_is_named_by_its_scan(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(70, 50, lambda x, y: (3 * x, 5 * y, x * y % 256)))
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", picture], stdout=out, check=True)
        with open(self.path("p.jpg"), "rb") as file:
            whole = file.read()
        scans = [found.start() for found in re.finditer(rb"\xff\xda\0", whole)]
        self.assertGreater(len(scans), 4)
        for number in (1, 2, 4):
            at = scans[number - 1]
            data = at + 2 + struct.unpack(">H", whole[at + 2 : at + 4])[0]
            end = re.compile(rb"\xff[^\0]").search(whole, data).start()
            broken = self.write("b.jpg", whole[: data + (end - data) // 4] + b"\xff\xd9")
            self.refused(1, f" in scan {number}, whose header stands at byte {at} (0x", "decode",
                         broken, "-o", self.path("b.ppm"), "--strict")

    def test_damage_by_tables_is_named_by_the_scan_header(self):
        # flat_jpeg's one AC code made a run of 15: the fifth leads past the last coefficient.
        flat = flat_jpeg(8 * 400, 8, 1)
        ac = flat.index(b"\x10\1\0\0")
        self.assertEqual(flat[ac + 17], 0)  # the symbol: end of block
        broken = flat[: ac + 17] + b"\xf1" + flat[ac + 18 :]
        at = flat.index(b"\xff\xda")
        self.refused(1, f", behind the scan header at byte {at} (0x80001803", "decode",
                     self.write("t.jpg", broken), "-o", self.path("t.pgm"), "--strict")


class Limits(Tool):
    def test_a_header_that_lies_is_refused_ahead_of_decoding(self):
        lie = self.write("l.jpg", with_size(PHOTO, 65535, 65535))
        text = ("its header gives 65535 x 65535 pixels, more than --max-pixels 500000000 "
                "(0x800000FE JPG_E_UNSUPPORTED)")
        for words in (["decode", lie, "-o", self.path("x.bmp"), "--keep-going"],
                      ["decode", lie, "-o", self.path("x.ppm"), "--scale", "1/8"],
                      ["decode", lie, "-o", self.path("x.bmp"), "--bits", "8"],
                      ["view", lie], ["compare", lie, SAMPLE]):
            with self.subTest(words):
                self.refused(1, text, *words)
                self.assertEqual(os.listdir(self.folder), ["l.jpg"])
        self.assertIn(b"65535 x 65535", self.check("info", lie))

    def test_pixels_up_to_the_limit_are_served(self):
        for limit, status in (("307200", 0), ("307199", 1), ("308K", 0), ("307K", 1), ("1M", 0)):
            result = run("decode", SAMPLE, "-o", self.path("x.ppm"), "--max-pixels", limit)
            self.assertEqual(result.returncode, status, limit)
        for bad in ("0", "-1", "x", "", "K", "5T", "99999999999999999999"):
            for name in ("--max-pixels", "--max-memory"):
                self.refused(64, f"{name} takes a number", "decode", SAMPLE, "-o", self.path("x.ppm"),
                             name, bad)

    def test_a_height_told_by_dnl_counts_too(self):
        told = self.write("d.jpg", flat_jpeg(9, 19, 1, dnl=19))
        self.refused(1, "gives 9 x 19 pixels, more than --max-pixels 170", "decode", told, "-o",
                     self.path("x.pgm"), "--max-pixels", "170")
        self.check("decode", told, "-o", self.path("x.pgm"), "--max-pixels", "171")

    def test_memory_of_a_bitmap_and_of_coefficients(self):
        words = ["decode", SAMPLE, "-o", self.path("x.bmp"), "--bits", "24", "--max-memory"]
        self.check(*words, str(3 * 640 * 480))
        self.refused(1, "it takes 921600 bytes of memory, more than --max-memory 921599", *words,
                     "921599")
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(70, 50, lambda x, y: (3 * x, 5 * y, x + y)))
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", picture], stdout=out, check=True)
        # 5 x 4 MCUs of 4 + 1 + 1 blocks of 64 coefficients of 2 bytes
        words = ["decode", self.path("p.jpg"), "-o", self.path("x.ppm"), "--max-memory"]
        self.check(*words, "15K")
        self.refused(1, "it takes 15360 bytes of memory, more than --max-memory 15359", *words,
                     "15359")
        with open(self.path("p.jpg"), "rb") as file:
            lie = self.write("l.jpg", with_size(file.read(), 65535, 30000))
        self.assertIn(b"65535 x 30000", self.check("info", lie))
        for words in (["view", lie],
                      ["decode", lie, "-o", self.path("y.ppm")]):
            with self.subTest(words):
                self.refused(1, "bytes of memory, more than --max-memory 2147483648", *words)

    def test_memory_is_counted_whatever_stands_between_the_segments(self):
        with open(SAMPLE, "rb") as file:
            data = bytearray(file.read())
        frame = data.index(b"\xff\xc0")
        data[frame + 1] = 0xC2  # progressive: 40 x 30 MCUs of 6 blocks of 64 coefficients of 2 bytes
        for between in (b"", b"\xff", b"\0\1\2"):
            odd = self.write("o.jpg", data[:frame] + between + data[frame:])
            self.refused(1, "it takes 921600 bytes of memory, more than --max-memory 921599", "decode",
                         odd, "-o", self.path("x.ppm"), "--max-memory", "921599")

    def test_pictures_to_encode_have_limits_too(self):
        out = self.path("x.jpg")
        grey = self.write("g.pgm", b"P5\n6 7\n255\n" + bytes(42))
        plain = self.write("p.bmp", bmp(6, 7, 8, [bytes(6)] * 7, bytes(1024)))
        coded = bytearray(bmp(6, 7, 8, [], bytes(1024)) + b"\6\1\0\0" * 7 + b"\0\1")
        coded[30] = 1  # run lengths
        coded = self.write("c.bmp", coded)
        for name in (grey, plain, coded):
            with self.subTest(name):
                self.check("encode", name, "-o", out, "--max-pixels", "42")
                self.refused(1, "its header gives 6 x 7 pixels, more than --max-pixels 41 "
                             "(0x800000FE JPG_E_UNSUPPORTED)", "encode", name, "-o", out,
                             "--max-pixels", "41")
                os.unlink(out)  # of the first call
        # a byte for each pixel
        self.check("encode", coded, "-o", out, "--max-memory", "42", "--strict")
        self.refused(1, "it takes 42 bytes of memory, more than --max-memory 41", "encode",
                     coded, "-o", out, "--max-memory", "41", "--strict")
        self.check("encode", plain, "-o", out, "--max-memory", "1", "--strict")
        lie = bytearray(bmp(65535, 65535, 8, [], bytes(1024)) + b"\0\1")
        lie[30] = 1
        self.refused(1, "more than --max-pixels 500000000", "encode", self.write("l.bmp", lie),
                     "-o", out)
        self.refused(1, "bytes of memory, more than --max-memory 2147483648", "encode",
                     self.path("l.bmp"), "-o", out, "--max-pixels", "5G")
        self.refused(64, "--max-pixels takes a number", "encode", grey, "-o", out, "--max-pixels",
                     "x")

    def test_a_lie_costs_no_memory(self):
        lie = self.write("l.jpg", with_size(PHOTO, 65535, 65535))
        limit = 256 << 20
        result = subprocess.run(
            [*TOOL, "decode", lie, "-o", self.path("x.bmp"), "--keep-going"], capture_output=True,
            timeout=60, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"--max-pixels", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
