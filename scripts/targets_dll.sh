#!/usr/bin/env bash
# Builds, checks and runs the DLLs: targets_dll.sh [--long] TARGET FOLDER
# Targets: device device-v7 win32 win64. Builds go into FOLDER. Called by targets.sh.
#
# The device's DLLs and the 32-bit Windows one run in the loader of tests/product/loader, with
# --long the tests of the public interface too; the 64-bit Windows one runs under Wine. See
# docs/targets.md.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

long=OFF
if [ "${1:-}" = --long ]; then
  long=ON
  shift
fi
target=$1
mkdir -p "$2"
folder=$(cd "$2" && pwd)
step() { printf -- '-- %s\n' "$*"; }

# build_dll BINARY_DIR: the target's preset.
build_dll() {
  cmake --preset "$target" -B "$1" >/dev/null
  cmake --build "$1"
}

# build_loader PROCESSOR: the programs that load a DLL.
build_loader() {
  cmake -S . -B "$folder/loader-$1" -G Ninja -DJPG_LOADER=ON -DJPG_LOADER_TESTS=$long \
    -DCMAKE_BUILD_TYPE=Release -DJPG_WERROR=ON -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$1.cmake" >/dev/null
  cmake --build "$folder/loader-$1"
}

# check_zip BINARY_DIR: checks the package of the build.
check_zip() {
  step "The zip, and programs linked with what is in it"
  python3 tests/product/dll/check_zip.py "$1" . "$target" "$folder/zip-$target"
}

# run_loaded PROCESSOR DLL [EMULATOR...]: golden table and faults.
run_loaded() {
  local programs=$folder/loader-$1 files=$folder/$target/files
  export JPG_DLL=$2
  shift 2
  mkdir -p "$files"
  step "The golden table through the exported functions"
  "$@" "$programs/whole/golden/golden" --table tests/whole/golden/digests.txt --folder "$files"
  step "Faults in every exported function"
  "$@" "$programs/whole/faults/faults" "$files"
  [ $long = ON ] || return 0
  step "The tests of the public interface"
  find "$programs" -type f -perm -u+x \( -name '*_test' -o -name '*Test' \) -print0 |
    TMPDIR=$files xargs -0 -n 1 -P "$(nproc)" scripts/run_quietly.sh "$@"
}

# device MACHINE EMULATOR...
device() {
  local machine=$1
  shift
  scripts/setup.sh build arm device
  build_dll "$folder/$target"
  build_dll "$folder/again/$target"
  build_loader arm
  step "What the DLL holds"
  python3 tests/product/dll/check_device.py "$folder/$target" . "$machine" "$folder/again/$target"
  check_zip "$folder/$target"
  run_loaded arm "$folder/$target/jpg.dll" "$@"
}

[ $long = OFF ] || scripts/setup.sh test
case $target in
  device) device 0x1C0 qemu-arm -cpu pxa270 ;;
  device-v7)
    scripts/setup.sh device-v7
    device 0x1C4 qemu-arm -cpu cortex-a9,neon=off
    ;;
  win32)
    scripts/setup.sh build i686 win32
    build_dll "$folder/win32"
    build_loader i686
    step "What the DLL holds"
    python3 tests/product/dll/check_windows.py "$folder/win32/bin/jpg.dll" . 0x14C
    check_zip "$folder/win32"
    if [ -x /usr/lib/wine/wine ]; then
      step "jpgtool of 32 bits, under Wine"
      JPG_EMULATOR=$PWD/scripts/wine.sh python3 -B tests/product/tool/test_windows.py \
        "$folder/win32/bin/jpgtool.exe" "$PWD"
    else
      echo "jpgtool of 32 bits isn't run: there is no 32-bit Wine (scripts/setup.sh wine32)"
    fi
    run_loaded i686 "$folder/win32/bin/jpg.dll"
    ;;
  win64)
    scripts/setup.sh build win64
    build_dll "$folder/win64"
    step "What the DLL holds"
    python3 tests/product/dll/check_windows.py "$folder/win64/bin/jpg.dll" . 0x8664
    export WINEPREFIX=$folder/wine
    check_zip "$folder/win64"
    step "The golden table, faults, files, heap and palette under Wine"
    ctest --test-dir "$folder/win64" --output-on-failure --no-tests=error -j "$(nproc)"
    ;;
  *)
    echo "targets_dll.sh: no target $target" >&2
    exit 2
    ;;
esac
