// SPDX-License-Identifier: MIT
// Constant tables, against the standard's own figures.
#include <gtest/gtest.h>

#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace {

using namespace jpg;

TEST(Tables, ZigZagIsTheStandardsFigure5) {
  // T.81 Figure 5: the position of every coefficient, row by row.
  constexpr int kPosition[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
                                 3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
                                 10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
                                 21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};
  for (int i = 0; i < 64; i++) EXPECT_EQ(kZigZag.natural[kPosition[i]], i);
}

TEST(Tables, ExtendFollowsTheStandardsTable) {
  // T.81 Table F.1: category s stands for -(2^s - 1) .. -2^(s-1) and 2^(s-1) .. 2^s - 1.
  const auto extend = [](int v, int s) {
    return v >= kExtend.threshold[s] ? v : v + kExtend.offset[s];
  };
  EXPECT_EQ(extend(0, 0), 0);
  int power = 1;  // 2^(s - 1)
  for (int s = 1; s <= 15; s++, power *= 2) {
    EXPECT_EQ(extend(0, s), -(2 * power - 1)) << s;      // all bits 0
    EXPECT_EQ(extend(power - 1, s), -power) << s;        // 0 and all bits 1
    EXPECT_EQ(extend(power, s), power) << s;             // 1 and all bits 0
    EXPECT_EQ(extend(2 * power - 1, s), 2 * power - 1);  // all bits 1
  }
  EXPECT_EQ(kExtend.threshold[0], 0);
  EXPECT_EQ(kExtend.offset[0], 0);
  EXPECT_EQ(kExtend.threshold[1], 1);
  EXPECT_EQ(kExtend.offset[1], -1);
  EXPECT_EQ(kExtend.threshold[3], 4);
  EXPECT_EQ(kExtend.offset[3], -7);
  EXPECT_EQ(kExtend.threshold[15], 16384);
  EXPECT_EQ(kExtend.offset[15], -32767);
}

TEST(Arithmetic, WrapsAndShiftsAsA32BitProcessor) {
  EXPECT_EQ(wrapAdd(INT32_MAX, 1), INT32_MIN);
  EXPECT_EQ(wrapSub(INT32_MIN, 1), INT32_MAX);
  EXPECT_EQ(wrapMul(65536, 65536), 0);
  EXPECT_EQ(wrapMul(INT32_MAX, 2), -2);
  EXPECT_EQ(wrapShl(-1, 31), INT32_MIN);
  EXPECT_EQ(asr(-5, 1), -3);
  EXPECT_EQ(asr(5, 1), 2);
  EXPECT_EQ(low16(65535), -1);
  EXPECT_EQ(low16(-32769), 32767);
}

}  // namespace
