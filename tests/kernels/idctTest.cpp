// SPDX-License-Identifier: MIT
// The portable inverse transforms, beside values worked out by hand and the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "kernels/portable/jpgPortable.h"
#include "model/idct.h"
#include "share/jpgSamples.h"
#include "support/random.h"

namespace {

using namespace jpg;

using Block = std::array<int16_t, 64>;

constexpr uint32_t kAll = 63;  // coefficients may be anywhere

int clamped(int v) { return std::clamp(v, -128, 127); }

Block modelOf(Block block) {
  jpgtest::modelInverseDct(block, jpgtest::FirstPass::kSquared);
  return block;
}

void expectModel(const Block &in) {
  Block out = in;
  jpgIdct8x8(out.data(), kAll);
  EXPECT_EQ(out, modelOf(in));
}

TEST(Idct, ZerosStayZeros) {
  Block block = {};
  jpgIdct8x8(block.data(), kAll);
  EXPECT_EQ(block, Block{});
}

TEST(Idct, AFlatBlockFollowsItsFormula) {
  for (int d = -2048; d <= 2047; d++) {
    Block block = {};
    block[0] = static_cast<int16_t>(d);
    jpgIdct8x8(block.data(), kAll);
    const int w = (d * 2896 + 256) >> 9;
    const int sample = (w * 2896 + 65536) >> 17;
    for (const int16_t s : block) ASSERT_EQ(s, clamped(sample)) << d;
  }
}

TEST(Idct, ADcOf8GivesSamplesOf1) {
  Block block = {};
  block[0] = 8;
  jpgIdct8x8(block.data(), kAll);
  for (const int16_t s : block) EXPECT_EQ(s, 1);
}

TEST(Idct, VerticalFrequency1DepartsFromTheTextbook) {
  Block block = {};
  block[8] = 100;
  Block out = block;
  jpgIdct8x8(out.data(), kAll);
  EXPECT_EQ(out, modelOf(block));
  // By hand: p = 401700, q = 10000 instead of 79900; rows 3 and 4 are +-q.
  const int w = (10000 + 256) >> 9;
  EXPECT_EQ(out[8 * 3], (w * 2896 + 65536) >> 17);
  const int textbook = (((79900 + 256) >> 9) * 2896 + 65536) >> 17;
  EXPECT_NE(out[8 * 3], textbook);
}

TEST(Idct, SingleCoefficientsOfEverySizeMatchTheModel) {
  for (size_t i = 0; i < 64; i++) {
    for (const int v : {-32768, -1025, -1, 1, 77, 2047, 32767}) {
      Block block = {};
      block[i] = static_cast<int16_t>(v);
      expectModel(block);
    }
  }
}

TEST(Idct, RandomAndExtremeBlocksMatchTheModel) {
  jpgtest::Random random(1);
  for (int n = 0; n < 3000; n++) {
    Block block = {};
    const int range = n % 3 == 0 ? 32767 : n % 3 == 1 ? 1023 : 40;
    for (int16_t &v : block) {
      if (random.oneIn(4)) v = static_cast<int16_t>(random.between(0, 65535) % range);
      if (random.oneIn(2)) v = static_cast<int16_t>(-v);
    }
    expectModel(block);
  }
}

TEST(SampleLimit, IsTheClampedIdentityAndSaturatesBeyondTheTable) {
  EXPECT_EQ(jpgSampleLimit.entry[0], -128);
  EXPECT_EQ(jpgSampleLimit.entry[384], 0);
  EXPECT_EQ(jpgSampleLimit.entry[767], 127);
  for (int s = -40000; s <= 40000; s++) {
    ASSERT_EQ(limitSample(s), s < -128 ? -128 : s > 127 ? 127 : s);
  }
}

TEST(ReducedIdct, FlatBlocksGiveTheLevelOfTheFullTransform) {
  for (int d = -1024; d <= 1023; d++) {
    Block full = {}, half = {}, quarter = {};
    full[0] = half[0] = quarter[0] = static_cast<int16_t>(d);
    jpgIdct8x8(full.data(), kAll);
    jpgIdct4x4(half.data(), kAll);
    jpgIdct2x2(quarter.data(), kAll);
    EXPECT_NEAR(half[0], full[0], 1);
    for (const size_t i : {1u, 2u, 3u, 8u, 27u}) EXPECT_EQ(half[i], half[0]);
    EXPECT_EQ(quarter[0], clamped((d + 4) >> 3));
    EXPECT_EQ(quarter[9], quarter[0]);
  }
}

TEST(ReducedIdct, QuarterSizeIsSumsAndDifferences) {
  Block block = {};
  block[0] = 80;
  block[1] = 16;
  block[8] = 24;
  block[9] = 4;
  jpgIdct2x2(block.data(), kAll);
  EXPECT_EQ(block[0], (80 + 24 + 16 + 4 + 4) >> 3);
  EXPECT_EQ(block[1], (80 + 24 - 16 - 4 + 4) >> 3);
  EXPECT_EQ(block[8], (80 - 24 + 16 - 4 + 4) >> 3);
  EXPECT_EQ(block[9], (80 - 24 - 16 + 4 + 4) >> 3);
}

TEST(ReducedIdct, HalfSizeIsTheFourPointTransform) {
  // A textbook four-point transform in floating point, of the corner's coefficients.
  jpgtest::Random random(2);
  for (int n = 0; n < 500; n++) {
    Block block = {};
    double in[4][4];
    for (size_t v = 0; v < 4; v++) {
      for (size_t u = 0; u < 4; u++) {
        in[v][u] = random.between(-200, 200);
        block[8 * v + u] = static_cast<int16_t>(in[v][u]);
      }
    }
    jpgIdct4x4(block.data(), kAll);
    const double pi = std::acos(-1.0);
    for (size_t y = 0; y < 4; y++) {
      for (size_t x = 0; x < 4; x++) {
        double sum = 0;
        for (size_t v = 0; v < 4; v++) {
          for (size_t u = 0; u < 4; u++) {
            const double cu = u == 0 ? 1 : std::sqrt(2.0), cv = v == 0 ? 1 : std::sqrt(2.0);
            sum += cu * cv * in[v][u] * std::cos((2.0 * double(x) + 1) * double(u) * pi / 8) *
                   std::cos((2.0 * double(y) + 1) * double(v) * pi / 8);
          }
        }
        ASSERT_NEAR(block[8 * y + x], std::clamp(sum / 8, -128.0, 127.0), 1.01);
      }
    }
  }
}

TEST(FlatBlocks, AreTheSameWhetherToldOfOrNot) {
  for (int32_t dc = -32768; dc <= 32767; dc++) {
    Block told = {static_cast<int16_t>(dc)};
    Block untold = told;
    jpgIdct8x8(told.data(), 0);
    jpgIdct8x8(untold.data(), kAll);
    ASSERT_EQ(told, untold) << "DC " << dc;
  }
}

}  // namespace
