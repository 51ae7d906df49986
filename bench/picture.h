// Pictures as the benchmarks hold them, and what is done to them ahead of a measurement.
#ifndef JPG_BENCH_PICTURE_H
#define JPG_BENCH_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace jpgbench {

using Bytes = std::vector<uint8_t>;

// Rows of interleaved samples, blue first; words of the machine above 8 bits.
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

// A number without a pattern, from a place and a seed.
uint32_t hashOf(uint32_t x, uint32_t y, uint32_t seed);

// Each pixel the mean of a square of `side` pixels; what doesn't fill one is left out.
Picture boxed(const Picture &picture, uint32_t side);
// The light of squares of 2 x 2 colour pixels as 16-bit samples: twelve bits of it, three of
// noise below. The uppermost bit is 0 as in pictures that keep a reserve for highlights, so
// that no difference is 32768, whose code the library writes in its own way.
Picture boxedWords(const Picture &picture);
// (blue + 2 green + red) / 4.
Picture toGray(const Picture &picture);
// The middle of a picture.
Picture cropped(const Picture &picture, uint32_t width, uint32_t height);

// Pictures by rule, the same bytes on every machine. What photographs have: soft gradients,
// edges and fine grain.
Picture makePhotograph(uint32_t width, uint32_t height);
// Every sample by itself.
Picture makeNoise(uint32_t width, uint32_t height);
// Windows with titles and lines of small letters over a plain ground.
Picture makeScreen(uint32_t width, uint32_t height);

}  // namespace jpgbench

#endif
