// SPDX-License-Identifier: MIT
// Instantiates what the headers have, for their warnings.
#include "jpg.hpp"
#include "jpg/exif.h"
#include "jpg/paths.h"

uint32_t copy(const char *from, const char *to);

uint32_t copy(const char *from, const char *to) {
  const jpg::Result<jpg::Picture> picture = jpg::read(from);
  if (!picture) return picture.code();
  jpg::Result<jpg::Reader> reader = jpg::Reader::file(from);
  if (!reader) return reader.code();
  if (const auto bitmap = reader->bitmap(); !bitmap) return bitmap.code();
  if (const auto exif = jpg::ExifData::of(reader->handle()); exif && exif->position()) return 0;
  JpgWChar path[JPG_PATH_UNITS];
  return jpgPathFromUtf8(to, path) == JPG_OK ? jpg::write(path, *picture).code() : JPG_E_FAIL;
}
