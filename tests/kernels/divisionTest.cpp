// SPDX-License-Identifier: MIT
// Division by the reciprocals of quantisation steps, as jpgKernels.h describes it: every step,
// every coefficient.
#include <gtest/gtest.h>

#include <algorithm>

#include "kernels/jpgKernels.h"
#include "share/jpgQuant.h"
#include "share/jpgTables.h"

namespace {

using namespace jpg;

// (a * b) / 2^16 of 16-bit factors.
uint32_t upperHalf(uint32_t a, uint32_t b) { return (a * b) >> 16; }

uint32_t byReciprocals(uint32_t magnitude, const QuantReciprocals &q, uint32_t at) {
  const uint32_t n = magnitude + q.half[at];
  return upperHalf(upperHalf(n / 2 & ~3U, q.factor[at]), q.shift[at]);
}

TEST(QuantReciprocals, GiveTheQuotientOfEveryCoefficientAndStep) {
  for (uint32_t t = 1; t <= 255; t++) {
    const uint32_t step = 8 * t;
    uint32_t steps[64];
    std::fill(steps, steps + 64, step);
    QuantReciprocals q;
    makeReciprocals(steps, &q);
    ASSERT_LE(32768U + q.half[0], 65535U) << "the sum needs more than 16 bits";
    for (uint32_t magnitude = 0; magnitude <= 32768; magnitude++) {
      ASSERT_EQ(byReciprocals(magnitude, q, 0), (magnitude + step / 2) / step)
          << magnitude << " by " << step;
    }
  }
}

// Steps come in zig-zag order, reciprocals go in natural order.
TEST(QuantReciprocals, StandWhereTheirCoefficientsAre) {
  uint32_t steps[64];
  for (uint32_t k = 0; k < 64; k++) steps[k] = 8 * (3 * k + 1);
  QuantReciprocals q;
  makeReciprocals(steps, &q);
  for (uint32_t k = 0; k < 64; k++) {
    EXPECT_EQ(q.half[kZigZag.natural[k]], steps[k] / 2) << "position " << k;
    EXPECT_EQ(byReciprocals(20000, q, kZigZag.natural[k]), (20000 + steps[k] / 2) / steps[k])
        << "position " << k;
  }
}

}  // namespace
