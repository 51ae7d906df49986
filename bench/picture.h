// The pictures that the benchmarks work on.
#ifndef JPG_BENCH_PICTURE_H
#define JPG_BENCH_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace jpgbench {

using Bytes = std::vector<uint8_t>;

// Rows of interleaved samples, blue first; above 8 bits, words in the machine's byte order.
struct Picture {
  uint32_t width = 0, height = 0;
  uint32_t channels = 3;
  uint32_t bits = 8;
  Bytes pixels;

  size_t rowBytes() const { return size_t{width} * channels * (bits > 8 ? 2 : 1); }
  double megapixels() const { return static_cast<double>(width) * height / 1e6; }
};

// Settings for coding a picture.
struct Coding {
  int quality = 90;
  uint32_t sampling = 0x00221111;  // a byte a component, the first one highest
  bool progressive = false;
};

// The contents of a file; empty when it can't be read.
Bytes readFile(const std::string &name);

// A computed picture with the features of photographs: soft gradients, edges and fine grain. Every
// machine gets the same bytes.
Picture makePhotograph(uint32_t width, uint32_t height);

// A photograph of about so many megapixels: from the folder of real files if there is one,
// else computed.
Picture photographOf(const std::string &folder, double megapixels);

Picture toGray(const Picture &picture);
// Grey in 16 bits: green in the upper byte, noise like the picture's grain in the lower.
Picture toWords(const Picture &picture);
// The middle of a picture.
Picture cropped(const Picture &picture, uint32_t width, uint32_t height);

}  // namespace jpgbench

#endif
