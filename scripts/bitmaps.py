#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Takes bitmaps of more than 102 kinds through jpgtool and other programs: bitmaps.py [--update] [JPGTOOL]

A photograph becomes a bitmap of each kind that ffmpeg, netpbm and ImageMagick write, and of those that the
maker of tests/product/tool/test_kinds.py has, whose pixels are known. Each goes

- in without loss: encode --lossless; its samples are compared with what the maker says the pixels are,
  for other programs with what they read themselves;
- in as a usual JPEG file (quality 95, 4:4:4), which djpeg decodes: PSNR;
- out, from that file: decode -o .bmp, which bmptopnm reads: PSNR.

Prints a table, or with --update writes docs/bitmaps.md. Status 1 when a kind isn't read rightly. Wants the
packages of `scripts/setup.sh test bitmaps`.
"""
import math
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs/bitmaps.md"
arguments = [word for word in sys.argv[1:] if word != "--update"]
UPDATE = "--update" in sys.argv[1:]
TOOL = pathlib.Path(arguments[0] if arguments else ROOT / "build/release/tools/jpgtool").resolve()
# The tests' maker reads its own command line when it is loaded.
sys.argv = ["bitmaps.py", str(TOOL), str(ROOT)]
sys.path.insert(0, str(ROOT / "tests/product/tool"))
import test_kinds as maker  # noqa: E402

WIDTH, HEIGHT = 61, 47  # rows that need padding in every depth

PAGE_HEAD = """# Bitmaps
Every kind of Windows and OS/2 bitmap goes through `jpgtool`, in and out. A photograph of {width} x {height}
pixels is written as each kind by ffmpeg, netpbm, ImageMagick and a maker of our own, and then

- **exact**: `encode --lossless`; the largest difference of a sample from what the file says. Ours are
  known by their making, those of other programs are as the program itself reads them. These fill 4 bits
  up with zeros, which makes up to 15 to a scale of 0 to 255, and round 5 and 6 bits in their ways;
- **in**: `encode --quality 95 --sampling 444`, decoded by djpeg, PSNR in dB;
- **out**: that file by `decode -o x.bmp`, read by netpbm's `bmptopnm`, PSNR in dB.

Bitmaps of few colours are dithered or flat, so that less of them survives the usual coding; the encoder
gets their pixels as exactly. Alpha is left out. Run lengths of 24 bits and Huffman coding, two
rarities of OS/2 2, are refused with a word.

    scripts/setup.sh test bitmaps && scripts/bitmaps.py --update

"""


def run(*command, data=None):
    return subprocess.run([str(word) for word in command], input=data, check=True, capture_output=True).stdout


def read_pnm(data):
    """Width, height and samples of red, green and blue."""
    kind, size, most, samples = data.split(b"\n", 3)
    assert most == b"255", most
    width, height = map(int, size.split())
    if kind == b"P5":
        samples = bytes(value for value in samples for _ in range(3))
    return width, height, samples


def psnr(a, b):
    error = sum((x - y) ** 2 for x, y in zip(a, b, strict=True))
    return math.inf if error == 0 else 10 * math.log10(255 ** 2 * len(a) / error)


def photograph():
    """A part of the sample, at a quarter of its size."""
    data = run(TOOL, "decode", ROOT / "examples/sample.jpg", "--scale", "1/4", "-o", "-")
    width, _, samples = read_pnm(data)
    rows = [samples[3 * (width * (y + 30) + 40):][:3 * WIDTH] for y in range(HEIGHT)]
    return b"".join(rows)


def palette():
    """256 colours, the first 2, 4, 16 and 64 of which are spread out, too."""
    def level(i, bits):
        return sum((i >> 3 * k & 1) << (7 - k) for k in range(bits)) * 255 // (256 - (256 >> bits))

    colours = [(level(i >> 1, 3), level(i, 3), level(i >> 2, 2)) for i in range(256)]
    return [(0, 0, 0), (255, 255, 255), (128, 128, 128), (200, 150, 90), *colours][:256]


def with_photograph(samples):
    """Gives our own maker the photograph to draw."""
    pixels = [tuple(samples[i:i + 3]) for i in range(0, len(samples), 3)]
    nearest = {}

    def index_of(x, y, count):
        if count not in nearest:
            nearest[count] = [min(range(count), key=lambda i, c=c: sum((a - b) ** 2 for a, b in
                                                                       zip(maker.PALETTE[i], c)))
                              for c in pixels]
        return nearest[count][y * WIDTH + x]

    maker.WIDTH, maker.HEIGHT, maker.PALETTE = WIDTH, HEIGHT, palette()
    maker.pixel = lambda x, y: pixels[y * WIDTH + x]
    maker.index_of = index_of
    for name, data, colours in maker.all_kinds():
        yield "ours", name, data, b"".join(bytes(colour) for colour in colours), 0


def of_ffmpeg(folder, ppm):
    for kind, most in (("bgra", 0), ("bgr24", 0), ("rgb565le", 1), ("rgb555le", 1), ("rgb444le", 15),
                       ("rgb8", 0), ("bgr8", 0), ("rgb4_byte", 0), ("bgr4_byte", 0), ("gray", 0),
                       ("pal8", 0), ("monow", 0)):
        run("ffmpeg", "-v", "error", "-y", "-i", ppm, "-pix_fmt", kind, folder / "f.bmp")
        told = run("ffmpeg", "-v", "error", "-y", "-i", folder / "f.bmp", "-pix_fmt", "rgb24",
                   "-c:v", "ppm", "-f", "image2pipe", "-")
        yield "ffmpeg", kind, (folder / "f.bmp").read_bytes(), read_pnm(told)[2], most


def of_netpbm(ppm):
    grey, few, many = (run("ppmtopgm", ppm), run("pnmquant", "14", ppm), run("pnmquant", "250", ppm))
    bits = run("pamditherbw", data=grey)
    for system in ("-windows", "-os2"):
        for name, picture, options in (("1 bit", bits, []), ("4 bits", few, ["-bpp=4"]),
                                       ("8 bits", many, ["-bpp=8"]), ("8 bits of few colours", few, ["-bpp=8"]),
                                       ("24 bits", ppm.read_bytes(), ["-bpp=24"]), ("grey", grey, [])):
            data = run("ppmtobmp", system, *options, data=picture)
            yield "netpbm", f"{name}, {system[1:]}", data, flat(run("bmptopnm", data=data)), 0


def flat(picture):
    """Samples of red, green and blue of a PBM, PGM or PPM file, by netpbm itself."""
    grey = run("pbmtopgm", "1", "1", data=picture) if picture[:2] == b"P4" else picture
    return read_pnm(run("pamdepth", "255", data=grey))[2]


def of_imagemagick(folder, ppm):
    kinds = [("1 bit", ["-type", "bilevel"]), ("4 bits", ["-colors", "16", "-type", "palette"]),
             ("8 bits", ["-colors", "256", "-type", "palette"]), ("grey", ["-type", "grayscale"]),
             ("24 bits", ["-type", "truecolor"])]
    for version in ("bmp2", "bmp3", "bmp"):
        for name, options in kinds:
            yield from converted(folder, ppm, version, name, options)
    for version in ("bmp3", "bmp"):
        yield from converted(folder, ppm, version, "8 bits, run lengths",
                             ["-colors", "60", "-type", "palette", "-compress", "RLE"])
        yield from converted(folder, ppm, version, "32 bits", ["-alpha", "set", "-type", "truecoloralpha"])
    for subtype, alpha in (("RGB565", "off"), ("RGB555", "off"), ("ARGB4444", "set"), ("ARGB1555", "set")):
        yield from converted(folder, ppm, "bmp", f"16 bits, {subtype}",
                             ["-alpha", alpha, "-define", f"bmp:subtype={subtype}"],
                             15 if "4444" in subtype else 1)


def converted(folder, ppm, version, name, options, most=0):
    path = folder / "m.bmp"
    run("convert", ppm, *options, f"{version}:{path}")
    told = run("convert", f"bmp:{path}", "-alpha", "off", "-depth", "8", "ppm:-")
    yield "ImageMagick", f"{name}, {version.upper()}", path.read_bytes(), read_pnm(told)[2], most


def take(folder, data, pixels):
    """The largest difference without loss, and the PSNR of in and out."""
    bitmap, stream, again = folder / "k.bmp", folder / "k.jpg", folder / "again.bmp"
    bitmap.write_bytes(data)
    run(TOOL, "encode", bitmap, "-o", stream, "--lossless")
    read = read_pnm(run(TOOL, "decode", stream, "-o", "-"))
    assert read[:2] == (WIDTH, HEIGHT), read[:2]
    difference = max(abs(a - b) for a, b in zip(read[2], pixels, strict=True))
    run(TOOL, "encode", bitmap, "-o", stream, "--quality", "95", "--sampling", "444")
    into = psnr(read_pnm(run("djpeg", "-pnm", stream))[2], pixels)
    run(TOOL, "decode", stream, "-o", again)
    return difference, into, psnr(flat(run("bmptopnm", again)), pixels)


CODINGS = {0: "", 1: ", runs", 2: ", runs", 3: ", masks", 6: ", masks"}


def described(data):
    """What the header says: bits, coding, size of the header."""
    size = int.from_bytes(data[14:18], "little")
    bits = int.from_bytes(data[24:26] if size == 12 else data[28:30], "little")
    coding = CODINGS[int.from_bytes(data[30:34], "little") if size >= 20 else 0]
    down = size >= 40 and data[25] >= 0x80
    return f"{bits}{coding}, {size}{', top-down' if down else ''}"


def decibels(value):
    return "∞" if value == math.inf else f"{value:.1f}"


def main():
    lines, wrong, count = ["| maker | kind | bits, header | exact | in, dB | out, dB |",
                           "|---|---|---|---:|---:|---:|"], 0, 0
    with tempfile.TemporaryDirectory() as place:
        folder = pathlib.Path(place)
        ppm = folder / "photograph.ppm"
        samples = photograph()
        ppm.write_bytes(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT) + samples)
        for source in (of_ffmpeg(folder, ppm), of_netpbm(ppm), of_imagemagick(folder, ppm),
                       with_photograph(samples)):
            for who, name, data, pixels, most in source:
                difference, into, out = take(folder, data, pixels)
                # In and out differ by the two decoders' rounding alone.
                coded = "run lengths" not in name or "runs" in described(data)
                if difference > most or out < into - 0.5 or into < 20 or not coded:
                    wrong += 1
                    print(f"wrong: {who}, {name}: {difference}, {into:.1f}, {out:.1f}", file=sys.stderr)
                count += 1
                lines.append(f"| {who} | {name} | {described(data)} | {difference} | {decibels(into)} "
                             f"| {decibels(out)} |")
    table = "\n".join(lines) + "\n"
    if UPDATE:
        PAGE.write_text(PAGE_HEAD.format(width=WIDTH, height=HEIGHT) + f"{count} kinds:\n\n" + table)
    else:
        print(table, end="")
    print(f"{count} kinds, {wrong} wrong", file=sys.stderr)
    return 1 if wrong or count < 102 else 0


if __name__ == "__main__":
    sys.exit(main())
