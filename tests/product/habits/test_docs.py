#!/usr/bin/env python3
"""Tests that the pages tell of what is there: test_docs.py SOURCE_DIR."""
import glob
import os
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

SOURCE = sys.argv[1]


def read(name):
    with open(f"{SOURCE}/{name}", encoding="utf-8") as file:
        return file.read()


def pages():
    """The tree's own: builds may hold links out of it."""
    found = []
    for folder, below, names in os.walk(SOURCE):
        below[:] = [name for name in below if name != "build" and not name.startswith(".")]
        found += [os.path.join(folder, name) for name in names if name.endswith(".md")]
    return [os.path.relpath(name, SOURCE) for name in found]


class Pages(unittest.TestCase):
    def test_links_lead_somewhere(self):
        links = 0
        for page in pages():
            for target in re.findall(r"\]\(([^)#\s]+)", read(page)):
                if "://" in target:
                    continue
                links += 1
                path = os.path.normpath(f"{SOURCE}/{os.path.dirname(page)}/{target}")
                self.assertTrue(os.path.exists(path), f"{page}: {target}")
        self.assertGreater(links, 5)

    def test_modules_of_the_architecture_exist(self):
        sources = {os.path.splitext(os.path.basename(name))[0]
                   for name in glob.glob(f"{SOURCE}/src/**/*.*", recursive=True)}
        for page in ("docs/architecture.md", "docs/architecture.svg"):
            modules = set(re.findall(r"\bjpg[A-Z]\w+", read(page)))
            self.assertGreater(len(modules), 15)
            self.assertEqual(modules - sources, set(), page)

    def test_the_drawing_is_well_formed_and_holds_its_text(self):
        root = xml.etree.ElementTree.parse(f"{SOURCE}/docs/architecture.svg").getroot()
        width, height = (float(root.get(k)) for k in ("width", "height"))
        texts = root.findall(".//{http://www.w3.org/2000/svg}text")
        self.assertGreater(len(texts), 50)
        for text in texts:
            self.assertTrue(0 < float(text.get("x")) < width and 0 < float(text.get("y")) < height)

    def test_the_overview_is_well_formed_and_holds_its_pictures(self):
        name = f"{SOURCE}/docs/overview.svg"
        root = xml.etree.ElementTree.parse(name).getroot()
        images = root.findall("{http://www.w3.org/2000/svg}image")
        self.assertEqual(len(images), 9)
        for image in images:
            self.assertTrue(image.get("href").startswith("data:image/jpeg;base64,/9j"))
        self.assertLess(os.path.getsize(name), 150000)

    def test_the_readme_has_the_speeds_of_the_performance_page(self):
        table = f"{SOURCE}/scripts/speed_table.py"
        result = subprocess.run([sys.executable, table], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        with tempfile.TemporaryDirectory() as folder:
            files = [f"{folder}/README.md", f"{folder}/performance.md"]
            for name, text in zip(files, (read("README.md"), read("docs/performance.md"))):
                with open(name, "w", encoding="utf-8") as file:
                    # another speed of one of the workloads
                    changed = re.sub(r"(decode 4:2:0 q90 \| 12.0 MP \| )[\d.]+", r"\g<1>1234.5", text)
                    file.write(changed)
            run = [sys.executable, table, *files]
            told = subprocess.run(run, capture_output=True, text=True)
            self.assertEqual(told.returncode, 1)
            self.assertIn("speed_table.py --update", told.stdout)
            subprocess.run([*run, "--update"], check=True)
            self.assertEqual(subprocess.run(run, capture_output=True).returncode, 0)
            with open(files[0], encoding="utf-8") as file:
                self.assertRegex(file.read(), r"123[45] \(")

    def test_scripts_that_pages_name_exist(self):
        for page in pages():
            for script in re.findall(r"\bscripts/[a-z_-]+(?:\.\w+)?", read(page)):
                self.assertTrue(os.path.exists(f"{SOURCE}/{script}"), f"{page}: {script}")

    def test_the_version_of_the_header_is_in_the_change_log(self):
        version = re.search(r'JPG_VERSION_STRING "([\d.]+)"', read("include/jpg.h"))[1]
        self.assertRegex(read("CHANGELOG.md"), rf"(?m)^## {re.escape(version)}\b")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
