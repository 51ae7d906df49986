// SPDX-License-Identifier: MIT
// The benchmarks' pictures, and how they are prepared before a measurement.
#ifndef JPG_BENCH_PICTURE_H
#define JPG_BENCH_PICTURE_H

#include <cstddef>
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

  Picture() = default;
  Picture(uint32_t w, uint32_t h, uint32_t c = 3, uint32_t b = 8)
      : width(w), height(h), channels(c), bits(b), pixels(rowBytes() * h) {}
  size_t pixelBytes() const { return size_t{channels} * (bits > 8 ? 2 : 1); }
  size_t rowBytes() const { return pixelBytes() * width; }
  uint8_t *at(uint32_t x, uint32_t y) { return &pixels[rowBytes() * y + pixelBytes() * x]; }
  const uint8_t *at(uint32_t x, uint32_t y) const {
    return &pixels[rowBytes() * y + pixelBytes() * x];
  }
  uint64_t count() const { return uint64_t{width} * height; }
};

// The contents of a file; empty when it can't be read.
Bytes readFile(const std::string &name);
bool writeFile(const std::string &name, const Bytes &data);

// A pseudo-random number from a position and a seed.
uint32_t hashOf(uint32_t x, uint32_t y, uint32_t seed);

// Scales down: each pixel is the mean of a square of `side` pixels; incomplete squares are dropped.
Picture boxed(const Picture &picture, uint32_t side);
// The luminance of squares of 2 x 2 colour pixels as 16-bit samples: twelve bits, with three bits
// of noise below. The top bit is 0, as in pictures with headroom for highlights, so that no
// difference is 32768, which the library codes in its own way.
Picture boxedWords(const Picture &picture);
// (blue + 2 green + red) / 4.
Picture toGray(const Picture &picture);
// The middle of a picture.
Picture cropped(const Picture &picture, uint32_t width, uint32_t height);

// Computed pictures, the same bytes on every machine. With the features of photographs: soft
// gradients, edges and fine grain.
Picture makePhotograph(uint32_t width, uint32_t height);
// Independent samples: noise.
Picture makeNoise(uint32_t width, uint32_t height);
// Windows with titles and lines of small letters over a plain ground.
Picture makeScreen(uint32_t width, uint32_t height);

}  // namespace jpgbench

#endif
