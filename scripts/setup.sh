#!/usr/bin/env bash
# Installs what is missing on a Debian machine: setup.sh GROUP...
# Groups: build, packages, test, clang, msan, coverage, docs, lint, bench, valgrind, bench-arm; i686, arm, armhf, aarch64, s390x, device,
# device-v7, win32, win64 for other targets.
# SPDX-License-Identifier: MIT
set -euo pipefail

declare -A packages=(
  [build]="cmake ninja-build g++ nlohmann-json3-dev libpng-dev"
  [packages]="lintian"
  [test]="libgtest-dev libjpeg-turbo-progs ffmpeg dcmtk libimage-exiftool-perl binutils dpkg pkgconf python3 python3-pytest python3-numpy python3-pip python3-setuptools python3-wheel mypy man-db groff-base"
  [clang]="clang libclang-rt-14-dev"
  [coverage]="clang-19 llvm-19 libclang-rt-19-dev qemu-user"
  [msan]="clang-19 llvm-19 libclang-rt-19-dev googletest"
  [docs]="doxygen"
  [lint]="clang-format-14 clang-tidy-14"
  [bench]="libjpeg62-turbo-dev libavcodec-dev libdcmtk-dev libexif-dev valgrind pkgconf"
  [valgrind]="valgrind"
  [bench-arm]="g++ g++-arm-linux-gnueabi g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user dpkg"
  [i686]="g++-i686-linux-gnu googletest"
  [arm]="g++-arm-linux-gnueabi qemu-user googletest"
  [armhf]="g++-arm-linux-gnueabihf qemu-user googletest"
  [aarch64]="g++-aarch64-linux-gnu qemu-user googletest"
  [s390x]="g++-s390x-linux-gnu qemu-user googletest"
  [device]="g++-arm-linux-gnueabi qemu-user llvm python3"
  [device-v7]="clang lld llvm"
  [win32]="g++-mingw-w64-i686 g++-i686-linux-gnu"
  [win64]="g++-mingw-w64-x86-64 wine wine64 googletest"
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
if ! command -v apt-get >/dev/null; then
  echo "setup.sh: this is no Debian machine; install what these packages have: ${missing[*]}" >&2
  exit 1
fi
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup.sh: not root, and there is no sudo; as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  run=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
