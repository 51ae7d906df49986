#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the examples on the sample and checks their output.

check_examples.py BIN_DIR JPGTOOL SAMPLE
"""
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

BIN, JPGTOOL, SAMPLE = pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3])
EXAMPLES = ("decode_to_dib", "errors", "exif", "lenient", "load", "lossless", "pieces", "preview", "progressive",
            "restart_rows", "segments", "thumbnail", "threads", "write_jfif", "write_thumbnail")


def run(program, *arguments, status=0):
    command = [str(part) for part in (program, *arguments)]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != status:
        raise AssertionError(f"{command}: {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def example(name, *arguments, status=0):
    return run(BIN / name, *arguments, status=status)


def pnm(path):
    """Width, height, rows."""
    kind, size, _, data = path.read_bytes().split(b"\n", 3)
    width, height = map(int, size.split())
    step = width * (3 if kind == b"P6" else 1)
    assert len(data) == step * height
    return width, height, [data[y * step:(y + 1) * step] for y in range(height)]


class Examples(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.picture = self.decoded(SAMPLE, "whole.ppm")

    def tearDown(self):
        shutil.rmtree(self.folder)

    def decoded(self, source, name="decoded.ppm"):
        run(JPGTOOL, "decode", source, "-o", self.folder / name, "--strict")
        return self.folder / name

    def encoded(self, source, name, *options):
        run(JPGTOOL, "encode", source, "-o", self.folder / name, "--strict", *options)
        return self.folder / name

    def test_a_damaged_picture_is_decoded_whole(self):
        out = self.folder / "out.ppm"
        self.assertEqual(example("lenient", SAMPLE, out), "")
        width, height, rows = pnm(out)
        cut = self.folder / "cut.jpg"
        data = SAMPLE.read_bytes()
        cut.write_bytes(data[:len(data) * 2 // 3])
        said = example("lenient", cut, out)
        self.assertRegex(said, r"^damaged at byte \d+ \(0302\)\n$")
        self.assertGreater(int(said.split()[3]), len(data) // 2)
        self.assertEqual(pnm(out)[:2], (width, height))
        self.assertEqual(pnm(out)[2][:8], rows[:8])

    def test_a_picture_is_loaded(self):
        out = self.folder / "out.ppm"
        example("load", SAMPLE, out)
        self.assertEqual(out.read_bytes(), self.picture.read_bytes())
        jpegtran = shutil.which("jpegtran")
        if jpegtran is None:
            self.skipTest("no program that makes a progressive file (jpegtran) is installed")
        source = self.folder / "progressive.jpg"
        source.write_bytes(subprocess.run([jpegtran, "-progressive", SAMPLE], check=True,
                                          capture_output=True).stdout)
        example("load", source, out)
        self.assertEqual(out.read_bytes(), self.decoded(source).read_bytes())

    def test_a_header_that_claims_too_much_gets_no_memory(self):
        lie, out = self.folder / "lie.jpg", self.folder / "out"
        stream = bytearray(SAMPLE.read_bytes())
        frame = stream.index(b"\xff\xc0")
        stream[frame + 5:frame + 9] = b"\xff\xff\xff\xff"
        lie.write_bytes(stream)
        for name in ("load", "decode_to_ppm", "decode_to_dib"):
            result = subprocess.run([BIN / name, lie, out], capture_output=True, text=True)
            self.assertEqual(result.returncode, 1, name)
            self.assertIn("80000008", result.stderr.upper(), name)
            self.assertFalse(out.exists())
        self.assertIn("too large", example("errors", lie, out))
        self.assertFalse(out.exists())

    def test_preview_is_an_eighth_of_the_picture(self):
        out = self.folder / "small.ppm"
        example("preview", SAMPLE, out)
        width, height, rows = pnm(out)
        self.assertEqual((width, height), (80, 60))
        whole, differences = pnm(self.picture)[2], []
        for y in range(0, 60, 7):
            for x in range(0, 80, 7):
                for c in range(3):
                    block = [whole[8 * y + j][3 * (8 * x + i) + c]
                             for j in range(8) for i in range(8)]
                    differences.append(abs(rows[y][3 * x + c] - sum(block) / 64))
        self.assertLess(sum(differences) / len(differences), 3)

    def test_progressive_shows_every_scan(self):
        jpegtran = shutil.which("jpegtran")
        if jpegtran is None:
            self.skipTest("no program that makes a progressive file (jpegtran) is installed")
        source = self.folder / "progressive.jpg"
        source.write_bytes(subprocess.run([jpegtran, "-progressive", SAMPLE], check=True,
                                          capture_output=True).stdout)
        example("progressive", source, self.folder / "state")
        states = list(self.folder.glob("state*.ppm"))
        self.assertEqual(len(states), source.read_bytes().count(b"\xff\xda"))
        self.assertGreater(len(states), 5)
        last = self.folder / f"state{len(states)}.ppm"
        self.assertEqual(last.read_bytes(), self.decoded(source).read_bytes())
        self.assertNotEqual((self.folder / "state1.ppm").read_bytes(), last.read_bytes())

    def test_a_jfif_segment_comes_first(self):
        out = self.folder / "out.jpg"
        example("write_jfif", self.picture, out)
        self.assertTrue(out.read_bytes().startswith(
            b"\xff\xd8\xff\xe0\0\x10JFIF\0\1\2\1\x01\x2c\x01\x2c\0\0"))
        same = self.encoded(self.picture, "same.jpg", "--quality", "85")
        self.assertEqual(self.decoded(out, "a.ppm").read_bytes(),
                         self.decoded(same, "b.ppm").read_bytes())

    def test_a_thumbnail_is_written_and_read(self):
        small, out, back = (self.folder / name for name in ("small.ppm", "out.jpg", "back.ppm"))
        # Whole rows of MCUs: jpgtool encodes in bands, each of which fills up its last row.
        rows = pnm(self.picture)[2][200:248]
        small.write_bytes(b"P6\n80 48\n255\n" + b"".join(row[:240] for row in rows))
        example("write_thumbnail", self.picture, small, out)
        example("thumbnail", out, back)
        expected = self.decoded(self.encoded(small, "small.jpg"), "expected.ppm")
        self.assertEqual(back.read_bytes(), expected.read_bytes())
        example("thumbnail", SAMPLE, back, status=1)

    def test_exif_tells_how_and_where(self):
        def directory(at, *entries):
            """At an offset; values of more than four bytes behind it."""
            behind, head = at + 2 + 12 * len(entries) + 4, struct.pack(">H", len(entries))
            data = b""
            for tag, kind, count, value in entries:
                if len(value) > 4:
                    value, data = struct.pack(">I", behind + len(data)), data + value
                head += struct.pack(">HHI", tag, kind, count) + value.ljust(4, b"\0")
            return head + bytes(4) + data

        exif_at, gps_at = 100, 200
        angle = struct.Struct(">6I").pack
        zeroth = directory(8, (274, 3, 1, b"\0\6"), (34665, 4, 1, struct.pack(">I", exif_at)),
                           (34853, 4, 1, struct.pack(">I", gps_at)))
        exif = directory(exif_at, (36867, 2, 20, b"2004:01:02 03:04:05\0"))
        gps = directory(gps_at, (1, 2, 2, b"S\0"), (2, 5, 3, angle(50, 1, 30, 1, 36, 1)),
                        (3, 2, 2, b"E\0"), (4, 5, 3, angle(7, 1, 15, 1, 0, 1)))
        tiff = (b"MM\0*\0\0\0\x08" + zeroth).ljust(exif_at, b"\0") + exif
        data = b"Exif\0\0" + tiff.ljust(gps_at, b"\0") + gps
        stream, out = SAMPLE.read_bytes(), self.folder / "exif.jpg"
        out.write_bytes(stream[:2] + b"\xff\xe1" + struct.pack(">H", len(data) + 2) + data
                        + stream[2:])
        # 50 degrees, 30 minutes, 36 seconds in the south; 7 degrees 15 minutes in the east
        self.assertEqual(example("exif", out).splitlines(),
                         ["orientation: 6", "date: 2004:01:02 03:04:05",
                          "position: -50.510000, 7.250000"])
        example("exif", SAMPLE, status=1)

    def test_pieces_make_the_picture(self):
        out = self.folder / "out.ppm"
        example("pieces", self.picture, out)
        expected = self.decoded(self.encoded(self.picture, "whole.jpg"))
        self.assertEqual(out.read_bytes(), expected.read_bytes())

    def test_lossless_samples_come_back(self):
        raw, out, back = (self.folder / name for name in ("in.raw", "out.jpg", "back.raw"))
        samples = [(x * y * 13 + 7 * x) % 4096 for y in range(31) for x in range(45)]
        raw.write_bytes(b"".join(v.to_bytes(2, sys.byteorder) for v in samples))
        example("lossless", raw, 45, 31, 12, out, back)
        self.assertEqual(back.read_bytes(), raw.read_bytes())
        self.assertIn(b"\xff\xc3\0\x0b\x0c\0\x1f\0\x2d\1", out.read_bytes())

    def test_errors_keep_what_is_good(self):
        cut, out = self.folder / "cut.jpg", self.folder / "out.ppm"
        stream = SAMPLE.read_bytes()
        cut.write_bytes(stream[:len(stream) // 2])
        told = example("errors", cut, out)
        self.assertIn("damaged", told)
        whole, rows = pnm(self.picture)[2], pnm(out)[2]
        good = next(y for y in range(480) if rows[y] != whole[y])
        self.assertGreater(good, 100)
        self.assertIn("complete", example("errors", SAMPLE, out))
        self.assertEqual(out.read_bytes(), self.picture.read_bytes())
        self.assertIn("not a JPEG file", example("errors", self.picture, out))
        self.assertIn("no such file", example("errors", self.folder / "none", out))

    def test_segments_are_listed(self):
        lines = example("segments", SAMPLE).splitlines()
        self.assertEqual(lines[0].split(), ["FFE0", "14"])
        self.assertTrue(any(line.startswith("FFFE") and "make_sample.py" in line
                            for line in lines))
        self.assertTrue(lines[-1].startswith("FFDA"))

    def test_rows_are_decoded_from_a_restart_interval(self):
        out = self.folder / "rows.ppm"
        source = self.encoded(self.picture, "restart.jpg", "--restart", "40")  # 640 / 16 MCUs
        example("restart_rows", source, 10, out)
        self.assertEqual(pnm(out)[2], pnm(self.decoded(source))[2][160:176])
        example("restart_rows", SAMPLE, 10, out, status=1)

    def test_a_picture_of_few_rows_has_no_more_of_them(self):
        # Fewer than a row of MCUs, and a height that stands behind the rows.
        low, out = self.folder / "low.ppm", self.folder / "rows.ppm"
        rows = pnm(self.picture)[2][:10]
        low.write_bytes(b"P6\n640 10\n255\n" + b"".join(rows))
        source = self.encoded(low, "low.jpg", "--restart", "40")
        example("restart_rows", source, 0, out)
        self.assertEqual(out.read_bytes(), self.decoded(source).read_bytes())
        tall = self.encoded(self.picture, "restart.jpg", "--restart", "40")
        stream = tall.read_bytes()
        height = stream.index(b"\xff\xc0") + 5
        late = self.folder / "late.jpg"
        late.write_bytes(stream[:height] + b"\0\0" + stream[height + 2:-2] + b"\xff\xdc\0\4"
                         + stream[height:height + 2] + stream[-2:])
        example("restart_rows", late, 3, out)
        self.assertEqual(pnm(out)[2], pnm(self.decoded(tall))[2][48:64])

    def test_a_bitmap_stands_on_its_head(self):
        out = self.folder / "out.dib"
        example("decode_to_dib", SAMPLE, out)
        data, (width, height, rows) = out.read_bytes(), pnm(self.picture)
        self.assertEqual(len(data), 3 * width * height)
        for y in (0, 1, 200, height - 1):
            row = data[(height - 1 - y) * 3 * width:][:3 * width]
            self.assertEqual((row[0::3], row[1::3], row[2::3]),
                             (rows[y][2::3], rows[y][1::3], rows[y][0::3]))

    def test_threads_decode_alike(self):
        usual = self.folder / "usual.ppm"  # jpg::Reader reads as jpgtool does, not strictly
        run(JPGTOOL, "decode", SAMPLE, "-o", usual)
        total = sum(map(sum, pnm(usual)[2]))
        lines = example("threads", *[SAMPLE] * 8).splitlines()
        self.assertEqual(lines, [f"{SAMPLE}: success, {total}"] * 8)
        self.assertIn("could not be opened", example("threads", "/no/such/file", status=1))

    def test_wrong_use_is_told(self):
        for name in EXAMPLES:
            if name != "threads":
                example(name, status=2)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
