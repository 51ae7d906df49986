#!/usr/bin/env bash
# Builds the library and its tool and decodes JPEG files to pictures:
# decode.sh [FILE...]
# The pictures go to the folder out/. Without arguments the sample photograph is
# decoded. Installs what is missing first.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/setup.sh" build
(
  cd "$root"
  cmake --preset release -DJPG_TESTS=OFF -B build/decode >/dev/null
  cmake --build build/decode --target jpgtool
) >&2
mkdir -p "$root/out"
[ $# -gt 0 ] || set -- "$root/examples/sample.jpg"
for file in "$@"; do
  name=$(basename "$file")
  picture="$root/out/${name%.*}.bmp"
  "$root/build/decode/tools/jpgtool" decode "$file" -o "$picture"
  echo "$picture"
done
