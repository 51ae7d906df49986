#!/usr/bin/env bash
# Runs the tests with clang 19's source-based coverage and prints lines, branches and MC/DC
# conditions of every file of the library: coverage.sh [--missed] [--check] [ctest options]
# Those that no test reaches, on 64 bits or on 32, are listed in build/coverage/missed.txt; --missed
# prints them. --check fails unless docs/coverage-exclusions.md lists exactly these.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

missed=false
check=false
while [ $# -gt 0 ]; do
  case $1 in
    --missed) missed=true ;;
    --check) check=true ;;
    *) break ;;
  esac
  shift
done

readonly wide=build/coverage narrow=build/coverage-i686
# Programs whose tests reach what only registers of 32 bits have.
readonly narrow_tests=(read/units_window_test share/units_share_test read/units_read_test
  win/win_rle_test write/units_write_test)
jobs=${CTEST_PARALLEL_LEVEL:-$(nproc)}

scripts/setup.sh build test docs coverage i686
{
  cmake --preset coverage
  cmake --preset coverage -B $narrow \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/i686-coverage.cmake"
} >/dev/null
cmake --build $wide >&2
cmake --build $narrow --target jpg "${narrow_tests[@]##*/}" >&2

# Many processes share a few profile files (%4m). The tests of the shared library's exports are
# excluded: with counters, it exports more.
for build in $wide $narrow; do
  rm -rf "$build/profiles"
  mkdir -p "$build/profiles"
done
LLVM_PROFILE_FILE="$PWD/$wide/profiles/%4m.profraw" ctest --preset coverage -j "$jobs" \
  -E 'TheSharedLibraryIsAsItShouldBe|TheBinaryInterfaceIsAsListed' "$@" >&2 ||
  echo "coverage: some tests failed; their coverage counts even so" >&2
for test in "${narrow_tests[@]}"; do
  LLVM_PROFILE_FILE="$PWD/$narrow/profiles/%m.profraw" $narrow/tests/"$test" --gtest_brief=1 >&2
done

# The Windows platform isn't built here, and the faulty one is part of the tests. The device's
# division is in no library here.
sources=$(git ls-files 'src/*.cpp' 'src/*.h' | grep -v -e '^src/platform/windows' \
  -e '^src/platform/faulty')
# show BUILD OBJECT...
show() {
  llvm-profdata-19 merge -o "$1/all.profdata" "$1"/profiles/*.profraw
  # Test programs have platforms of their own, about which llvm-cov warns.
  # shellcheck disable=SC2086
  llvm-cov-19 show "${@:2}" -instr-profile="$1/all.profdata" --show-mcdc --show-branches=count \
    --show-instantiations $sources > "$1/show.txt" 2> "$1/show.log" || {
    cat "$1/show.log" >&2
    return 1
  }
}
show $wide $wide/src/libjpg.so -object $wide/tests/platform/device_divide_test
show $narrow $narrow/src/libjpg.so

scripts/missed.py $wide/show.txt $narrow/show.txt
scripts/missed.py --list $wide/show.txt $narrow/show.txt > $wide/missed.txt
if $missed; then cat $wide/missed.txt; fi
if $check; then
  scripts/missed.py --check docs/coverage-exclusions.md $wide/show.txt $narrow/show.txt
fi
