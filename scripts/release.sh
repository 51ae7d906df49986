#!/usr/bin/env bash
# Checks that a release can be made and makes all of its packages:
#   release.sh [--no-tests] VERSION FOLDER
# VERSION must be that of include/jpg.h and have a dated entry in CHANGELOG.md; the tree must be clean;
# the binary interface may only have grown since earlier versions (packaging/abi). FOLDER receives the
# source tarball, Debian packages, zips for Linux and Windows, the Python wheel, SHA256SUMS and an SBOM.
# All are made twice and must be the same to the byte; the tests run from the tarball.
# SPDX-License-Identifier: MIT
set -euo pipefail
cd "$(dirname "$0")/.."

tests=yes
if [ "${1:-}" = --no-tests ]; then
  tests=no
  shift
fi
if [ $# -ne 2 ]; then
  sed -n '2,8s/^# \{0,1\}//p' "$0"
  exit 64
fi
version=$1
mkdir -p "$2"
out=$(cd "$2" && pwd)
stop() {
  printf 'release.sh: %s\n' "$*" >&2
  exit 1
}
step() { printf -- '-- %s\n' "$*"; }

step "Version, change log, tree"
grep -qx "#define JPG_VERSION_STRING \"$version\".*" include/jpg.h ||
  stop "include/jpg.h has another version than $version"
grep -qE "^## ${version//./\\.} \([0-9]{4}-[0-9]{2}-[0-9]{2}\)$" CHANGELOG.md ||
  stop "CHANGELOG.md has no dated entry \"## $version (YYYY-MM-DD)\""
grep -q "__version__ = \"$version\"" bindings/python/jpg/__init__.py ||
  stop "the Python module has another version"
[ -z "$(git status --porcelain)" ] || stop "the tree isn't clean"
[ -z "$(ls -A "$out")" ] || stop "$out isn't empty"

step "The binary interface"
# packaging/abi holds the list of each released version, as it was then.
[ -n "$(ls packaging/abi)" ] || stop "packaging/abi has no list of a released version"
for list in packaging/abi/*.txt; do
  name=$(basename "$list" .txt)
  gone=$(comm -23 <(sort "$list") <(sort "tests/product/package/abi.${name##*.}.txt"))
  [ -z "$gone" ] || stop "since ${name%.*} the binary interface has lost: $gone"
done

step "The packages, twice"
scripts/setup.sh build packages win32 win64
scripts/reproduce.sh "$out" || stop "two builds differ, or one failed"
lintian --allow-root --fail-on error,warning "$out"/*.deb || stop "lintian has found something"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ $tests = yes ]; then
  step "The tests, from the source tarball"
  corpus=${JPG_CORPUS:-$PWD/../shared/corpus}
  [ ! -d "$corpus" ] || export JPG_CORPUS=$corpus
  tar -xzf "$out/jpg-$version.tar.gz" -C "$work"
  (cd "$work/jpg-$version" && scripts/test.sh) || stop "tests fail"
fi

step "Checksums and SBOM"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
scripts/sbom.py "$version" "$out" >"$work/sbom.json"
mv "$work/sbom.json" "$out/jpg-$version.spdx.json"
(cd "$out" && sha256sum -- * >"$work/sums" && mv "$work/sums" SHA256SUMS)
step "Done: $out"
ls -1 "$out"
