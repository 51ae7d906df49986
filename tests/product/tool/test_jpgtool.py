#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of jpgtool as its users see it: test_jpgtool.py JPGTOOL SOURCE_DIR. The exif and thumbnail
commands have theirs in test_exif.py, compare and view in test_compare.py and test_view.py."""
import json
import os
import pty
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

# With what runs the programs of another target in front, if anything.
TOOL = [*os.environ.get("JPG_EMULATOR", "").split(), sys.argv[1]]
SOURCE = sys.argv[2]
SAMPLE = f"{SOURCE}/examples/sample.jpg"


def run(*words, stdin=None):
    return subprocess.run([*TOOL, *words], input=stdin, capture_output=True, timeout=60)


def ppm(width, height, pixel):
    """A PPM of pixel(x, y) -> (r, g, b)."""
    data = b"".join(bytes(pixel(x, y)) for y in range(height) for x in range(width))
    return b"P6\n%d %d\n255\n" % (width, height) + data


def parse_pnm(data):
    """Kind, width, height, largest value and samples of a PGM or PPM file."""
    words, at = [], 0
    while len(words) < 4:
        end = at
        while data[end : end + 1] not in (b" ", b"\n"):
            end += 1
        words.append(data[at:end])
        at = end + 1
    return words[0], int(words[1]), int(words[2]), int(words[3]), data[at:]


def parse_bmp(data):
    """Width, height, bits and the rows from the top, as red-first or grey bytes."""
    (offset,) = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    bits = data[28]
    row_bytes = (width * bits // 8 + 3) // 4 * 4
    rows = []
    for y in range(height):
        row = data[offset + (height - 1 - y) * row_bytes :][: width * bits // 8]
        if bits == 24:
            row = b"".join(row[i : i + 3][::-1] for i in range(0, len(row), 3))
        rows.append(row)
    return width, height, bits, b"".join(rows)


def bmp(width, height, bits, rows, palette=b""):
    """A BMP file of rows from the top, as the file holds them; from the bottom for a height
    below 0 there, so that the file is a top-down one."""
    line = (width * bits // 8 + 3) // 4 * 4
    padded = [row + bytes(line - len(row)) for row in rows]
    if height > 0:
        padded.reverse()
    offset = 54 + len(palette)
    head = struct.pack("<2sIIIIiiHHIIiiII", b"BM", offset + line * len(rows), 0, offset, 40, width,
                       height, 1, bits, 0, 0, 0, 0, len(palette) // 4, 0)
    return head + palette + b"".join(padded)


def parse_any_bmp(data):
    """Width, height, bits and the pixels from the top, red first, of 8, 16 (5-6-5) or 24 bits."""
    (offset,) = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    bits = data[28]
    row_bytes = (width * bits // 8 + 3) // 4 * 4
    pixels = []
    for y in reversed(range(height)):
        at = offset + y * row_bytes
        for x in range(width):
            if bits == 8:
                colour = data[54 + 4 * data[at + x] :][:3][::-1]
            elif bits == 16:
                (word,) = struct.unpack_from("<H", data, at + 2 * x)
                colour = bytes([word >> 11 << 3, (word >> 5 & 63) << 2, (word & 31) << 3])
            else:
                colour = data[at + 3 * x :][:3][::-1]
            pixels.append(colour)
    return width, height, bits, pixels


def segment(code, data):
    return struct.pack(">BBH", 0xFF, code, len(data) + 2) + data


def flat_jpeg(width, height, components, first=0, dnl=None):
    """A stream of blocks of one level: every component is 128 but the first, which is
    128 + first (0, or 8 by a DC difference of 1 with a quantiser of 64). One code of one bit
    each: DC category 0 or 1, AC end of block. With dnl the frame header's height is 0 and a DNL
    segment behind the scan tells dnl."""
    category = 1 if first else 0
    frame = bytes([8]) + struct.pack(">HH", 0 if dnl is not None else height, width)
    frame += bytes([components])
    frame += b"".join(bytes([i + 1, 0x11, 0]) for i in range(components))
    # DC table 0 for the first component, 1 (category 0 only) for the others
    dht = bytes([0x00, 1, 1] + [0] * 14 + [0, category]) + bytes([0x01, 1] + [0] * 15 + [0])
    dht += bytes([0x10, 1] + [0] * 15 + [0])
    scan = bytes([components])
    scan += b"".join(bytes([i + 1, 0x10 if i else 0x00]) for i in range(components))
    scan += bytes([0, 63, 0])
    blocks = (width + 7) // 8 * ((height + 7) // 8)
    bits = ""
    for block in range(blocks):
        # the code of category 1 is 10, and 1 its one more bit; later blocks differ by nothing
        bits += ("101" if first and block == 0 else "0") + "0" + "00" * (components - 1)
    bits += "1" * (-len(bits) % 8)
    data = int(bits, 2).to_bytes(len(bits) // 8, "big").replace(b"\xff", b"\xff\x00")
    stream = b"\xff\xd8" + segment(0xDB, bytes([0] + [64] * 64)) + segment(0xC0, frame)
    stream += segment(0xC4, dht) + segment(0xDA, scan) + data
    if dnl is not None:
        stream += segment(0xDC, struct.pack(">H", dnl))
    return stream + b"\xff\xd9"


class Tool(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return f"{self.folder}/{name}"

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def terminal(self):
        """Both ends of a terminal, where the machine has any to give; a bare one has none."""
        try:
            return pty.openpty()
        except OSError as error:
            self.skipTest(f"no terminal: {error}")

    def check(self, *words, **more):
        result = run(*words, **more)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(result.stderr, b"")
        return result.stdout

    def refused(self, status, text, *words, **more):
        result = run(*words, **more)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertIn(text, result.stderr.decode(errors="replace"))
        self.assertEqual(result.stdout, b"")


class Conventions(Tool):
    def test_help_and_version_go_to_standard_output(self):
        for words in (["--help"], ["info", "--help"], ["decode", "--help"], ["encode", "-h"],
                      ["exif", "--help"], ["thumbnail", "--help"], ["compare", "--help"],
                      ["view", "--help"]):
            self.assertIn(b"Usage: jpgtool", self.check(*words))
        self.assertRegex(self.check("--version"), rb"^jpgtool \d+\.\d+\.\d+\n$")

    def test_wrong_usage_is_status_64(self):
        cases = {
            (): "no command",
            ("fly",): "unknown command fly",
            ("info",): "takes one file",
            ("decode", SAMPLE, "-o", "-", "--to", "gif"): "--to takes png, bmp",
            ("icc", SAMPLE, SAMPLE, "-o", "x"): "icc -o takes one file",
            ("info", SAMPLE, "--bad"): "unknown option --bad",
            ("decode", SAMPLE): "needs -o",
            ("decode",): "decode takes one file, or several",
            ("decode", SAMPLE, "-o"): "-o needs a value",
            ("decode", SAMPLE, "-o", "x.ppm", "--scale", "1/3"): "--scale",
            ("decode", SAMPLE, "-o", "x.ppm", "--raw=1"): "takes no value",
            ("decode", SAMPLE, "--rows", "1:2", "--each-scan", "d"): "can't be used together",
            ("decode", SAMPLE, "-o", "x.bmp", "--bits", "12"): "--bits takes 8, 16 or 24",
            ("decode", SAMPLE, "-o", "x.ppm", "--bits", "8"): "--bits needs -o OUT.bmp",
            ("decode", SAMPLE, "-o", "x.bmp", "--bits", "8", "--raw"): "--bits and --raw",
            ("exif",): "exif takes one file",
            ("help", "fly"): "unknown command fly",
            ("encode", "x.ppm", "-o", "y.png"): "a JPEG file isn't named .png",
            ("encode", "x.ppm", "-o", "y.jpg", "--comment", ""): "--comment takes 1 to 65533 bytes",
            ("exif", SAMPLE, "-o", "x"): "unknown option -o",
            ("thumbnail", SAMPLE): "thumbnail needs -o",
            ("compare", SAMPLE): "compare takes two files",
            ("view",): "view takes one file",
            ("view", SAMPLE, "--width", "0"): "--width takes a number from 1 to 1000",
            ("thumbnail", SAMPLE, "-o", "x.bmp", "--bits", "32"): "--bits takes 8, 16 or 24",
            ("encode", "x.ppm", "-o", "x.jpg", "--quality", "101"): "--quality",
            ("encode", "x.ppm", "-o", "x.jpg", "--quality", "9x"): "--quality",
            ("encode", "x.ppm", "-o", "x.jpg", "--sampling", "411"): "--sampling",
        }
        for words, text in cases.items():
            with self.subTest(words):
                self.refused(64, text, *words)

    def test_errors_name_the_file_what_is_wrong_and_the_code(self):
        text = self.write("a.jpg", b"this is no picture")
        result = run("info", text)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(
            result.stderr.decode(),
            f"jpgtool: {text}: no start marker (FF D8) at byte 0 (0x80000109 JPG_E_NOT_JPEG)\n",
        )
        self.refused(1, "(0x80000301 JPG_E_OPEN_FAILED)", "info", self.path("none.jpg"))

    def test_names_need_not_be_ascii(self):
        for name in ("Bäume.jpg", "写真.jpg", "🌄 dawn.jpg"):
            shutil.copy(SAMPLE, self.path(name))
            self.assertIn(name.encode(), self.check("info", self.path(name)))
            self.check("decode", self.path(name), "-o", self.path(name + ".ppm"))

    def test_refusals_of_the_tool_itself_tell_a_code_too(self):
        copy = shutil.copy(SAMPLE, self.path("a.ppm"))
        here, nowhere = self.path("x.pgm"), self.path("no/x.ppm")
        cases = {
            ("decode", copy, "-o", copy): f"{copy}: is the input file (0x80000057 JPG_E_INVALID_PARAMETER)",
            ("decode", copy, "-o", nowhere):
                f"{nowhere}: cannot create the file: no such file or directory "
                "(0x80000301 JPG_E_OPEN_FAILED)",
            ("decode", copy, "-o", here):
                f"{here}: a .pgm file takes grey; write .ppm, .bmp or .pam (0x800000FE JPG_E_UNSUPPORTED)",
        }
        for words, text in cases.items():
            with self.subTest(words):
                self.assertEqual(run(*words).stderr.decode(), f"jpgtool: {text}\n")

    def test_output_that_does_not_arrive_is_a_failure(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("there is no /dev/full")
        for words in (["--help"], ["--version"], ["info", SAMPLE], ["decode", SAMPLE, "-o", "-"]):
            with self.subTest(words), open("/dev/full", "wb") as full:
                result = subprocess.run([*TOOL, *words], stdout=full, stderr=subprocess.PIPE, timeout=60)
                self.assertEqual(result.returncode, 1)
                self.assertIn(b"(0x8000001D JPG_E_WRITE_FAULT)", result.stderr)

    def test_nothing_tells_of_progress_where_there_is_no_terminal(self):
        result = run("decode", SAMPLE, "-o", "-")
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_double_dash_ends_the_options(self):
        shutil.copy(SAMPLE, self.path("-o"))
        os.chdir(self.folder)
        self.check("decode", "-o", "x.ppm", "--", "-o")
        os.chdir("/")


class Info(Tool):
    def test_text_tells_the_header(self):
        text = self.check("info", SAMPLE).decode()
        for line in ("size: 640 x 480", "channels: 3", "precision: 8 bits", "process: baseline",
                     "sampling: 1:2x2 2:1x1 3:1x1", "restart interval: 0",
                     "density: 72 x 72 (dots per inch)"):
            self.assertIn(line + "\n", text)

    def test_json_tells_the_same_and_the_offsets_lead_to_the_markers(self):
        told = json.loads(self.check("info", "--json", SAMPLE))
        self.assertEqual((told["width"], told["height"], told["channels"]), (640, 480, 3))
        self.assertEqual(told["process"], "baseline")
        self.assertEqual(told["components"][0], {"id": 1, "h": 2, "v": 2, "table": 0})
        self.assertEqual(told["density"], {"x": 72, "y": 72, "units": 1})
        with open(SAMPLE, "rb") as file:
            data = file.read()
        self.assertEqual(told["segments"][0]["marker"], "APP0")
        self.assertEqual(told["segments"][-1]["marker"], "SOS")
        for segment in told["segments"]:
            at = segment["offset"]
            self.assertEqual(int.from_bytes(data[at : at + 2], "big"), segment["code"])
            self.assertEqual(int.from_bytes(data[at + 2 : at + 4], "big"), segment["length"] + 2)


    def test_json_is_valid_whatever_the_name(self):
        names = [b"plain.jpg", "Bäume \U0001F304.jpg".encode(), b'quote" back\\ tab\t.jpg']
        for name in names:
            path = self.folder.encode() + b"/" + name
            shutil.copy(SAMPLE.encode(), path)
            told = json.loads(self.check("info", "--json", path))
            self.assertEqual(told["file"], path.decode())

    def test_a_name_need_not_be_utf8(self):
        """JSON shows a byte that isn't UTF-8 as the character of its number."""
        for name in (b"\xff.jpg", b"\xe0\x80\x80.jpg", b"\xed\xa0\x80.jpg", b"\xc3"):
            path = self.folder.encode() + b"/" + name
            shutil.copy(SAMPLE.encode(), path)
            told = json.loads(self.check("info", "--json", path))
            self.assertEqual(told["file"], self.folder + "/" + name.decode("latin-1"))
            self.check("decode", path, "-o", path + b".ppm")
            self.check("encode", path + b".ppm", "-o", path + b".again.jpg")

    def test_every_header_value_is_told(self):
        told = json.loads(self.check("info", "--json", self.write("f.jpg", flat_jpeg(19, 9, 2))))
        self.assertEqual((told["width"], told["height"], told["channels"]), (19, 9, 2))
        self.assertEqual(told["components"], [{"id": 1, "h": 1, "v": 1, "table": 0},
                                              {"id": 2, "h": 1, "v": 1, "table": 0}])
        self.assertNotIn("density", told)
        self.assertEqual([s["marker"] for s in told["segments"]], ["DQT", "SOF0", "DHT", "SOS"])
        # SOI 2; DQT 2 + 67; SOF0 2 + 14; DHT 2 + 2 + 19 + 18 + 18
        self.assertEqual([s["offset"] for s in told["segments"]], [2, 71, 87, 146])


class Decode(Tool):
    def test_levels_worked_out_by_hand(self):
        # A DC difference of 1 times 64 is 64: 8 levels above 128.
        out = self.check("decode", self.write("g.jpg", flat_jpeg(13, 10, 1, first=8)), "-o", "-")
        self.assertEqual(out, b"P5\n13 10\n255\n" + bytes([136]) * 130)
        out = self.check("decode", self.write("c.jpg", flat_jpeg(5, 3, 3, first=8)), "-o", "-")
        self.assertEqual(out, b"P6\n5 3\n255\n" + bytes([136]) * 45)
        raw = self.check("decode", self.path("c.jpg"), "--raw", "-o", "-")
        self.assertEqual(raw, b"P6\n5 3\n255\n" + bytes([136, 128, 128]) * 15)

    def test_two_and_four_raw_components_go_into_pam(self):
        for components, tuple_type in ((2, b"GRAYSCALE_ALPHA"), (4, b"CMYK")):
            name = self.write("n.jpg", flat_jpeg(11, 6, components, first=8))
            pixels = bytes([136] + [128] * (components - 1)) * 66
            expected = (b"P7\nWIDTH 11\nHEIGHT 6\nDEPTH %d\nMAXVAL 255\nTUPLTYPE %s\nENDHDR\n"
                        % (components, tuple_type)) + pixels
            self.assertEqual(self.check("decode", name, "--raw", "-o", "-"), expected)
            self.check("decode", name, "--raw", "-o", self.path("n.pam"))
            self.assertEqual(self.read("n.pam"), expected)
            for kind in ("ppm", "pgm", "bmp"):
                self.refused(1, "JPG_E_UNSUPPORTED", "decode", name, "--raw", "-o", self.path("x." + kind))

    def test_a_height_told_by_dnl(self):
        # 19 rows are one band and 3 rows of the next.
        told = self.write("d.jpg", flat_jpeg(9, 19, 1, first=8, dnl=19))
        out = self.check("decode", told, "-o", "-")
        self.assertEqual(out, b"P5\n9 19\n255\n" + bytes([136]) * 171)
        self.assertIn(b"size: 9 x 0 (height from a DNL segment)", self.check("info", told))
        half = self.check("decode", told, "-o", "-", "--scale", "1/2")
        self.assertEqual(half, b"P5\n5 10\n255\n" + bytes([136]) * 50)
        never = self.read("d.jpg").replace(b"\xff\xdc\x00\x04\x00\x13", b"")
        self.refused(1, "no DNL segment after the scan (0x800000FE JPG_E_UNSUPPORTED)", "decode",
                     self.write("n.jpg", never), "-o", "-", "--strict")

    def test_a_lossless_picture_whose_height_is_told_by_dnl(self):
        source = ppm(21, 37, lambda x, y: (7 * x, 5 * y, x * y % 256))
        picture = self.write("p.ppm", source)
        for options in ([], ["--restart", "4"], ["--restart", "37"], ["--predictor", "6"]):
            self.check("encode", picture, "-o", self.path("l.jpg"), "--lossless", *options)
            data = self.read("l.jpg")
            frame = data.index(b"\xff\xc3") + 5
            self.assertEqual(data[frame : frame + 2], b"\0\x25")
            told = data[:frame] + b"\0\0" + data[frame + 2 : -2] + segment(0xDC, b"\0\x25")
            self.write("d.jpg", told + b"\xff\xd9")
            self.assertEqual(self.check("decode", self.path("d.jpg"), "-o", "-"), source)
            band = self.check("decode", self.path("d.jpg"), "-o", "-", "--rows", "9:30")
            self.assertEqual(parse_pnm(band)[4], parse_pnm(source)[4][63 * 9 : 63 * 30])

    def test_bitmap_rows_are_padded_and_stand_bottom_up(self):
        picture = self.write("p.ppm", ppm(5, 16, lambda x, y: (255, 0, 0) if y < 8 else (0, 0, 255)))
        self.check("encode", picture, "-o", self.path("p.jpg"), "--sampling", "444", "--quality", "100")
        self.check("decode", self.path("p.jpg"), "-o", self.path("p.bmp"))
        data = self.read("p.bmp")
        self.assertEqual(len(data), 54 + 16 * 16)  # 15 bytes a row, padded to 16
        self.assertEqual(struct.unpack_from("<2sIIIIiiHHI", data),
                         (b"BM", len(data), 0, 54, 40, 5, 16, 1, 24, 0))
        blue, red = data[54:57], data[54 + 15 * 16 :][:3]
        self.assertTrue(blue[0] > 250 and blue[2] < 5, blue)  # the bottom row, blue first
        self.assertTrue(red[2] > 250 and red[0] < 5, red)

    def test_every_kind_of_picture_file_holds_the_same_pixels(self):
        out = self.check("decode", SAMPLE, "-o", "-")
        kind, width, height, top, pixels = parse_pnm(out)
        self.assertEqual((kind, width, height, top), (b"P6", 640, 480, 255))
        self.assertEqual(len(pixels), 3 * 640 * 480)
        for name in ("a.ppm", "a.bmp"):
            self.assertEqual(self.check("decode", SAMPLE, "-o", self.path(name)), b"")
        self.assertEqual(self.read("a.ppm"), out)
        self.assertEqual(parse_bmp(self.read("a.bmp")), (640, 480, 24, pixels))
        self.refused(1, "takes grey", "decode", SAMPLE, "-o", self.path("a.pgm"))
        self.refused(1, "unknown kind", "decode", SAMPLE, "-o", self.path("a.tiff"))

    def test_grey_goes_into_pgm_ppm_and_bmp(self):
        gray = b"P5\n37 21\n255\n" + bytes((x * 6 + y) % 256 for y in range(21) for x in range(37))
        self.check("encode", self.write("g.pgm", gray), "-o", self.path("g.jpg"), "--quality", "95")
        out = self.check("decode", self.path("g.jpg"), "-o", "-")
        _, _, _, _, pixels = parse_pnm(out)
        self.check("decode", self.path("g.jpg"), "-o", self.path("g.bmp"))
        self.assertEqual(parse_bmp(self.read("g.bmp")), (37, 21, 8, pixels))
        self.check("decode", self.path("g.jpg"), "-o", self.path("g.ppm"))
        self.assertEqual(parse_pnm(self.read("g.ppm"))[4], b"".join(bytes([p] * 3) for p in pixels))

    def test_raw_gives_the_components(self):
        kind, width, height, _, raw = parse_pnm(self.check("decode", SAMPLE, "--raw", "-o", "-"))
        self.assertEqual((kind, width, height), (b"P6", 640, 480))
        converted = parse_pnm(self.check("decode", SAMPLE, "-o", "-"))[4]
        for i in range(0, len(raw), 3 * 997):  # red is Y + 1.402 (Cr - 128), limited
            red = min(255, max(0, raw[i] + 1.402 * (raw[i + 2] - 128)))
            self.assertLessEqual(abs(red - converted[i]), 1)

    def test_scaled_sizes_are_rounded_up(self):
        picture = self.write("p.ppm", ppm(100, 75, lambda x, y: (x, y, 99)))
        self.check("encode", picture, "-o", self.path("p.jpg"))
        for scale, size in (("1/2", (50, 38)), ("1/4", (25, 19)), ("1/8", (13, 10))):
            out = parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-", "--scale", scale))
            self.assertEqual(out[1:3], size)

    def test_a_failed_output_file_is_removed(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        broken = self.write("b.jpg", data[: len(data) // 2] + b"\xff\xd9")
        self.refused(1, "JPG_E_", "decode", broken, "-o", self.path("b.ppm"), "--strict")
        self.assertEqual(os.listdir(self.folder), ["b.jpg"])

    def test_keep_going_keeps_the_rows_before_the_damage(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        broken = self.write("b.jpg", data[: len(data) // 2] + b"\xff\xd9")
        result = run("decode", broken, "-o", self.path("b.ppm"), "--keep-going", "--strict")
        self.assertEqual(result.returncode, 2)
        whole = parse_pnm(self.check("decode", SAMPLE, "-o", "-", "--strict"))[4]
        kept = parse_pnm(self.read("b.ppm"))[4]
        self.assertEqual(len(kept), len(whole))
        self.assertEqual(kept[: 3 * 640 * 64], whole[: 3 * 640 * 64])
        self.assertEqual(kept[-3 * 640 :], bytes([128]) * (3 * 640))

    def test_damage_is_passed_over_unless_strict(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        broken = self.write("b.jpg", data[: len(data) // 2] + b"\xff\xd9")
        result = run("decode", broken, "-o", self.path("b.ppm"))
        self.assertEqual(result.returncode, 2)
        self.assertRegex(result.stderr.decode(), r"^jpgtool: .*b\.jpg: .* near byte \d+ \(0x8.*\n$")
        whole = parse_pnm(self.check("decode", SAMPLE, "-o", "-"))[4]
        kept = parse_pnm(self.read("b.ppm"))[4]
        self.assertEqual((len(kept), kept[: 3 * 640 * 64]), (len(whole), whole[: 3 * 640 * 64]))

    def test_a_stream_without_an_end_is_refused_only_when_strict(self):
        with open(SAMPLE, "rb") as file:
            data = file.read()
        self.assertEqual(data[-2:], b"\xff\xd9")
        endless = self.write("e.jpg", data[:-2])
        words = ["decode", endless, "-o", self.path("e.ppm")]
        self.refused(1, "JPG_E_NOT_JPEG", *words, "--strict")
        self.check(*words, "--strict", "--no-eoi")
        strict = self.read("e.ppm")
        self.assertEqual(strict, self.check("decode", SAMPLE, "-o", "-", "--strict"))
        self.assertIn(run(*words).returncode, (0, 2))
        self.assertEqual(self.read("e.ppm"), self.check("decode", SAMPLE, "-o", "-"))

    def test_the_input_is_never_overwritten(self):
        copy = shutil.copy(SAMPLE, self.path("a.ppm"))
        before = self.read("a.ppm")
        self.refused(1, "is the input file", "decode", copy, "-o", copy)
        os.symlink(copy, self.path("link.ppm"))
        self.refused(1, "is the input file", "decode", copy, "-o", self.path("link.ppm"))
        self.assertEqual(self.read("a.ppm"), before)

    def test_a_full_device_is_a_failure(self):
        if os.path.exists("/dev/full"):
            os.symlink("/dev/full", self.path("full.ppm"))
            self.refused(1, "writing failed", "decode", SAMPLE, "-o", self.path("full.ppm"))

    def test_progressive_and_refused_files(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(70, 50, lambda x, y: (3 * x, 5 * y, x + y)))
        for name, options in (("p.jpg", ["-progressive"]), ("s.jpg", []), ("a.jpg", ["-arithmetic"])):
            with open(self.path(name), "wb") as out:
                subprocess.run(["cjpeg", *options, picture], stdout=out, check=True)
        progressive = self.check("decode", self.path("p.jpg"), "-o", "-")
        self.assertEqual(progressive, self.check("decode", self.path("s.jpg"), "-o", "-"))
        self.refused(1, "10 scans", "decode", self.path("p.jpg"), "-o", "-", "--max-scans", "9")
        self.refused(1, "JPG_E_UNSUPPORTED", "decode", self.path("a.jpg"), "-o", "-")

    def test_a_progressive_picture_shown_scan_by_scan(self):
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        picture = self.write("p.ppm", ppm(70, 50, lambda x, y: (3 * x, 5 * y, x + y)))
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", picture], stdout=out, check=True)
        self.check("decode", self.path("p.jpg"), "--each-scan", self.path("scans"))
        names = [f"scan-{n:03}.ppm" for n in range(1, 11)]
        self.assertEqual(sorted(os.listdir(self.path("scans"))), names)
        for n, name in enumerate(names, 1):
            alone = self.check("decode", self.path("p.jpg"), "-o", "-", "--scans", str(n))
            self.assertEqual(self.read("scans/" + name), alone, name)
        self.assertEqual(alone, self.check("decode", self.path("p.jpg"), "-o", "-"))
        source = parse_pnm(self.read("p.ppm"))[4]
        errors = [sum(abs(a - b) for a, b in zip(parse_pnm(self.read("scans/" + name))[4], source))
                  for name in (names[0], names[-1])]
        self.assertLess(errors[1], errors[0])
        self.refused(1, "fewer than --scans 11", "decode", self.path("p.jpg"), "-o", "-", "--scans", "11")
        self.refused(1, "--scans needs a progressive file", "decode", SAMPLE, "-o", "-", "--scans", "1")
        self.refused(64, "needs -o", "decode", SAMPLE, "-o", "-", "--each-scan", "x")


class Bitmaps(Tool):
    """decode --bits"""

    def test_a_flat_colour_at_every_depth(self):
        # Luminance 136 alone: a grey of 136, which 8 bits mix of 102 and 153, 16 of its neighbours.
        name = self.write("c.jpg", flat_jpeg(13, 9, 3, first=8))
        for bits, low, high in ((8, 102, 153), (16, 128, 144), (24, 136, 136)):
            self.check("decode", name, "-o", self.path("c.bmp"), "--bits", str(bits))
            width, height, depth, pixels = parse_any_bmp(self.read("c.bmp"))
            self.assertEqual((width, height, depth), (13, 9, bits))
            for k in range(3):
                levels = [pixel[k] for pixel in pixels]
                self.assertTrue(low <= min(levels) and max(levels) <= high, levels)
                self.assertLess(abs(sum(levels) / len(levels) - 136), 4)

    def test_24_bits_are_the_pixels_that_other_files_get(self):
        for scale in ("1/1", "1/4"):
            self.check("decode", SAMPLE, "-o", self.path("a.bmp"), "--bits", "24", "--scale", scale)
            plain = self.check("decode", SAMPLE, "-o", "-", "--scale", scale)
            _, width, height, _, pixels = parse_pnm(plain)
            self.assertEqual(parse_bmp(self.read("a.bmp")), (width, height, 24, pixels))

    def test_reduced_bitmaps_stay_close_on_average(self):
        self.check("decode", SAMPLE, "-o", self.path("a.bmp"), "--bits", "24")
        exact = parse_any_bmp(self.read("a.bmp"))[3]
        for bits in ("8", "16"):
            self.check("decode", SAMPLE, "-o", self.path("b.bmp"), "--bits", bits)
            near = parse_any_bmp(self.read("b.bmp"))[3]
            for k in range(3):  # what is limited to 0 to 255 is lost
                error = sum(a[k] - b[k] for a, b in zip(exact, near)) / len(exact)
                self.assertLess(abs(error), 3 if bits == "8" else 1, f"{bits} bits, channel {k}")

    def test_the_header_tells_the_resolution_and_the_sizes(self):
        self.check("decode", SAMPLE, "-o", self.path("a.bmp"), "--bits", "16", "--scale", "1/8")
        data = self.read("a.bmp")
        # 72 dots an inch are 2835 a metre
        self.assertEqual(struct.unpack_from("<2sIIIIiiHHIIii", data),
                         (b"BM", len(data), 0, 66, 40, 80, 60, 1, 16, 3, 160 * 60, 2835, 2835))
        self.assertEqual(struct.unpack_from("<III", data, 54), (0xF800, 0x07E0, 0x001F))

    def opened_by_ffmpeg(self, name, pixels):
        if shutil.which("ffmpeg") is None:
            self.skipTest("ffmpeg isn't installed")
        words = ["ffmpeg", "-v", "error", "-i", self.path(name), "-f", "rawvideo",
                 "-pix_fmt", pixels, "-"]
        return subprocess.run(words, capture_output=True, check=True, timeout=60).stdout

    def test_another_program_opens_them_with_the_same_pixels(self):
        # rows that are padded at every depth, 53 and 27 pixels wide
        picture = self.write("p.ppm", ppm(53, 37, lambda x, y: (4 * x, 6 * y, 255 - 2 * x - 3 * y)))
        self.check("encode", picture, "-o", self.path("p.jpg"), "--quality", "95")
        for scale in ("1/1", "1/2"):
            for bits in ("8", "16", "24"):
                options = ["-o", self.path("p.bmp"), "--bits", bits, "--scale", scale]
                self.check("decode", self.path("p.jpg"), *options)
                _, _, _, pixels = parse_any_bmp(self.read("p.bmp"))
                self.assertEqual(len(pixels), 53 * 37 if scale == "1/1" else 27 * 19)
                if bits == "16":  # words: programs differ in how they widen 5 bits
                    words = [r >> 3 << 11 | g >> 2 << 5 | b >> 3 for r, g, b in pixels]
                    self.assertEqual(self.opened_by_ffmpeg("p.bmp", "rgb565le"),
                                     struct.pack(f"<{len(words)}H", *words))
                else:
                    self.assertEqual(self.opened_by_ffmpeg("p.bmp", "rgb24"), b"".join(pixels))
            plain = self.check("decode", self.path("p.jpg"), "-o", "-", "--scale", scale)
            self.assertEqual(self.opened_by_ffmpeg("p.bmp", "rgb24"), parse_pnm(plain)[4])

    def test_another_program_opens_grey_ones(self):
        gray = b"P5\n53 37\n255\n" + bytes(i % 256 for i in range(53 * 37))
        self.check("encode", self.write("g.pgm", gray), "-o", self.path("g.jpg"))
        self.check("decode", self.path("g.jpg"), "-o", self.path("g.bmp"), "--bits", "8")
        plain = parse_pnm(self.check("decode", self.path("g.jpg"), "-o", "-"))[4]
        self.assertEqual(self.opened_by_ffmpeg("g.bmp", "rgb24"),
                         b"".join(bytes([v] * 3) for v in plain))

    def test_grey_and_progressive_and_what_is_refused(self):
        gray = self.write("g.jpg", flat_jpeg(9, 7, 1, first=8))
        self.check("decode", gray, "-o", self.path("g.bmp"), "--bits", "8")
        self.assertEqual(parse_bmp(self.read("g.bmp")), (9, 7, 8, bytes([136]) * 63))
        for bits in ("16", "24"):
            self.refused(1, "grey files need --bits 8 (0x800000FE", "decode", gray, "-o",
                         self.path("x.bmp"), "--bits", bits)
        told = self.write("d.jpg", flat_jpeg(9, 7, 3, dnl=7))
        self.refused(1, "--bits needs the height in the frame header", "decode", told, "-o", self.path("x.bmp"),
                     "--bits", "8", "--strict")
        four = self.write("4.jpg", flat_jpeg(9, 7, 4))
        self.refused(1, "grey or three", "decode", four, "-o", self.path("x.bmp"), "--bits", "24")
        picture = self.write("p.ppm", ppm(30, 20, lambda x, y: (8 * x, 12 * y, 99)))
        self.check("encode", picture, "-o", self.path("l.jpg"), "--lossless")
        self.refused(1, "lossless", "decode", self.path("l.jpg"), "-o", self.path("x.bmp"),
                     "--bits", "24")
        self.assertFalse(os.path.exists(self.path("x.bmp")))
        if shutil.which("cjpeg") is None:
            self.skipTest("cjpeg isn't installed")
        with open(self.path("p.jpg"), "wb") as out:
            subprocess.run(["cjpeg", "-progressive", picture], stdout=out, check=True)
        self.check("decode", self.path("p.jpg"), "-o", self.path("p.bmp"), "--bits", "24")
        pixels = parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-"))[4]
        self.assertEqual(parse_bmp(self.read("p.bmp")), (30, 20, 24, pixels))
        self.refused(1, "--scale needs", "decode", self.path("p.jpg"), "-o", self.path("x.bmp"),
                     "--bits", "24", "--scale", "1/2", "--strict")
        half = parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-", "--scale", "1/2"))
        self.check("decode", self.path("p.jpg"), "-o", self.path("h.bmp"), "--bits", "24", "--scale", "1/2")
        self.assertEqual(parse_bmp(self.read("h.bmp")), (15, 10, 24, half[4]))
        self.refused(1, "more than --max-scans 3", "decode", self.path("p.jpg"), "-o",
                     self.path("x.bmp"), "--bits", "24", "--max-scans", "3")


class Encode(Tool):
    def test_what_is_encoded_decodes_close_to_it(self):
        picture = self.write("p.ppm", ppm(61, 43, lambda x, y: (4 * x, 5 * y, 128)))
        source = parse_pnm(self.read("p.ppm"))[4]
        for sampling in ("444", "422", "440", "420"):
            self.check("encode", picture, "-o", self.path("p.jpg"), "--sampling", sampling,
                       "--quality", "95", "--restart", "3")
            pixels = parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-"))[4]
            error = sum(abs(a - b) for a, b in zip(pixels, source)) / len(source)
            self.assertLess(error, 4)
            told = json.loads(self.check("info", "--json", self.path("p.jpg")))
            self.assertEqual(told["restartInterval"], 3)
            factors = told["components"][0]
            self.assertEqual(f"4{4 // factors['h']}{4 // factors['h'] if factors['v'] == 1 else 0}",
                             sampling)

    def test_segments_and_rgb(self):
        picture = self.write("p.ppm", ppm(8, 8, lambda x, y: (200, 30, 90)))
        self.check("encode", picture, "-o", self.path("p.jpg"), "--no-color-conversion", "--jfif", "300",
                   "--comment", "made by a test", "--sampling=444", "--quality=100")
        told = json.loads(self.check("info", "--json", self.path("p.jpg")))
        self.assertEqual([c["id"] for c in told["components"]], [82, 71, 66])
        self.assertEqual(told["density"], {"x": 300, "y": 300, "units": 1})
        self.assertIn(b"made by a test", self.read("p.jpg"))

    def test_bitmaps_come_back(self):
        self.check("decode", SAMPLE, "-o", self.path("a.bmp"))
        self.check("encode", self.path("a.bmp"), "-o", self.path("b.jpg"), "--sampling", "444",
                   "--quality", "100")
        pixels = parse_pnm(self.check("decode", self.path("b.jpg"), "-o", "-"))[4]
        source = parse_bmp(self.read("a.bmp"))[3]
        error = sum(abs(a - b) for a, b in zip(pixels, source)) / len(source)
        self.assertLess(error, 2)

    def test_standard_input(self):
        picture = ppm(16, 16, lambda x, y: (x, y, 0))
        self.check("encode", "-", "-o", self.path("p.jpg"), stdin=picture)
        self.assertEqual(parse_pnm(self.check("decode", self.path("p.jpg"), "-o", "-"))[1:3], (16, 16))

    def test_lossless_returns_every_sample(self):
        deep = b"P5\n23 19\n4095\n" + b"".join(
            struct.pack(">H", (x * 997 + y * 31) % 4096) for y in range(19) for x in range(23))
        pictures = {"c.ppm": ppm(31, 27, lambda x, y: (x * 8, y * 9, x ^ y)), "g.pgm": deep}
        for name, data in pictures.items():
            for options in ([], ["--predictor", "7"], ["--predictor", "auto", "--restart", "2"]):
                self.check("encode", self.write(name, data), "-o", self.path("l.jpg"), "--lossless",
                           *options)
                self.assertEqual(self.check("decode", self.path("l.jpg"), "-o", "-"), data)

    def test_lossless_bitmaps_return_their_colours(self):
        width, height = 21, 35
        rgb = {(x, y): (x * 9 % 256, y * 7 % 256, x * y % 256) for x in range(width) for y in range(height)}
        blues = [b"".join(bytes(rgb[x, y][::-1]) for x in range(width)) for y in range(height)]
        fours = [b"".join(bytes(rgb[x, y][::-1]) + b"\x55" for x in range(width)) for y in range(height)]
        grays = [bytes(rgb[x, y][0] for x in range(width)) for y in range(height)]
        colors = b"".join(bytes([i, 255 - i, i // 2, 0]) for i in range(256))
        levels = b"".join(bytes([i, i, i, 0]) for i in range(256))
        red_first = b"".join(bytes(rgb[x, y]) for y in range(height) for x in range(width))
        looked_up = b"".join(bytes([i // 2, 255 - i, i]) for row in grays for i in row)
        cases = {"24": (bmp(width, height, 24, blues), red_first),
                 "topDown": (bmp(width, -height, 24, blues), red_first),
                 "32": (bmp(width, height, 32, fours), red_first),
                 "palette": (bmp(width, height, 8, grays, colors), looked_up),
                 "gray": (bmp(width, height, 8, grays, levels), b"".join(grays))}
        for name, (data, samples) in cases.items():
            with self.subTest(name):
                self.check("encode", self.write("p.bmp", data), "-o", self.path("l.jpg"), "--lossless",
                           "--predictor", "4")
                self.assertEqual(parse_pnm(self.check("decode", self.path("l.jpg"), "-o", "-"))[4],
                                 samples)
                self.check("decode", self.path("l.jpg"), "-o", self.path("back.bmp"))
                self.assertEqual(parse_bmp(self.read("back.bmp"))[3], samples)

    def test_lossless_refuses_ranges_that_are_no_power_of_two(self):
        grey = self.write("p.pgm", b"P5\n1 1\n1000\n\1\0")
        self.refused(1, "not 1000", "encode", grey, "-o", self.path("l.jpg"), "--lossless")
        self.assertFalse(os.path.exists(self.path("l.jpg")))

    def test_broken_input_leaves_no_file(self):
        cases = {"cut.ppm": ppm(64, 64, lambda x, y: (1, 2, 3))[:-100], "odd.ppm": b"P6\n0 4\n255\n",
                 "text.ppm": b"hello", "deep.pgm": b"P5\n1 1\n65536\n\0\1", "cut.bmp": b"BM" + bytes(60)}
        for name, data in cases.items():
            with self.subTest(name):
                self.refused(1, "jpgtool: ", "encode", self.write(name, data), "-o", self.path("x.jpg"))
                self.assertFalse(os.path.exists(self.path("x.jpg")))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
