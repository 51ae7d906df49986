#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the packages, installs the Debian ones below a temporary root, uses and removes them.

check_packages.py CPACK CONFIG WORK CONSUMER_C C_COMPILER VERSION

The machine's own packages aren't touched: dpkg works on a root and a database of its own.
Only root may do that; other users unpack the packages instead, which is said.
"""
import os
import pathlib
import platform
import shutil
import subprocess
import sys
import unittest
import zipfile

CPACK, CONFIG, WORK, CONSUMER, COMPILER, VERSION = sys.argv[1:7]
WORK = pathlib.Path(WORK)
ROOT, OUT = WORK / "root", WORK / "out"
NAMES = ("libjpg" + VERSION.split(".")[0], "libjpg-dev", "jpgtool")
HEADERS = {"jpg.h", "jpg.hpp", "jpg/exif.hpp", "jpg/exifEntry.hpp", "jpg/height.hpp",
           "jpg/memory.hpp", "jpg/picture.hpp", "jpg/reader.hpp", "jpg/result.hpp",
           "jpg/segments.hpp", "jpg/simple.hpp", "jpg/writer.hpp", "jpg/paths.h", "jpg/text.h", "jpg/exif.h"}


def run(*command, **more):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, **more)
    if result.returncode != 0:
        raise AssertionError(f"{command}\n{result.stdout}{result.stderr}")
    return result.stdout


def dpkg(*arguments):
    # What the packages depend on stands outside of the root.
    return run("dpkg", f"--root={ROOT}", f"--log={WORK}/dpkg.log", "--force-depends",
               "--no-triggers", *arguments)


def files():
    """Everything below the root but the database."""
    return {str(path.relative_to(ROOT)) for path in ROOT.rglob("*")
            if not path.is_dir() or path.is_symlink()} - {
                str(path.relative_to(ROOT)) for path in (ROOT / "var").rglob("*")}


def setUpModule():
    shutil.rmtree(WORK, ignore_errors=True)
    OUT.mkdir(parents=True)
    run(CPACK, "--config", CONFIG, "-B", OUT)


def package(name):
    found = list(OUT.glob(f"{name}_{VERSION}_*.deb"))
    assert len(found) == 1, (name, found)
    return found[0]


class Packages(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(ROOT, ignore_errors=True)
        for folder in ("updates", "info", "triggers"):
            (ROOT / "var/lib/dpkg" / folder).mkdir(parents=True)
        for file in ("status", "available"):
            (ROOT / "var/lib/dpkg" / file).touch()

    def use(self):
        """Builds a program with what is below the root and runs it and the tool."""
        modules = list(ROOT.rglob("jpg.pc"))
        self.assertEqual(len(modules), 1)
        library = modules[0].parent.parent
        environment = dict(os.environ, PKG_CONFIG_PATH=str(modules[0].parent),
                           LD_LIBRARY_PATH=str(library))
        flags = run("pkg-config", "--cflags", "--libs", "jpg", env=environment).split()
        run(COMPILER, CONSUMER, "-o", WORK / "consumer", *flags)
        run(WORK / "consumer", env=environment)
        self.assertIn("decode", run(ROOT / "usr/bin/jpgtool", "--help"))

    def test_debian_packages_are_installed_used_and_removed(self):
        if os.geteuid() != 0:
            self.skipTest("only root may install below another root")
        dpkg("--install", *map(package, NAMES))
        listed = dpkg("-l", *NAMES)
        for name in NAMES:
            self.assertRegex(listed, rf"(?m)^ii\s+{name}\b")
        self.use()
        dpkg("--remove", "jpgtool")
        self.assertFalse((ROOT / "usr/bin/jpgtool").exists())
        self.assertTrue(list(ROOT.rglob("libjpg.so.*")))
        dpkg("--purge", *reversed(NAMES[:2]))
        self.assertEqual(files(), set())

    def test_debian_packages_are_unpacked_and_used(self):
        for name in NAMES:
            run("dpkg-deb", "-x", package(name), ROOT)
        self.use()
        library = next(ROOT.rglob("libjpg.so.*"))
        run(sys.executable, "-B", pathlib.Path(__file__).with_name("check_hardening.py"),
            platform.machine(), library, ROOT / "usr/bin/jpgtool")

    def test_each_debian_package_has_its_part(self):
        library, dev, tool = ({line.split()[5] for line in
                               run("dpkg-deb", "-c", package(name)).splitlines()} for name in NAMES)
        self.assertEqual({name.rsplit("/", 1)[1] for name in library if not name.endswith("/")},
                         {f"libjpg.so.{VERSION}", f"libjpg.so.{VERSION.split('.')[0]}"})
        self.assertEqual({name.split("/include/")[1] for name in dev
                          if "/include/" in name and not name.endswith("/")}, HEADERS)
        for part in ("/libjpg.a", "/libjpg.so", "/pkgconfig/jpg.pc", "/cmake/jpg/jpgConfig.cmake"):
            self.assertTrue(any(name.endswith(part) for name in dev), part)
        for page in ("README.md", "docs/guides/reading.md", "examples/decode_to_ppm.c"):
            self.assertIn(f"./usr/share/doc/jpg/{page}", dev)
        self.assertEqual({name for name in tool if not name.endswith("/")},
                         {"./usr/bin/jpgtool", "./usr/share/man/man1/jpgtool.1",
                          "./usr/share/bash-completion/completions/jpgtool",
                          "./usr/share/zsh/vendor-completions/_jpgtool",
                          "./usr/share/fish/vendor_completions.d/jpgtool.fish"})

    def test_debian_packages_depend_on_each_other_and_run_no_scripts(self):
        fields = run("dpkg-deb", "-f", package("libjpg-dev"), "Depends")
        self.assertIn(f"{NAMES[0]} (= {VERSION})", fields)
        self.assertEqual(run("dpkg-deb", "-f", package(NAMES[0]), "Depends").strip(), "libc6")
        (WORK / "control").mkdir()
        for name in NAMES:
            run("dpkg-deb", "-e", package(name), WORK / "control" / name)
            scripts = {path.name for path in (WORK / "control" / name).iterdir()}
            self.assertLessEqual(scripts, {"control", "md5sums", "shlibs", "triggers"})

    def test_the_zip_has_everything(self):
        archives = list(OUT.glob(f"jpg-{VERSION}-*.zip"))
        self.assertEqual(len(archives), 1)
        with zipfile.ZipFile(archives[0]) as archive:
            self.assertIsNone(archive.testzip())
            names = {name.split("/", 1)[1] for name in archive.namelist()}
        for header in HEADERS:
            self.assertIn(f"include/{header}", names)
        for part in ("bin/jpgtool", "share/man/man1/jpgtool.1", "share/doc/jpg/README.md",
                     "share/doc/jpg/LICENSE"):
            self.assertIn(part, names)
        for part in ("/libjpg.a", "/libjpg.so", "/pkgconfig/jpg.pc", "/jpgConfig.cmake"):
            self.assertTrue(any(name.endswith(part) for name in names), part)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
