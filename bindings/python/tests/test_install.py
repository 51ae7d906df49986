# SPDX-License-Identifier: MIT
"""The module as pip installs it: without a network, with and without a library of its own."""

import os
import pathlib
import shutil
import subprocess
import sys

import pytest

from jpg import _library

SOURCE = pathlib.Path(__file__).parents[1]
PROGRAM = "import jpg; print(jpg.__file__, jpg.info(%r).width)"


def install(folder, *libraries):
    """Installs a copy of the module's tree, with these files beside the module."""
    for tool in ("pip", "setuptools", "wheel"):
        if subprocess.run([sys.executable, "-c", f"import {tool}"], capture_output=True).returncode:
            pytest.skip(f"python3-{tool} is not installed")
    shutil.copytree(SOURCE, folder / "tree", ignore=shutil.ignore_patterns("__pycache__"))
    for library in libraries:
        shutil.copy(library, folder / "tree" / "jpg" / "libjpg.so.0")
    result = subprocess.run(
        [sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-index", "--no-deps",
         "--no-cache-dir", "--target", folder / "site", folder / "tree"], capture_output=True,
        text=True)
    assert result.returncode == 0, result.stdout + result.stderr
    return folder / "site"


def use(site, sample, **variables):
    environment = {name: value for name, value in os.environ.items() if name != "JPG_LIBRARY"}
    environment.update(variables, PYTHONPATH=str(site))
    return subprocess.run([sys.executable, "-B", "-c", PROGRAM % str(sample)], cwd="/",
                          env=environment, capture_output=True, text=True)


def test_an_installed_module_finds_the_library_that_it_is_told(tmp_path, sample):
    site = install(tmp_path)
    assert (site / "jpg" / "py.typed").exists()
    result = use(site, sample, JPG_LIBRARY=_library.lib._name)
    assert result.stdout.split() == [str(site / "jpg" / "__init__.py"), "640"], result.stderr
    # ... or that the system's loader finds.
    (tmp_path / "system").mkdir()
    shutil.copy(_library.lib._name, tmp_path / "system" / "libjpg.so.0")
    result = use(site, sample, LD_LIBRARY_PATH=str(tmp_path / "system"))
    assert result.stdout.split()[1:] == ["640"], result.stderr
    # A name that leads nowhere is an error, whatever else there is.
    result = use(site, sample, JPG_LIBRARY="/no/such/library")
    assert result.returncode != 0 and "set JPG_LIBRARY" in result.stderr


def test_a_library_beside_the_module_is_installed_with_it(tmp_path, sample):
    site = install(tmp_path, _library.lib._name)
    result = use(site, sample)
    assert result.stdout.split() == [str(site / "jpg" / "__init__.py"), "640"], result.stderr
