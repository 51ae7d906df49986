#!/usr/bin/env bash
# Measures the library beside independent codecs and prints one Markdown table:
#   bench.sh                  speeds: medians of interleaved repetitions, and their ratio
#   bench.sh --instructions   instructions per pixel of one call each, counted by valgrind
#   bench.sh --heap           heap at the peak of one call each
# Other words go to the benchmark program. Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build bench
cmake --preset bench >/dev/null
cmake --build --preset bench --target jpg_bench jpg_heap >/dev/null
program=build/bench/bench/jpg_bench

if [ "${1:-}" = --heap ]; then
  exec build/bench/bench/jpg_heap
fi

# count NAME SIZE SIDE: instructions of one call.
count() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect='*measuredCall*' \
    "$program" --once "$1" "$2" "$3" 2>&1 | sed -n 's/.*Collected : //p'
}

if [ "${1:-}" != --instructions ]; then
  "$program" --benchmark_repetitions=9 --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true "$@" |
    grep '^|'
  exit
fi

command -v valgrind >/dev/null || scripts/setup.sh valgrind
echo "| workload | size | ours, instructions a pixel | theirs | ratio |"
echo "|---|---|---:|---:|---:|"
"$program" --list | while IFS=$'\t' read -r name size pixels; do
  ours=$(count "$name" "$size" ours)
  theirs=$(count "$name" "$size" theirs)
  awk -v n="$name" -v s="$size" -v p="$pixels" -v a="$ours" -v b="$theirs" \
    'BEGIN { printf "| %s | %s | %.1f | %.1f | %.2f |\n", n, s, a / p, b / p, b / a }'
done
