#!/usr/bin/env bash
# Checks that a release can be made and makes all of its packages:
#   release.sh [--no-tests] VERSION FOLDER
# VERSION must be that of include/jpg.h and have a dated entry in CHANGELOG.md; the tree must be clean;
# the binary interface may only have grown since the last version's tag. FOLDER receives the source
# tarball, Debian packages, zips for Linux and Windows, the Python wheel, SHA256SUMS and an SBOM. The
# Debian packages are built twice, and must be the same to the byte.
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

step "The binary interface"
# packaging/abi holds the list of each released version, as it was then.
[ -n "$(ls packaging/abi)" ] || stop "packaging/abi has no list of a released version"
for list in packaging/abi/*.txt; do
  name=$(basename "$list" .txt)
  gone=$(comm -23 <(sort "$list") <(sort "tests/product/package/abi.${name##*.}.txt"))
  [ -z "$gone" ] || stop "since ${name%.*} the binary interface has lost: $gone"
done

SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

step "The source tarball"
git archive --format=tar --prefix="jpg-$version/" HEAD | gzip -9n >"$out/jpg-$version.tar.gz"

step "The Debian packages, twice"
scripts/setup.sh build packages
for turn in 1 2; do
  tar -xzf "$out/jpg-$version.tar.gz" -C "$work"
  # Both in the same place, as a builder of packages would.
  (cd "$work/jpg-$version" && cmake --preset debian >/dev/null &&
    cmake --build --preset debian --target jpg jpg_static jpgtool jpg_order >/dev/null &&
    cpack --config build/debian/CPackConfig.cmake -G DEB -B "$work/$turn" >/dev/null)
  rm -rf "${work:?}/jpg-$version"
done
for package in "$work"/1/*.deb; do
  cmp "$package" "$work/2/$(basename "$package")" || stop "two builds of a package differ"
  cp "$package" "$out"
done
lintian --fail-on error "$out"/*.deb >"$out/lintian.txt" 2>&1 || stop "lintian: see $out/lintian.txt"

if [ $tests = yes ]; then
  step "The tests, from the tarball"
  tar -xzf "$out/jpg-$version.tar.gz" -C "$work"
  (cd "$work/jpg-$version" && git init -q . && scripts/test.sh) || stop "tests fail"
fi

step "The zips"
cmake --preset release -DJPG_TESTS=OFF -B "$work/release" >/dev/null
cmake --build "$work/release" --target jpg jpg_static jpgtool >/dev/null
cpack --config "$work/release/CPackConfig.cmake" -G ZIP -B "$work/zip" >/dev/null
for target in win32 win64; do
  scripts/setup.sh "$target"
  cmake --preset "$target" -DJPG_TESTS=OFF -B "$work/$target" >/dev/null
  cmake --build "$work/$target" --target jpg jpg_static jpgtool >/dev/null
  cpack --config "$work/$target/CPackConfig.cmake" -G ZIP -B "$work/zip" >/dev/null
done
cp "$work"/zip/*.zip "$out"

step "The wheel"
cp -r bindings/python "$work/python"
cp "$work/release/src/libjpg.so.0" "$work/python/jpg/"
/usr/bin/python3 -m pip wheel -q --no-build-isolation --no-index --no-deps -w "$out" "$work/python"

step "Checksums and SBOM"
scripts/sbom.py "$version" "$out" >"$work/sbom.json"
mv "$work/sbom.json" "$out/jpg-$version.spdx.json"
(cd "$out" && rm -f SHA256SUMS && sha256sum -- *.* >"$work/sums" && mv "$work/sums" SHA256SUMS)
step "Done: $out"
ls -1 "$out"
