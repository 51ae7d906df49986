#!/usr/bin/env bash
# Measures the library beside other codecs. Installs what is missing first.
#   bench.sh [--short] [--only WORDS]   speeds and their ratios, a line each
#   bench.sh --publish                  all: speeds, those by size, of many combinations and with
#                                       SSE2 alone, instructions and heap; then makes
#                                       docs/performance* and the README's table of them
#   bench.sh --quick [REV]              compares this tree with another commit (HEAD)
#   bench.sh --instructions             instructions of one call each, by callgrind
#   bench.sh --heap                     heap at the peak of one call each
# Runs on the last processor, with more than the usual priority where that is allowed.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

out=build/bench/results
program=build/bench/bench/jpg_bench
export JPG_BENCH_PICTURES=$PWD/build/bench/pictures

# quietly COMMAND...: runs it alone on a processor, as far as the machine allows.
quietly() {
  local run=(taskset -c "$(($(nproc --all) - 1))")
  "${run[@]}" true 2>/dev/null || run=()
  if nice -n -5 true 2>/dev/null && [ "$(nice -n -5 nice)" = -5 ]; then run+=(nice -n -5); fi
  "${run[@]}" "$@"
}

build() {
  scripts/setup.sh build bench
  cmake --preset bench >/dev/null
  cmake --build --preset bench --target jpg_bench jpg_heap >/dev/null
  mkdir -p "$out" "$JPG_BENCH_PICTURES"
}

# A second build, whose kernels go up to SSE2, beside others that are held to it.
with_sse2_alone() {
  cmake -S . -B build/bench-sse2 -G Ninja -DCMAKE_BUILD_TYPE=Release -DJPG_TESTS=OFF \
    -DJPG_BENCH=ON -DJPG_KERNELS=sse2 >/dev/null
  cmake --build build/bench-sse2 --target jpg_bench >/dev/null
  JSIMD_FORCESSE2=1 quietly build/bench-sse2/bench/jpg_bench --one-size --json "$out/sse2.json"
}

# Lines "workload|size|codec|pixels|instructions". Counts go to a file a call.
instructions() {
  rm -f "$out"/callgrind.*
  valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out/callgrind" \
    "$program" --count >/dev/null 2>"$out/callgrind.log" || { cat "$out/callgrind.log"; exit 1; }
  awk '/^desc: Trigger: Client Request: / { name = substr($0, 32) }
       /^(totals|summary): / && name != "" { print name "|" $2; name = "" }' \
    $(ls -v "$out"/callgrind.*) >"$out/instructions.txt"
  rm -f "$out"/callgrind*
}

heap() { build/bench/bench/jpg_heap >"$out/heap.txt"; }

# Compares this tree, uncommitted changes included, with the library of another commit.
quick() {
  local revision other=build/quick/other
  revision=$(git rev-parse --short "${1:-HEAD}^{commit}")
  scripts/setup.sh build bench
  rm -rf "$other/source"
  mkdir -p "$other/source" "$JPG_BENCH_PICTURES"
  git archive "$revision" | tar -x -C "$other/source"
  cmake -S "$other/source" -B "$other/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DJPG_TESTS=OFF >/dev/null
  cmake --build "$other/build" --target jpg_static >/dev/null
  cmake -S . -B build/quick/ours -G Ninja -DCMAKE_BUILD_TYPE=Release -DJPG_TESTS=OFF \
    -DJPG_BENCH=ON -DJPG_BENCH_BASE="$PWD/$other/build/src/libjpg.a" >/dev/null
  cmake --build build/quick/ours --target jpg_bench >/dev/null
  echo "MP/s of this tree; how many times the speed of $revision by medians (by best times)"
  quietly build/quick/ours/bench/jpg_bench --quick
}

case ${1:-} in
  --quick)
    quick "${2:-}"
    ;;
  --instructions)
    build
    instructions
    cat "$out/instructions.txt"
    ;;
  --heap)
    build
    heap
    cat "$out/heap.txt"
    ;;
  --publish)
    build
    rm -f "$out"/*.txt "$out"/*.json
    load=$(cut -d' ' -f1-3 /proc/loadavg)
    quietly "$program" --json "$out/speeds.json"
    quietly "$program" --sizes --json "$out/sizes.json"
    quietly "$program" --many --short --json "$out/many.json"
    if [ "$(uname -m)" = x86_64 ]; then with_sse2_alone; fi
    instructions
    heap
    scripts/performance_page.py --collect "$out" --load "$load"
    scripts/performance_page.py --update
    scripts/speed_table.py --update
    ;;
  *)
    build
    quietly "$program" "$@"
    ;;
esac
