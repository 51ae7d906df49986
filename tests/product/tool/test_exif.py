#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool's exif and thumbnail commands: test_exif.py JPGTOOL SOURCE_DIR"""
import json
import os
import struct
import sys
import unittest

from test_jpgtool import SAMPLE, Tool, flat_jpeg, parse_any_bmp, parse_bmp, segment


class Tiff:
    """The structure of an Exif segment; what points to a piece is put behind it. An entry is
    (tag, type, count, value), the value as bytes, or a number for SHORT and LONG."""

    def __init__(self, order):
        self.order = order
        self.data = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8)

    def put(self, data):
        self.data += bytes(len(self.data) % 2)
        self.data += data
        return len(self.data) - len(data)

    def put_ifd(self, entries, link=0):
        ifd = struct.pack(self.order + "H", len(entries))
        for tag, kind, count, value in entries:
            if isinstance(value, int):
                value = struct.pack(self.order + ("H" if kind == 3 else "I"), value)
            if len(value) > 4:
                value = struct.pack(self.order + "I", self.put(value))
            ifd += struct.pack(self.order + "HHI", tag, kind, count) + value.ljust(4, b"\0")
        return self.put(ifd + struct.pack(self.order + "I", link))

    def put_zeroth(self, entries, link=0):
        at = self.put_ifd(entries, link)
        self.data = self.data[:4] + struct.pack(self.order + "I", at) + self.data[8:]

    def jpeg(self):
        """A small stream with this segment."""
        plain = flat_jpeg(8, 8, 1)
        return plain[:2] + segment(0xE1, b"Exif\0\0" + self.data) + plain[2:]


def five_directories(order):
    tiff = Tiff(order)
    interoperability = tiff.put_ifd([(1, 2, 4, b"R98\0"), (2, 7, 4, b"0100")])
    gps = tiff.put_ifd([(0, 1, 4, bytes([2, 2, 0, 0])), (1, 2, 2, b"N\0"),
                        (2, 5, 3, struct.pack(order + "6I", 50, 1, 7, 1, 255, 10))])
    exif = tiff.put_ifd([(33434, 5, 1, struct.pack(order + "II", 1, 4294967295)),
                         (36864, 7, 4, b"0220"),
                         (37380, 10, 1, struct.pack(order + "ii", -1, 3)),
                         (40965, 4, 1, interoperability)])
    first = tiff.put_ifd([(259, 3, 1, 6)])
    tiff.put_zeroth([(258, 3, 3, struct.pack(order + "3H", 8, 9, 65535)), (271, 2, 6, b"maker\0"),
                     (34665, 4, 1, exif), (34853, 4, 1, gps),
                     (50001, 6, 2, struct.pack("bb", -1, 127)),
                     (50002, 8, 2, struct.pack(order + "hh", -2, 3)),
                     (50003, 9, 1, struct.pack(order + "i", -70000)),
                     (50004, 11, 1, struct.pack(order + "f", 0.5)),
                     (50005, 12, 1, struct.pack(order + "d", -1e300)),
                     (50006, 12, 1, struct.pack(order + "d", float("inf"))),
                     (50007, 13, 1, 7), (50008, 2, 10**6, b"")], first)
    return tiff


class Exif(Tool):
    def test_json_tells_every_entry_of_five_directories(self):
        for order, name in (("<", "little-endian"), (">", "big-endian")):
            stream = self.write("e.jpg", five_directories(order).jpeg())
            told = json.loads(self.check("exif", "--json", stream))
            self.assertEqual(told["byteOrder"], name)
            self.assertEqual(list(told["directories"]),
                             ["0th", "1st", "Exif", "GPS", "Interoperability"])
            seen = {d: {e["tag"]: e for e in entries} for d, entries in told["directories"].items()}
            pointers = [seen["0th"].pop(34665), seen["0th"].pop(34853), seen["Exif"].pop(40965)]
            self.assertEqual([p["name"] for p in pointers],
                             ["ExifIFDPointer", "GPSInfoIFDPointer", "InteroperabilityIFDPointer"])
            expected = {
                "0th": [(258, "BitsPerSample", "SHORT", 3, "numbers", [8, 9, 65535]),
                        (271, "Make", "ASCII", 6, "text", "maker"),
                        (50001, None, "SBYTE", 2, "numbers", [-1, 127]),
                        (50002, None, "SSHORT", 2, "numbers", [-2, 3]),
                        (50003, None, "SLONG", 1, "numbers", [-70000]),
                        (50004, None, "FLOAT", 1, "numbers", [0.5]),
                        (50005, None, "DOUBLE", 1, "numbers", [-1e300]),
                        (50006, None, "DOUBLE", 1, "numbers", [None]),
                        (50007, None, "13", 1, "error", "unknown type"),
                        (50008, None, "ASCII", 10**6, "error", "value outside the segment")],
                "1st": [(259, "Compression", "SHORT", 1, "numbers", [6])],
                "Exif": [(33434, "ExposureTime", "RATIONAL", 1, "numbers", [[1, 4294967295]]),
                         (36864, "ExifVersion", "UNDEFINED", 4, "bytes", "30323230"),
                         (37380, "ExposureBiasValue", "SRATIONAL", 1, "numbers", [[-1, 3]])],
                "GPS": [(0, "GPSVersionID", "BYTE", 4, "numbers", [2, 2, 0, 0]),
                        (1, "GPSLatitudeRef", "ASCII", 2, "text", "N"),
                        (2, "GPSLatitude", "RATIONAL", 3, "numbers", [[50, 1], [7, 1], [255, 10]])],
                "Interoperability": [
                    (1, "InteroperabilityIndex", "ASCII", 4, "text", "R98"),
                    (2, "InteroperabilityVersion", "UNDEFINED", 4, "bytes", "30313030")],
            }
            for directory, entries in expected.items():
                wanted = [{"tag": tag, "name": name, "type": kind, "count": count, key: value}
                          for tag, name, kind, count, key, value in entries]
                self.assertEqual(list(seen[directory].values()), wanted)

    def test_text_tells_the_same(self):
        text = self.check("exif", self.write("e.jpg", five_directories(">").jpeg())).decode()
        lines = [" ".join(line.split()) for line in text.splitlines()]
        for line in ("0th directory (big-endian):", "0x0102 BitsPerSample SHORT x 3 8 9 65535",
                     '0x010F Make ASCII x 6 "maker"', "0xC351 - SBYTE x 2 -1 127",
                     "0xC357 - 13 x 1 (unknown type)",
                     "0xC358 - ASCII x 1000000 (value outside the segment)",
                     "0x829A ExposureTime RATIONAL x 1 1/4294967295",
                     "0x9204 ExposureBiasValue SRATIONAL x 1 -1/3",
                     "0x0002 GPSLatitude RATIONAL x 3 50/1 7/1 255/10"):
            self.assertIn(line, lines)

    def test_long_values_are_cut_in_text_and_whole_in_json(self):
        tiff = Tiff("<")
        tiff.put_zeroth([(270, 2, 500, b"x" * 499 + b"\0"), (37500, 7, 300, bytes(range(150)) * 2),
                         (40000, 3, 40, struct.pack("<40H", *range(40)))])
        name = self.write("e.jpg", tiff.jpeg())
        text = self.check("exif", name).decode()
        for value in ('"' + "x" * 100 + '" ...', bytes(range(24)).hex() + " ...",
                      " 0 1 2 3 4 5 6 7 ..."):
            self.assertIn(value + "\n", text)
        told = json.loads(self.check("exif", "--json", name))["directories"]["0th"]
        self.assertEqual([e.get("text", e.get("bytes", e.get("numbers"))) for e in told],
                         ["x" * 499, (bytes(range(150)) * 2).hex(), list(range(40))])

    def test_strings_of_any_bytes_give_valid_json(self):
        tiff = Tiff("<")
        tiff.put_zeroth([(270, 2, 9, b'a"\\\n\x1b\xe9\0b\0'), (271, 2, 0, b""),
                         (272, 2, 3, "é".encode() + b"\0")])
        name = self.write("e.jpg", tiff.jpeg())
        told = json.loads(self.check("exif", "--json", name))["directories"]["0th"]
        self.assertEqual([e["text"] for e in told], ['a"\\\n\x1b\xe9\0b', "", "é"])
        self.assertNotIn(b"\x1b", self.check("exif", name))

    def test_a_small_file_that_shares_its_values_is_not_listed_without_end(self):
        tiff = Tiff("<")
        at = tiff.put(b"x" * 40000)
        tiff.put_zeroth([(1000 + i, 7, 40000, at) for i in range(1500)])
        out = self.check("exif", "--json", self.write("e.jpg", tiff.jpeg()))
        told = json.loads(out)["directories"]["0th"]
        self.assertEqual(sum("bytes" in e for e in told), 3)
        self.assertEqual(told[3]["error"], "more values than a segment holds")

    def test_directories_need_not_be_sorted(self):
        for order in "<>":
            tiff = Tiff(order)
            gps = tiff.put_ifd([(1, 2, 2, b"N\0")])
            exif = tiff.put_ifd([(36867, 2, 4, b"now\0")])
            tiff.put_zeroth([(34853, 4, 1, gps), (34665, 4, 1, exif), (271, 2, 2, b"m\0")])
            told = json.loads(self.check("exif", "--json", self.write("e.jpg", tiff.jpeg())))
            self.assertEqual({d: [e["tag"] for e in entries]
                              for d, entries in told["directories"].items()},
                             {"0th": [34853, 34665, 271], "Exif": [36867], "GPS": [1]})

    def test_files_without_attributes_are_a_failure(self):
        for command in (["exif"], ["thumbnail", "-o", self.path("t.bmp")]):
            self.refused(1, "has no Exif segment (0x80000109 JPG_E_NOT_JPEG)", *command, SAMPLE)
            tiff = Tiff("<")
            tiff.data = b"II"
            empty = self.write("e.jpg", tiff.jpeg())
            self.refused(1, "its Exif segment is empty (0x80000300 JPG_E_NOT_FOUND)", *command,
                         empty)
            self.refused(1, "JPG_E_OPEN_FAILED", *command, self.path("none.jpg"))
        told = json.loads(self.check("exif", "--json", self.write("n.jpg", Tiff("<").jpeg())))
        self.assertEqual(told["directories"], {})


class Thumbnail(Tool):
    def compressed(self, jpeg):
        tiff = Tiff(">")
        at = tiff.put(jpeg)
        tiff.put_zeroth([], tiff.put_ifd([(259, 3, 1, 6), (513, 4, 1, at), (514, 4, 1, len(jpeg))]))
        return self.write("t.jpg", tiff.jpeg())

    def test_a_compressed_one_at_every_depth(self):
        name = self.compressed(flat_jpeg(13, 9, 3, first=8))
        self.check("thumbnail", name, "-o", self.path("t.bmp"))
        self.assertEqual(parse_bmp(self.read("t.bmp")), (13, 9, 24, bytes([136]) * 13 * 9 * 3))
        for bits in ("8", "16", "24"):
            self.check("thumbnail", name, "-o", self.path("t.bmp"), "--bits", bits)
            self.check("decode", self.write("i.jpg", flat_jpeg(13, 9, 3, first=8)), "-o",
                       self.path("i.bmp"), "--bits", bits)
            self.assertEqual(parse_any_bmp(self.read("t.bmp")), parse_any_bmp(self.read("i.bmp")))

    def test_grey_becomes_8_bits(self):
        name = self.compressed(flat_jpeg(13, 9, 1, first=8))
        self.check("thumbnail", name, "-o", self.path("t.bmp"))
        self.assertEqual(parse_bmp(self.read("t.bmp")), (13, 9, 8, bytes([136]) * 13 * 9))
        self.refused(1, "not supported", "thumbnail", name, "-o", self.path("x.bmp"),
                     "--bits", "24")

    def test_an_uncompressed_one_in_strips(self):
        rgb = bytes((7 * i) % 256 for i in range(5 * 4 * 3))
        tiff = Tiff("<")
        at = tiff.put(rgb)
        strips = [(256, 3, 1, 5), (257, 3, 1, 4), (259, 3, 1, 1), (262, 3, 1, 2),
                  (273, 4, 2, struct.pack("<II", at, at + 45)), (278, 3, 1, 3),
                  (279, 4, 2, struct.pack("<II", 45, 15))]
        tiff.put_zeroth([], tiff.put_ifd(strips))
        self.check("thumbnail", self.write("s.jpg", tiff.jpeg()), "-o", self.path("s.bmp"))
        self.assertEqual(parse_bmp(self.read("s.bmp")), (5, 4, 24, rgb))

    def test_what_is_refused(self):
        name = self.compressed(flat_jpeg(13, 9, 3))
        self.refused(1, "the output must be a .bmp file", "thumbnail", name, "-o",
                     self.path("t.png"))
        os.symlink(name, self.path("l.bmp"))
        self.refused(1, "is the input file", "thumbnail", name, "-o", self.path("l.bmp"))
        self.refused(1, "cannot create", "thumbnail", name, "-o", self.path("no/t.bmp"))
        tiff = Tiff("<")
        tiff.put_zeroth([])
        self.refused(1, "has no thumbnail (0x80000300 JPG_E_NOT_FOUND)", "thumbnail",
                     self.write("n.jpg", tiff.jpeg()), "-o", self.path("t.bmp"))
        self.assertFalse(os.path.exists(self.path("t.bmp")))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
