#!/usr/bin/env bash
# Compares the structure-aware mutations of the fuzz targets with the engine's own:
# fuzz_compare.sh [EXECUTIONS [TARGET...]]
# Runs each target twice from the same seeds for as many executions (50000) and prints the edges
# reached. Both ways begin with the same random number, so the same build gives the same figures.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

executions=${1:-50000}
[ $# -eq 0 ] || shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzzRead fuzzLenient fuzzExif fuzzApi fuzzDiff fuzzModel)
scripts/setup.sh build clang
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}" fuzz_seeds >&2
folder=$PWD/build/fuzz/compare

# reached TARGET: the edges of the seeds and at the end.
reached() {
  rm -rf "$folder"
  mkdir -p "$folder/corpus"
  build/fuzz/fuzz/"$1" -runs="$executions" -seed=1 -dict=fuzz/jpeg.dict -timeout=10 \
    -rss_limit_mb=2048 -artifact_prefix="$folder/" "$folder/corpus" build/fuzz/fuzz/seeds \
    fuzz/regressions >"$folder/log" 2>&1 || { tail -n 30 "$folder/log" >&2; return 1; }
  sed -n 's/.*INITED cov: \([0-9]*\) .*/\1/p' "$folder/log"
  sed -n 's/.*DONE *cov: \([0-9]*\) .*/\1/p' "$folder/log"
}

printf '| target | executions | edges of the seeds | by the engine alone | with the mutator |\n'
printf '|---|---|---|---|---|\n'
for target in "${targets[@]}"; do
  plain=$(JPG_FUZZ_PLAIN=1 reached "$target")
  own=$(reached "$target")
  printf '| %s | %d | %d | %d | %d |\n' "$target" "$executions" $plain "${own##*$'\n'}"
done
