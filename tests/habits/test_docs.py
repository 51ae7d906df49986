#!/usr/bin/env python3
"""Tests that the pages tell of what is there: test_docs.py SOURCE_DIR."""
import glob
import os
import re
import sys
import unittest
import xml.etree.ElementTree

SOURCE = sys.argv[1]


def read(name):
    with open(f"{SOURCE}/{name}", encoding="utf-8") as file:
        return file.read()


def pages():
    found = glob.glob(f"{SOURCE}/*.md") + glob.glob(f"{SOURCE}/[a-z]*/*.md")
    return [os.path.relpath(name, SOURCE) for name in found if "/build/" not in name]


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

    def test_scripts_that_pages_name_exist(self):
        for page in pages():
            for script in re.findall(r"\bscripts/[a-z_-]+(?:\.\w+)?", read(page)):
                self.assertTrue(os.path.exists(f"{SOURCE}/{script}"), f"{page}: {script}")

    def test_the_version_of_the_header_is_in_the_change_log(self):
        version = re.search(r'JPG_VERSION_STRING "([\d.]+)"', read("include/jpg.h"))[1]
        self.assertRegex(read("CHANGELOG.md"), rf"(?m)^## {re.escape(version)}\b")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
