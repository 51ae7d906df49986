#!/usr/bin/env bash
# Runs a Windows program: wine.sh PROGRAM [argument...]
# The first run creates a Wine prefix in the folder that WINEPREFIX names, or in the build
# folder. It has no display and none of the user's settings. Programs of 32 bits want the 32-bit
# Wine (scripts/setup.sh wine32) and have a prefix of their own.
# SPDX-License-Identifier: MIT
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
# The machine that a program's header names; 014c is that of 32 bits.
machine=
if [ -f "${1:-}" ]; then
  at=$(od -An -tu4 -j60 -N4 "$1")
  machine=$(od -An -tx2 -j$((at + 4)) -N2 "$1" | tr -d ' ')
fi
if [ "$machine" = 014c ]; then
  export WINEPREFIX=${WINEPREFIX:-$root/build/wine32} WINEARCH=win32 WINELOADER=/usr/lib/wine/wine
else
  export WINEPREFIX=${WINEPREFIX:-$root/build/wine} WINEARCH=win64 WINELOADER=/usr/lib/wine/wine64
fi
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
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
