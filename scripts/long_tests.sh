#!/usr/bin/env bash
# The long forms of some tests: long_tests.sh [--preset NAME] [-j PROCESSES] [--only PART]
# - streams: small streams of every kind cut short at every byte and with every other value of every
#   byte, through everything that an application may do with them;
# - faults, with full disks after every byte and files that end at every byte;
# - tables: Huffman tables enumerated a level deeper;
# - longrun: the whole corpus again and again through the Python module, JPG_LONG_RUN seconds (1800).
# The preset is asan unless said otherwise. Prints the cases and the slowest of each stream.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

preset=asan
processes=1
parts="streams faults tables longrun"
while [ $# -gt 0 ]; do
  case $1 in
    --preset) preset=$2 ;;
    -j) processes=$2 ;;
    --only) parts=$2 ;;
    *) echo "long_tests.sh: what is $1?" >&2 && exit 2 ;;
  esac
  shift 2
done
tests=$PWD/build/$preset/tests
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
export JPG_TEST_LENGTH=long

# Builds the test programs named, with the sanitizers.
build() {
  scripts/setup.sh build test clang
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target "$@" >&2
}

streams() {
  local pids=() failed=0 i pid
  build damage_test
  for ((i = 0; i < processes; i++)); do
    GTEST_TOTAL_SHARDS=$processes GTEST_SHARD_INDEX=$i \
      "$tests/whole/damage/damage_test" --gtest_brief=1 >"$logs/streams.$i" 2>&1 &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
  cat "$logs"/streams.*
  [ "$failed" = 0 ] || exit 1
  awk '/^damage / {
         cases += $5
         if ($8 > slowest) slowest = $8
       }
       END {
         printf "damage: %d cases, slowest %.1f ms\n", cases, slowest
         exit cases < 1000000
       }' "$logs"/streams.*
}

faults() {
  build faults
  "$tests/whole/faults/faults" "$logs"
}

tables() {
  build units_huffman_test
  "$tests/read/units_huffman_test" --gtest_brief=1
}

# Half an hour over and over the same files; the library without instruments.
longrun() {
  scripts/setup.sh build test
  cmake --preset release >/dev/null
  cmake --build --preset release --target jpg jpgtool >&2
  JPG_LIBRARY=$PWD/build/release/src/libjpg.so PYTHONPATH=$PWD/bindings/python \
    /usr/bin/python3 -B tests/product/longrun/longRun.py build/release/tools/jpgtool \
    "${JPG_CORPUS:-$PWD/../shared/corpus}" "${JPG_LONG_RUN:-1800}"
}

for part in $parts; do
  case $part in
    streams | faults | tables | longrun) "$part" ;;
    *) echo "long_tests.sh: no such part: $part" >&2 && exit 2 ;;
  esac
done
