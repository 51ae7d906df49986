#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Packs zips anew, so that two of the same files are the same to the byte: settle_zip.py FILE...

Entries come in the order of their names, with the time of SOURCE_DATE_EPOCH; only whether a file can be
run is kept of its rights. Folders have no entries of their own, links become entries as they are.
"""
import os
import stat
import sys
import time
import zipfile


def settle(name, when):
    with zipfile.ZipFile(name) as archive:
        entries = [(entry, archive.read(entry)) for entry in archive.infolist() if not entry.is_dir()]
    with zipfile.ZipFile(name + ".part", "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for old, data in sorted(entries, key=lambda pair: pair[0].filename):
            mode = old.external_attr >> 16
            new = zipfile.ZipInfo(old.filename, when)
            new.create_system = 3
            new.compress_type = zipfile.ZIP_DEFLATED
            rights = 0o755 if mode & stat.S_IXUSR else 0o644
            new.external_attr = (mode if stat.S_ISLNK(mode) else stat.S_IFREG | rights) << 16
            archive.writestr(new, data, compresslevel=9)
    os.replace(name + ".part", name)


def main():
    when = time.gmtime(max(int(os.environ["SOURCE_DATE_EPOCH"]), 315532800))[:6]  # since 1980
    for name in sys.argv[1:]:
        settle(name, when)


if __name__ == "__main__":
    main()
