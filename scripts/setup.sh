#!/usr/bin/env bash
# Installs what is missing on a Debian machine: setup.sh GROUP...
# Groups: build, test, clang, coverage, lint, bench.
set -euo pipefail

declare -A packages=(
  [build]="cmake ninja-build g++"
  [test]="libgtest-dev libjpeg-turbo-progs ffmpeg dcmtk libimage-exiftool-perl binutils pkgconf python3"
  [clang]="clang libclang-rt-14-dev"
  [coverage]="clang-19 llvm-19 libclang-rt-19-dev"
  [lint]="clang-format-14 clang-tidy-14"
  [bench]="libbenchmark-dev libjpeg62-turbo-dev libavcodec-dev libdcmtk-dev pkgconf"
)

missing=()
for group in "$@"; do
  for package in ${packages[$group]}; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$package")
    fi
  done
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}" >&2
run=()
[ "$(id -u)" -eq 0 ] || run=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
