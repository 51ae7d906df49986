#!/usr/bin/env bash
# MemorySanitizer, short form: the golden table, damaged streams of every kind through all
# functions, faults in every function, the fuzz targets over their seeds. All tests:
# scripts/test.sh --preset msan.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build test msan
cmake --preset msan >/dev/null
cmake --build --preset msan --target golden faults damage_test fuzz_seeds fuzzReadReplay \
  fuzzWriteReplay fuzzExifReplay fuzzApiReplay fuzzDiffReplay fuzzModelReplay
export MSAN_SYMBOLIZER_PATH=/usr/bin/llvm-symbolizer-19
tests=build/msan/tests
"$tests/whole/golden/golden" --table tests/whole/golden/digests.txt --folder "$tests/whole/golden"
"$tests/whole/damage/damage_test" --gtest_brief=1 >"$tests/whole/damage/log" 2>&1 ||
  { cat "$tests/whole/damage/log"; exit 1; }
tail -n 2 "$tests/whole/damage/log"
"$tests/whole/faults/faults" "$tests/whole/faults" | tail -n 1
for target in Read Write Exif Api Diff Model; do
  "build/msan/fuzz/fuzz${target}Replay" build/msan/fuzz/seeds fuzz/regressions
done
