#!/usr/bin/env bash
# Builds everything and runs the tests: test.sh [--preset NAME] [ctest options]
# Installs what is missing first. The preset is release unless said otherwise. Ends with what was
# skipped and why; with CI set, a skip for want of real files is an error if they are there.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
if [ "${1:-}" = --preset ]; then
  preset=$2
  shift 2
fi
scripts/setup.sh build test docs
case "$preset" in
  asan | tsan | clang) scripts/setup.sh clang ;;
  msan) scripts/setup.sh msan ;;
esac
cmake --preset "$preset" >/dev/null
# ThreadSanitizer is for the tests with threads alone.
target=all
[ "$preset" = tsan ] && target=threads_test
cmake --build --preset "$preset" --target "$target"
corpus=${JPG_CORPUS:-$PWD/../shared/corpus}
[ ! -d "$corpus" ] || export JPG_CORPUS=$corpus
status=0
PYTEST_ADDOPTS="-rs ${PYTEST_ADDOPTS:-}" ctest --preset "$preset" -j "$(nproc)" "$@" || status=$?
scripts/skips.py "build/$preset/Testing/Temporary/LastTest.log" "$corpus" || status=1
exit $status
