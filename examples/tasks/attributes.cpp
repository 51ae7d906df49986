// SPDX-License-Identifier: MIT
// Orientation, date and place of a photograph: attributes IN.jpg
#include <cstdio>
#include <string>

#include "jpg.hpp"

int main(int argc, char **argv) {
  if (argc != 2) return 64;
  const jpg::Result<jpg::Reader> reader = jpg::Reader::file(argv[1]);
  if (!reader) return std::fprintf(stderr, "%s: %s\n", argv[1], reader.status().text()), 1;
  const jpg::Result<jpg::ExifData> exif = jpg::ExifData::of(reader->handle());
  if (!exif) return std::fprintf(stderr, "%s: no Exif attributes\n", argv[1]), 1;
  std::printf("orientation %u\n", exif->orientation());
  if (const auto date = exif->find(jpg::ExifDirectory::kExif, jpg::tag::kDateTimeOriginal)) {
    std::printf("date %s\n", std::string(date->text()).c_str());
  }
  if (const auto place = exif->position()) {
    std::printf("place %.5f %.5f\n", place->latitude, place->longitude);
  }
  return 0;
}
