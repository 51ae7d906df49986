#!/usr/bin/env bash
# Makes the packages of the tree that it lies in:
#   packages.sh FOLDER
# FOLDER receives Debian packages, zips for Linux and for Windows of 32 and 64 bits, and the Python wheel.
# Times in them are SOURCE_DATE_EPOCH: unless it is set the time of the commit or, without a repository,
# of the change log, to which a source tarball gives that time. Two runs for the same commit make the same
# bytes, wherever the tree lies; scripts/reproduce.sh shows it. What is missing is installed.
# SPDX-License-Identifier: MIT
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ $# -ne 1 ] || [ "$1" = -h ] || [ "$1" = --help ]; then
  sed -n '2,7s/^# \{0,1\}//p' "$0"
  [ $# -eq 1 ] && exit 0
  exit 64
fi
mkdir -p "$1"
out=$(cd "$1" && pwd)
cd "$root"
scripts/setup.sh build packages win32 win64

if [ -z "${SOURCE_DATE_EPOCH:-}" ] && [ -e .git ]; then
  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
fi
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(stat -c %Y CHANGELOG.md)}
export SOURCE_DATE_EPOCH
# What else packages could take from the machine.
umask 022
export TZ=UTC LC_ALL=C.UTF-8
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# run COMMAND...: without its output, unless it fails.
run() {
  "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
}

# pack PRESET GENERATOR TARGET...: builds in build/package-PRESET and packs it into FOLDER.
pack() {
  local preset=$1 generator=$2
  shift 2
  printf -- '-- %s (%s)\n' "$generator" "$preset"
  run cmake --preset "$preset" -DJPG_TESTS=OFF -B "build/package-$preset"
  run cmake --build "build/package-$preset" --target "$@"
  run cpack --config "build/package-$preset/CPackConfig.cmake" -G "$generator" -B "$work/$preset"
  if [ "$generator" = ZIP ]; then
    scripts/settle_zip.py "$work/$preset"/*.zip
  fi
  find "$work/$preset" -maxdepth 1 -type f -exec cp {} "$out" \;
}

pack debian DEB jpg jpg_static jpgtool jpg_order
pack release ZIP jpg jpg_static jpgtool
pack win32 ZIP jpg jpg_static jpgtool
pack win64 ZIP jpg jpg_static jpgtool

printf -- '-- wheel\n'
cp -r bindings/python "$work/python"
cp build/package-release/src/libjpg.so.0 "$work/python/jpg/"
strip "$work/python/jpg/libjpg.so.0"
# Debug data of the routine in C would name the folder.
export CFLAGS=-g0
run /usr/bin/python3 -m pip wheel --no-build-isolation --no-index --no-deps -w "$out" "$work/python"
