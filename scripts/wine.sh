#!/usr/bin/env bash
# Runs a 64-bit Windows program: wine.sh PROGRAM [argument...]
# The first run creates a Wine prefix in the folder that WINEPREFIX names, or in the build
# folder. It has no display and none of the user's settings.
# SPDX-License-Identifier: MIT
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/wine}
export WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" WINELOADER=/usr/lib/wine/wine64
# File names are UTF-8, whatever the caller's locale.
export LC_ALL=C.UTF-8
unset DISPLAY

mkdir -p "$(dirname "$WINEPREFIX")"
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  # If several start at once, one creates the prefix and the others wait.
  exec 9>"$WINEPREFIX.lock"
  flock 9
  [ -f "$WINEPREFIX/system.reg" ] || "$WINELOADER" wineboot --init >/dev/null 2>&1 9>&-
  exec 9>&-
fi
exec "$WINELOADER" "$@"
