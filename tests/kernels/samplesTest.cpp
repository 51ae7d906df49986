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
    v = r->below(64) < places ? limited(r->within(-magnitude, magnitude)) : int16_t{0};
  }
}

using Fill = void (*)(Random *r, Block *block);

void sparse(Random *r, Block *block) { scatter(r, 4, 200, block); }
void sparseOfAnySize(Random *r, Block *block) { scatter(r, 4, anyMagnitude(r), block); }
void dense(Random *r, Block *block) { scatter(r, 64, 300, block); }
void denseOfAnySize(Random *r, Block *block) { scatter(r, 64, anyMagnitude(r), block); }
void full(Random *r, Block *block) {
  for (int16_t &v : *block) v = static_cast<int16_t>(r->next());
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
    (*block)[static_cast<size_t>(i)] = limited(r->within(-most, most));
  }
}
// One column or one row.
void line(Random *r, Block *block) {
  block->fill(0);
  const uint32_t at = r->below(8);
  const bool row = r->below(2) != 0;
  const int32_t magnitude = anyMagnitude(r);
  for (uint32_t i = 0; i < 8; i++) {
    (*block)[row ? 8 * at + i : 8 * i + at] = limited(r->within(-magnitude, magnitude));
  }
}

struct Distribution {
  const char *name;
  Fill fill;
};
constexpr Distribution kDistributions[] = {
    {"sparse", sparse},   {"sparse of any size", sparseOfAnySize},
    {"dense", dense},     {"dense of any size", denseOfAnySize},
    {"full", full},       {"extreme", extreme},
    {"falling", falling}, {"line", line}};

// More than a million blocks in all.
constexpr uint32_t kBlocksEach = 131072;

class Samples : public KernelTest {
 protected:
  // True when both kernels make the same of the block.
  bool agree(const Block &block) const {
    Block plain = block, best = block;
    const uint32_t last = lastOf(block);
    plain_->makeSamples(plain.data(), last);
    best_->makeSamples(best.data(), last);
    return plain == best && halvesAgree(block);
  }
  // The coded position of the last coefficient, 1 at least.
  uint32_t lastOf(const Block &block) const {
    const uint64_t present = plain_->present(block.data()) | 2;
    uint32_t last = 63;
    while ((present >> last & 1) == 0) last--;
    return last;
  }
  // Half-size samples fill the upper left corner; what lies outside of it doesn't matter.
  bool halvesAgree(const Block &block) const {
    Block plain = block, best = block;
    plain_->makeHalfSamples(plain.data(), 24);
    best_->makeHalfSamples(best.data(), 24);
    for (size_t i = 0; i < 32; i++) {
      if (i % 8 < 4 && plain[i] != best[i]) return false;
    }
    return true;
  }
  bool presentAgrees(const Block &block) const {
    return plain_->present(block.data()) == best_->present(block.data());
  }
};

TEST_F(Samples, OfRandomBlocksAreThePlainOnes) {
  for (const Distribution &d : kDistributions) {
    Random r(1);
    Block block;
    for (uint32_t i = 0; i < kBlocksEach; i++) {
      d.fill(&r, &block);
      ASSERT_TRUE(agree(block)) << d.name << ", block " << i;
    }
  }
}

TEST_F(Samples, OfSingleCoefficientsAreThePlainOnes) {
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

TEST_F(Samples, OfPairsOfExtremesAreThePlainOnes) {
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

// A column of DC alone leaves the first pass with 2896 / 512 of it, beyond 16 bits from 5793 on;
// with another coefficient in it, some of its values are and some aren't.
TEST_F(Samples, OfValuesAboutTheRangeOfThePassesAreThePlainOnes) {
  for (size_t column = 0; column < 8; column++) {
    for (size_t row = 0; row < 8; row++) {
      for (int32_t dc = 5700; dc < 5900; dc++) {
        Block block = {};
        block[8 * row + column] = narrow(row % 3 != 0 ? dc / 3 : -dc);
        block[column] = narrow(column % 2 != 0 ? dc : -dc);
        ASSERT_TRUE(agree(block)) << dc << " in row " << row << ", column " << column;
      }
    }
  }
}

TEST_F(Samples, NeedNoAlignment) {
  Random r(2);
  std::array<int16_t, 64 + 16> room;
  for (size_t shift = 0; shift < 16; shift++) {
    Block block;
    dense(&r, &block);
    room.fill(77);
    std::copy(block.begin(), block.end(), room.begin() + static_cast<ptrdiff_t>(shift));
    best_->makeSamples(room.data() + shift, 63);
    plain_->makeSamples(block.data(), 63);
    for (size_t i = 0; i < room.size(); i++) {
      const bool inside = i >= shift && i < shift + 64;
      ASSERT_EQ(room[i], inside ? block[i - shift] : 77) << i << " from " << shift;
    }
  }
}

TEST_F(Samples, PresentCoefficientsOfRandomBlocksAreThePlainOnes) {
  for (const Distribution &d : kDistributions) {
    Random r(3);
    Block block;
    for (uint32_t i = 0; i < kBlocksEach; i++) {
      d.fill(&r, &block);
      ASSERT_TRUE(presentAgrees(block)) << d.name << ", block " << i;
    }
  }
}

// 256 and the like have a byte of 0; -32768 and 32767 saturate.
TEST_F(Samples, APresentCoefficientOfAnyValueSetsItsBit) {
  for (uint32_t k = 0; k < 64; k++) {
    for (int32_t v = kLeast; v <= kMost; v++) {
      Block block = {};
      block[jpg::kZigZag.natural[k]] = narrow(v);
      ASSERT_EQ(best_->present(block.data()), v != 0 ? uint64_t{1} << k : 0) << v << " at " << k;
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
  EXPECT_EQ(jpg::jpgPlainKernels.present(block.data()), expected);
}

}  // namespace
