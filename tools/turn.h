// SPDX-License-Identifier: MIT
// Turning pictures as Exif's orientation says.
#ifndef JPGTOOL_TURN_H
#define JPGTOOL_TURN_H

#include <cstddef>
#include <cstdint>

namespace jpgtool {

// Puts the pixels of a row where they belong in the turned picture.
class Turn {
 public:
  Turn() = default;
  // `orientation` 1 to 8 of a picture of that size, which has rows without padding; `pixelBytes` of
  // a pixel.
  Turn(uint32_t orientation, uint32_t width, uint32_t height, size_t pixelBytes);

  bool isNone() const { return orientation_ <= 1; }
  uint32_t width() const { return swaps() ? height_ : width_; }  // of the turned picture
  uint32_t height() const { return swaps() ? width_ : height_; }

  // `turned` is the whole turned picture.
  void putRow(uint32_t y, const uint8_t *row, uint8_t *turned) const;

 private:
  bool swaps() const { return orientation_ >= 5; }

  uint32_t orientation_ = 1, width_ = 0, height_ = 0;
  size_t pixelBytes_ = 0;
};

}  // namespace jpgtool

#endif
