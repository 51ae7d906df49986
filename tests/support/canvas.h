// SPDX-License-Identifier: MIT
// A pixel buffer with guard bytes before, between and behind its rows.
#ifndef JPG_TESTS_SUPPORT_CANVAS_H
#define JPG_TESTS_SUPPORT_CANVAS_H

#include <jpg.h>

#include <cstdint>

#include "support/bytes.h"

namespace jpgtest {

enum class RowOrder { kTopDown, kBottomUp };

class Canvas {
 public:
  static constexpr uint8_t kGuard = 0xA5;

  // Room for `rows` rows of `width` pixels, all bytes kGuard.
  Canvas(int32_t width, int32_t rows, int32_t pixelBytes, RowOrder order = RowOrder::kTopDown);

  // The rectangle from this row on. The fields that readers don't look at hold nonsense.
  JpgRect rect(int32_t firstRow = 0);
  // The bytes of a row of pixels.
  Bytes row(int32_t row) const;
  // All rows from the top, without guards.
  Bytes pixels() const;
  // Everything, for comparing two canvases.
  const Bytes &memory() const { return memory_; }
  bool guardsIntact() const;
  bool untouched() const;

 private:
  static constexpr int32_t kMargin = 64;
  size_t offset(int32_t row) const;

  int32_t width_;
  int32_t rows_;
  int32_t pixelBytes_;
  RowOrder order_;
  int32_t pitch_;
  Bytes memory_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_CANVAS_H
