#!/usr/bin/env bash
# Runs every fuzz target for some seconds: fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
scripts/setup.sh build clang
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
mkdir -p build/fuzz/findings
for target in fuzzRead fuzzWrite fuzzExif fuzzApi fuzzDiff; do
  mkdir -p "build/fuzz/corpus-$target"
  "build/fuzz/fuzz/$target" -max_total_time="$seconds" -dict=fuzz/jpeg.dict -timeout=10 \
    -rss_limit_mb=2048 -print_final_stats=0 -verbosity=0 \
    -artifact_prefix="build/fuzz/findings/" "build/fuzz/corpus-$target" build/fuzz/fuzz/seeds
done
echo "fuzz: no findings in $seconds seconds a target"
