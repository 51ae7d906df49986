// SPDX-License-Identifier: MIT
// Prints how and where a picture was taken: exif IN.jpg
#include <cstdio>

#include "jpg.hpp"

namespace {

void print(const jpg::ExifData &exif) {
  std::printf("orientation: %u\n", static_cast<unsigned>(exif.orientation()));
  const auto date = exif.find(jpg::ExifDirectory::kExif, jpg::tag::kDateTimeOriginal);
  if (date) {
    const auto text = date->text();
    std::printf("date: %.*s\n", static_cast<int>(text.size()), text.data());
  }
  const auto position = exif.position();
  if (position) std::printf("position: %.6f, %.6f\n", position->latitude, position->longitude);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: exif IN.jpg\n");
    return 2;
  }
  const auto exif = jpg::Reader::file(argv[1]).andThen(
      [](jpg::Reader reader) { return jpg::ExifData::of(reader.handle()); });
  if (exif) print(*exif);
  if (!exif) std::fprintf(stderr, "%s: %s\n", argv[1], exif.status().text());
  return exif ? 0 : 1;
}
