#!/usr/bin/env bash
# Builds the fuzz targets by .clusterfuzzlite/build.sh as the service's image would, with each
# sanitizer or those named, and runs every target over its seeds for a while:
#   try_continuous_fuzzing.sh [address|undefined|memory...]
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

[ $# -gt 0 ] || set -- address undefined memory
scripts/setup.sh build clang test msan
common="-O1 -fno-omit-frame-pointer -gline-tables-only"
for sanitizer in "$@"; do
  export JPG_SOURCE=$PWD WORK=$PWD/build/continuous/$sanitizer/work \
    OUT=$PWD/build/continuous/$sanitizer/out
  export CC=clang-19 CXX=clang++-19 LIB_FUZZING_ENGINE=-fsanitize=fuzzer
  export CFLAGS="$common -fsanitize=$sanitizer,fuzzer-no-link"
  [ "$sanitizer" != undefined ] || CFLAGS+=" -fno-sanitize-recover=undefined"
  # The service's C++ library is instrumented, this system's isn't.
  [ "$sanitizer" != memory ] || CFLAGS+=" -fno-sanitize-memory-use-after-dtor"
  export CXXFLAGS=$CFLAGS
  mkdir -p "$WORK" "$OUT"
  .clusterfuzzlite/build.sh >"$WORK/log" 2>&1 || { tail -n 30 "$WORK/log"; exit 1; }
  for program in "$OUT"/fuzz*[a-z]; do
    [ -x "$program" ] || continue
    seeds=$WORK/seeds-$(basename "$program")
    rm -rf "$seeds"
    mkdir "$seeds"
    python3 -m zipfile -e "${program}_seed_corpus.zip" "$seeds"
    "$program" -runs=2000 -dict="$program.dict" -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="$WORK/" "$seeds" >"$WORK/run.log" 2>&1 ||
      { tail -n 30 "$WORK/run.log"; exit 1; }
    printf '%s, %s: %s\n' "$sanitizer" "$(basename "$program")" "$(tail -n 1 "$WORK/run.log")"
  done
done
