#!/usr/bin/env bash
# Makes the reference of the public headers: docs.sh [--no-install] [OUTPUT_DIR]
# The pages are in OUTPUT_DIR/html (default: build/docs). A warning is an error.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = --no-install ]; then
  shift
else
  scripts/setup.sh docs
fi
export JPG_DOCS_OUT=${1:-build/docs}
JPG_VERSION=$(sed -n 's/.*JPG_VERSION_STRING "\(.*\)".*/\1/p' include/jpg.h)
export JPG_VERSION
mkdir -p "$JPG_DOCS_OUT"
doxygen docs/Doxyfile
echo "$JPG_DOCS_OUT/html/index.html"
