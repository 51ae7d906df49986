// SPDX-License-Identifier: MIT
// Rectangles over a bitmap's bits, below the interface.
#include <gtest/gtest.h>

#include "win/jpgDib.h"

namespace {

using namespace jpg;

BITMAPINFO bitmapOf(int32_t width, int32_t height, uint16_t depth) {
  BITMAPINFO bmi = {};
  bmi.bmiHeader.biWidth = width;
  bmi.bmiHeader.biHeight = height;
  bmi.bmiHeader.biBitCount = depth;
  return bmi;
}

// A row of 2^16 bytes, 2^15 of them and more: pointers of 32 bits don't reach the last.
TEST(DibRect, EndsWherePointersDo) {
  uint8_t bits[4];
  const bool narrow = sizeof(ptrdiff_t) == 4;
  const Result beyond = narrow ? JPG_E_INVALID_PARAMETER : JPG_OK;
  constexpr int32_t kRows = 1 << 15;
  const BITMAPINFO up = bitmapOf(1 << 14, kRows, 32), down = bitmapOf(1 << 14, -kRows, 32);
  const ImageShape shape = {1 << 14, kRows, 4};
  JpgRect rect;
  EXPECT_EQ(makeDibRect(up.bmiHeader, shape, kRows + 1, bits, &rect), beyond);
  EXPECT_EQ(makeDibRect(up.bmiHeader, shape, -kRows, bits, &rect), beyond);
  // From the top there is nothing to go to.
  EXPECT_EQ(makeDibRect(down.bmiHeader, shape, kRows + 1, bits, &rect), JPG_OK);
  EXPECT_EQ(makeDibRect(down.bmiHeader, shape, -kRows, bits, &rect), JPG_OK);
}

}  // namespace
