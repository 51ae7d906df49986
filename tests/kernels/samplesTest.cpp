// SPDX-License-Identifier: MIT
// The inverse transform with its limit, and the masks of present coefficients: every kernel
// against the plain one.
#include <algorithm>
#include <array>

#include "kernelSets.h"
#include "share/jpgTables.h"

namespace {

using jpgtest::KernelTest;
using jpgtest::Random;
using Block = std::array<int16_t, 64>;

constexpr int32_t kMost = 32767, kLeast = -32768;

int16_t narrow(int32_t v) { return static_cast<int16_t>(v); }

// A magnitude of 1 to 32768, each number of bits as likely as another.
int32_t anyMagnitude(Random *r) {
  const uint32_t top = 1U << r->below(16);
  return static_cast<int32_t>(top + r->below(top));
}

int16_t limited(int32_t v) { return narrow(v > kMost ? kMost : v < kLeast ? kLeast : v); }

// The coefficients at `places` of 64 places, on average, of up to `magnitude`.
void scatter(Random *r, uint32_t places, int32_t magnitude, Block *block) {
  for (int16_t &v : *block) {
    v = r->below(64) < places ? limited(r->between(-magnitude, magnitude)) : int16_t{0};
  }
}

using Fill = void (*)(Random *r, Block *block);

void sparse(Random *r, Block *block) { scatter(r, 4, 200, block); }
void sparseOfAnySize(Random *r, Block *block) { scatter(r, 4, anyMagnitude(r), block); }
void dense(Random *r, Block *block) { scatter(r, 64, 300, block); }
void denseOfAnySize(Random *r, Block *block) { scatter(r, 64, anyMagnitude(r), block); }
void full(Random *r, Block *block) {
  for (int16_t &v : *block) v = static_cast<int16_t>(r->between(-32768, 32767));
}
void extreme(Random *r, Block *block) {
  constexpr int16_t kValues[] = {-32768, 32767, 0, -32767, 32766, -1, 1, 0};
  const uint32_t kinds = 2 + 3 * r->below(3);  // the first 2, 5 or 8 of them
  for (int16_t &v : *block) v = kValues[r->below(kinds)];
}
// As a picture has them: falling with the frequency.
void falling(Random *r, Block *block) {
  const int32_t scale = anyMagnitude(r);
  for (int32_t i = 0; i < 64; i++) {
    const int32_t most = scale / (1 + (i / 8) * (i / 8) + (i % 8) * (i % 8));
    (*block)[static_cast<size_t>(i)] = limited(r->between(-most, most));
  }
}
// One column or one row.
void line(Random *r, Block *block) {
  block->fill(0);
  const uint32_t at = r->below(8);
  const bool row = r->below(2) != 0;
  const int32_t magnitude = anyMagnitude(r);
  for (uint32_t i = 0; i < 8; i++) {
    (*block)[row ? 8 * at + i : 8 * i + at] = limited(r->between(-magnitude, magnitude));
  }
}

// The first coefficients of the coded order alone, up to any of them.
void low(Random *r, Block *block) {
  block->fill(0);
  const uint32_t last = r->below(r->below(2) == 0 ? 12 : 64);
  const int32_t magnitude = anyMagnitude(r);
  for (uint32_t k = 0; k <= last; k++) {
    (*block)[jpg::kZigZag.natural[k]] = limited(r->between(-magnitude, magnitude));
  }
}
// Columns whose magnitudes sum up to about 2900, which is as far as the faster passes go.
void modest(Random *r, Block *block) {
  block->fill(0);
  const uint32_t last = 1 + r->below(r->below(2) == 0 ? 10 : 63), rows = 1 + r->below(8);
  for (uint32_t column = 0; column < 8; column++) {
    int32_t left = 2890 + r->between(0, 20);
    for (uint32_t i = 0; i < rows; i++) {
      const int32_t v = i + 1 == rows || r->below(3) == 0 ? left : r->between(0, left);
      int16_t *at = &(*block)[8 * r->below(8) + column];
      *at = narrow(*at != 0 ? *at : r->below(2) != 0 ? v : -v);
      left -= v;
    }
  }
  for (uint32_t k = last + 1; k < 64; k++) (*block)[jpg::kZigZag.natural[k]] = 0;
}

struct Distribution {
  const char *name;
  Fill fill;
};
constexpr Distribution kDistributions[] = {
    {"sparse", sparse},   {"sparse of any size", sparseOfAnySize},
    {"dense", dense},     {"dense of any size", denseOfAnySize},
    {"full", full},       {"extreme", extreme},
    {"falling", falling}, {"line", line},
    {"low", low},         {"modest", modest}};

// More than a million blocks in all.
constexpr uint32_t kBlocksEach = 110000;

class Samples : public KernelTest {
 protected:
  // Both kernels make the same of the block, told where its coefficients end or not, and of its
  // corners, by each transform.
  ::testing::AssertionResult agree(const Block &block) const {
    uint32_t last = 63;
    while (last > 0 && block[jpg::kZigZag.natural[last]] == 0) last--;
    ::testing::AssertionResult r = ::testing::AssertionSuccess();
    for (uint32_t t = 0; r && t < jpg::kTransforms; t++) {
      r = agreeUpTo(t, block, last);
      if (r && last != 63) r = agreeUpTo(t, block, 63);
      for (uint32_t scale = 0; r && scale < 3; scale++) r = cornersAgree(t, block, scale);
    }
    return r;
  }
  ::testing::AssertionResult agreeUpTo(uint32_t transform, const Block &block,
                                       uint32_t last) const {
    Block plain = block, best = block;
    defined_->inverseTransform[transform][3](plain.data(), last);
    tested_->inverseTransform[transform][3](best.data(), last);
    if (plain == best) return ::testing::AssertionSuccess();
    return jpgtest::sameBlocks(*tested_, nameOf(transform) + " up to " + std::to_string(last),
                               plain.data(), best.data());
  }
  // Of a corner, what lies outside of it doesn't matter.
  ::testing::AssertionResult cornersAgree(uint32_t transform, const Block &block,
                                          uint32_t scale) const {
    constexpr uint32_t kLastOfCorner = 24;  // row 3, column 3
    Block plain = block, best = block;
    defined_->inverseTransform[transform][scale](plain.data(), kLastOfCorner);
    tested_->inverseTransform[transform][scale](best.data(), kLastOfCorner);
    for (size_t i = 0; i < 64; i++) {
      if (i / 8 >> scale != 0 || i % 8 >> scale != 0) best[i] = plain[i];
    }
    if (plain == best) return ::testing::AssertionSuccess();
    const std::string what = nameOf(transform) + " at " + jpgtest::nameOfScale(scale);
    return jpgtest::sameBlocks(*tested_, what, plain.data(), best.data());
  }
  static std::string nameOf(uint32_t transform) {
    static constexpr const char *kNames[] = {"usual", "accurate", "wide"};
    return std::string(kNames[transform]) + " inverseTransform";
  }
  ::testing::AssertionResult masksAgree(const Block &block) const {
    return jpgtest::sameMasks(*tested_, "nonZeroMask", defined_->nonZeroMask(block.data()),
                              tested_->nonZeroMask(block.data()));
  }
};

TEST_P(Samples, OfRandomBlocksAreThePlainOnes) {
  for (const Distribution &d : kDistributions) {
    Random r(1);
    Block block;
    for (uint32_t i = 0; i < kBlocksEach; i++) {
      d.fill(&r, &block);
      ASSERT_TRUE(agree(block)) << d.name << ", block " << i;
    }
  }
}

TEST_P(Samples, OfSingleCoefficientsAreThePlainOnes) {
  Block block = {};
  for (size_t place = 0; place < 64; place++) {
    for (int32_t v = kLeast; v <= kMost; v += (v & 0x7FF) == 0 || place == 0 ? 1 : 31) {
      block[place] = narrow(v);
      ASSERT_TRUE(agree(block)) << v << " at " << place;
    }
    for (const int32_t v : {kLeast, kLeast + 1, -1, 1, kMost - 1, kMost}) {
      block[place] = narrow(v);
      ASSERT_TRUE(agree(block)) << v << " at " << place;
    }
    block[place] = 0;
  }
}

TEST_P(Samples, OfPairsOfExtremesAreThePlainOnes) {
  for (size_t first = 0; first < 64; first++) {
    for (size_t second = 0; second < first; second++) {
      for (uint32_t signs = 0; signs < 4; signs++) {
        Block block = {};
        block[first] = narrow((signs & 1) != 0 ? kMost : kLeast);
        block[second] = narrow((signs & 2) != 0 ? kMost : kLeast);
        ASSERT_TRUE(agree(block)) << first << " and " << second << ", signs " << signs;
      }
    }
  }
}

// Sums of magnitudes where the faster passes end: each of them, at every pair of places of a
// column, with all signs. And a sum of DC alone whose value, 2896 / 512 of it, needs 17 bits
// from 5793 on.
TEST_P(Samples, OfValuesAboutTheRangeOfThePassesAreThePlainOnes) {
  constexpr int32_t kSums[] = {2896, 2897, 2898, 2899, 2900, 2901, 2902, 5791, 5792, 5793, 5794};
  for (const int32_t sum : kSums) {
    for (size_t place = 0; place < 64; place++) {
      for (size_t row = 0; row < 8; row++) {
        for (int32_t part = 0; part <= 8; part++) {
          for (uint32_t signs = 0; signs < 4; signs++) {
            Block block = {};
            const int32_t first = sum * part / 8, second = sum - first;
            block[8 * row + place % 8] = narrow((signs & 2) != 0 ? -second : second);
            block[place] = narrow((signs & 1) != 0 ? -first : first);
            ASSERT_TRUE(agree(block)) << first << " at " << place << ", " << second << " in row "
                                      << row << ", signs " << signs;
          }
        }
      }
    }
  }
}

// Every value of the vertical frequency 1, whose square the first pass has, beside each other
// coefficient of its column that is as large as the faster passes allow.
TEST_P(Samples, OfSquaresInTheFirstPassAreThePlainOnes) {
  for (int32_t v = -3000; v <= 3000; v++) {
    const int32_t rest = 2900 - (v < 0 ? -v : v);
    for (size_t row = 0; row < 8; row++) {
      for (const int32_t other : {rest, -rest}) {
        Block block = {};
        for (size_t column = 0; column < 8; column++) {
          block[8 * row + column] = narrow(other);
          block[8 + column] = narrow(column % 2 != 0 ? v : -v);
        }
        ASSERT_TRUE(agree(block)) << v << ", " << other << " in row " << row;
        for (size_t column = 4; column < 8; column++) {
          for (size_t k = 0; k < 8; k++) block[8 * k + column] = 0;
        }
        ASSERT_TRUE(agree(block)) << v << ", " << other << " in row " << row;
      }
    }
  }
}

TEST_P(Samples, NeedNoAlignment) {
  Random r(2);
  std::array<int16_t, 64 + 16> room;
  for (uint32_t n = 0; n < 16 * jpg::kTransforms; n++) {
    const size_t shift = n / jpg::kTransforms, transform = n % jpg::kTransforms;
    Block block;
    dense(&r, &block);
    room.fill(77);
    std::copy(block.begin(), block.end(), room.begin() + static_cast<ptrdiff_t>(shift));
    tested_->inverseTransform[transform][3](room.data() + shift, 63);
    defined_->inverseTransform[transform][3](block.data(), 63);
    ASSERT_TRUE(
        jpgtest::sameBlocks(*tested_, "inverseTransform", block.data(), room.data() + shift))
        << "from halfword " << shift;
    for (size_t i = 0; i < room.size(); i++) {
      const bool inside = i >= shift && i < shift + 64;
      ASSERT_TRUE(inside || room[i] == 77) << i << " from " << shift;
    }
  }
}

TEST_P(Samples, PresentCoefficientsOfRandomBlocksAreThePlainOnes) {
  for (const Distribution &d : kDistributions) {
    Random r(3);
    Block block;
    for (uint32_t i = 0; i < kBlocksEach; i++) {
      d.fill(&r, &block);
      ASSERT_TRUE(masksAgree(block)) << d.name << ", block " << i;
    }
  }
}

// 256 and the like have a byte of 0; -32768 and 32767 saturate.
TEST_P(Samples, APresentCoefficientOfAnyValueSetsItsBit) {
  for (uint32_t k = 0; k < 64; k++) {
    for (int32_t v = kLeast; v <= kMost; v++) {
      Block block = {};
      block[jpg::kZigZag.natural[k]] = narrow(v);
      const uint64_t made = tested_->nonZeroMask(block.data());
      const uint64_t expected = v != 0 ? uint64_t{1} << k : 0;
      if (made == expected) continue;
      ASSERT_TRUE(jpgtest::sameMasks(*tested_, "nonZeroMask", expected, made)) << v << " at " << k;
    }
  }
}

// The position may lie behind the last product that isn't 0, where a product of 16 bits is.
TEST_P(Samples, DequantisedBlocksAreProductsTo16BitsAndEndWhereTheirLastOneIsOrLater) {
  for (const Distribution &d : kDistributions) {
    Random r(4);
    Block block, steps;
    for (uint32_t i = 0; i < kBlocksEach / 10; i++) {
      d.fill(&r, &block);
      for (int16_t &step : steps) step = static_cast<int16_t>(i % 2 == 0 ? r.next() : r.below(256));
      Block expected, out;
      out.fill(77);
      const uint32_t least = defined_->dequantise(block.data(), steps.data(), expected.data());
      const uint32_t last = tested_->dequantise(block.data(), steps.data(), out.data());
      ASSERT_TRUE(jpgtest::sameBlocks(*tested_, "dequantise", expected.data(), out.data()))
          << d.name << ", block " << i;
      ASSERT_GE(last, least) << jpgtest::nameOf(*tested_) << ", " << d.name << ", block " << i;
      ASSERT_LT(last, 64U) << jpgtest::nameOf(*tested_) << ", " << d.name << ", block " << i;
      uint32_t most = 0;
      for (uint32_t k = 0; k < 64; k++) {
        if (block[jpg::kZigZag.natural[k]] != 0) most = k;
      }
      ASSERT_LE(last, most) << d.name << ", block " << i;
    }
  }
}

TEST_P(Samples, DequantisedBlocksMayLieAtAnyHalfword) {
  alignas(4) int16_t in[65], out[65];
  Random r(5);
  for (const uint32_t from : {0U, 1U}) {
    for (const uint32_t to : {0U, 1U}) {
      Block block, steps, expected;
      for (uint32_t i = 0; i < 64; i++) {
        block[i] = static_cast<int16_t>(r.below(4) == 0 ? r.between(-9, 9) : 0);
        steps[i] = static_cast<int16_t>(1 + r.below(99));
        expected[i] = static_cast<int16_t>(block[i] * steps[i]);
      }
      std::copy(block.begin(), block.end(), in + from);
      std::fill(std::begin(out), std::end(out), int16_t{77});
      tested_->dequantise(in + from, steps.data(), out + to);
      EXPECT_TRUE(jpgtest::sameBlocks(*tested_, "dequantise", expected.data(), out + to))
          << from << ", " << to;
      EXPECT_EQ(out[to == 0 ? 64 : 0], 77) << from << ", " << to;
    }
  }
}

// The definition itself.
TEST(PresentCoefficients, OfThePlainKernelAreInZigZagOrder) {
  Block block = {};
  block[0] = -1;              // row 0, column 0: position 0
  block[8] = 256;             // row 1, column 0: position 2
  block[5 * 8 + 2] = -32768;  // row 5, column 2: position 33
  block[63] = 1;              // position 63
  const uint64_t expected = uint64_t{1} | uint64_t{1} << 2 | uint64_t{1} << 33 | uint64_t{1} << 63;
  EXPECT_EQ(jpg::jpgPortableKernels.nonZeroMask(block.data()), expected);
}

INSTANTIATE_TEST_SUITE_P(Sets, Samples, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
