#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the recipes of packaging/ for Conan and vcpkg without these programs: try_recipes.py

Stand-ins have the functions that the recipes call, as the two programs document them. They build for
real: what a recipe exports must be enough, its options must be there, and a program is built with
what it installs, shared and static. vcpkg's manifest is compared with the rules of its documentation.
"""
import fnmatch
import json
import pathlib
import re
import runpy
import shutil
import subprocess
import sys
import tempfile
import types

ROOT = pathlib.Path(__file__).resolve().parents[1]
CONSUMER = ROOT / "tests/product/consumer/consumer.c"


def run(*command, **more):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True, **more)
    if result.returncode != 0:
        raise AssertionError(f"{command}\n{result.stdout}{result.stderr}")
    return result.stdout


def build(source, work, prefix, definitions):
    words = [f"-D{name}={'ON' if value is True else 'OFF' if value is False else value}"
             for name, value in definitions.items()]
    told = run("cmake", "-S", source, "-B", work, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
               "-DCMAKE_INSTALL_LIBDIR=lib", f"-DCMAKE_INSTALL_PREFIX={prefix}", *words)
    assert "not used by the project" not in told, told
    run("cmake", "--build", work)
    run("cmake", "--install", work)


def use(work, prefix, shared, libs):
    """A program with the headers and libraries below a prefix; only one kind of library is there."""
    kinds = {path.name for path in (prefix / "lib").glob("libjpg*")}
    assert ("libjpg.so" in kinds) == shared and ("libjpg.a" in kinds) != shared, kinds
    run("cc", CONSUMER, "-o", work / "consumer", f"-I{prefix}/include", f"-L{prefix}/lib",
        *(f"-l{name}" for name in libs), *([] if shared else ["-lstdc++"]), f"-Wl,-rpath,{prefix}/lib")
    run(work / "consumer")


# ---- Conan: the modules that the recipe imports -------------------------------------------------

class Info:
    def __init__(self):
        self.properties, self.libs, self.system_libs = {}, [], []

    def set_property(self, name, value):
        self.properties[name] = value


class Recipe:
    """What Conan sets of a recipe."""

    def __init__(self, folder, work, shared):
        values = {**self.default_options, "shared": shared}
        assert set(values) == set(self.options) and all(values[k] in self.options[k] for k in values)
        self.options = types.SimpleNamespace(**values)
        self.settings = types.SimpleNamespace(os="Linux")
        self.recipe_folder = str(folder)
        self.export_sources_folder = self.source_folder = str(work / "source")
        self.build_folder, self.package_folder = str(work / "build"), str(work / "package")
        self.cpp_info, self.cache = Info(), {}


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        pass  # with install(), in one go

    def build(self):
        pass

    def install(self):
        build(self.recipe.source_folder, self.recipe.build_folder, self.recipe.package_folder, self.recipe.cache)


class CMakeToolchain:
    def __init__(self, recipe):
        self.recipe, self.cache_variables = recipe, {}

    def generate(self):
        self.recipe.cache = self.cache_variables


def copy(_, pattern, source, target):
    """Patterns are of whole paths; * stands for anything, / too."""
    for path in pathlib.Path(source).rglob("*"):
        name = str(path.relative_to(source))
        if name.startswith(("build/", ".git/")) or not path.is_file():
            continue
        if fnmatch.fnmatchcase(name, pattern):
            (pathlib.Path(target) / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, pathlib.Path(target) / name)


def module(name, **contents):
    made = types.ModuleType(name)
    made.__dict__.update(contents)
    sys.modules[name] = made


def conan(work, shared):
    module("conan", ConanFile=Recipe)
    module("conan.tools")
    module("conan.tools.cmake", CMake=CMake, CMakeToolchain=CMakeToolchain, cmake_layout=lambda _: None)
    module("conan.tools.files", copy=copy, load=lambda _, path: pathlib.Path(path).read_text(),
           rmdir=lambda _, path: shutil.rmtree(path))
    path = ROOT / "packaging/conan/conanfile.py"
    made = runpy.run_path(str(path))["JpgRecipe"]
    recipe = made(path.parent, work, shared)
    for step in ("set_version", "export_sources", "layout"):
        getattr(recipe, step)()
    recipe.recipe_folder = str(work)  # from here on it is Conan's cache
    for step in ("generate", "build", "package", "package_info"):
        getattr(recipe, step)()
    prefix = pathlib.Path(recipe.package_folder)
    assert re.fullmatch(r"\d+\.\d+\.\d+", recipe.version)
    assert (prefix / "licenses/LICENSE").is_file()
    assert recipe.cpp_info.properties["cmake_target_name"] == f"jpg::jpg{'' if shared else '_static'}"
    use(work, prefix, shared, recipe.cpp_info.libs)


# ---- vcpkg --------------------------------------------------------------------------------------

# Each function's named arguments are what vcpkg's pages have; others are errors.
STAND_INS = """
function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCE_PATH)
    message(FATAL_ERROR "${arg_UNPARSED_ARGUMENTS}")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B ${WORK}/build -G Ninja
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_LIBDIR=lib
    -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} ${arg_OPTIONS}
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET ERROR_VARIABLE warnings)
  if(warnings MATCHES "not used by the project")
    message(FATAL_ERROR "${warnings}")
  endif()
endfunction()
function(vcpkg_cmake_install)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${WORK}/build COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "CONFIG_PATH;PACKAGE_NAME" "")
  if(arg_UNPARSED_ARGUMENTS OR NOT EXISTS ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH}/jpgConfig.cmake)
    message(FATAL_ERROR "no config in ${arg_CONFIG_PATH}")
  endif()
endfunction()
function(vcpkg_fixup_pkgconfig)
  if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/jpg.pc)
    message(FATAL_ERROR "no jpg.pc")
  endif()
endfunction()
function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "COMMENT" "FILE_LIST")
  file(COPY ${arg_FILE_LIST} DESTINATION ${CURRENT_PACKAGES_DIR}/share/jpg)
endfunction()
include(${PORT}/portfile.cmake)
"""


def manifest():
    told = json.loads((ROOT / "packaging/vcpkg/vcpkg.json").read_text())
    assert re.fullmatch(r"[a-z0-9]+(-[a-z0-9]+)*", told["name"])
    assert re.fullmatch(r"\d+\.\d+\.\d+", told["version"])
    assert set(told) <= {"name", "version", "port-version", "description", "homepage", "license", "supports",
                         "dependencies", "features", "default-features", "maintainers", "documentation"}
    for entry in told["dependencies"]:
        assert isinstance(entry, str) or set(entry) <= {"name", "host", "features", "platform", "version>=",
                                                        "default-features"}
    # What the port's functions come from.
    assert {entry["name"] for entry in told["dependencies"]} == {"vcpkg-cmake", "vcpkg-cmake-config"}


def vcpkg(work, shared):
    work.mkdir()
    (work / "run.cmake").write_text(STAND_INS)
    prefix = work / "packages"
    run("cmake", f"-DWORK={work}", f"-DCURRENT_PACKAGES_DIR={prefix}", f"-DPORT={ROOT}/packaging/vcpkg",
        f"-DVCPKG_LIBRARY_LINKAGE={'dynamic' if shared else 'static'}", "-P", work / "run.cmake")
    assert (prefix / "share/jpg/LICENSE").is_file()
    use(work, prefix, shared, ["jpg"])
    # Its CMake package names the one library that is there.
    (work / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.25)\nproject(consumer C CXX)\nfind_package(jpg REQUIRED)\n"
        f"add_executable(consumer {CONSUMER})\n"
        f"target_link_libraries(consumer jpg::jpg{'' if shared else '_static'})\n"
        "set_target_properties(consumer PROPERTIES LINKER_LANGUAGE CXX)\n")
    run("cmake", "-S", work, "-B", work / "consume", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}")
    run("cmake", "--build", work / "consume")
    run(work / "consume/consumer")


def main():
    manifest()
    print("vcpkg's manifest: ok")
    with tempfile.TemporaryDirectory() as place:
        for shared in (False, True):
            kind = "shared" if shared else "static"
            conan(pathlib.Path(place, f"conan-{kind}"), shared)
            print(f"Conan, {kind}: ok")
            vcpkg(pathlib.Path(place, f"vcpkg-{kind}"), shared)
            print(f"vcpkg, {kind}: ok")


if __name__ == "__main__":
    main()
