#!/usr/bin/env bash
# Makes the source tarball and all packages of the commit checked out twice, from clones and in folders of
# different names, at different times, under different user settings, and compares them byte by byte:
#   reproduce.sh FOLDER
# FOLDER receives them. Status 1 when two files differ.
# SPDX-License-Identifier: MIT
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ $# -ne 1 ] || [ "$1" = -h ] || [ "$1" = --help ]; then
  sed -n '2,6s/^# \{0,1\}//p' "$0"
  [ $# -eq 1 ] && exit 0
  exit 64
fi
mkdir -p "$1"
out=$(cd "$1" && pwd)
cd "$root"
scripts/setup.sh build packages win32 win64
commit=$(git rev-parse HEAD)
version=$(sed -n 's/.*JPG_VERSION_STRING "\(.*\)".*/\1/p' include/jpg.h)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A compiler's cache would hide what depends on the place.
export CCACHE_DISABLE=1
unset SOURCE_DATE_EPOCH

# make PLACE FOLDER: the tarball of a clone, then the packages of the unpacked tarball.
make() {
  mkdir -p "$work/$1" "$2"
  git clone -q --no-local --no-checkout "$root" "$work/$1/clone"
  git -C "$work/$1/clone" archive --format=tar --prefix="jpg-$version/" "$commit" | gzip -9n \
    >"$2/jpg-$version.tar.gz"
  tar -xzf "$2/jpg-$version.tar.gz" -C "$work/$1"
  "$work/$1/jpg-$version/scripts/packages.sh" "$2"
  rm -rf "${work:?}/$1"
}

echo "== First"
make one "$out"
echo "== Second"
(umask 027 && TZ=Asia/Tokyo LC_ALL=C HOME=$work make "another place" "$work/second")

echo "== Comparing"
status=0
for file in "$work/second"/*; do
  name=${file##*/}
  if cmp "$file" "$out/$name"; then
    printf 'the same: %s\n' "$name"
  else
    status=1
  fi
done
exit $status
