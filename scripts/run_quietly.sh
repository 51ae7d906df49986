#!/usr/bin/env bash
# Runs a GoogleTest program and prints the number of tests that passed; if it fails, all its output:
#   run_quietly.sh [EMULATOR...] PROGRAM
# SPDX-License-Identifier: MIT
set -uo pipefail

output=$("$@" 2>&1)
status=$?
name=$(basename "${!#}")
if [ $status -eq 0 ]; then
  printf '%s: %s\n' "$name" "$(grep -F '  PASSED  ' <<<"$output")"
else
  printf '%s\n%s: exit status %d\n' "$output" "$name" $status
fi
exit $status
