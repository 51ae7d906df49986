#!/usr/bin/env bash
# Builds the library for other targets and tests it there:
#   targets.sh [--long] [--build FOLDER] TARGET...
# Targets: i686 i686-ubsan arm armhf armhf-neon armhf-ubsan aarch64 s390x, or linux for all of
# these; device device-v7 win32 win64, or dlls for all of these.
# Installs what is missing first. Each target has a set of tests that runs every day; with
# --long all of its tests run. Builds go to build/targets unless a folder is given.
#
# See docs/targets.md.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

readonly linux=(i686 i686-ubsan arm armhf armhf-neon armhf-ubsan aarch64 s390x)
readonly dlls=(device device-v7 win32 win64)

long=no
folder=build/targets
targets=()
while [ $# -gt 0 ]; do
  case $1 in
    --long) long=yes ;;
    --build) folder=$2; shift ;;
    linux) targets+=("${linux[@]}") ;;
    dlls) targets+=("${dlls[@]}") ;;
    *) targets+=("$1") ;;
  esac
  shift
done
if [ ${#targets[@]} -eq 0 ]; then
  sed -n '2,7s/^# //p' "$0"
  exit 2
fi

# The tests of every day and those of --long: everything, or the golden table and the faults, with
# the kernels where a vector unit has its own.
tests_of() {
  local everyday all=everything
  case $1 in
    i686 | arm) everyday=everything ;;
    armhf | *-ubsan) everyday=main ;;
    armhf-neon | aarch64) everyday=kernels ;;
    s390x) everyday=main all=main ;;
    *) echo "targets.sh: no target $1" >&2; return 2 ;;
  esac
  if [ $long = yes ]; then echo $all; else echo $everyday; fi
}

packages_of() {
  case $1 in
    i686*) echo i686 ;;
    arm) echo arm ;;
    armhf*) echo armhf ;;
    aarch64) echo aarch64 ;;
    s390x) echo s390x ;;
  esac
}

# build BINARY_DIR WHAT
build() {
  case $2 in
    everything) cmake --build "$1" ;;
    main) cmake --build "$1" --target golden faults ;;
    kernels) cmake --build "$1" --target golden faults kernels_test ;;
  esac
}

# run_tests BINARY_DIR WHAT
run_tests() {
  local options=()
  case $2 in
    everything) [ $long = yes ] || options=(-LE slow) ;;
    main) options=(-L '^(golden|faults)$') ;;
    kernels) options=(-L '^(golden|faults|kernels)$' -E '/Portable$') ;;
  esac
  ctest --test-dir "$1" -j "$(nproc)" --output-on-failure --no-tests=error "${options[@]}"
}

# Builds and tests a target; prints how long that took.
check() {
  local what=$2 start=$SECONDS built
  cmake -S . -B "$folder/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release -DJPG_WERROR=ON \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$1.cmake" >/dev/null || return
  build "$folder/$1" "$what" || return
  built=$SECONDS
  run_tests "$folder/$1" "$what" || return
  printf '%s: built in %d s, tested in %d s\n' "$1" $((built - start)) $((SECONDS - built))
}

# The same for a DLL.
check_dll() {
  local options=() start=$SECONDS
  [ $long = no ] || options=(--long)
  scripts/targets_dll.sh "${options[@]}" "$1" "$folder" || return
  printf '%s: built and tested in %d s\n' "$1" $((SECONDS - start))
}

failed=()
for target in "${targets[@]}"; do
  if [[ " ${dlls[*]} " == *" $target "* ]]; then
    printf '\n== %s\n' "$target"
    check_dll "$target" || failed+=("$target")
    continue
  fi
  what=$(tests_of "$target")
  printf '\n== %s: %s\n' "$target" "$what"
  scripts/setup.sh build test "$(packages_of "$target")"
  check "$target" "$what" || failed+=("$target")
done
[ ${#failed[@]} -eq 0 ] || { echo "targets.sh: failed: ${failed[*]}" >&2; exit 1; }
