#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares jpgtool exif and thumbnail with exiftool: test_exiftool.py JPGTOOL SOURCE_DIR CORPUS_DIR

Every file of the corpus's exif folder (of the folder that JPG_CORPUS names, if it does) that
both programs read; every entry that both print; and the JPEG thumbnails that exiftool cuts out,
decoded as files of their own. Exit status 77 when there is nothing to compare with."""
import json
import os
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
GROUPS = {"0th": "IFD0", "1st": "IFD1", "Exif": "ExifIFD", "GPS": "GPS",
          "Interoperability": "InteropIFD"}
OFFSETS = (273, 513)  # exiftool tells them from the start of the file
APERTURES = (37378, 37381)
SHUTTER_SPEED = 37377
USER_COMMENT = 37510
GPS_ANGLES = (2, 4, 20, 22)
GPS_TIME = 7
TOLERANCE = 1e-6  # relative: exiftool writes ten digits, of exposure times fewer


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def exiftool_tags(files):
    """{file: {group: {tag: value as text}}}"""
    words = ["exiftool", "-j", "-n", "-G1", "-u", "-D", *files]
    out = subprocess.run(words, capture_output=True, timeout=300).stdout
    result = {}
    for told in json.loads(out, parse_int=str, parse_float=str):
        groups = result.setdefault(told["SourceFile"], {})
        for key, entry in told.items():
            if ":" in key and isinstance(entry, dict) and entry["id"].isdigit():
                groups.setdefault(key.split(":")[0], {})[int(entry["id"])] = str(entry["val"])
    return result


def jpgtool_tags(tool, file):
    """{directory: {tag: entry}}, without tags that stand twice; None for a file without any."""
    result = subprocess.run([*tool, "exif", "--json", file], capture_output=True, timeout=60)
    if result.returncode != 0:
        return None
    tags = {}
    for directory, entries in json.loads(result.stdout)["directories"].items():
        numbers = [e["tag"] for e in entries]
        tags[directory] = {e["tag"]: e for e in entries if numbers.count(e["tag"]) == 1}
    return tags


def value_of(number):
    """A number, or a fraction as one."""
    if not isinstance(number, list):
        return number
    if number[1] == 0:
        return "inf" if number[0] else "undef"
    return number[0] / number[1]


def forms_of_numbers(directory, tag, numbers, base):
    """The lists of numbers, or texts, that exiftool may print for an entry."""
    values = [value_of(n) for n in numbers]
    forms = [values]
    finite = all(not isinstance(v, str) for v in values)
    if directory in ("0th", "1st") and tag in OFFSETS:
        forms = [[v + base for v in values]]
    elif directory == "Exif" and tag == SHUTTER_SPEED and finite:
        forms = [[2.0 ** -v] for v in values]
    elif directory == "Exif" and tag in APERTURES and finite:
        forms = [[2.0 ** (v / 2)] for v in values]
    elif directory == "GPS" and tag in GPS_ANGLES and finite:
        forms = [[sum(v / 60**i for i, v in enumerate(values))]]
    elif directory == "GPS" and tag == GPS_TIME and finite:
        seconds = f"{values[2]:09.6f}".rstrip("0").rstrip(".")
        forms = [f"{int(values[0]):02}:{int(values[1]):02}:{seconds}"]
    return forms


def forms_of_bytes(tag, data):
    """The same for bytes of no type."""
    text = data.split(b"\0")[0].decode("latin-1")
    forms = [text, list(data)]
    if tag == USER_COMMENT:
        forms.append(data[8:].split(b"\0")[0].decode("latin-1"))
    return forms


def is_same(form, told):
    """True when a form is what exiftool told."""
    if isinstance(form, str):
        return form.rstrip() == told.rstrip()
    words = told.split()
    if len(words) != len(form):
        return False
    for number, word in zip(form, words):
        if isinstance(number, str) or word in ("inf", "undef"):
            if number != word:
                return False
        elif abs(float(word) - number) > TOLERANCE * max(1e-9, abs(number)):
            return False
    return True


def agree(directory, entry, told, base):
    """True when both programs say the same; None when exiftool doesn't show the value."""
    if "Binary data" in told or "large array" in told or "error" in entry:
        return None
    if "text" in entry:
        text = entry["text"].split("\0")[0]
        ascii_text = "".join(c if c < "\x80" else "?" for c in text)  # for what isn't UTF-8
        return is_same(text, told) or is_same(ascii_text, told)
    if "bytes" in entry:
        forms = forms_of_bytes(entry["tag"], bytes.fromhex(entry["bytes"]))
    else:
        forms = forms_of_numbers(directory, entry["tag"], entry["numbers"], base)
    return any(is_same(form, told) for form in forms)


def compare_file(tool, file, groups):
    """Entries compared, and those that differ."""
    tags = jpgtool_tags(tool, file)
    if tags is None:
        return 0, []
    with open(file, "rb") as stream:
        base = stream.read().find(b"Exif\0\0") + 6
    compared, different = 0, []
    for directory, entries in tags.items():
        told = groups.get(GROUPS[directory], {})
        for tag in sorted(entries.keys() & told.keys()):
            same = agree(directory, entries[tag], told[tag], base)
            compared += same is not None
            if same is False:
                different.append(f"{file}: {directory} {entries[tag]}: exiftool: {told[tag]}")
    return compared, different


def pixels_of(tool, command, file, folder):
    """A 24-bit bitmap's size and rows, by a command of the tool; None when that fails."""
    name = os.path.join(folder, "picture.bmp")
    words = [*tool, command, file, "-o", name, "--bits", "24"]
    if subprocess.run(words, capture_output=True, timeout=60).returncode != 0:
        return None
    with open(name, "rb") as stream:
        data = stream.read()
    return data[18:26], data[54:]


def compare_thumbnail(tool, file, folder):
    """True when the thumbnail is that which exiftool cuts out; None when there is none, or the
    tool doesn't read the file."""
    if jpgtool_tags(tool, file) is None:
        return None
    words = ["exiftool", "-b", "-ThumbnailImage", file]
    jpeg = subprocess.run(words, capture_output=True, timeout=60).stdout
    if not jpeg.startswith(b"\xff\xd8"):
        return None
    name = os.path.join(folder, "thumbnail.jpg")
    with open(name, "wb") as stream:
        stream.write(jpeg)
    expected = pixels_of(tool, "decode", name, folder)
    return expected is not None and pixels_of(tool, "thumbnail", file, folder) == expected


def compare_thumbnails(tool, files):
    """How many were compared, and the files whose thumbnails differ."""
    with tempfile.TemporaryDirectory() as folder:
        same = {file: compare_thumbnail(tool, file, folder) for file in files}
    return (sum(s is not None for s in same.values()),
            [f"{file}: the thumbnail differs" for file, s in same.items() if s is False])


def main(tool, corpus):
    if shutil.which("exiftool") is None:
        skip("exiftool isn't installed (scripts/setup.sh test)")
    folder = os.path.join(os.environ.get("JPG_CORPUS", corpus), "exif")
    if not os.path.isdir(folder):
        skip(f"no files in {folder}: set JPG_CORPUS to a folder of JPEG files")
    files = sorted(os.path.join(folder, name) for name in os.listdir(folder))
    files_compared = entries_compared = 0
    different = []
    for file, groups in exiftool_tags(files).items():
        compared, wrong = compare_file(tool, file, groups)
        files_compared += compared > 0
        entries_compared += compared
        different += wrong
    thumbnails, wrong = compare_thumbnails(tool, files)
    different += wrong
    print(f"compared: {entries_compared} entries of {files_compared} files, "
          f"{thumbnails} thumbnails")
    print("\n".join(different))
    return 0 if files_compared > 0 and thumbnails > 0 and not different else 1


if __name__ == "__main__":
    # With what runs the programs of another target in front, if anything.
    emulator = os.environ.get("JPG_EMULATOR", "").split()
    sys.exit(main([*emulator, sys.argv[1]], sys.argv[3]))
