#!/usr/bin/env bash
# Installs what is missing on a Debian machine: setup.sh GROUP...
# Groups: build, packages, test, clang, msan, coverage, docs, lint, bench, bitmaps, pillow, valgrind,
# bench-arm; i686, arm, armhf, aarch64, s390x, device, device-v7, win32, wine32, win64 for other
# targets.
# SPDX-License-Identifier: MIT
set -euo pipefail

declare -A packages=(
  [build]="cmake ninja-build g++ nlohmann-json3-dev libpng-dev"
  [packages]="dpkg-dev lintian python3-pip python3-setuptools python3-wheel python3-dev"
  [test]="libgtest-dev libjpeg-turbo-progs ffmpeg dcmtk libimage-exiftool-perl binutils dpkg pkgconf python3 python3-pytest python3-numpy python3-pip python3-setuptools python3-wheel mypy man-db groff-base"
  [clang]="clang libclang-rt-14-dev"
  [coverage]="clang-19 llvm-19 libclang-rt-19-dev qemu-user"
  [msan]="clang-19 llvm-19 libclang-rt-19-dev googletest"
  [docs]="doxygen"
  [lint]="clang-format-14 clang-tidy-14"
  [bench]="libjpeg62-turbo-dev libavcodec-dev libdcmtk-dev libexif-dev valgrind pkgconf"
  [bitmaps]="ffmpeg imagemagick netpbm python3"
  [pillow]="python3-pil python3-numpy"
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
  [wine32]="wine32:i386"
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

run=(env DEBIAN_FRONTEND=noninteractive)
if ! command -v apt-get >/dev/null; then
  echo "setup.sh: this is no Debian machine; install what these packages have: ${missing[*]}" >&2
  exit 1
fi
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup.sh: not root, and there is no sudo; as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  run=(sudo "${run[@]}") # sudo would drop the variable
fi

echo "Installing: ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# apt COMMAND...: what it says only when it fails.
apt() {
  "${run[@]}" "$@" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
}
if [[ ${missing[*]} == *:i386* ]]; then
  apt dpkg --add-architecture i386
fi
apt apt-get update -qq
apt apt-get install -y -qq --no-install-recommends "${missing[@]}"
