// SPDX-License-Identifier: MIT
// Buffers for bitmaps on their way, by the library's own headers.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "faulty.h"
#include "win/jpgDib.h"
#include "win/jpgReduce.h"

namespace {

using namespace jpg;

class DibBuffer : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
  void TearDown() override { EXPECT_EQ(faulty::liveBlocks(), 0u); }
};

struct Shape {
  int32_t bitsPerPixel, width, height, stride;
  int32_t strideThen;
  uint32_t size;  // strideThen * height and 4 bytes more
};

TEST_F(DibBuffer, HasRowsWithoutPaddingWhereNoStrideIsGiven) {
  constexpr Shape kShapes[] = {{8, 5, 3, 0, 5, 19},    {8, 5, 3, 8, 8, 28},   {24, 5, 3, 0, 15, 49},
                               {24, 5, 3, 16, 16, 52}, {16, 7, 1, 0, 14, 18}, {32, 1, 2, 0, 4, 12}};
  for (const Shape &shape : kShapes) {
    JpgRect rect = {};
    rect.bitsPerPixel = shape.bitsPerPixel;
    rect.width = shape.width;
    rect.height = shape.height;
    rect.stride = shape.stride;
    ASSERT_EQ(allocateDibBuffer(&rect), JPG_OK);
    EXPECT_EQ(rect.stride, shape.strideThen) << shape.bitsPerPixel;
    EXPECT_EQ(rect.size, shape.size) << shape.bitsPerPixel;
    EXPECT_EQ(faulty::liveBytes(), shape.size) << shape.bitsPerPixel;
    const auto *bytes = static_cast<const uint8_t *>(rect.bits);
    EXPECT_TRUE(std::all_of(bytes, bytes + rect.size, [](uint8_t b) { return b == 0; }));
    EXPECT_EQ(freeDibBuffer(&rect), JPG_OK);
    EXPECT_EQ(rect.bits, nullptr);
  }
}

TEST_F(DibBuffer, OfNoSizeOrBeyondTheLargestBlockCannotBeHad) {
  // The largest block has 2^31 - 1 bytes, four of them behind the rows.
  constexpr int32_t kHeights[] = {-1, 0x7FFFFFFF - 3, 0x7FFFFFFF};
  for (const int32_t height : kHeights) {
    JpgRect rect = {};
    rect.bitsPerPixel = 8;
    rect.width = 4;
    rect.height = height;
    rect.stride = height < 0 ? 4 : 1;
    EXPECT_EQ(allocateDibBuffer(&rect), JPG_E_OUT_OF_MEMORY) << height;
    EXPECT_EQ(rect.bits, nullptr) << height;
  }
  EXPECT_EQ(faulty::calls(faulty::Operation::kAlloc), 0u);
}

TEST_F(DibBuffer, ThatIsNotThereCannotBeFreed) {
  JpgRect rect = {};
  EXPECT_EQ(freeDibBuffer(&rect), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(freeDibBuffer(nullptr), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(faulty::calls(faulty::Operation::kFree), 0u);
}

TEST_F(DibBuffer, ThatTheHeapRefusesIsForgotten) {
  JpgRect rect = {};
  rect.bitsPerPixel = 24;
  rect.width = rect.height = 1;
  ASSERT_EQ(allocateDibBuffer(&rect), JPG_OK);
  faulty::arm(faulty::Operation::kFree, faulty::Fault::kFail, 1);
  EXPECT_EQ(freeDibBuffer(&rect), JPG_E_FAIL);
  EXPECT_EQ(rect.bits, nullptr);
}

// The errors of two rows of pixels of three words each.
TEST_F(DibBuffer, ForTheErrorsOfReducedColoursHas24BytesAColumn) {
  std::vector<uint8_t> pixels(3 * 100, 77), reduced(100);
  JpgRect from = {}, to = {};
  from.width = to.width = 100;
  from.height = to.height = 1;
  from.stride = 300;
  to.stride = 100;
  from.bits = pixels.data();
  to.bits = reduced.data();
  ASSERT_EQ(reduceColors(8, from, to), JPG_OK);
  EXPECT_EQ(faulty::peakBytes(), 2400u);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
}

TEST(DibRect, BeginsWithTheLastRowOfABitmapOfPositiveHeight) {
  // Rows of 4 bytes; the call's lines count, whatever the bitmap's height.
  uint8_t bits[3 * 4] = {};
  for (const int32_t height : {-3, -1, 0, 1, 2, 3}) {
    BITMAPINFO bmi = {};
    bmi.bmiHeader.biWidth = 3;
    bmi.bmiHeader.biHeight = height;
    bmi.bmiHeader.biBitCount = 8;
    JpgRect rect = {};
    ASSERT_EQ(makeDibRect(bmi.bmiHeader, {2, 3, 1}, 3, bits, &rect), JPG_OK);
    EXPECT_EQ(rect.stride, height < 1 ? 4 : -4) << height;
    EXPECT_EQ(rect.bits, height < 1 ? bits : bits + 8) << height;
    EXPECT_EQ(rect.width, 2) << height;
    EXPECT_EQ(rect.height, 3) << height;
  }
}

struct RowBytes {
  int32_t width;
  uint32_t bitsPerPixel;
  uint32_t bytes;  // whole 32-bit words; 0 where there are no rows, or too long ones
};

TEST(DibRows, AreWholeWordsOfAtMost2To31MinusOneBytes) {
  constexpr RowBytes kRows[] = {{1, 1, 4},           {32, 1, 4},
                                {33, 1, 8},          {7, 4, 4},
                                {9, 4, 8},           {4, 8, 4},
                                {5, 8, 8},           {1, 24, 4},
                                {3, 24, 12},         {0, 24, 0},
                                {-1, 24, 0},         {0x1FFFFFFF, 32, 0x7FFFFFFC},
                                {0x20000000, 32, 0}, {0x7FFFFFFC, 8, 0x7FFFFFFC},
                                {0x7FFFFFFD, 8, 0},  {0x7FFFFFFF, 32, 0}};
  for (const RowBytes &row : kRows) {
    EXPECT_EQ(dibRowBytes(row.width, row.bitsPerPixel), row.bytes)
        << row.width << " " << row.bitsPerPixel;
  }
}

}  // namespace
