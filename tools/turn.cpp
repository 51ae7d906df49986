// SPDX-License-Identifier: MIT
#include "turn.h"

#include <cstring>

namespace jpgtool {

Turn::Turn(uint32_t orientation, uint32_t width, uint32_t height, size_t pixelBytes)
    : orientation_(orientation), width_(width), height_(height), pixelBytes_(pixelBytes) {}

// Which orientations mirror columns, rows, or exchange them: Exif 2.2, tag 274.
void Turn::putRow(uint32_t y, const uint8_t *row, uint8_t *turned) const {
  const bool mirrorX =
      orientation_ == 2 || orientation_ == 3 || orientation_ == 7 || orientation_ == 8;
  const bool mirrorY =
      orientation_ == 3 || orientation_ == 4 || orientation_ == 6 || orientation_ == 7;
  const size_t outY = mirrorY ? height_ - 1 - y : y;
  for (uint32_t x = 0; x < width_; x++, row += pixelBytes_) {
    const size_t outX = mirrorX ? width_ - 1 - x : x;
    const size_t place = swaps() ? outX * height_ + outY : outY * width_ + outX;
    std::memcpy(turned + place * pixelBytes_, row, pixelBytes_);
  }
}

}  // namespace jpgtool
