#!/usr/bin/env bash
# Builds the fuzz targets as ClusterFuzzLite and OSS-Fuzz ask for it: compilers and flags come in
# CC, CXX, CFLAGS and CXXFLAGS, the engine in LIB_FUZZING_ENGINE, and programs, seeds and
# dictionaries go to OUT. scripts/try_continuous_fuzzing.sh tries it without their image.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "${JPG_SOURCE:-$SRC/jpg}"
targets=(fuzzRead fuzzLenient fuzzWrite fuzzExif fuzzApi fuzzDiff fuzzModel)

cmake -S . -B "$WORK/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DJPG_FUZZ=ON \
  -DJPG_TESTS=OFF "-DJPG_FUZZ_ENGINE=$LIB_FUZZING_ENGINE"
cmake --build "$WORK/build" --target "${targets[@]}" fuzz_seeds

# seeds TARGET: its seeds made by rule, and what any target has found.
seeds() {
  local made=(! -name 'model*' ! -name 'api*' ! -name 'tiff*')
  case $1 in
    fuzzModel) made=(-name 'model*') ;;
    fuzzApi) made=(-name 'api*') ;;
    fuzzExif) made=(-name 'tiff*') ;;
  esac
  find "$WORK/build/fuzz/seeds" -type f "${made[@]}"
  find fuzz/regressions -type f ! -name README
}

for target in "${targets[@]}"; do
  cp "$WORK/build/fuzz/$target" "$OUT/"
  rm -f "$OUT/${target}_seed_corpus.zip"
  seeds "$target" | zip -q -j -@ "$OUT/${target}_seed_corpus.zip"
  cp fuzz/jpeg.dict "$OUT/$target.dict"
  printf '[libfuzzer]\ntimeout = 10\nrss_limit_mb = 2048\n' >"$OUT/$target.options"
done
