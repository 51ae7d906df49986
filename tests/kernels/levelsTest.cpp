// SPDX-License-Identifier: MIT
// The forward transform with its quantisation: every kernel against the plain one.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "jpg.h"
#include "kernelSets.h"
#include "share/jpgQuant.h"
#include "share/jpgShare.h"

namespace {

using jpgtest::KernelTest;
using jpgtest::Random;

constexpr uint32_t kMostBlocks = 6;  // of an MCU

// Of Y, or of a chroma component; no block has both -128 and 128.
struct Range {
  int32_t low, high;
};
constexpr Range kRanges[] = {{-128, 127}, {-127, 128}};

// The steps of a table and their reciprocals.
struct Steps {
  explicit Steps(const uint32_t *from) {
    std::copy(from, from + 64, step);
    jpg::makeReciprocals(step, &reciprocals);
  }
  jpg::QuantSteps get() const { return {step, &reciprocals}; }
  uint32_t step[64];
  jpg::QuantReciprocals reciprocals;
};

// What the writer uses for a quality: luminance, chrominance.
std::vector<Steps> stepsOfQuality(int32_t quality) {
  JPGHANDLE handle = nullptr;
  uint8_t pixels[3 * 64] = {};
  const JpgRect rect = {8, 8, 24, 24, 3, 8, pixels, sizeof(pixels), 0};
  std::vector<Steps> steps;
  EXPECT_EQ(jpgWritePrologToMemory(0, &handle), uint32_t{JPG_OK});
  EXPECT_EQ(jpgWriteSetQuantizationFactor(handle, quality), uint32_t{JPG_OK});
  EXPECT_EQ(jpgWriteFromRect(handle, &rect, 8), uint32_t{JPG_OK});
  const JpgContext *c = jpg::validWriter(handle);
  for (uint32_t t = 0; t < 2; t++) {
    steps.emplace_back(c->quantTables[t]);
    EXPECT_EQ(memcmp(&steps[t].reciprocals, &c->write.reciprocals[t], sizeof(steps[t].reciprocals)),
              0)
        << "quality " << quality;
  }
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(handle, &data, &size), uint32_t{JPG_OK});
  jpgWriteFreeBitstream(data);
  return steps;
}

const std::vector<Steps> &allSteps() {
  static const std::vector<Steps> kAll = [] {
    std::vector<Steps> all;
    for (int32_t quality = 1; quality <= 100; quality++) {
      for (const Steps &s : stepsOfQuality(quality)) all.push_back(s);
    }
    return all;
  }();
  return kAll;
}

// Blocks with guards on both sides, and the masks likewise.
struct Levels {
  static constexpr size_t kGuard = 16;
  std::array<int16_t, kMostBlocks * 64 + 2 * kGuard> blocks;
  std::array<uint64_t, kMostBlocks + 2> masks;

  Levels(const std::vector<int16_t> &samples, uint32_t count) {
    blocks.fill(0x5A5A);
    masks.fill(0xA5A5A5A5A5A5A5A5);
    std::copy(samples.begin(), samples.begin() + 64 * static_cast<ptrdiff_t>(count),
              blocks.begin() + kGuard);
  }
  void make(const jpg::Kernels &kernels, uint32_t count, const Steps &steps) {
    kernels.transformAndQuantise(blocks.data() + kGuard, count, steps.get(), masks.data() + 1);
  }
  bool operator==(const Levels &other) const {
    return blocks == other.blocks && masks == other.masks;
  }
};

// Where a level stands, or that it is none.
std::string placeOfLevel(size_t i, uint32_t count) {
  if (i < Levels::kGuard) return "what lies ahead";
  if (i >= Levels::kGuard + 64 * count) return "what lies behind";
  return "block " + std::to_string((i - Levels::kGuard) / 64) + ", zig-zag position " +
         std::to_string((i - Levels::kGuard) % 64);
}

class LevelKernels : public KernelTest {
 protected:
  ::testing::AssertionResult agree(const std::vector<int16_t> &samples, uint32_t count,
                                   const Steps &steps) const {
    Levels plain(samples, count), best(samples, count);
    plain.make(*defined_, count, steps);
    best.make(*tested_, count, steps);
    if (plain == best) return ::testing::AssertionSuccess();
    const std::string what = "transformAndQuantise of " + std::to_string(count) + ", first step " +
                             std::to_string(steps.step[0]);
    ::testing::AssertionResult r = jpgtest::sameValues(
        *tested_, what, plain.blocks.data(), best.blocks.data(), plain.blocks.size(),
        [count](size_t i) { return placeOfLevel(i, count); });
    // The masks have a guard on either side, too.
    for (uint32_t i = 0; r && i < count + 2; i++) {
      const std::string mask = what + ", mask of block " + std::to_string(static_cast<int>(i) - 1);
      r = jpgtest::sameMasks(*tested_, mask, plain.masks[i], best.masks[i]);
    }
    return r;
  }
};

using Fill = void (*)(Random *r, const Range &range, int16_t *block);

int16_t limited(const Range &range, int32_t v) {
  return static_cast<int16_t>(std::clamp(v, range.low, range.high));
}
void uniform(Random *r, const Range &range, int16_t *block) {
  for (uint32_t i = 0; i < 64; i++) {
    block[i] = static_cast<int16_t>(r->between(range.low, range.high));
  }
}
void extreme(Random *r, const Range &range, int16_t *block) {
  const int32_t values[] = {range.low, range.high, 0, -1, 1};
  const uint32_t kinds = 2 + r->below(4);
  for (uint32_t i = 0; i < 64; i++) block[i] = static_cast<int16_t>(values[r->below(kinds)]);
}
// A slope with some noise.
void smooth(Random *r, const Range &range, int16_t *block) {
  const int32_t start = r->between(range.low, range.high);
  const int32_t dx = r->between(-20, 20), dy = r->between(-20, 20), noise = r->between(0, 10);
  for (int32_t i = 0; i < 64; i++) {
    block[i] = limited(range, start + dx * (i % 8) + dy * (i / 8) + r->between(-noise, noise));
  }
}
// Nearly flat: most levels are 0 or lie about the half of a step.
void faint(Random *r, const Range &range, int16_t *block) {
  const int32_t level = r->between(range.low, range.high), noise = r->between(0, 3);
  for (uint32_t i = 0; i < 64; i++) block[i] = limited(range, level + r->between(-noise, noise));
}

constexpr Fill kFills[] = {uniform, extreme, smooth, faint};

TEST_P(LevelKernels, MakeThePlainLevelsOfRandomBlocks) {
  const std::vector<Steps> &steps = allSteps();
  Random r(1);
  uint32_t blocks = 0;
  for (uint32_t round = 0; blocks < 1000000; round++) {
    const uint32_t count = 1 + round % kMostBlocks;
    std::vector<int16_t> samples(size_t{64} * count);
    for (uint32_t i = 0; i < count; i++) {
      kFills[r.below(4)](&r, kRanges[r.below(2)], samples.data() + size_t{64} * i);
    }
    ASSERT_TRUE(agree(samples, count, steps[round % steps.size()])) << "round " << round;
    blocks += count;
  }
}

// 1 or -1, as the basis function of frequency u at x.
int32_t signOfBasis(uint32_t u, uint32_t x) {
  return std::cos((2 * x + 1) * u * 3.14159265358979 / 16) < 0 ? -1 : 1;
}

// The ends of a range, by a rule for each of several families.
std::vector<std::vector<int16_t>> patterns() {
  std::vector<std::vector<int16_t>> all;
  const auto add = [&](auto rule) {
    for (uint32_t way = 0; way < 4; way++) {
      const Range &range = kRanges[way / 2];
      std::vector<int16_t> block;
      for (uint32_t i = 0; i < 64; i++) {
        const bool high = rule(i % 8, i / 8) == (way % 2 == 0);
        block.push_back(static_cast<int16_t>(high ? range.high : range.low));
      }
      all.push_back(block);
    }
  };
  add([](uint32_t, uint32_t) { return true; });
  add([](uint32_t, uint32_t) { return false; });
  for (uint32_t size = 1; size <= 4; size++) {
    add([=](uint32_t x, uint32_t y) { return (x / size + y / size) % 2 != 0; });
    add([=](uint32_t x, uint32_t) { return x / size % 2 != 0; });
    add([=](uint32_t, uint32_t y) { return y / size % 2 != 0; });
  }
  for (uint32_t edge = 0; edge <= 16; edge++) {
    add([=](uint32_t x, uint32_t) { return x < edge; });
    add([=](uint32_t, uint32_t y) { return y < edge; });
    add([=](uint32_t x, uint32_t y) { return x + y < edge; });
    add([=](uint32_t x, uint32_t y) { return x + 8 < edge + y; });
  }
  for (uint32_t i = 0; i < 64; i++) {
    add([=](uint32_t x, uint32_t y) { return x + 8 * y == i; });
    // The largest coefficient there is at that place.
    add([=](uint32_t x, uint32_t y) { return signOfBasis(i % 8, x) * signOfBasis(i / 8, y) > 0; });
  }
  return all;
}

TEST_P(LevelKernels, MakeThePlainLevelsOfExtremePatternsAtEveryQuality) {
  const std::vector<std::vector<int16_t>> blocks = patterns();
  for (const Steps &steps : allSteps()) {
    for (size_t i = 0; i < blocks.size(); i++) {
      ASSERT_TRUE(agree(blocks[i], 1, steps)) << "pattern " << i;
    }
  }
}

// Each of a pair of blocks keeps to itself.
TEST_P(LevelKernels, MakeThePlainLevelsOfPatternsSideBySide) {
  const std::vector<std::vector<int16_t>> blocks = patterns();
  const Steps &finest = allSteps().back();
  for (size_t i = 0; i < blocks.size(); i++) {
    std::vector<int16_t> samples;
    for (size_t k = 0; k < kMostBlocks; k++) {
      const std::vector<int16_t> &block = blocks[(i + 97 * k) % blocks.size()];
      for (const int16_t v : block) samples.push_back(v);
    }
    for (uint32_t count = 1; count <= kMostBlocks; count++) {
      ASSERT_TRUE(agree(samples, count, finest)) << count << " from pattern " << i;
    }
  }
}

constexpr int32_t kMostSum = 64 * 128;

// A block that is flat but for `rest` samples, whose sum, the DC coefficient, is `sum`.
void flatWithSum(int32_t sum, int16_t *block) {
  const int32_t level = sum >= 0 ? sum / 64 : -(-sum / 64);
  const int32_t rest = sum - 64 * level;
  for (int32_t i = 0; i < 64; i++) {
    block[i] = static_cast<int16_t>(level + (i < std::abs(rest) ? (rest > 0 ? 1 : -1) : 0));
  }
}

// Halves go away from zero. (T.81 A.3.4 with the scale of 8.)
int32_t nearest(int32_t sum, uint32_t step) {
  const auto s = static_cast<int32_t>(step);
  return sum >= 0 ? (2 * sum + s) / (2 * s) : -((-2 * sum + s) / (2 * s));
}

// All sets against the division itself: DC levels of all sums with all steps.
TEST(DcLevels, AreTheNearestMultiplesForEverySumAndStep) {
  for (const jpg::Kernels *kernels : jpgtest::kernelSets()) {
    // The plain routines take their time; and it's their division that is in question.
    const int32_t stride = kernels == &jpg::jpgPortableKernels ? 37 : 1;
    for (uint32_t t = 1; t <= 255; t++) {
      uint32_t step[64];
      std::fill(step, step + 64, 8 * t);
      const Steps steps(step);
      for (int32_t sum = -kMostSum; sum <= kMostSum; sum += 2 * stride) {
        int16_t blocks[128];
        uint64_t masks[2];
        flatWithSum(sum, blocks);
        const int32_t other = std::min(sum + stride, kMostSum);
        flatWithSum(other, blocks + 64);
        kernels->transformAndQuantise(blocks, 2, steps.get(), masks);
        ASSERT_EQ(blocks[0], nearest(sum, 8 * t))
            << jpgtest::nameOf(*kernels) << " set, block 0: " << sum << " by " << 8 * t;
        ASSERT_EQ(blocks[64], nearest(other, 8 * t))
            << jpgtest::nameOf(*kernels) << " set, block 1: " << other << " by " << 8 * t;
        ASSERT_EQ(masks[0] & 1, blocks[0] != 0 ? 1U : 0U) << jpgtest::nameOf(*kernels) << " set";
      }
    }
  }
}

// Levels of every magnitude, at every place, before and after every shift.
TEST_P(LevelKernels, FindTheLevelsThatArentZeroAfterAShift) {
  for (int32_t level = -2047; level <= 2047; level++) {
    alignas(32) int16_t levels[64] = {};
    levels[static_cast<uint32_t>(level + 2047) % 64] = static_cast<int16_t>(level);
    for (uint32_t shift = 0; shift < 4; shift++) {
      ASSERT_TRUE(jpgtest::sameMasks(*tested_, "level mask of " + std::to_string(level),
                                     defined_->levelMask(levels, shift),
                                     tested_->levelMask(levels, shift)));
    }
  }
  Random random(3);
  for (uint32_t i = 0; i < 2000; i++) {
    int16_t levels[64 + 1] = {};
    int16_t *block = levels + i % 2;  // aligned to a word, or to half a word
    const uint32_t sparse = 1 + random.below(20);
    for (uint32_t k = 0; k < 64; k++) {
      if (random.below(sparse) == 0) block[k] = static_cast<int16_t>(random.below(64)) - 32;
    }
    for (uint32_t shift = 0; shift < 4; shift++) {
      ASSERT_TRUE(jpgtest::sameMasks(*tested_, "level mask, block " + std::to_string(i),
                                     defined_->levelMask(block, shift),
                                     tested_->levelMask(block, shift)));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, LevelKernels, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
