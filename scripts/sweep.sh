#!/usr/bin/env bash
# The long sweep: small streams of every kind cut short at every byte and with every other
# value of every byte, through everything that an application may do with them:
# sweep.sh [--preset NAME]
# The preset is asan unless said otherwise. Prints the cases and the slowest of each stream.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=asan
[ "${1:-}" = --preset ] && preset=$2
scripts/setup.sh build test clang
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target sweep_test >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
JPG_SWEEP=long "build/$preset/tests/robust/sweep/sweep_test" --gtest_brief=1 | tee "$log"
awk '/^sweep / {
       cases += $5
       if ($8 > slowest) slowest = $8
     }
     END {
       printf "sweep: %d cases, slowest %.1f ms\n", cases, slowest
       exit cases < 1000000
     }' "$log"
