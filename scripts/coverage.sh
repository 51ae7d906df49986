#!/usr/bin/env bash
# Runs the tests with clang 19's source-based coverage and prints lines, branches and MC/DC of
# every file of the library: coverage.sh [--missed] [ctest options]
# With --missed also the lines, branches and conditions that no test reaches, to
# build/coverage/missed.txt. docs/coverage-exclusions.md argues for those that stay.
set -euo pipefail
cd "$(dirname "$0")/.."

missed=false
if [ "${1:-}" = --missed ]; then
  missed=true
  shift
fi
scripts/setup.sh build test coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage >&2
profiles=build/coverage/profiles
rm -rf "$profiles"
mkdir -p "$profiles"
# Each of a few files takes what many processes have run. The shared library's own checks
# don't hold for one with counters.
LLVM_PROFILE_FILE="$PWD/$profiles/%4m.profraw" \
  ctest --preset coverage -j "$(nproc)" -E 'TheSharedLibraryIsAsItShouldBe' "$@" >&2 ||
  echo "coverage: some tests failed; what they ran counts all the same" >&2
llvm-profdata-19 merge -o build/coverage/all.profdata "$profiles"/*.profraw
sources=$(git ls-files 'src/*.cpp' 'src/*.h' | grep -v -e '^src/platform/windows' \
  -e '^src/platform/faulty')
report() {
  # shellcheck disable=SC2086
  llvm-cov-19 "$1" build/coverage/src/libjpg.so -instr-profile=build/coverage/all.profdata \
    "${@:2}" $sources
}
report report --show-mcdc-summary --show-branch-summary |
  awk '!/^-+$/ && !/^Filename/ { printf "%-34s lines %5d missed %3d  branches %4d missed %3d  MC/DC %4d missed %3d\n", $1, $8, $9, $11, $12, $14, $15 }'
if $missed; then
  report show --show-mcdc --show-branches=count --show-instantiations=false > build/coverage/show.txt
  scripts/missed.py build/coverage/show.txt > build/coverage/missed.txt
  echo "coverage: see build/coverage/missed.txt"
fi
