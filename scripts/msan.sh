#!/usr/bin/env bash
# MemorySanitizer, short form: the golden table, damaged streams of every kind through all
# functions, faults in every function, the fuzz targets over their seeds. All tests:
# scripts/test.sh --preset msan.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build test msan
cmake --preset msan >/dev/null
cmake --build --preset msan --target golden sweep sweep_test fuzz_seeds fuzzReadReplay \
  fuzzWriteReplay fuzzExifReplay fuzzApiReplay fuzzDiffReplay fuzzModelReplay
export MSAN_SYMBOLIZER_PATH=/usr/bin/llvm-symbolizer-19
tests=build/msan/tests
"$tests/golden/golden" --table tests/golden/digests.txt --folder "$tests/golden"
"$tests/robust/sweep/sweep_test" --gtest_brief=1 >"$tests/robust/sweep/log" 2>&1 ||
  { cat "$tests/robust/sweep/log"; exit 1; }
tail -n 2 "$tests/robust/sweep/log"
"$tests/sweep/sweep" "$tests/sweep" | tail -n 1
for target in Read Write Exif Api Diff Model; do
  "build/msan/fuzz/fuzz${target}Replay" build/msan/fuzz/seeds fuzz/regressions
done
