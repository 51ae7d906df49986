// The inverse transforms, beside a plain rewrite of their formulas.
#include "read/jpgRIdct.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include "read/jpgRScal.h"

namespace {

using namespace jpg;

using Block = std::array<int16_t, 64>;

// Sums and products modulo 2^32, from 64-bit ones; shifts round down.
int64_t wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// One line by the formulas, without skipping zeros.
void plainLine(const std::array<int64_t, 8> &x, int64_t x1S1, std::array<int64_t, 8> *y) {
  const int64_t p = wrap(x[1] * 4017 + x[7] * 799);
  const int64_t q = wrap(x1S1 - x[7] * 4017);
  const int64_t u = wrap(x[3] * 3406 + x[5] * 2276);
  const int64_t v = wrap(x[5] * 3406 - x[3] * 2276);
  const int64_t t1 = wrap(p - u), t2 = wrap(q - v);
  const std::array<int64_t, 4> o = {wrap(p + u), wrap((wrap(t1 + t2 + 2048) >> 12) * 2896),
                                    wrap((wrap(t1 - t2 + 2048) >> 12) * 2896), wrap(q + v)};
  const int64_t e0 = wrap((x[0] + x[4]) * 2896), e1 = wrap((x[0] - x[4]) * 2896);
  const int64_t r = wrap(x[2] * 3784 + x[6] * 1567), s = wrap(x[2] * 1567 - x[6] * 3784);
  const std::array<int64_t, 4> e = {wrap(e0 + r), wrap(e1 + s), wrap(e1 - s), wrap(e0 - r)};
  for (size_t k = 0; k < 4; k++) {
    (*y)[k] = wrap(e[k] + o[k]);
    (*y)[7 - k] = wrap(e[k] - o[k]);
  }
}

Block plainIdct(const Block &in) {
  std::array<std::array<int64_t, 8>, 8> work;
  std::array<int64_t, 8> x, y;
  for (size_t j = 0; j < 8; j++) {
    for (size_t k = 0; k < 8; k++) x[k] = in[8 * k + j];
    plainLine(x, x[1] * x[1], &y);  // the first pass squares x1
    for (size_t k = 0; k < 8; k++) work[k][j] = wrap(y[k] + 256) >> 9;
  }
  Block out;
  for (size_t r = 0; r < 8; r++) {
    plainLine(work[r], work[r][1] * 799, &y);
    for (size_t k = 0; k < 8; k++) {
      out[8 * r + k] = static_cast<int16_t>(static_cast<uint16_t>(wrap(y[k] + 65536) >> 17));
    }
  }
  return out;
}

void expectPlain(const Block &in) {
  Block out = in;
  jpgIdct8x8(out.data());
  EXPECT_EQ(out, plainIdct(in));
}

TEST(Idct, ZerosStayZeros) {
  Block block = {};
  jpgIdct8x8(block.data());
  EXPECT_EQ(block, Block{});
}

TEST(Idct, AFlatBlockFollowsItsFormula) {
  for (int d = -2048; d <= 2047; d++) {
    Block block = {};
    block[0] = static_cast<int16_t>(d);
    jpgIdct8x8(block.data());
    const int w = (d * 2896 + 256) >> 9;
    const int sample = (w * 2896 + 65536) >> 17;
    for (const int16_t s : block) ASSERT_EQ(s, sample) << d;
  }
}

TEST(Idct, ADcOf8GivesSamplesOf1) {
  Block block = {};
  block[0] = 8;
  jpgIdct8x8(block.data());
  for (const int16_t s : block) EXPECT_EQ(s, 1);
}

TEST(Idct, VerticalFrequency1DepartsFromTheTextbook) {
  Block block = {};
  block[8] = 100;
  Block out = block;
  jpgIdct8x8(out.data());
  EXPECT_EQ(out, plainIdct(block));
  // By hand: p = 401700, q = 10000 instead of 79900; rows 3 and 4 are +-q.
  const int w = (10000 + 256) >> 9;
  EXPECT_EQ(out[8 * 3], (w * 2896 + 65536) >> 17);
  const int textbook = (((79900 + 256) >> 9) * 2896 + 65536) >> 17;
  EXPECT_NE(out[8 * 3], textbook);
}

TEST(Idct, SingleCoefficientsOfEverySizeMatchTheFormulas) {
  for (size_t i = 0; i < 64; i++) {
    for (const int v : {-32768, -1025, -1, 1, 77, 2047, 32767}) {
      Block block = {};
      block[i] = static_cast<int16_t>(v);
      expectPlain(block);
    }
  }
}

TEST(Idct, RandomAndExtremeBlocksMatchTheFormulas) {
  std::mt19937 random(1);
  for (int n = 0; n < 3000; n++) {
    Block block = {};
    const int range = n % 3 == 0 ? 32767 : n % 3 == 1 ? 1023 : 40;
    for (int16_t &v : block) {
      if (random() % 4 == 0) v = static_cast<int16_t>(static_cast<int>(random() % 65536) % range);
      if (random() % 2 == 0) v = static_cast<int16_t>(-v);
    }
    expectPlain(block);
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
    jpgIdct8x8(full.data());
    jpgIdct4x4(half.data());
    jpgIdct2x2(quarter.data());
    EXPECT_NEAR(half[0], full[0], 1);
    for (const size_t i : {1u, 2u, 3u, 8u, 27u}) EXPECT_EQ(half[i], half[0]);
    EXPECT_EQ(quarter[0], (d + 4) >> 3);
    EXPECT_EQ(quarter[9], quarter[0]);
  }
}

TEST(ReducedIdct, QuarterSizeIsSumsAndDifferences) {
  Block block = {};
  block[0] = 80;
  block[1] = 16;
  block[8] = 24;
  block[9] = 4;
  jpgIdct2x2(block.data());
  EXPECT_EQ(block[0], (80 + 24 + 16 + 4 + 4) >> 3);
  EXPECT_EQ(block[1], (80 + 24 - 16 - 4 + 4) >> 3);
  EXPECT_EQ(block[8], (80 - 24 + 16 - 4 + 4) >> 3);
  EXPECT_EQ(block[9], (80 - 24 - 16 + 4 + 4) >> 3);
}

TEST(ReducedIdct, HalfSizeIsTheFourPointTransform) {
  // A textbook four-point transform in floating point, of the corner's coefficients.
  std::mt19937 random(2);
  for (int n = 0; n < 500; n++) {
    Block block = {};
    double in[4][4];
    for (size_t v = 0; v < 4; v++) {
      for (size_t u = 0; u < 4; u++) {
        in[v][u] = static_cast<int>(random() % 401) - 200;
        block[8 * v + u] = static_cast<int16_t>(in[v][u]);
      }
    }
    jpgIdct4x4(block.data());
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
        ASSERT_NEAR(block[8 * y + x], sum / 8, 1.01);
      }
    }
  }
}

TEST(FlatSample, IsTheSampleOfTheTransformForEveryDcCoefficient) {
  for (int32_t dc = -32768; dc <= 32767; dc++) {
    int16_t block[64] = {static_cast<int16_t>(dc)};
    jpgIdct8x8(block);
    limitBlock(block);
    const int16_t flat = flatSample(static_cast<int16_t>(dc));
    for (const int16_t sample : block) ASSERT_EQ(sample, flat) << "DC " << dc;
  }
}

}  // namespace
