// SPDX-License-Identifier: MIT
// A photograph as a PPM file: photo IN.jpg OUT.ppm
#include <cstdio>

#include "jpg.hpp"

int main(int argc, char **argv) {
  if (argc != 3) return 64;
  const jpg::Result<jpg::Picture> picture = jpg::read(argv[1]);
  if (!picture) return std::fprintf(stderr, "%s: %s\n", argv[1], picture.status().text()), 1;
  const uint32_t channels = picture->layout().channels;
  std::FILE *out = std::fopen(argv[2], "wb");
  if (out == nullptr) return 1;
  std::fprintf(out, "P6\n%u %u\n255\n", picture->width(), picture->height());
  const jpg::Span<uint8_t> samples = picture->samples();  // blue, green, red, or grey
  for (size_t i = 0; i + channels <= samples.size(); i += channels) {
    for (uint32_t k = 0; k < 3; k++)
      std::fputc(samples.data()[i + (channels == 3 ? 2 - k : 0)], out);
  }
  return std::fclose(out) == 0 ? 0 : 1;
}
