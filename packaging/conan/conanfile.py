# SPDX-License-Identifier: MIT
"""Builds from the tree that holds this file: conan create packaging/conan"""
import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir


class JpgRecipe(ConanFile):
    name = "jpg"
    license = "MIT"
    description = "JPEG codec library with a flat C interface, for small machines"
    settings = "os", "compiler", "build_type", "arch"
    package_type = "library"
    options = {"shared": [True, False]}
    default_options = {"shared": False}

    def _root(self):
        return os.path.normpath(os.path.join(self.recipe_folder, "..", ".."))

    def _target(self):
        return "jpg" if self.options.shared else "jpg_static"

    def set_version(self):
        header = load(self, os.path.join(self._root(), "include", "jpg.h"))
        self.version = re.search(r'JPG_VERSION_STRING "([^"]+)"', header)[1]

    def export_sources(self):
        for part in ("CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "cmake/*", "include/*",
                     "src/*", "docs/*", "examples/*"):
            copy(self, part, self._root(), self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for option in ("JPG_TESTS", "JPG_EXAMPLES", "JPG_TOOL"):
            toolchain.cache_variables[option] = False
        toolchain.cache_variables["JPG_INSTALL_LIBRARIES"] = self._target()
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        # Consumers get the files that Conan generates.
        for folder in ("cmake", "pkgconfig"):
            rmdir(self, os.path.join(self.package_folder, "lib", folder))

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "jpg")
        self.cpp_info.set_property("cmake_target_name", f"jpg::{self._target()}")
        self.cpp_info.set_property("pkg_config_name", "jpg")
        self.cpp_info.libs = ["jpg"]
        if self.settings.os == "Windows" and not self.options.shared:
            self.cpp_info.system_libs = ["user32", "gdi32"]
