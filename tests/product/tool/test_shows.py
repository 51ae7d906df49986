#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of what jpgtool tells of files that it need not decode, of orientation, and of what encode
takes over from other files: test_shows.py JPGTOOL SOURCE_DIR"""
import json
import os
import shutil
import struct
import subprocess
import sys
import unittest

from test_exif import Tiff
from test_jpgtool import SAMPLE, TOOL, Tool, flat_jpeg, parse_bmp, parse_pnm, ppm, run, segment

with open(SAMPLE, "rb") as sample_file:
    PHOTO = sample_file.read()


def icc(size, text=b"made here\0"):
    """A colour profile with a description, of so many bytes."""
    body = b"desc" + bytes(4) + struct.pack(">I", len(text)) + text
    tags = struct.pack(">I4sII", 1, b"desc", 144, len(body)) + body
    head = struct.pack(">I4sBBH4s4s4s", size, b"none", 2, 0x40, 0, b"mntr", b"RGB ", b"XYZ ")
    return (head.ljust(36, b"\0") + b"acsp").ljust(128, b"\0") + tags.ljust(size - 128, b"\7")


def with_segments(stream, *segments):
    return stream[:2] + b"".join(segments) + stream[2:]


def exif(orientation, thumbnail=b"", size=(0, 0)):
    """An Exif segment of both byte orders' choice: little-endian."""
    tiff = Tiff("<")
    camera = tiff.put_ifd([(36867, 2, 20, b"2026:11:22 08:36:00\0"), (40962, 4, 1, size[0]),
                           (40963, 3, 1, size[1])])
    first = 0
    if thumbnail:
        at = tiff.put(thumbnail)
        first = tiff.put_ifd([(259, 3, 1, 6), (513, 4, 1, at), (514, 4, 1, len(thumbnail))])
    tiff.put_zeroth([(274, 3, 1, orientation), (34665, 4, 1, camera)], first)
    return segment(0xE1, b"Exif\0\0" + tiff.data)


class Info(Tool):
    def told(self, data):
        return json.loads(self.check("info", "--json", self.write("i.jpg", data)))

    def test_quality_is_estimated(self):
        picture = self.write("p.ppm", ppm(16, 16, lambda x, y: (x, y, 9)))
        for quality in (1, 20, 50, 75, 90, 100):
            self.check("encode", picture, "-o", self.path("q.jpg"), "--quality", str(quality))
            told = json.loads(self.check("info", "--json", self.path("q.jpg")))
            self.assertEqual(told["quality"], {"estimate": quality, "exact": True})
        # All steps 64 are no quality's.
        self.assertFalse(self.told(flat_jpeg(8, 8, 1))["quality"]["exact"])

    def test_layouts_have_their_names(self):
        for factors, name in ((0x11, "4:4:4"), (0x21, "4:2:2"), (0x12, "4:4:0"), (0x22, "4:2:0"),
                              (0x41, "4:1:1"), (0x42, "4:1:0")):
            data = bytearray(flat_jpeg(8, 8, 3))
            data[data.index(b"\xff\xc0") + 11] = factors
            told = self.told(data)
            self.assertEqual(told["chroma"], name)
            self.assertEqual(told["components"][0]["h"], factors >> 4)
        self.assertNotIn("chroma", self.told(flat_jpeg(8, 8, 1)))

    def test_streams_that_need_no_decoder(self):
        sof = PHOTO.index(b"\xff\xc0") + 1
        for code, name in ((0xC9, "arithmetic extended"), (0xCA, "arithmetic progressive"),
                           (0xC5, "differential extended"), (0xCE, "arithmetic differential progressive"),
                           (0xC3, "lossless"), (0xC1, "extended")):
            told = self.told(PHOTO[:sof] + bytes([code]) + PHOTO[sof + 1 :])
            self.assertEqual((told["process"], told["width"], told["remarks"]), (name, 640, []))

    def test_what_is_odd_is_told_with_its_place(self):
        flat = flat_jpeg(8, 8, 1)  # DQT at 2, SOF0 at 71, DHT at 84, SOS at 143
        cases = {
            "no end marker (FF D9)": flat[:-2],
            "5 bytes behind the end marker at byte %d" % (len(flat) - 2): flat + b"hello",
            "a fill byte at byte 71": flat[:71] + b"\xff" + flat[71:],
            "3 stray bytes at byte 71": flat[:71] + b"\0\1\2" + flat[71:],
            "the DHT segment at byte 84 goes beyond the end of the file": flat[:86] + b"\x7f\0" + flat[88:],
            "no scan: the file ends at byte 143": flat[:143],
        }
        for text, data in cases.items():
            with self.subTest(text):
                self.assertIn(text, self.told(data)["remarks"])
                self.assertIn(f"remark: {text}\n", self.check("info", self.path("i.jpg")).decode())
                self.assertIn(text, json.loads(self.check("segments", "--json", self.path("i.jpg")))["remarks"])
        self.refused(1, "no frame header; the file ends at byte 71", "info",
                     self.write("x.jpg", flat[:71]))

    def test_every_cut_of_a_file_is_told_without_harm(self):
        for cut in [*range(2, 700, 7), 20000]:
            result = run("info", "--json", "-", stdin=PHOTO[:cut])
            self.assertEqual(result.returncode, 0 if cut >= 616 + 12 else 1, cut)

    def test_progressive_scans(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = ppm(40, 24, lambda x, y: (5 * x, 9 * y, x * y % 256))
        data = subprocess.run(["cjpeg", "-progressive"], input=picture, capture_output=True, check=True).stdout
        told = self.told(data)
        self.assertEqual(len(told["scans"]), 10)
        self.assertEqual(told["scans"][0]["components"], [1, 2, 3])
        self.assertEqual((told["scans"][0]["coefficients"], told["scans"][0]["bits"]), ([0, 0], [0, 1]))
        self.assertEqual(told["scans"][-1]["coefficients"], [1, 63])
        ends = [scan["offset"] + 2 for scan in told["scans"]]
        for end, scan in zip(ends, told["scans"]):
            length = int.from_bytes(data[end : end + 2], "big")
            self.assertEqual(data[end + length + scan["bytes"]], 0xFF)
        self.assertIn("scans: 10\n", self.check("info", self.path("i.jpg")).decode())

    def test_exif_thumbnail_and_profile(self):
        thumbnail = flat_jpeg(8, 8, 1)
        profile = icc(70000)
        chunks = [profile[:65519], profile[65519:]]
        data = with_segments(PHOTO, exif(6, thumbnail), *(
            segment(0xE2, b"ICC_PROFILE\0" + bytes([i + 1, 2]) + chunk) for i, chunk in enumerate(chunks)))
        told = self.told(data)
        self.assertEqual(told["orientation"], 6)
        self.assertEqual(told["icc"], {"bytes": 70000, "description": "made here"})
        at = told["thumbnail"]["offset"]
        self.assertEqual(data[at : at + told["thumbnail"]["length"]], thumbnail)
        self.assertIn("orientation: 6 (to be turned clockwise)\n",
                      self.check("info", self.path("i.jpg")).decode())
        self.assertEqual(self.check("icc", self.path("i.jpg"), "-o", "-"), profile)
        told = json.loads(self.check("icc", "--json", self.path("i.jpg")))
        self.assertEqual((told["version"], told["kind"], told["space"]), ("2.4", "mntr", "RGB"))
        self.refused(1, "has no colour profile", "icc", SAMPLE)

    def test_segments_between_and_behind_scans(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = ppm(40, 24, lambda x, y: (5 * x, 9 * y, x * y % 256))
        data = subprocess.run(["cjpeg", "-progressive"], input=picture, capture_output=True, check=True).stdout
        told = json.loads(self.check("segments", "--json", self.write("s.jpg", data)))
        self.assertEqual([s["marker"] for s in told["segments"]].count("SOS"), 10)
        self.assertEqual((told["segments"][-1]["marker"], told["segments"][-1]["offset"]), ("EOI", len(data) - 2))
        end = 2
        for s in told["segments"]:  # nothing lies between them
            self.assertEqual(s["offset"], end)
            self.assertEqual(int.from_bytes(data[end : end + 2], "big"), s["code"])
            end += (2 if s["marker"] == "EOI" else 4) + s["length"] + s.get("codedBytes", 0)


class Orientation(Tool):
    # Where the pixels of a row of 3 by 2 stand in the turned picture, by hand.
    TURNED = {1: ("012", "345"), 2: ("210", "543"), 3: ("543", "210"), 4: ("345", "012"),
              5: ("03", "14", "25"), 6: ("30", "41", "52"), 7: ("52", "41", "30"), 8: ("25", "14", "03")}

    def file(self, orientation, *options):
        """A lossless grey file of the values 0 to 5."""
        self.check("encode", "-", "-o", self.path("p.jpg"), "--lossless", *options,
                   stdin=b"P5\n3 2\n255\n" + bytes(range(6)))
        return self.write(f"o{orientation}.jpg", with_segments(self.read("p.jpg"), exif(orientation)))

    def test_pictures_are_turned(self):
        for orientation, rows in self.TURNED.items():
            name = self.file(orientation)
            samples = bytes(int(v) for row in rows for v in row)
            out = parse_pnm(self.check("decode", name, "-o", "-"))
            self.assertEqual(out, (b"P5", len(rows[0]), len(rows), 255, samples), orientation)
            self.check("decode", name, "-o", self.path("o.bmp"))
            self.assertEqual(parse_bmp(self.read("o.bmp"))[3], samples)
            stored = self.check("decode", name, "-o", "-", "--no-orient")
            self.assertEqual(parse_pnm(stored)[4], bytes(range(6)))
            self.assertEqual(parse_pnm(self.check("decode", name, "-o", "-", "--rows", "1:2"))[4], b"\3\4\5")
            self.assertIn(b"PSNR inf", self.check("compare", name, self.path("o.bmp")))
            self.assertEqual(len(self.check("view", name).splitlines()), (len(rows) + 1) // 2)

    def test_large_pictures_scales_and_bitmaps_are_turned(self):
        for orientation in (3, 6):
            name = self.write("t.jpg", with_segments(PHOTO, exif(orientation)))
            _, width, height, _, plain = parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--scale", "1/2"))
            out = parse_pnm(self.check("decode", name, "-o", "-", "--scale", "1/2"))
            self.assertEqual(out[1:3], (240, 320) if orientation == 6 else (320, 240))
            last = plain[3 * width * (height - 1) :][:3]  # the left end of the lowest row
            self.assertEqual(out[4][:3], last if orientation == 6 else plain[-3:])
            self.check("decode", name, "-o", self.path("t.bmp"), "--bits", "24")
            full = parse_pnm(self.check("decode", name, "-o", "-"))
            self.assertEqual(parse_bmp(self.read("t.bmp"))[3], full[4])
        self.refused(1, "it takes 921600 bytes of memory", "decode", name, "-o", "-", "--max-memory", "900000")

    def test_damage_in_a_turned_picture(self):
        name = self.write("d.jpg", with_segments(PHOTO[: len(PHOTO) // 2] + b"\xff\xd9", exif(6)))
        result = run("decode", name, "-o", self.path("d.ppm"))
        self.assertEqual(result.returncode, 2)
        _, width, height, _, pixels = parse_pnm(self.read("d.ppm"))
        whole = parse_pnm(self.check("decode", self.write("w.jpg", with_segments(PHOTO, exif(6))), "-o", "-"))[4]
        self.assertEqual((width, height), (480, 640))
        # The stored picture's first rows are the last columns.
        self.assertEqual(pixels[3 * 470 : 3 * 480], whole[3 * 470 : 3 * 480])
        result = run("decode", name, "-o", self.path("d.ppm"), "--strict")
        self.assertEqual(result.returncode, 1)


class Scales(Tool):
    def test_processes_that_the_decoder_does_not_scale(self):
        data = b"P5\n5 3\n255\n" + bytes([10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 1, 2, 3, 4, 5])
        self.check("encode", "-", "-o", self.path("l.jpg"), "--lossless", stdin=data)
        half = self.check("decode", self.path("l.jpg"), "-o", "-", "--scale", "1/2")
        # (10 + 20 + 60 + 70) / 4, (30 + 40 + 80 + 90) / 4, (50 + 100) / 2; 1.5 and 3.5 rounded up, 5
        self.assertEqual(half, b"P5\n3 2\n255\n" + bytes([40, 60, 75, 2, 4, 5]))
        raw = parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--raw", "--scale", "1/4"))
        self.assertEqual(raw[1:3], (160, 120))

    def test_progressive_files(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(100, 75, lambda x, y: (2 * x, 3 * y, 99)))
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", "-quality", "95", picture], stdout=out, check=True)
        for scale, size in (("1/2", (50, 38)), ("1/4", (25, 19)), ("1/8", (13, 10))):
            out = parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-", "--scale", scale))
            self.assertEqual(out[1:3], size)
            self.assertLess(abs(sum(out[4][2::3]) / (size[0] * size[1]) - 99), 3)
        # The same coefficients in a sequential file give the same pixels.
        with open(self.path("s.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-quality", "95", picture], stdout=out, check=True)
        for options in (["--scale", "1/2"], ["--scale", "1/8"], ["--scale", "1/4", "--rows", "5:19"]):
            pair = [self.check("decode", self.path(name), "-o", "-", *options) for name in ("p.jpg", "s.jpg")]
            self.assertEqual(*pair)


class Copies(Tool):
    def setUp(self):
        super().setUp()
        self.picture = self.write("p.ppm", ppm(40, 30, lambda x, y: (6 * x, 8 * y, 9)))
        self.profile = icc(300)
        self.source = self.write("s.jpg", with_segments(
            flat_jpeg(8, 8, 1), exif(6, flat_jpeg(8, 8, 1), (8, 8)),
            segment(0xE2, b"ICC_PROFILE\0\1\1" + self.profile), segment(0xFE, b"a comment")))

    def encoded(self, *options):
        self.check("encode", self.picture, "-o", self.path("e.jpg"), *options)
        return json.loads(self.check("info", "--json", self.path("e.jpg")))

    def test_all_is_copied_and_the_orientation_is_upright(self):
        told = self.encoded("--copy", self.source)
        self.assertEqual([s["marker"] for s in told["segments"]][:3], ["APP1", "APP2", "COM"])
        self.assertEqual(told["orientation"], 1)
        self.assertNotIn("thumbnail", told)  # it would have to be turned
        self.assertEqual(self.check("icc", self.path("e.jpg"), "-o", "-"), self.profile)
        self.assertIn(b"a comment", self.read("e.jpg"))
        entries = json.loads(self.check("exif", "--json", self.path("e.jpg")))["directories"]["Exif"]
        self.assertEqual({e["name"]: e.get("text", e.get("numbers")) for e in entries},
                         {"DateTimeOriginal": "2026:11:22 08:36:00", "PixelXDimension": [40],
                          "PixelYDimension": [30]})

    def test_stored_pictures_keep_orientation_and_thumbnail(self):
        told = self.encoded("--copy", self.source, "--no-orient")
        self.assertEqual(told["orientation"], 6)
        self.assertIn("thumbnail", told)
        self.check("thumbnail", self.path("e.jpg"), "-o", self.path("t.bmp"))

    def test_parts_are_chosen_and_replaced(self):
        for parts, markers in (("exif", ["APP1"]), ("icc,comment", ["APP2", "COM"]), ("comment", ["COM"])):
            told = self.encoded("--copy", f"{self.source}:{parts}")
            shown = [s["marker"] for s in told["segments"] if s["marker"][:3] in ("APP", "COM")]
            self.assertEqual(shown, markers)
        self.write("other.icc", icc(400, b"other\0"))
        told = self.encoded("--copy", self.source, "--icc", self.path("other.icc"), "--comment", "mine")
        self.assertEqual(told["icc"], {"bytes": 400, "description": "other"})
        self.assertNotIn(b"a comment", self.read("e.jpg"))
        os.rename(self.source, self.path("s:odd.jpg"))  # a colon in the name
        self.assertEqual(self.encoded("--copy", self.path("s:odd.jpg"))["orientation"], 1)

    def test_large_profiles_take_several_segments(self):
        profile = icc(150000)
        self.encoded("--icc", self.write("big.icc", profile))
        self.assertEqual(self.check("icc", self.path("e.jpg"), "-o", "-"), profile)

    def test_another_program_agrees(self):
        if shutil.which("exiftool") is None:
            self.skipTest("exiftool isn't installed")
        self.encoded("--copy", self.source)
        told = json.loads(subprocess.run(["exiftool", "-j", "-n", self.path("e.jpg")], capture_output=True,
                                         check=True).stdout)[0]
        self.assertEqual((told["Orientation"], told["ExifImageWidth"], told["Comment"]), (1, 40, "a comment"))
        self.assertNotIn("Warning", told)

    def test_what_cannot_be_copied(self):
        for options, text in ((["--copy", self.path("none")], "no such file"),
                              (["--copy", self.picture], "is no JPEG file"),
                              (["--icc", self.write("e", b"")], "is empty")):
            self.refused(1, text, "encode", self.picture, "-o", self.path("x.jpg"), *options)
        self.assertFalse(os.path.exists(self.path("x.jpg")))

    def test_grey_and_the_layout_of_components_without_conversion(self):
        self.assertEqual(self.encoded("--grey")["channels"], 1)
        grey = parse_pnm(self.check("decode", self.path("e.jpg"), "-o", "-"))[4]
        source = parse_pnm(self.read("p.ppm"))[4]
        luma = [(299 * source[i] + 587 * source[i + 1] + 114 * source[i + 2]) / 1000
                for i in range(0, len(source), 3)]
        self.assertLess(sum(abs(a - b) for a, b in zip(grey, luma)) / len(luma), 2)
        told = self.encoded("--no-color-conversion")
        self.assertEqual([(c["h"], c["v"]) for c in told["components"]], [(1, 1)] * 3)

    def test_progressive_files_are_written_or_refused_with_a_word(self):
        result = run("encode", self.picture, "-o", self.path("e.jpg"), "--progressive")
        if result.returncode == 64:
            self.assertIn(b"this library writes no progressive files", result.stderr)
            return
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        told = json.loads(self.check("info", "--json", self.path("e.jpg")))
        self.assertEqual(told["process"], "progressive")
        self.refused(64, "--strict and --progressive", "encode", self.picture, "-o", self.path("x.jpg"),
                     "--progressive", "--strict")


class View(Tool):
    def test_terminals_without_colours_get_characters(self):
        name = self.write("g.pgm", b"P5\n3 2\n255\n" + bytes([0, 128, 255] * 2))
        for setting in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            environment = {k: v for k, v in os.environ.items() if k not in ("NO_COLOR", "TERM")}
            result = subprocess.run([*TOOL, "view", name], capture_output=True, env={**environment, **setting})
            self.assertEqual(result.stdout, b" +@\n")
        result = subprocess.run([*TOOL, "view", SAMPLE], capture_output=True,
                                env={**os.environ, "COLUMNS": "10", "NO_COLOR": "1"})
        self.assertEqual({len(line) for line in result.stdout.splitlines()}, {10})


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
