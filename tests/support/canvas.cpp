// SPDX-License-Identifier: MIT
#include "support/canvas.h"

#include <algorithm>

namespace jpgtest {

Canvas::Canvas(int32_t width, int32_t rows, int32_t pixelBytes, RowOrder order)
    : width_(width),
      rows_(rows),
      pixelBytes_(pixelBytes),
      order_(order),
      pitch_(width * pixelBytes + 5),
      memory_(static_cast<size_t>(pitch_ * rows + 2 * kMargin), kGuard) {}

size_t Canvas::offset(int32_t row) const {
  const int32_t place = order_ == RowOrder::kTopDown ? row : rows_ - 1 - row;
  return static_cast<size_t>(kMargin + place * pitch_);
}

JpgRect Canvas::rect(int32_t firstRow) {
  JpgRect rect{};
  rect.width = width_;
  rect.height = -77;
  rect.stride = order_ == RowOrder::kTopDown ? pitch_ : -pitch_;
  rect.bitsPerPixel = 8 * pixelBytes_;
  rect.channels = 99;
  rect.bitsPerSample = 3;
  rect.bits = memory_.data() + offset(firstRow);
  rect.size = 0;
  rect.reserved = 0xDEADBEEF;
  return rect;
}

Bytes Canvas::row(int32_t row) const {
  const auto first = memory_.begin() + static_cast<std::ptrdiff_t>(offset(row));
  return {first, first + width_ * pixelBytes_};
}

Bytes Canvas::pixels() const {
  Bytes all;
  for (int32_t y = 0; y < rows_; ++y) append(all, row(y));
  return all;
}

bool Canvas::guardsIntact() const {
  Canvas copy = *this;
  for (int32_t y = 0; y < rows_; ++y) {
    const auto first = copy.memory_.begin() + static_cast<std::ptrdiff_t>(offset(y));
    std::fill(first, first + width_ * pixelBytes_, kGuard);
  }
  return copy.untouched();
}

bool Canvas::untouched() const {
  return std::all_of(memory_.begin(), memory_.end(), [](uint8_t b) { return b == kGuard; });
}

}  // namespace jpgtest
