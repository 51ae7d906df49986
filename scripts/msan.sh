#!/usr/bin/env bash
# MemorySanitizer, short form: the golden table, damaged streams of every kind through all
# functions, faults in every function, random sequences of calls (JPG_STATE_CALLS of them), the
# fuzz targets over their seeds. All tests: scripts/test.sh --preset msan.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build test msan
cmake --preset msan >/dev/null
cmake --build --preset msan --target golden faults damage_test state_test fuzz_seeds \
  fuzzReadReplay fuzzLenientReplay fuzzWriteReplay fuzzExifReplay fuzzApiReplay fuzzDiffReplay fuzzModelReplay
export MSAN_SYMBOLIZER_PATH=/usr/bin/llvm-symbolizer-19
tests=build/msan/tests

# quiet LINES COMMAND...: the last lines of what a command prints, all of it if it fails.
quiet() {
  local lines=$1
  shift
  "$@" >build/msan/log 2>&1 || { cat build/msan/log; exit 1; }
  tail -n "$lines" build/msan/log
}

"$tests/whole/golden/golden" --table tests/whole/golden/digests.txt --folder "$tests/whole/golden"
quiet 2 "$tests/whole/damage/damage_test" --gtest_brief=1
JPG_STATE_CALLS=${JPG_STATE_CALLS:-100000} quiet 3 "$tests/whole/state/state_test" --gtest_brief=1
"$tests/whole/faults/faults" "$tests/whole/faults" | tail -n 1
for target in Read Lenient Write Exif Api Diff Model; do
  "build/msan/fuzz/fuzz${target}Replay" build/msan/fuzz/seeds fuzz/regressions
done
