#!/usr/bin/env bash
# Builds everything and runs the tests: test.sh [--preset NAME] [ctest options]
# Shows one line of progress and a short summary; all output goes to build/NAME/test.log. Installs what
# is missing. The preset is release unless said otherwise. Ends with what was skipped and why; with CI
# set, a skip for want of real files is an error if they are there.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
case ${1:-} in
  -h | --help)
    sed -n '2,5s/^# //p' "$0"
    exit 0
    ;;
  --preset)
    preset=$2
    shift 2
    ;;
esac
scripts/setup.sh build test docs
case "$preset" in
  asan | tsan | clang) scripts/setup.sh clang ;;
  msan) scripts/setup.sh msan ;;
esac
mkdir -p "build/$preset"
log=build/$preset/test.log
: >"$log"

# On a terminal one line of progress; elsewhere nothing but the summary.
show() {
  local line
  while IFS= read -r line; do
    printf '%s\n' "$line" >>"$log"
    if [ -t 2 ] && [[ $line =~ ^(\[[0-9]+/[0-9]+\]|\ *[0-9]+/[0-9]+\ Test) ]]; then
      printf '\r\033[K%.78s' "$line" >&2
    fi
  done
  [ ! -t 2 ] || printf '\r\033[K' >&2
}

fail() {
  printf 'test.sh: %s; all output stands in %s\n' "$1" "$log" >&2
  exit 1
}

# ThreadSanitizer is for the tests with threads alone.
target=all
[ "$preset" = tsan ] && target=threads_test
began=$SECONDS
cmake --preset "$preset" 2>&1 | show || { tail -n 5 "$log" >&2; fail "configuring failed"; }
cmake --build --preset "$preset" --target "$target" 2>&1 | show ||
  { grep -m 5 -E 'error|FAILED' "$log" >&2; fail "building failed"; }
built=$((SECONDS - began))
result=0
corpus=${JPG_CORPUS:-$PWD/../shared/corpus}
[ ! -d "$corpus" ] || export JPG_CORPUS=$corpus
PYTEST_ADDOPTS="-rs ${PYTEST_ADDOPTS:-}" ctest --preset "$preset" -j "$(nproc)" "$@" 2>&1 | show ||
  result=$?
# What failed, at most eight of them, and the counts.
sed -n '/^The following tests FAILED:/,/^Errors while/p' "$log" | sed '1d;/^Errors/d;/^$/d' | head -n 8
grep -E '^[0-9]+% tests passed' "$log" | tail -n 1
printf 'built in %d s, tested in %d s; log: %s\n' "$built" $((SECONDS - began - built)) "$log"
scripts/skips.py "build/$preset/Testing/Temporary/LastTest.log" "$corpus" || result=1
[ $result -eq 0 ] || fail "tests failed"
