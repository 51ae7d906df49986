#!/usr/bin/env bash
# Checks the format of all sources and runs static analysis over the library.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build lint clang
git ls-files '*.cpp' '*.hpp' '*.h' '*.c' | xargs clang-format-14 --dry-run -Werror
cmake --preset clang -DJPG_TESTS=OFF -B build/lint >/dev/null
git ls-files 'src/share/*.cpp' 'src/read/*.cpp' 'src/write/*.cpp' 'src/exif/*.cpp' \
    'src/win/*.cpp' 'src/platform/posix/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy-14 -p build/lint --quiet --warnings-as-errors='*'
