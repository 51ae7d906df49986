#!/usr/bin/env bash
# Checks that every function of src is reached from an export of the library on at least one
# target: reached.sh [TOOLCHAIN...], names of cmake/toolchains, beside this machine itself.
# Built without inlining, each function in a section of its own; the linker then drops what no
# export leads to.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

# functions FILE...: names of the functions that are defined there.
functions() {
  nm --defined-only "$@" | awk 'NF == 3 && $2 ~ /^[TtWw]$/ && $3 ~ /^(_ZN?K?[0-9]*3jpg|_ZN3jpg|jpg)/ { print $3 }' |
    sort -u
}

# check NAME [CMAKE OPTION...]: prints how many functions are reached; lists the others in a file.
check() {
  local name=$1 build=build/reached/$1
  shift
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DJPG_TESTS=OFF "$@" \
    -DCMAKE_CXX_FLAGS="-O0 -ffunction-sections -Wno-frame-larger-than" \
    -DCMAKE_SHARED_LINKER_FLAGS=-Wl,--gc-sections >/dev/null
  cmake --build "$build" --target jpg >/dev/null 2>&1
  functions $(find "$build/src/CMakeFiles" -name '*.o') >"$build/all.txt"
  functions "$build"/src/libjpg.so >"$build/reached.txt"
  comm -23 "$build/all.txt" "$build/reached.txt" >"$build/unreached.txt"
  printf '%s: %d of %d functions are reached\n' "$name" \
    "$(comm -12 "$build/all.txt" "$build/reached.txt" | wc -l)" "$(wc -l <"$build/all.txt")"
}

scripts/setup.sh build
check host
check portable -DJPG_KERNELS=portable
for toolchain in "$@"; do
  scripts/setup.sh "$toolchain"
  check "$toolchain" "-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/$toolchain.cmake"
done

# What a target doesn't compile it doesn't reach either.
cat build/reached/*/reached.txt | sort -u >build/reached/reached.txt
cat build/reached/*/unreached.txt | sort -u | comm -23 - build/reached/reached.txt \
  >build/reached/unreached.txt
if [ -s build/reached/unreached.txt ]; then
  echo "No export leads to:"
  c++filt <build/reached/unreached.txt | sed 's/^/  /'
  exit 1
fi
echo "Every function is reached from an export"
