#!/usr/bin/env bash
# Which functions of src no fuzz target reaches: fuzz_functions.sh [TARGET...]
# Replays what the targets have found (build/fuzz/corpus-*), the seeds and the regressions with
# clang 19's source-based coverage. Prints how many functions each target reaches, and by file those
# that none does.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzzRead fuzzLenient fuzzWrite fuzzExif fuzzApi fuzzDiff fuzzModel)
scripts/setup.sh build test coverage
build=build/coverage
cmake --preset coverage >/dev/null
cmake --build $build --target "${targets[@]/%/Replay}" fuzz_seeds >&2

reports=()
for target in "${targets[@]}"; do
  inputs=("$build/fuzz/seeds" fuzz/regressions)
  [ ! -d "build/fuzz/corpus-$target" ] || inputs+=("build/fuzz/corpus-$target")
  program=$build/fuzz/${target}Replay
  out=$build/fuzz/$target
  LLVM_PROFILE_FILE=$PWD/$out.profraw "$program" "${inputs[@]}" >&2
  llvm-profdata-19 merge -o "$out.profdata" "$out.profraw"
  llvm-cov-19 export -instr-profile="$out.profdata" "$program" src >"$out.json"
  reports+=("$out.json")
done
scripts/fuzz_functions.py "${reports[@]}"
