#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A long run in shortened form: memory, descriptors and temporary folders stay as they were.

longRun.py TOOL CORPUS SECONDS

One process, this one, reads every file of CORPUS through the Python module, from memory and from
the file, whole, in bands, scaled and its thumbnail, and writes it again, pass after pass for
SECONDS, at least five passes. Ahead of the last pass the tool decodes every file to the same
folder. Behind the passes in which the process grows to its size, resident memory may differ by no
more than a MiB in all, and descriptors not at all; the tool may leave no temporary file. With
damaged files both must keep going. Prints the numbers. 77 without the corpus.
"""
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TOOL, CORPUS, SECONDS = sys.argv[1], Path(os.environ.get("JPG_CORPUS", sys.argv[2])), sys.argv[3]
MOST_PIXELS = 1_000_000  # larger files would be a pass of their own
WARM = 3  # passes: the allocator's pools fill up
SLACK = 1 << 20  # bytes

if not CORPUS.is_dir():
    print("skipped: no files: set JPG_CORPUS to a folder of JPEG files")
    sys.exit(77)
try:
    import jpg
except ImportError as error:
    print(f"skipped: {error}")
    sys.exit(77)


def resident():
    pages = int(Path("/proc/self/statm").read_text(encoding="ascii").split()[1])
    return pages * os.sysconf("SC_PAGE_SIZE")


def descriptors():
    return len(os.listdir("/proc/self/fd"))


def uses(path, data):
    """What is done with a file; each may fail by itself."""
    yield lambda: jpg.info(data)
    yield lambda: jpg.exif_thumbnail(data)
    yield lambda: jpg.read_scaled(data, 8)
    yield lambda: [band.top for band in jpg.read_bands(path, 64)]
    yield lambda: jpg.write(None, jpg.read(path), quality=80)


def one_pass(files):
    done = failed = 0
    for path in files:
        data = path.read_bytes()
        for use in uses(str(path), data):
            try:
                use()
                done += 1
            except (jpg.JpgError, ValueError, MemoryError):
                failed += 1
    return done, failed


def suitable(path):
    try:
        info = jpg.info(path.read_bytes())
        return info.width * info.height <= MOST_PIXELS
    except (jpg.JpgError, ValueError):
        return path.stat().st_size < 1 << 20  # damaged ones belong to it


def tool_pass(files, folder):
    """Every file through the tool, into one folder; what is left of temporary files."""
    out, temporary = folder / "out.ppm", folder / "temporary"
    temporary.mkdir()
    environment = {**os.environ, "TMPDIR": str(temporary)}
    ended = set()
    for path in files:
        done = subprocess.run([TOOL, "decode", "--keep-going", path, "-o", out], check=False,
                              env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
        if done.returncode < 0:
            ended.add(f"{path.name} by {signal.Signals(-done.returncode).name}")
    left = {entry.name for entry in folder.iterdir()} - {"out.ppm", "temporary"}
    return left | {entry.name for entry in temporary.iterdir()}, ended


def main():
    files = [path for path in sorted(CORPUS.rglob("*")) if path.is_file() and suitable(path)]
    end = time.monotonic() + float(SECONDS)
    sizes, handles = [], []
    while len(sizes) < WARM + 2 or time.monotonic() < end:
        done, failed = one_pass(files)
        sizes.append(resident())
        handles.append(descriptors())
        if len(sizes) == 1:
            print(f"{len(files)} files, {done} calls a pass succeed, {failed} fail", flush=True)
    with tempfile.TemporaryDirectory() as folder:
        left, ended = tool_pass(files, Path(folder))
    flat = sizes[WARM - 1:]
    print(f"{len(sizes)} passes; resident KiB: first {sizes[0] >> 10}, then "
          f"{min(flat) >> 10} to {max(flat) >> 10}; descriptors {min(handles)} to {max(handles)}; "
          f"tool: {len(left)} files left, {len(ended)} runs ended by a signal")
    grown = max(flat) - flat[0]
    faults = []
    if grown > SLACK:
        faults.append(f"the process grew by {grown} bytes")
    if len(set(handles)) != 1:
        faults.append("descriptors stay open")
    faults += [f"left: {name}" for name in sorted(left)]
    faults += [f"the tool ended at {text}" for text in sorted(ended)]
    print("\n".join(faults))
    return 1 if faults or done == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
