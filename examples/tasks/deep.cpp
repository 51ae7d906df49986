// SPDX-License-Identifier: MIT
// 16 bits without loss, from a PGM file and back: deep IN.pgm OUT.jpg
#include <cstdio>

#include "jpg.hpp"

int main(int argc, char **argv) {
  std::FILE *in = argc == 3 ? std::fopen(argv[1], "rb") : nullptr;
  unsigned width = 0, height = 0;
  if (in == nullptr || std::fscanf(in, "P5 %5u %5u 65535", &width, &height) != 2) return 64;
  std::fgetc(in);
  jpg::Result<jpg::Picture> picture = jpg::Picture::make({width, height, 1, 16});
  for (unsigned y = 0; picture && y < height; y++) {
    for (uint16_t &sample : picture->row16(y)) {
      const int high = std::fgetc(in);
      sample = static_cast<uint16_t>(high << 8 | std::fgetc(in));
    }
  }
  std::fclose(in);
  jpg::SaveSettings options;
  options.lossless = true;
  return picture && jpg::write(argv[2], *picture, options) ? 0 : 1;
}
