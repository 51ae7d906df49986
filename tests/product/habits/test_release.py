#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of scripts/release.sh, sbom.py and the recipes of packaging/: test_release.py SOURCE_DIR. The
packages themselves are made by the script; here is what it refuses."""
import ast
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

SOURCE = pathlib.Path(sys.argv[1])
HEADER = (SOURCE / "include/jpg.h").read_text()
VERSION = re.search(r'JPG_VERSION_STRING "([^"]+)"', HEADER)[1]


@unittest.skipUnless(shutil.which("git"), "git isn't installed")
class Release(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith("GIT_")}
        self.environment.update(HOME=str(self.folder), GIT_CONFIG_NOSYSTEM="1", GIT_AUTHOR_NAME="a",
                                GIT_AUTHOR_EMAIL="a@b", GIT_COMMITTER_NAME="a", GIT_COMMITTER_EMAIL="a@b")
        self.tree = self.folder / "tree"
        for name in ("scripts/release.sh", "include/jpg.h", "bindings/python/jpg/__init__.py",
                     "tests/product/package/abi.64.txt", "tests/product/package/abi.32.txt",
                     "packaging/abi/0.1.0.64.txt", "packaging/abi/0.1.0.32.txt"):
            (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SOURCE / name, self.tree / name)
        self.write("CHANGELOG.md", f"# Changes\n\n## {VERSION} (2026-11-21)\n")
        # The first thing that it would do when all checks pass.
        self.write("scripts/setup.sh", "#!/bin/sh\necho all checks passed >&2\nexit 9\n")
        os.chmod(self.tree / "scripts/setup.sh", 0o755)
        self.git("init", "-q")
        self.commit()

    def write(self, name, text):
        (self.tree / name).write_text(text)

    def git(self, *words):
        subprocess.run(["git", *words], cwd=self.tree, env=self.environment, check=True, capture_output=True)

    def commit(self):
        self.git("add", "-A")
        self.git("commit", "-q", "-m", "x")

    def says(self, text, version=VERSION):
        result = subprocess.run([self.tree / "scripts/release.sh", version, self.folder / "out"],
                                env=self.environment, capture_output=True, text=True, timeout=60)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(text, result.stderr)

    def test_it_goes_on_when_all_is_in_order(self):
        self.says("all checks passed")

    def test_versions_must_agree(self):
        self.says("include/jpg.h has another version than 9.9.9", "9.9.9")
        self.write("bindings/python/jpg/__init__.py", '__version__ = "9.9.9"\n')
        self.commit()
        self.says("the Python module has another version")

    def test_the_change_log_has_a_dated_entry(self):
        self.write("CHANGELOG.md", f"# Changes\n\n## {VERSION} (under way)\n")
        self.commit()
        self.says("CHANGELOG.md has no dated entry")

    def test_the_tree_is_clean(self):
        self.write("new.txt", "")
        self.says("the tree isn't clean")

    def test_the_binary_interface_may_only_grow(self):
        lines = (self.tree / "packaging/abi/0.1.0.64.txt").read_text().splitlines(True)
        self.write("tests/product/package/abi.64.txt", "".join(sorted([*lines, "symbol T jpgNew\n"])))
        self.commit()
        self.says("all checks passed")
        self.write("tests/product/package/abi.64.txt", "".join(lines[1:]))
        self.commit()
        self.says("since 0.1.0 the binary interface has lost: " + lines[0].strip())


class Papers(unittest.TestCase):
    def test_the_binary_interface_has_only_grown_since_each_release(self):
        lists = sorted((SOURCE / "packaging/abi").iterdir())
        self.assertTrue(lists)
        for path in lists:
            version, bits = path.stem.rsplit(".", 1)
            self.assertRegex((SOURCE / "CHANGELOG.md").read_text(),
                             rf"(?m)^## {re.escape(version)} \(\d{{4}}-\d\d-\d\d\)$")
            now = (SOURCE / f"tests/product/package/abi.{bits}.txt").read_text().splitlines()
            self.assertEqual(set(path.read_text().splitlines()) - set(now), set(), path.name)

    def test_the_bill_of_materials_lists_every_file(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "a.deb").write_bytes(b"one")
            (pathlib.Path(folder) / "b.zip").write_bytes(b"two")
            out = subprocess.run([sys.executable, SOURCE / "scripts/sbom.py", VERSION, folder], check=True,
                                 capture_output=True, env={**os.environ, "SOURCE_DATE_EPOCH": "86400"}).stdout
        told = json.loads(out)
        self.assertEqual((told["spdxVersion"], told["dataLicense"]), ("SPDX-2.3", "CC0-1.0"))
        self.assertEqual(told["creationInfo"]["created"], "1970-01-02T00:00:00Z")
        for i, make in enumerate((hashlib.sha1, hashlib.sha256)):
            self.assertEqual({f["fileName"]: f["checksums"][i]["checksumValue"] for f in told["files"]},
                             {"./a.deb": make(b"one").hexdigest(), "./b.zip": make(b"two").hexdigest()})
        ids = {p["SPDXID"] for p in told["packages"] + told["files"]} | {"SPDXRef-DOCUMENT"}
        for relation in told["relationships"]:
            self.assertLessEqual({relation["spdxElementId"], relation["relatedSpdxElement"]}, ids)

    def test_the_recipes_have_the_version_and_the_licence(self):
        port = json.loads((SOURCE / "packaging/vcpkg/vcpkg.json").read_text())
        self.assertEqual((port["name"], port["version"], port["license"]), ("jpg", VERSION, "MIT"))
        recipe = ast.parse((SOURCE / "packaging/conan/conanfile.py").read_text())
        names = {target.id: node.value.value for cls in recipe.body if isinstance(cls, ast.ClassDef)
                 for node in cls.body if isinstance(node, ast.Assign) and isinstance(node.value, ast.Constant)
                 for target in node.targets}
        self.assertEqual((names["name"], names["license"]), ("jpg", "MIT"))

    def test_options_that_recipes_set_are_there(self):
        options = set(re.findall(r"(?:option|set)\((JPG_\w+)", (SOURCE / "CMakeLists.txt").read_text()
                                 + (SOURCE / "cmake/toolPackages.cmake").read_text()))
        for name in ("packaging/vcpkg/portfile.cmake", "packaging/conan/conanfile.py"):
            used = set(re.findall(r"JPG_(?!VERSION)\w+", (SOURCE / name).read_text()))
            self.assertLessEqual(used, options, name)

    def test_sources_name_the_licence(self):
        kinds = {".c", ".cpp", ".h", ".hpp", ".py", ".sh", ".cmake"}
        for folder in ("include", "tools", "examples", "bindings", "scripts", "cmake", "packaging"):
            for path in (SOURCE / folder).rglob("*"):
                if path.suffix in kinds and path.stat().st_size:
                    self.assertIn("SPDX-License-Identifier: MIT", path.read_text()[:1500], path)

    def test_zips_of_the_same_files_become_the_same(self):
        with tempfile.TemporaryDirectory() as folder:
            made = [pathlib.Path(folder, f"{i}.zip") for i in range(2)]
            for i, path in enumerate(made):
                with zipfile.ZipFile(path, "w") as archive:
                    for name in ("a/", "a/run", "b") if i else ("b", "a/", "a/run"):
                        entry = zipfile.ZipInfo(name, (2020 + i, 1, 1, 0, 0, 0))
                        entry.external_attr = (0o755 if name == "a/run" else 0o600 + 0o44 * i) << 16
                        archive.writestr(entry, b"" if name == "a/" else name.encode())
            subprocess.run([SOURCE / "scripts/settle_zip.py", *made], check=True,
                           env={**os.environ, "SOURCE_DATE_EPOCH": "1763800000"})
            self.assertEqual(*(path.read_bytes() for path in made))
            with zipfile.ZipFile(made[0]) as archive:
                self.assertEqual([(e.filename, e.external_attr >> 16, e.date_time) for e in archive.infolist()],
                                 [("a/run", 0o100755, (2025, 11, 22, 8, 26, 40)),
                                  ("b", 0o100644, (2025, 11, 22, 8, 26, 40))])
                self.assertEqual(archive.read("a/run"), b"a/run")

    def test_the_licence_is_the_mit_text(self):
        text = (SOURCE / "LICENSE").read_text()
        self.assertEqual((SOURCE / "bindings/python/LICENSE").read_text(), text)
        self.assertTrue(text.startswith("MIT License\n\nCopyright (c) 2026 the jpg authors\n"))
        debian = (SOURCE / "packaging/debian/copyright").read_text()
        words = " ".join(text.split("\n\n", 2)[2].split())
        self.assertIn(words, " ".join(line.strip().rstrip(".") if line == " ." else line.strip()
                                      for line in debian.splitlines()).replace("  ", " "))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
