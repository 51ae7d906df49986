#!/bin/sh
# The five tasks by the tool: tool.sh TASK IN OUT
# SPDX-License-Identifier: MIT
set -e
case $1 in
  photo) jpgtool decode "$2" -o "$3" ;;
  preview) jpgtool decode "$2" --scale 1/8 -o - | jpgtool encode - -o "$3" ;;
  attributes) jpgtool exif "$2" | grep -E 'Orientation|DateTimeOriginal|GPSL' ;;
  copy) jpgtool decode "$2" -o - | jpgtool encode - -o "$3" --quality 85 --copy "$2":exif ;;
  deep) jpgtool encode "$2" -o "$3" --lossless ;;
esac
