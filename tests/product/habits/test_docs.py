#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests that the pages tell of what is there: test_docs.py SOURCE_DIR."""
import glob
import json
import os
import re
import shutil
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


def files_like(pattern):
    names = glob.glob(f"{SOURCE}/{pattern}", recursive=True)
    return [os.path.relpath(name, SOURCE) for name in names]


def source_files():
    return files_like("src/**/*.*")


def modules():
    return {os.path.splitext(os.path.basename(name))[0] for name in source_files()}


def test_programs():
    lists = "".join(read(name) for name in files_like("tests/**/CMakeLists.txt"))
    return set(re.findall(r"(?:jpg_add_test\(|add_test\(NAME )(\w+)", lists))


def placed_functions():
    """The functions of the architecture page that stand ahead of their file in brackets."""
    places = re.findall(r"((?:`\w+`(?:,| and)?\s+)+)\(`([\w/]+\.\w+)`[),]",
                        read("docs/architecture.md"))
    return [(function, file) for functions, file in places
            for function in re.findall(r"`(\w+)`", functions)]


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
        # The page also names functions, whose files the next test looks into.
        functions = {function for function, _ in placed_functions()}
        for page in ("docs/architecture.md", "docs/architecture.svg"):
            named = set(re.findall(r"\bjpg[A-Z]\w+", read(page)))
            self.assertGreater(len(named), 15)
            self.assertEqual(named - modules() - functions, set(), page)

    def test_functions_of_the_architecture_are_in_the_files_that_it_names(self):
        places = placed_functions()
        self.assertGreater(len(places), 50)
        for function, file in places:
            # Where it begins, not a call: at the margin, or a field of a record.
            begins = rf"(?m)^(?:\S[^;=\n]*\b|  +\w[\w ]* ){function}(?:\(|;| = \{{| \{{|<)"
            self.assertRegex(read(f"src/{file}"), begins, f"{function} in {file}")

    def test_other_names_of_the_architecture_are_in_the_sources(self):
        named = set(re.findall(r"`([a-z]+[A-Z]\w*)`", read("docs/architecture.md")))
        self.assertGreater(len(named), 50)
        words = set()
        for file in source_files():
            words |= set(re.findall(r"\w+", read(file)))
        self.assertEqual(named - words - modules() - test_programs(), set())

    def test_functions_without_coverage_are_in_the_files_that_the_page_names(self):
        page = read("docs/coverage-exclusions.md")
        rows = re.findall(r"(?m)^\| `(\S+)` \| (`\w+`(?:, `\w+`)*) \|$", page)
        self.assertGreater(len(rows), 3)
        singles = re.findall(r"(?m)^- `(\S+)`, (`\w+`):", page)
        for file, functions in rows + singles:
            for function in re.findall(r"\w+", functions):
                self.assertRegex(read(f"src/{file}"), rf"(?m)^\S.*\b{function}\(", file)

    def test_assertions_of_the_sources_are_those_that_the_page_argues_for(self):
        rows = re.findall(r"(?m)^\| `(\S+\.(?:h|cpp))` \| `(\w+)` \| `(.+?)` \| (.{8,}) \|$",
                          read("docs/bounds.md"))
        argued = {(file, " ".join(condition.split())) for file, _, condition, _ in rows}
        asserted = set()
        for file in source_files():
            if file.endswith("jpgAssert.h"):
                continue
            for condition in re.findall(r"JPG_ASSERT\((.+?)\);", read(file), re.S):
                asserted.add((os.path.relpath(file, "src"), " ".join(condition.split())))
        self.assertGreater(len(asserted), 40)
        self.assertEqual(argued, asserted)
        for file, function, condition, _ in rows:
            # From the function's head to the assertion no other one begins at the margin.
            words = r"\s+".join(re.escape(word) for word in condition.split())
            head = rf"\b{function}\((?:(?!\n\S[^\n]*\) (?:const )?\{{\n)[\s\S])*?"
            self.assertRegex(read(f"src/{file}"), head + rf"JPG_ASSERT\({words}\);",
                             f"{function} in {file}")

    def test_test_programs_of_the_architecture_exist(self):
        named = set(re.findall(r"`(\w+_test|read\w+Test|golden_\w+)\b", read("docs/architecture.md")))
        self.assertGreater(len(named), 8)
        self.assertEqual(named - test_programs(), set())

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

    def test_the_readme_has_the_speeds_that_were_measured(self):
        table = f"{SOURCE}/scripts/speed_table.py"
        result = subprocess.run([sys.executable, table], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        with tempfile.TemporaryDirectory() as folder:
            files = [f"{folder}/README.md", f"{folder}/performance.json"]
            shutil.copy(f"{SOURCE}/README.md", files[0])
            measured = json.loads(read("docs/performance.json"))
            changed = next(row for row in measured["speeds"] if row["name"] == "decode 4:2:0 q90")
            changed["sides"][0]["median"] = changed["pixels"] / 1234.5e6
            changed["sides"][1]["ratio"] = 0.125
            with open(files[1], "w", encoding="utf-8") as file:
                json.dump(measured, file)
            run = [sys.executable, table, *files]
            told = subprocess.run(run, capture_output=True, text=True)
            self.assertEqual(told.returncode, 1)
            self.assertIn("speed_table.py --update", told.stdout)
            subprocess.run([*run, "--update"], check=True)
            self.assertEqual(subprocess.run(run, capture_output=True).returncode, 0)
            with open(files[0], encoding="utf-8") as file:
                self.assertRegex(file.read(), r"\| 123[45] \(0.1[23]\) \|")

    def test_the_performance_page_and_its_drawing_are_made_of_what_was_measured(self):
        script = f"{SOURCE}/scripts/performance_page.py"
        result = subprocess.run([sys.executable, script], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        with tempfile.TemporaryDirectory() as folder:
            measured = json.loads(read("docs/performance.json"))
            # slower than the first of the others, and by much
            row = next(r for r in measured["speeds"] if r["name"] == "decode 4:4:4 q90")
            row["sides"][1]["ratio"] = 0.421
            with open(f"{folder}/performance.json", "w", encoding="utf-8") as file:
                json.dump(measured, file)
            for name in ("performance.md", "performance.svg", "performance-sizes.svg"):
                shutil.copy(f"{SOURCE}/docs/{name}", folder)
            told = subprocess.run([sys.executable, script, folder], capture_output=True, text=True)
            self.assertEqual(told.returncode, 1)
            self.assertEqual(len(told.stdout.splitlines()), 2, told.stdout)
            subprocess.run([sys.executable, script, "--update", folder], check=True)
            with open(f"{folder}/performance.md", encoding="utf-8") as file:
                page = file.read()
            self.assertIn("**0.42** (", page)
            self.assertIn(f"- decode 4:4:4 q90, {row['size']}: 0.42 beside", page)

    def test_every_measured_ratio_stands_on_the_page(self):
        page = read("docs/performance.md")
        measured = json.loads(read("docs/performance.json"))["speeds"]
        self.assertGreater(len(measured), 60)
        for row in measured:
            lines = [line.replace("**", "") for line in page.splitlines()
                     if line.startswith(f"| {row['name']} | {row['size']} |")]
            self.assertTrue(lines, row["name"])
            for side in row["sides"][1:]:
                self.assertIn(f" {side['ratio']:.2f} (", lines[0])

    def test_the_drawings_of_the_speeds_are_well_formed_and_hold_their_marks(self):
        for name in ("performance", "performance-sizes"):
            root = xml.etree.ElementTree.parse(f"{SOURCE}/docs/{name}.svg").getroot()
            width, height = (float(root.get(k)) for k in ("width", "height"))
            marks = root.findall(".//{http://www.w3.org/2000/svg}circle")
            self.assertGreater(len(marks), 60)
            for mark in marks:
                self.assertTrue(0 < float(mark.get("cx")) < width, name)
                self.assertTrue(0 < float(mark.get("cy")) < height, name)

    def test_scripts_that_pages_name_exist(self):
        for page in pages():
            for script in re.findall(r"\bscripts/[a-z_-]+(?:\.\w+)?", read(page)):
                self.assertTrue(os.path.exists(f"{SOURCE}/{script}"), f"{page}: {script}")

    def test_every_list_of_fuzz_targets_has_all(self):
        listed = re.search(r"JPG_FUZZ_TARGETS ([^)]*)\)", read("fuzz/CMakeLists.txt"))[1].split()
        self.assertEqual({f"fuzz/{name}.cpp" for name in listed}, set(files_like("fuzz/fuzz*.cpp")))
        for file in (".clusterfuzzlite/build.sh", "scripts/fuzz.sh", "scripts/fuzz_functions.sh"):
            named = re.search(r"targets=\((fuzz[^)]*)\)", read(file))[1].split()
            self.assertEqual(sorted(named), sorted(listed), file)
        for name in listed:
            self.assertIn(f"- `{name}`: ", read("fuzz/README.md"))
            self.assertIn(f"{name}Replay", read("scripts/msan.sh"))
            mutates = "\nsize_t streamAt(" in read(f"fuzz/{name}.cpp")
            self.assertEqual(name in read("scripts/fuzz_compare.sh"), mutates, name)

    def test_the_version_of_the_header_is_in_the_change_log(self):
        version = re.search(r'JPG_VERSION_STRING "([\d.]+)"', read("include/jpg.h"))[1]
        self.assertRegex(read("CHANGELOG.md"), rf"(?m)^## {re.escape(version)}\b")
        self.assertIn(f"find_package(jpg {version.rsplit('.', 1)[0]} REQUIRED)", read("README.md"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
