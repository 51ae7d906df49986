// SPDX-License-Identifier: MIT
// The inverse transform as it shows in pictures: values worked out by hand, and the model.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

// The stored samples of a grey picture of one block, quantised by 1.
Bytes samplesOf(const Block &block) { return pixelsOf(encode(grayPicture({block})), {8, 8, 1}); }

Bytes rowsOf(const Bytes &samples) {
  Bytes all;
  for (const uint8_t sample : samples) append(all, Bytes(8, sample));
  return all;
}

TEST(RectTransform, ABlockOfZerosIsMiddleGrey) { EXPECT_EQ(Bytes(64, 128), samplesOf(Block{})); }

TEST(RectTransform, ADcValueAloneGivesFlatBlocks) {
  // w = (d * 2896 + 256) >> 9; sample = (w * 2896 + 65536) >> 17.
  const struct {
    int32_t dc;
    uint8_t sample;
  } kCases[] = {
      {8, 129},     // w = 45, (130320 + 65536) >> 17 = 1
      {4, 129},     // w = 23, (66608 + 65536) >> 17 = 1
      {-4, 127},    // w = -23, (-66608 + 65536) >> 17 = -1
      {3, 128},     // w = 17, 114768 >> 17 = 0
      {-3, 128},    // w = -17, 16304 >> 17 = 0
      {1016, 255},  // w = 5747, 16708848 >> 17 = 127
      {1024, 255},  // 128 is clamped
      {-1024, 0},   // w = -5792, -16708096 >> 17 = -128
      {-1032, 0},  {2047, 255}, {-2048, 0},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.dc);
    EXPECT_EQ(Bytes(64, c.sample), samplesOf(dcBlock(c.dc)));
  }
}

TEST(RectTransform, VerticalFrequencyOneTakesTheSquareInTheFirstPass) {
  // x1 = 100 in column 0: p = 401700, and q = x1 * x1 = 10000 where S1 would give 79900. Then
  // O0 = p, O3 = q, O1 = ((p + q + 2048) >> 12) * 2896 = 101 * 2896 = 292496 and
  // O2 = ((p - q + 2048) >> 12) * 2896 = 96 * 2896 = 278016. The work column is 785, 571, 543,
  // 20, -20, -543, -571, -785 (each (y + 256) >> 9), and a row of w is flat:
  // (w * 2896 + 65536) >> 17.
  Block block{};
  block[8] = 100;
  EXPECT_EQ(rowsOf({145, 141, 140, 128, 128, 116, 115, 111}), samplesOf(block));
}

TEST(RectTransform, HorizontalFrequencyOneIsThatOfTheTextbook) {
  // The first pass gives 100 * 2896 >> 9 = 566 in entry 0 + 8k of column 1; the second pass is the
  // transform as defined: 100 / 8 * sqrt(2) * cos((2 x + 1) pi / 16), to the nearest integer.
  Block block{};
  block[1] = 100;
  const Bytes samples = samplesOf(block);
  for (unsigned x = 0; x < 8; ++x) {
    const double exact = 12.5 * std::sqrt(2.0) * std::cos((2 * x + 1) * std::acos(-1.0) / 16);
    for (unsigned y = 0; y < 8; ++y) {
      EXPECT_NEAR(exact, samples[8 * y + x] - 128, 0.75) << x;
    }
  }
}

TEST(RectTransform, BlocksWithoutVerticalFrequencyOneAreWithinALevelOfTheExactTransform) {
  Random random(11);
  const double pi = std::acos(-1.0);
  for (int round = 0; round < 20; ++round) {
    Block block{};
    for (int i = 0; i < 6; ++i)
      block[static_cast<size_t>(random.between(0, 63))] = random.between(-60, 60);
    for (size_t u = 8; u < 16; ++u) block[u] = 0;
    const Bytes samples = samplesOf(block);
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) {
        double sum = 0;
        for (int v = 0; v < 8; ++v) {
          for (int u = 0; u < 8; ++u) {
            sum += (u == 0 ? std::sqrt(0.5) : 1) * (v == 0 ? std::sqrt(0.5) : 1) *
                   block[static_cast<size_t>(8 * v + u)] * std::cos((2 * x + 1) * u * pi / 16) *
                   std::cos((2 * y + 1) * v * pi / 16);
          }
        }
        EXPECT_NEAR(sum / 4, samples[static_cast<size_t>(8 * y + x)] - 128, 1.0);
      }
    }
  }
}

TEST(RectTransform, TheTextbookFirstPassOfTheModelIsTheExactTransformToo) {
  // The model with the textbook product serves as the yardstick for photographs: here it is
  // checked where the library's own first pass departs from it.
  Picture picture = grayPicture({Block{}});
  picture.components[0].blocks[0][8] = 100;
  Model textbook(FirstPass::kTextbook);
  ASSERT_RESULT(JPG_OK, textbook.openMemory(encode(picture), 0));
  Canvas canvas(8, 8, 1);
  ASSERT_RESULT(JPG_OK, textbook.readToRect(canvas.rect(), 8));
  for (int y = 0; y < 8; ++y) {
    const double exact = 12.5 * std::sqrt(2.0) * std::cos((2 * y + 1) * std::acos(-1.0) / 16);
    EXPECT_NEAR(exact, canvas.row(y)[0] - 128, 0.75) << y;
  }
}

TEST(RectTransform, SingleCoefficientsOfEveryFrequencyAndSign) {
  std::vector<Block> blocks;
  for (size_t i = 0; i < 64; ++i) {
    for (const int32_t value : {1, -1, 37, -300, 1023, -2000, 32767, -32767}) {
      Block block{};
      block[i] = value;
      if (i == 0) block[i] = value / 2;
      blocks.push_back(block);
    }
  }
  expectSamePicture(grayPicture(blocks));
}

TEST(RectTransform, PairsOfLargeCoefficientsWrapInThirtyTwoBits) {
  std::vector<Block> blocks;
  for (size_t i = 0; i < 64; ++i) {
    Block block{};
    block[i] = i == 0 ? 16000 : 32767;
    block[63 - i] = i == 63 ? 16000 : -32767;
    block[8] = i % 2 == 0 ? 32767 : -32767;  // the square is near 2^30
    blocks.push_back(block);
  }
  expectSamePicture(grayPicture(blocks));
}

TEST(RectTransform, RandomBlocksOfEverySize) {
  for (uint32_t seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    std::vector<Block> blocks(1024);
    const int32_t limit = 1 << (4 + seed);
    for (Block &block : blocks) {
      for (int32_t &c : block) c = random.oneIn(4) ? random.between(1 - limit, limit - 1) : 0;
      block[0] /= 2;
    }
    expectSamePicture(grayPicture(blocks));
  }
}

}  // namespace
}  // namespace jpgtest
