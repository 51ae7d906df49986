#!/usr/bin/env bash
# Runs every fuzz target, or those named, for some seconds each:
# fuzz.sh [--msan] [-j PROCESSES] [SECONDS|NUMBERx [TARGET...]]
# With an x the number counts executions instead: 14300000x makes 100 million of all seven targets.
# With JPG_CORPUS, small files of that folder are seeds, too. Prints executions and coverage. The logs
# stay: `scripts/fuzz_report.py build/fuzz/logs/*` adds up all runs.
# --msan takes MemorySanitizer in place of Address-, Leak- and UndefinedBehaviorSanitizer, and what
# they have found so far as seeds.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

preset=fuzz
if [ "${1:-}" = --msan ]; then
  preset=fuzz-msan
  shift
fi
processes=1
if [ "${1:-}" = -j ]; then
  processes=$2
  shift 2
fi
amount=${1:-60}
[ $# -eq 0 ] || shift
limit=-max_total_time=$amount
unit=seconds
if [[ $amount == *x ]]; then
  limit=-runs=${amount%x}
  unit=executions
fi
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzzRead fuzzLenient fuzzWrite fuzzExif fuzzApi fuzzDiff fuzzModel)
scripts/setup.sh build clang
[ $preset = fuzz ] || scripts/setup.sh test msan  # a newer clang
export MSAN_SYMBOLIZER_PATH=/usr/bin/llvm-symbolizer-19
cmake --preset $preset >/dev/null
cmake --build --preset $preset
folder=$PWD/build/$preset
mkdir -p "$folder/findings" "$folder/logs"
began=$(date +%s)

# Seeds made from the corpus; they are kept in the build folder.
corpus_seeds() {
  local out=$folder/seeds-$1
  rm -rf "$out"
  mkdir -p "$out"
  [ -n "${JPG_CORPUS:-}" ] && [ "$1" != fuzzWrite ] || return 0
  find "$JPG_CORPUS" -type f -iname '*.jp*g' -size -17k -print0 | sort -z |
    ASAN_OPTIONS=detect_leaks=0 xargs -0 -r "$folder/fuzz/makeSeeds" "$out" "$1"
}

run() {
  local known=() log=$folder/logs/$1.$began.log
  corpus_seeds "$1"
  mkdir -p "$folder/corpus-$1"
  if [ $preset != fuzz ] && [ -d "build/fuzz/corpus-$1" ]; then known=("build/fuzz/corpus-$1"); fi
  "$folder/fuzz/$1" "$limit" -dict=fuzz/jpeg.dict -timeout=10 \
    -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$folder/findings/$1-" \
    "$folder/corpus-$1" "$folder/fuzz/seeds" "$folder/seeds-$1" "${known[@]}" >"$log" 2>&1 && return
  tail -n 30 "$log" >&2
  echo "fuzz: $1 has findings: build/$preset/findings" >&2
  return 1
}

failed=0
running=0
for target in "${targets[@]}"; do
  run "$target" &
  running=$((running + 1))
  if [ "$running" -ge "$processes" ]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
done
while [ "$running" -gt 0 ]; do
  wait -n || failed=1
  running=$((running - 1))
done
python3 scripts/fuzz_report.py "$folder"/logs/*."$began".log
[ "$failed" = 0 ] && echo "fuzz: no findings in ${amount%x} $unit per target"
exit "$failed"
