#!/usr/bin/env bash
# Counts instructions per pixel on ARM, for the library and for libjpeg-turbo, and prints a Markdown
# table for each processor:
#   bench_arm.sh [--flags "-O3"] [--functions] [--only WORDS] [v5] [v7] [v7-neon] [v8]
# v5 is ARMv5TE with soft float, like Debian's armel; v7 is ARMv7 with Thumb-2, like its armhf, both
# without vector code on either side; v7-neon and v8, AArch64, are with it on both. v5 and v7 unless
# others are named.
# Debian's packages are compiled with -O2, and so is the library unless other flags are given.
# --functions prints the most expensive functions instead, --only chooses workloads.
# Installs what is missing first; the packages of the other architectures are unpacked into
# the build folder, not installed. The counts are qemu's and the same on every run;
# scripts/performance_page.py --collect build/bench-arm/results puts them into the page.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

flags=-O2
functions=no
only=
targets=()
while [ $# -gt 0 ]; do
  case $1 in
    --flags) flags=$2; shift ;;
    --functions) functions=yes ;;
    --only) only=$2; shift ;;
    v5 | v7 | v7-neon | v8) targets+=("$1") ;;
    *) sed -n '2,14s/^# \{0,1\}//p' "$0"; exit 2 ;;
  esac
  shift
done
[ ${#targets[@]} -gt 0 ] || targets=(v5 v7)

folder=$PWD/build/bench-arm
export JPG_CORPUS=${JPG_CORPUS:-$PWD/../shared/corpus}
export JPG_BENCH_PICTURES=$folder/pictures

# unpack ARCHITECTURE: Debian's libjpeg for it, by lists of packages of its own.
unpack() {
  local root=$folder/$1
  [ ! -e "$root/usr/include/jpeglib.h" ] || return 0
  local options=(-qq -o "APT::Architecture=$1" -o "APT::Architectures=$1"
    -o "Dir::State::lists=$root/lists" -o "Dir::State::status=/dev/null"
    -o "Dir::Cache=$root/cache" -o APT::Sandbox::User=root)
  mkdir -p "$root/lists/partial" "$root/cache/archives/partial"
  # Lists of other sources may fail; only Debian's must have the package.
  apt-get "${options[@]}" update >/dev/null 2>&1 || true
  (cd "$root" && apt-get "${options[@]}" download libjpeg62-turbo-dev)
  dpkg -x "$root"/libjpeg62-turbo-dev_*.deb "$root"
}

# build TARGET: jpg_count for it, in $folder/TARGET.
build() {
  local architecture triplet toolchain
  case $1 in
    v5) architecture=armel triplet=arm-linux-gnueabi toolchain=arm ;;
    v7*) architecture=armhf triplet=arm-linux-gnueabihf toolchain=armhf ;;
    v8) architecture=arm64 triplet=aarch64-linux-gnu toolchain=aarch64 ;;
  esac
  unpack $architecture
  local root=$folder/$architecture/usr
  cmake -S . -B "$folder/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release -DJPG_TESTS=OFF -DJPG_BENCH=ON \
    -DCMAKE_CXX_FLAGS_RELEASE="$flags -DNDEBUG" \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$toolchain.cmake" \
    -DJPEG_INCLUDE_DIR="$root/include" -DJPEG_LIBRARY="$root/lib/$triplet/libjpeg.a" \
    -DCMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES="$root/include/$triplet" >/dev/null
  cmake --build "$folder/$1" --target jpg_count >/dev/null
}

# run TARGET WORDS...: the program on the target's processor.
run() {
  # libjpeg-turbo looks for NEON in a file that isn't the emulated processor's.
  local emulator
  case $1 in
    v5) emulator=(env JSIMD_FORCENONE=1 qemu-arm -cpu pxa270) ;;
    v7) emulator=(env JSIMD_FORCENONE=1 qemu-arm -cpu "cortex-a9,neon=off") ;;
    v7-neon) emulator=(env JSIMD_FORCENEON=1 qemu-arm -cpu cortex-a9) ;;
    v8) emulator=(qemu-aarch64 -cpu cortex-a53) ;;
  esac
  local program=$folder/$1/bench/jpg_count
  shift
  "${emulator[@]}" -plugin "$folder/count.so" "$program" "$@"
}

# counts TARGET NAME SIZE SIDE: lines "count function" of one call, and of "total" and
# "pixels".
counts() {
  local one=$folder/one.$$ two=$folder/two.$$
  JPG_COUNTS=$one run "$@" 1 >/dev/null
  printf '%s pixels\n' "$(JPG_COUNTS=$two run "$@" 2)"
  awk 'NR == FNR { before[$2] = $1; next }
       $1 > before[$2] { printf "%.0f %s\n", $1 - before[$2], $2 }' "$one" "$two"
  rm -f "$one" "$two"
}

# One workload: a line of the table, or the most expensive functions.
report() {
  local target=$1 name=$2 size=$3 ours theirs pixels
  if [ $functions = yes ]; then
    for side in ours theirs; do
      printf '\n%s, %s, %s, instructions a pixel:\n' "$name" "$size" $side
      counts "$target" "$name" "$size" $side | sort -rn | c++filt | awk '
        $2 == "pixels" && NF == 2 { pixels = $1; next }
        { line[n++] = $0 }
        END { for (i = 0; i < n && i < 16; i++) { split(line[i], part, " ")
          printf "%8.2f  %s\n", part[1] / pixels, substr(line[i], index(line[i], " ") + 1) } }'
    done
    return
  fi
  ours=$(counts "$target" "$name" "$size" ours)
  theirs=$(counts "$target" "$name" "$size" theirs | sed -n 's/ total$//p')
  pixels=$(sed -n 's/ pixels$//p' <<<"$ours")
  ours=$(sed -n 's/ total$//p' <<<"$ours")
  # docs/performance.md is made of the lines of arm.txt.
  local results=$folder/results/arm.txt
  case $target in v7-neon | v8) results=$folder/results/neon.txt ;; esac
  echo "$target|$name|$size|$pixels|$ours|$theirs" >>"$results"
  awk -v n="$name" -v s="$size" -v p="$pixels" -v a="$ours" -v b="$theirs" 'BEGIN {
    printf "| %s | %s | %.1f | %.1f | %.2f |\n", n, s, a / p, b / p, b / a }'
}

scripts/setup.sh build bench-arm
mkdir -p "$folder/pictures" "$folder/results"
[ -n "$only" ] || rm -f "$folder/results/arm.txt" "$folder/results/neon.txt"
cc -O2 -shared -fPIC -fvisibility=hidden -o "$folder/count.so" bench/countPlugin.c
for target in "${targets[@]}"; do
  build "$target"
  case $target in
    v5) echo "ARMv5TE, $flags" ;;
    v7) echo "ARMv7, Thumb-2, $flags" ;;
    v7-neon) echo "ARMv7, Thumb-2, NEON, $flags" ;;
    v8) echo "AArch64, $flags" ;;
  esac
  [ $functions = yes ] || printf '\n%s\n%s\n' \
    "| workload | size | ours, instructions a pixel | theirs | ratio |" \
    "|---|---|---:|---:|---:|"
  run "$target" --list | while IFS=$'\t' read -r name size; do
    [[ $name == *"$only"* ]] || continue
    # The first run makes the pictures and keeps them; it isn't counted.
    run "$target" "$name" "$size" ours 0 </dev/null >/dev/null
    report "$target" "$name" "$size" </dev/null
  done
  echo
done
