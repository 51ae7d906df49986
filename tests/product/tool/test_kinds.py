#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the kinds of picture file that jpgtool reads and writes: test_kinds.py JPGTOOL SOURCE_DIR.
Bitmaps are made here, each kind from a description, so that every pixel is known."""
import itertools
import math
import os
import shutil
import struct
import subprocess
import sys
import unittest
import zlib

from test_jpgtool import SAMPLE, Tool, parse_pnm, ppm, run

WIDTH, HEIGHT = 13, 11
PALETTE = [((i * 37) % 256, (i * 101) % 256, (255 - i * 5) % 256) for i in range(256)]


def pixel(x, y):
    return ((x * 19 + y) % 256, (y * 23 + 5) % 256, (x * y * 7 + 60) % 256)


def index_of(x, y, count):
    """Which of so many colours a pixel of an indexed bitmap has."""
    return (x * 3 + y) % count


def masked(colour, masks):
    """The pixel's number, and the colour that its bits stand for: bits of 1 all over are 255."""
    number, shown = 0, []
    for value, mask in zip(colour, masks):
        shift = (mask & -mask).bit_length() - 1
        most = mask >> shift
        step = value * most // 255
        number |= step << shift
        shown.append((step * 255 + most // 2) // most)
    return number, tuple(shown)


def packed(indices, bits):
    """A row of indices, the first in the uppermost bits, padded to 4 bytes."""
    number = 0
    for index in indices:
        number = number << bits | index
    size = (len(indices) * bits + 31) // 32 * 4
    return (number << (size * 8 - len(indices) * bits)).to_bytes(size, "big")


def run_lengths(rows, bits, literal):
    """Runs, or literal indices where `literal`; a step over the last pixels of a row, which have
    index 0, and an end of line."""
    out = b""
    for row in rows:
        kept = len(row)
        while kept and row[kept - 1] == 0:
            kept -= 1
        at = 0
        while at < kept:
            count = kept - at if literal and kept - at >= 3 else 1
            while not literal and at + count < kept and row[at + count] == row[at]:
                count += 1
            piece = row[at : at + count]
            if literal and count >= 3:
                data = bytes(piece) if bits == 8 else packed(piece, 4)[: (count + 1) // 2]
                out += bytes([0, count]) + data + bytes(len(data) % 2)
            else:
                out += bytes([count, piece[0] if bits == 8 else piece[0] * 17])
            at += count
        out += b"\0\0"
    return out + b"\0\1"


def file_of(header, bits, compression, data, colours=b"", masks=(), down=False, used=0):
    """A bitmap file with a header of that size."""
    height = -HEIGHT if down else HEIGHT
    if header == 12:
        info = struct.pack("<IHHHH", 12, WIDTH, HEIGHT, 1, bits)
    else:
        info = struct.pack("<IiiHHIIiiII", header, WIDTH, height, 1, bits, compression, len(data), 2835,
                           2835, used, 0)[:header]
    inside = struct.pack(f"<{len(masks)}I", *masks) if masks else b""
    if header >= 52:
        info += inside.ljust(header - 40, b"\0")[: header - 40]
        inside = b""
    offset = 14 + len(info) + len(inside) + len(colours)
    return b"BM" + struct.pack("<IHHI", offset + len(data), 0, 0, offset) + info + inside + colours + data


def ordered(rows, down):
    return b"".join(rows if down else rows[::-1])


def indexed_kinds():
    """Name, file and pixels of bitmaps with colour tables."""
    for bits, header in itertools.product((1, 2, 4, 8), (12, 16, 40, 56, 64, 108, 124)):
        for down in (False, True) if header not in (12, 16) else (False,):
            size = 3 if header == 12 else 4
            colours = b"".join(bytes(c[::-1]) + bytes(size - 3) for c in PALETTE[: 1 << bits])
            rows = [[index_of(x, y, 1 << bits) for x in range(WIDTH)] for y in range(HEIGHT)]
            data = ordered([packed(row, bits) for row in rows], down)
            yield (f"{bits} bits, header {header}{', top-down' if down else ''}",
                   file_of(header, bits, 0, data, colours, down=down),
                   [PALETTE[i] for row in rows for i in row])
    # A table that is shorter than it could be; indices beyond it are black.
    colours = b"".join(bytes(c[::-1]) + b"\0" for c in PALETTE[:5])
    rows = [[(x + y) % 7 for x in range(WIDTH)] for y in range(HEIGHT)]
    yield ("8 bits, 5 colours", file_of(40, 8, 0, ordered([packed(r, 8) for r in rows], False), colours,
                                        used=5),
           [PALETTE[i] if i < 5 else (0, 0, 0) for row in rows for i in row])


def coded_kinds():
    """Run-length coded ones."""
    for bits, literal, header in itertools.product((4, 8), (False, True), (40, 64, 108)):
        colours = b"".join(bytes(c[::-1]) + b"\0" for c in PALETTE[: 1 << bits])
        rows = [[0 if x > 9 else (x // (1 if literal else 4) + y) % (1 << bits) for x in range(WIDTH)]
                for y in range(HEIGHT)]
        data = run_lengths(rows[::-1], bits, literal)
        yield (f"run lengths of {bits} bits, {'literal' if literal else 'runs'}, header {header}",
               file_of(header, bits, 1 if bits == 8 else 2, data, colours),
               [PALETTE[i] for row in rows for i in row])


def direct_kinds():
    """16, 24 and 32 bits without masks."""
    default = {16: (0x7C00, 0x3E0, 0x1F), 24: (0xFF0000, 0xFF00, 0xFF), 32: (0xFF0000, 0xFF00, 0xFF)}
    for bits, header in itertools.product(default, (12, 40, 64, 108, 124)):
        for down in (False, True) if header != 12 else (False,):
            if header == 12 and bits != 24:
                continue
            yield from masked_kind(bits, header, default[bits], down, False)


def masked_kind(bits, header, masks, down, told):
    numbers = [[masked(pixel(x, y), masks) for x in range(WIDTH)] for y in range(HEIGHT)]
    rows = []
    for row in numbers:
        data = b"".join(number.to_bytes(bits // 8, "little") for number, _ in row)
        rows.append(data + bytes(-len(data) % 4))
    name = f"{bits} bits, header {header}{', top-down' if down else ''}"
    if told:
        name += ", masks " + " ".join(f"{mask:X}" for mask in masks)
    yield (name, file_of(header, bits, 3 if told else 0, ordered(rows, down), masks=masks if told else (),
                         down=down),
           [colour for row in numbers for _, colour in row])


MASKS = {
    16: [(0xF800, 0x7E0, 0x1F), (0x1F, 0x7E0, 0xF800), (0x7C00, 0x3E0, 0x1F), (0x1F, 0x3E0, 0x7C00),
         (0xF00, 0xF0, 0xF), (0xF, 0xF0, 0xF00), (0xF000, 0xF00, 0xF0), (0xE0, 0x1C, 3)],
    32: [(0xFF0000, 0xFF00, 0xFF), (0xFF, 0xFF00, 0xFF0000), (0xFF000000, 0xFF0000, 0xFF00),
         (0xFF00, 0xFF0000, 0xFF000000), (0xFF00, 0xFF, 0xFF0000), (0x3FF00000, 0xFFC00, 0x3FF),
         (0x3FF, 0xFFC00, 0x3FF00000), (0x1F, 0x7E0, 0xF800)],
}


def all_kinds():
    yield from indexed_kinds()
    yield from coded_kinds()
    yield from direct_kinds()
    for bits, masks in ((bits, masks) for bits, list_ in MASKS.items() for masks in list_):
        for header, down in ((40, False), (56, True), (124, False)):
            yield from masked_kind(bits, header, masks, down, True)


def png(colour_type, depth, width, height, rows, palette=b"", extra=b"", interlaced=0):
    """A PNG file of rows of bytes."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    head = struct.pack(">IIBBBBB", width, height, depth, colour_type, 0, 0, interlaced)
    data = zlib.compress(b"".join(b"\0" + row for row in rows))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + extra
            + (chunk(b"PLTE", palette) if palette else b"") + chunk(b"IDAT", data) + chunk(b"IEND", b""))


class Bitmaps(Tool):
    def samples_of(self, name):
        """The samples that the tool reads from a file, by way of a lossless one."""
        self.check("encode", name, "-o", self.path("l.jpg"), "--lossless")
        return parse_pnm(self.check("decode", self.path("l.jpg"), "-o", "-"))

    def test_every_pixel_of_every_kind(self):
        kinds = list(all_kinds())
        self.assertGreaterEqual(len(kinds), 102)
        self.assertEqual(len({name for name, _, _ in kinds}), len(kinds))
        for name, data, pixels in kinds:
            with self.subTest(name):
                _, width, height, _, samples = self.samples_of(self.write("k.bmp", data))
                self.assertEqual((width, height), (WIDTH, HEIGHT))
                self.assertEqual(samples, b"".join(bytes(colour) for colour in pixels))
                # Out again: a bitmap holds the same pixels.
                self.check("decode", self.path("l.jpg"), "-o", self.path("out.bmp"))
                self.assertIn(b"PSNR inf", self.check("compare", self.path("out.bmp"), self.path("k.bmp")))

    def test_bitmaps_of_another_program(self):
        if shutil.which("ffmpeg") is None:
            self.skipTest("ffmpeg isn't installed")
        whole = self.write("p.ppm", ppm(48, 32, lambda x, y: (5 * x, 7 * y, 3 * x + 2 * y)))
        for kind, least in (("bgr24", math.inf), ("bgra", math.inf), ("rgb565le", 28), ("rgb555le", 26),
                            ("rgb444le", 20), ("pal8", 15), ("gray", 0), ("monow", 0)):
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", whole, "-pix_fmt", kind,
                            self.path("f.bmp")], check=True, timeout=60)
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", self.path("f.bmp"), "-pix_fmt", "rgb24",
                            self.path("f.ppm")], check=True, timeout=60)
            ours = self.samples_of(self.path("f.bmp"))
            theirs = parse_pnm(self.read("f.ppm"))[4]
            if ours[0] == b"P5":  # grey is one component
                ours = (*ours[:4], b"".join(bytes([v] * 3) for v in ours[4]))
            with self.subTest(kind):
                # That program fills 4 bits up with zeros; 5 and 6 it repeats, as we do but for rounding.
                most = 15 if kind == "rgb444le" else 4
                self.assertLessEqual(max(abs(a - b) for a, b in zip(ours[4], theirs)), most)
                if least:
                    error = sum((a - b) ** 2 for a, b in zip(ours[4], parse_pnm(self.read("p.ppm"))[4]))
                    psnr = math.inf if error == 0 else 10 * math.log10(255**2 * len(theirs) / error)
                    self.assertGreaterEqual(psnr, least)

    def test_grey_tables_make_one_component(self):
        rows = [[(x + y) % 2 for x in range(WIDTH)] for y in range(HEIGHT)]
        black_and_white = file_of(40, 1, 0, ordered([packed(row, 1) for row in rows], False),
                                  b"\0\0\0\0\xff\xff\xff\0")
        kind, _, _, _, samples = self.samples_of(self.write("g.bmp", black_and_white))
        self.assertEqual((kind, samples), (b"P5", bytes(255 * i for row in rows for i in row)))

    def test_damaged_ones_are_refused(self):
        good = next(data for name, data, _ in all_kinds() if name.startswith("run lengths of 8"))
        for data in (good[:20], good[:-4], good[:14] + b"\x0d" + good[15:], good[:28] + b"\3" + good[29:],
                     good[:30] + b"\4" + good[31:], b"BM" + bytes(60)):
            self.refused(1, "jpgtool: ", "encode", self.write("d.bmp", data), "-o", self.path("d.jpg"))
        self.assertFalse(os.path.exists(self.path("d.jpg")))


class Png(Tool):
    def setUp(self):
        super().setUp()
        if b"built without PNG" in run("decode", SAMPLE, "-o", self.path("x.png")).stderr:
            self.skipTest("this jpgtool has no PNG")

    def samples_of(self, name):
        self.check("encode", name, "-o", self.path("l.jpg"), "--lossless")
        return parse_pnm(self.check("decode", self.path("l.jpg"), "-o", "-"))

    def test_kinds_made_by_hand(self):
        rgb = [bytes(v for x in range(5) for v in pixel(x, y)) for y in range(4)]
        rgba = [bytes(v for x in range(5) for v in (*pixel(x, y), 40)) for y in range(4)]
        grey = [bytes((9 * x + y) for x in range(5)) for y in range(4)]
        deep = [struct.pack(">5H", *(1000 * x + y for x in range(5))) for y in range(4)]
        bits = [bytes([0b10110000]), bytes([0b01001000])] * 2
        palette = bytes(v for c in PALETTE[:5] for v in c)
        cases = {
            "colour": (png(2, 8, 5, 4, rgb), b"".join(rgb)),
            "with alpha": (png(6, 8, 5, 4, rgba), b"".join(rgb)),
            "grey": (png(0, 8, 5, 4, grey), b"".join(grey)),
            "16 bits": (png(0, 16, 5, 4, deep), b"".join(deep)),
            "1 bit": (png(0, 1, 5, 4, bits), bytes([255, 0, 255, 255, 0, 0, 255, 0, 0, 255] * 2)),
            "palette": (png(3, 8, 5, 4, [bytes(range(5))] * 4, palette), palette * 4),
        }
        for name, (data, samples) in cases.items():
            with self.subTest(name):
                self.assertEqual(self.samples_of(self.write("p.png", data))[4], samples)
                self.assertEqual(self.check("encode", "-", "-o", "-", "--lossless", stdin=data),
                                 self.read("l.jpg"))

    def test_what_is_written_comes_back(self):
        deep = b"P5\n23 19\n4095\n" + b"".join(
            struct.pack(">H", (x * 997 + y * 31) % 4096) for y in range(19) for x in range(23))
        wide = b"P5\n3 2\n65535\n" + bytes(range(12))
        for data in (ppm(31, 27, pixel), deep, wide, b"P5\n3 1\n255\n\0\x80\xff"):
            self.check("encode", self.write("a.ppm", data), "-o", self.path("a.jpg"), "--lossless")
            self.check("decode", self.path("a.jpg"), "-o", self.path("a.png"))
            self.check("encode", self.path("a.png"), "-o", self.path("b.jpg"), "--lossless")
            self.assertEqual(self.check("decode", self.path("b.jpg"), "-o", "-"), data)
        # An independent reader of the 12-bit one: 16 bits whose spare ones repeat the upper ones.
        self.check("encode", self.write("a.pgm", deep), "-o", self.path("a.jpg"), "--lossless")
        data = self.check("decode", self.path("a.jpg"), "-o", "-", "--to", "png")
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        at = data.index(b"sBIT")
        self.assertEqual(data[at + 4], 12)
        if shutil.which("ffmpeg"):
            raw = subprocess.run(["ffmpeg", "-v", "error", "-f", "png_pipe", "-i", "-", "-f", "rawvideo",
                                  "-pix_fmt", "gray16le", "-"], input=data, capture_output=True,
                                 check=True).stdout
            words = struct.unpack(f"<{23 * 19}H", raw)
            told = struct.unpack(f">{23 * 19}H", deep[-2 * 23 * 19 :])
            self.assertEqual([w >> 4 for w in words], list(told))

    def test_damaged_ones_are_refused(self):
        whole = png(2, 8, 5, 4, [bytes(15)] * 4)
        for data in (whole[:20], whole[:50], whole[:-30], whole[:30] + b"x" + whole[31:]):
            self.refused(1, "jpgtool: ", "encode", self.write("d.png", data), "-o", self.path("d.jpg"))
        self.assertFalse(os.path.exists(self.path("d.jpg")))
        four = self.write("4.pam", b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE CMYK\nENDHDR\n\1\2\3\4")
        self.check("encode", four, "-o", self.path("4.jpg"), "--lossless")
        self.refused(1, "one (grey) or three", "decode", self.path("4.jpg"), "-o", self.path("4.png"))


class Netpbm(Tool):
    def test_ranges_other_than_bytes_are_scaled(self):
        # 0, 1/3 and all of the range.
        for top, samples in ((3, b"\0\1\3"), (15, b"\0\5\17"), (999, struct.pack(">3H", 0, 333, 999)),
                             (65535, struct.pack(">3H", 0, 21845, 65535)), (300, struct.pack(">3H", 0, 100, 300))):
            data = b"P5\n3 1\n%d\n" % top + samples
            self.check("encode", "-", "-o", self.path("g.jpg"), "--quality", "100", "--strict", stdin=data)
            shown = parse_pnm(self.check("decode", self.path("g.jpg"), "-o", "-"))[4]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(shown, (0, 85, 255))), 3, top)

    def test_pam_of_one_to_four_components(self):
        for depth, kind in ((1, "GRAYSCALE"), (2, "GRAYSCALE_ALPHA"), (3, "RGB"), (4, "CMYK")):
            samples = bytes(range(6 * depth))
            head = f"P7\n# made here\nWIDTH 3\nHEIGHT 2\nDEPTH {depth}\nMAXVAL 255\nTUPLTYPE {kind}\nENDHDR\n"
            self.check("encode", "-", "-o", self.path("p.jpg"), "--lossless", stdin=head.encode() + samples)
            out = self.check("decode", self.path("p.jpg"), "-o", "-", "--to", "pam")
            # Transparency is left out.
            self.assertTrue(out.endswith(samples[::2] if depth == 2 else samples))
        for bad in (b"P7\nWIDTH 3\n", b"P7\nWIDTH x\nENDHDR\n", b"P7\nENDHDR\n", b"P3\n1 1\n255\n1 2 3",
                    b"P6\n1 1\n0\n"):
            self.refused(1, "jpgtool: -: ", "encode", "-", "-o", self.path("x.jpg"), stdin=bad)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
