#!/usr/bin/env bash
# Builds everything and runs the tests: test.sh [--preset NAME] [ctest options]
# Installs what is missing first. The preset is release unless said otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
if [ "${1:-}" = --preset ]; then
  preset=$2
  shift 2
fi
scripts/setup.sh build test docs
case "$preset" in asan | tsan | clang) scripts/setup.sh clang ;; esac
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)" "$@"
