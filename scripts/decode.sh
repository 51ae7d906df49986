#!/usr/bin/env bash
# Decodes JPEG files to pictures; builds the tool first where that is needed:
#   decode.sh [FILE...]
# The pictures go to the folder out/ where you stand, as FILE.bmp; their names are printed. Without
# arguments the sample photograph is decoded. A file that can't be decoded is told, and the others go on;
# the status is then 1. What is missing on a Debian machine is installed.
# SPDX-License-Identifier: MIT
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
case ${1:-} in
  -h | --help)
    sed -n '2,6s/^# \{0,1\}//p' "$0"
    exit 0
    ;;
esac

tool=$root/build/decode/tools/jpgtool
log=$root/build/decode.log
mkdir -p "$root/build"
"$root/scripts/setup.sh" build
if ! (cd "$root" && cmake --preset release -DJPG_TESTS=OFF -B build/decode &&
  cmake --build build/decode --target jpgtool) >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "decode.sh: building failed; all of it stands in $log" >&2
  exit 1
fi

[ $# -gt 0 ] || set -- "$root/examples/sample.jpg"
mkdir -p out
status=0
for file in "$@"; do
  name=${file##*/}
  picture=out/${name%.*}.bmp
  decoded=0
  "$tool" decode -o "$picture" -- "$file" || decoded=$?
  # 2: delivered with damage
  [ $decoded -eq 0 ] || [ $decoded -eq 2 ] || { status=1; continue; }
  echo "$picture"
done
exit $status
