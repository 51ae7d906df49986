// SPDX-License-Identifier: MIT
// The table of magnitude categories and additional bits.
#include "write/jpgWMagnitude.h"

#include <gtest/gtest.h>

namespace {

using namespace jpg;

// EXTEND of T.81 Figure F.12, as printed.
int32_t extend(int32_t v, uint32_t category) {
  const int32_t vt = category == 0 ? 0 : 1 << (category - 1);
  return v < vt ? v + static_cast<int32_t>(~0U << category) + 1 : v;
}

TEST(Magnitudes, AreWhatADecoderExtendsToTheValue) {
  for (int32_t v = -kMaxMagnitude; v <= kMaxMagnitude; v++) {
    const Magnitude m = magnitudeOf(v);
    const auto bits = static_cast<int32_t>(m.bits());
    ASSERT_LE(m.category(), 11U) << v;
    ASSERT_LT(bits, 1 << m.category()) << v;
    ASSERT_EQ(extend(bits, m.category()), v);
  }
}

// T.81 Table F.1: category s holds 2^(s-1) to 2^s - 1 and their negatives.
TEST(Magnitudes, HaveTheCategoriesOfTheStandard) {
  EXPECT_EQ(magnitudeOf(0).category(), 0U);
  for (uint32_t s = 1; s <= 11; s++) {
    for (const int32_t v : {1 << (s - 1), (1 << s) - 1}) {
      EXPECT_EQ(magnitudeOf(v).category(), s) << v;
      EXPECT_EQ(magnitudeOf(-v).category(), s) << -v;
    }
  }
}

}  // namespace
