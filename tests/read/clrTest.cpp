// SPDX-License-Identifier: MIT
// Colour tables, expansion and pixel output.
#include "read/jpgRClr.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "kernels/jpgKernels.h"
#include "read/jpgRRect.h"
#include "share/jpgSamples.h"

namespace {

using namespace jpg;

// Nearest integer of n / d, halves away from zero.
int64_t nearest(int64_t n, int64_t d) {
  return n < 0 ? -((-n * 2 + d) / (2 * d)) : (n * 2 + d) / (2 * d);
}

TEST(ColourTables, HoldTheNearestIntegers) {
  for (int c = -128; c < 128; c++) {
    const size_t i = static_cast<size_t>(c + 128);
    EXPECT_EQ(jpgCbTable.entry[i].first, nearest(int64_t{c} * 1772, 1000));
    EXPECT_EQ(jpgCbTable.entry[i].second, nearest(int64_t{c} * -34414, 100000));
    EXPECT_EQ(jpgCrTable.entry[i].first, nearest(int64_t{c} * -71414, 100000));
    EXPECT_EQ(jpgCrTable.entry[i].second, nearest(int64_t{c} * 1402, 1000));
  }
  EXPECT_EQ(jpgCbTable.entry[3].first, -222);  // -221.5
}

TEST(ColourTables, ThePixelLimitShiftsAndClamps) {
  for (int v = -640; v < 640; v++) {
    const int shifted = v + 128;
    const int expected = shifted < 0 ? 0 : shifted > 255 ? 255 : shifted;
    EXPECT_EQ(jpgPixelLimit.entry[kPixelLimitZero + v], expected);
  }
}

// A context of one MCU whose k-th block has the sample k at all places but a corner
// pattern: sample (row, column) of block k is 8 row + column - 60 + k.
class Mcu {
 public:
  Mcu(std::vector<uint8_t> factors, uint32_t hMax, uint32_t vMax)
      : context_(std::make_unique<JpgContext>()) {
    JpgContext *c = context_.get();
    c->numComponents = static_cast<uint32_t>(factors.size());
    c->hMax = hMax;
    c->vMax = vMax;
    c->hvMax = hMax * vMax;
    c->lumaBlockSlots = 4 * c->hvMax;
    c->scanState = kScaleFull;
    for (size_t i = 0; i < factors.size(); i++) {
      c->samplingPacked = c->samplingPacked << 8 | factors[i];
      c->blocksPerMcu += static_cast<uint32_t>(factors[i] >> 4) * (factors[i] & 15U);
    }
    blocks_.resize(size_t{64} * (c->lumaBlockSlots + 2 * c->blocksPerMcu));
    for (uint32_t i = 0; i < 64 * c->blocksPerMcu; i++) {
      blocks_[i] = static_cast<int16_t>(static_cast<int>(i % 64) - 60 + static_cast<int>(i / 64));
    }
    map_.resize(c->lumaBlockSlots);
    cells_.resize(c->lumaBlockSlots);
    for (uint32_t cell = 0; cell < c->hvMax; cell++) {
      for (uint32_t k = 0; k < 4; k++) cells_[4 * cell + k] = cell + k * c->hvMax;
    }
    c->coefBuffer = blocks_.data();
    c->scratchBlocks = blocks_.data() + size_t{64} * c->blocksPerMcu;
    c->blockMapA = map_.data();
    c->blockMapB = cells_.data();
  }

  JpgContext *c() { return context_.get(); }

  void expand() { chooseExpand (*c())(c(), samplingWord(*c())); }

  // Sample of a component at a pixel of the MCU after expansion.
  int at(uint32_t component, uint32_t x, uint32_t y) {
    const uint32_t cell = y / 8 * c()->hMax + x / 8;
    return c()->blockMapA[component * c()->hvMax + cell][8 * (y % 8) + x % 8];
  }

  // Sample of the component's own blocks: `first` is its first block, h its blocks across.
  static int source(uint32_t first, uint32_t h, uint32_t x, uint32_t y) {
    const uint32_t block = first + y / 8 * h + x / 8;
    return static_cast<int>(8 * (y % 8) + x % 8) - 60 + static_cast<int>(block);
  }

 private:
  std::vector<int16_t> blocks_;
  std::vector<int16_t *> map_;
  std::vector<uint32_t> cells_;
  std::unique_ptr<JpgContext> context_;
};

struct Layout {
  std::vector<uint8_t> factors;
  uint32_t hMax, vMax;
};

TEST(Expansion, ReplicatesEveryComponentToFullResolution) {
  const std::vector<Layout> layouts = {
      {{0x11}, 1, 1},
      {{0x11, 0x11, 0x11, 0x11}, 1, 1},
      {{0x21, 0x11, 0x11}, 2, 1},
      {{0x11, 0x21, 0x21, 0x11}, 2, 1},
      {{0x12, 0x11, 0x12}, 1, 2},
      {{0x22, 0x11, 0x11}, 2, 2},
      {{0x22, 0x21, 0x12, 0x11}, 2, 2},
      {{0x11, 0x12, 0x21, 0x22}, 2, 2},
      {{0x12, 0x21}, 2, 2},
  };
  for (const Layout &layout : layouts) {
    Mcu mcu(layout.factors, layout.hMax, layout.vMax);
    mcu.expand();
    uint32_t first = 0;
    for (uint32_t k = 0; k < layout.factors.size(); k++) {
      const uint32_t h = layout.factors[k] >> 4, v = layout.factors[k] & 15U;
      for (uint32_t y = 0; y < 8 * layout.vMax; y++) {
        for (uint32_t x = 0; x < 8 * layout.hMax; x++) {
          const int expected = Mcu::source(first, h, x * h / layout.hMax, y * v / layout.vMax);
          ASSERT_EQ(mcu.at(k, x, y), expected) << "component " << k << " at " << x << "," << y;
        }
      }
      first += h * v;
    }
  }
}

TEST(Expansion, OnlyTheFactorByte11IsDoubledInAPair) {
  for (uint32_t factors = 0; factors <= 0xFF; factors++) {
    Mcu across({0x21}, 2, 1), down({0x12}, 1, 2);
    jpgExpand2x1(across.c(), factors << 24);
    jpgExpand1x2(down.c(), factors << 24);
    for (const JpgContext *c : {across.c(), down.c()}) {
      const int16_t *out = factors == 0x11 ? c->scratchBlocks : c->coefBuffer;
      EXPECT_EQ(c->blockMapA[0], out) << factors;
      EXPECT_EQ(c->blockMapA[1], out + 64) << factors;
    }
  }
}

TEST(Expansion, IsChosenByTheLargestComponent) {
  Mcu one({0x11}, 1, 1), across({0x21}, 2, 1), down({0x12}, 1, 2), four({0x22}, 2, 2);
  EXPECT_EQ(chooseExpand(*one.c()), jpgExpand1x1);
  EXPECT_EQ(chooseExpand(*across.c()), jpgExpand2x1);
  EXPECT_EQ(chooseExpand(*down.c()), jpgExpand1x2);
  EXPECT_EQ(chooseExpand(*four.c()), jpgExpand2x2);
  four.c()->hvMax = 3;
  EXPECT_EQ(chooseExpand(*four.c()), nullptr);
}

constexpr uint8_t kGuard = 0xA5;

// A rectangle in a field of guard bytes.
struct Field {
  std::vector<uint8_t> memory = std::vector<uint8_t>(4096, kGuard);
  JpgRect rect = {};
  Field(int32_t height, int32_t stride) {
    rect.height = height;
    rect.stride = stride;
    rect.bits = memory.data() + 2048;
  }
  int touched() const {
    int n = 0;
    for (const uint8_t b : memory) n += b != kGuard ? 1 : 0;
    return n;
  }
};

TEST(PixelWriters, StoreTheirBytesInOrder) {
  Mcu mcu({0x11, 0x11, 0x11, 0x11}, 1, 1);
  mcu.expand();
  // Samples at (0, 0): -60, -59, -58, -57; bytes 68 to 71.
  const struct {
    PixelWriter writer;
    std::vector<uint8_t> bytes;
  } kCases[] = {{jpgPutGray, {68}},
                {jpgPutTwo, {68, 69}},
                {jpgPutThree, {68, 69, 70}},
                {jpgPutThreeReversed, {70, 69, 68}},
                {jpgPutFour, {68, 69, 70, 71}},
                // Y -60, Cb -59, Cr -58: B -60 - 105, G -60 + 20 + 41, R -60 - 81
                {jpgPutYccToBgr, {0, 129, 0}}};
  for (const auto &c : kCases) {
    Field field(1, 64);
    c.writer(mcu.c(), &field.rect, 0, 1);
    for (size_t i = 0; i < c.bytes.size(); i++) EXPECT_EQ(field.memory[2048 + i], c.bytes[i]);
    EXPECT_EQ(field.memory[2048 + c.bytes.size()], kGuard);
  }
}

TEST(PixelWriters, StoreOnlyTheRowsAndColumnsAskedFor) {
  Mcu mcu({0x22}, 2, 2);
  mcu.expand();
  for (const int32_t width : {-3, 0, 1, 7, 8, 9, 16}) {
    for (const int32_t height : {-2, 0, 1, 8, 11, 16}) {
      Field field(height, 64);
      jpgPutGray(mcu.c(), &field.rect, 5, width);
      const int expected = (width > 0 ? width : 0) * (height > 0 ? height : 0);
      EXPECT_EQ(field.touched(), expected);
      for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
          const int sample = mcu.at(0, static_cast<uint32_t>(x), static_cast<uint32_t>(y));
          EXPECT_EQ(field.memory[static_cast<size_t>(2048 + 64 * y + 5 + x)], sample + 128);
        }
      }
    }
  }
}

TEST(PixelWriters, ANegativeStrideStoresUpward) {
  Mcu mcu({0x11}, 1, 1);
  mcu.expand();
  Field field(8, -64);
  jpgPutGray(mcu.c(), &field.rect, 0, 1);
  for (uint32_t y = 0; y < 8; y++) {
    EXPECT_EQ(field.memory[2048 - 64 * y], mcu.at(0, 0, y) + 128);
  }
}

TEST(SamplingWord, HasTheFirstComponentAtTheTop) {
  constexpr uint32_t kWords[] = {0, 0x44000000, 0x33440000, 0x22334400, 0x11223344};
  const auto c = std::make_unique<JpgContext>();
  c->samplingPacked = 0x11223344;
  for (uint32_t n = 0; n <= 4; n++) {
    c->numComponents = n;
    EXPECT_EQ(samplingWord(*c), kWords[n]) << n;
  }
}

TEST(PixelFormats, AreChosenByComponentsAndConversion) {
  JpgRect rect = {};
  const std::vector<uint8_t> factors(4, 0x11);
  const PixelWriter kRaw[] = {jpgPutGray, jpgPutTwo, jpgPutThree, jpgPutFour};
  const PixelWriter kRgb[] = {jpgPutGray, jpgPutGray, jpgPutThreeReversed, jpgPutYccToBgr};
  for (uint32_t n = 1; n <= 4; n++) {
    Mcu mcu({factors.begin(), factors.begin() + static_cast<std::ptrdiff_t>(n)}, 1, 1);
    const JpgContext &c = *mcu.c();
    EXPECT_EQ(writerOf(chooseFormat(c)), kRgb[n - 1]);
    EXPECT_EQ(writerOf(chooseProgressiveFormat(c)), n < 3 ? jpgPutGray : jpgPutYccToBgr);
    mcu.c()->flags = kFlagYcbcrToRgb;
    EXPECT_EQ(writerOf(chooseFormat(c)), n < 3 ? jpgPutGray : jpgPutYccToBgr);
    for (int32_t bits = 0; bits <= 40; bits += 8) {
      rect.bitsPerPixel = bits;
      const bool fits = bits == static_cast<int32_t>(8 * n);
      EXPECT_EQ(writerOf(chooseRawFormat(c, rect)), fits ? kRaw[n - 1] : nullptr);
    }
  }
}

TEST(Expansion, TheSamplingWordBeginsWithTheFirstComponent) {
  const std::vector<uint8_t> factors = {0x22, 0x21, 0x12, 0x11};
  const uint32_t kWords[] = {0x22000000, 0x22210000, 0x22211200, 0x22211211};
  for (uint32_t n = 1; n <= 4; n++) {
    Mcu mcu({factors.begin(), factors.begin() + static_cast<std::ptrdiff_t>(n)}, 2, 2);
    EXPECT_EQ(samplingWord(*mcu.c()), kWords[n - 1]);
    mcu.c()->numComponents = 0;
    EXPECT_EQ(samplingWord(*mcu.c()), 0U);
  }
}

TEST(McuKernels, AreThoseOfTheLayout) {
  Mcu mcu({0x21, 0x11, 0x11}, 2, 1);
  JpgContext *c = mcu.c();
  c->kernels = bestKernels();
  const auto kernel = [c](PixelFormat format) { return makePipeline(*c, format, 16).put; };
  const McuKernel across = (*c->kernels->putYcc[kScaleFull])[1][0];
  for (uint32_t i = 0; i < 3; i++) c->scanComponents[i].sampling = i == 0 ? 0x21 : 0x11;
  EXPECT_EQ(kernel(PixelFormat::kYccToBgr), across);
  EXPECT_EQ(kernel(PixelFormat::kThree), nullptr);
  c->scanComponents[0].sampling = 0x11;  // luma smaller than the MCU
  EXPECT_EQ(kernel(PixelFormat::kYccToBgr), nullptr);
  c->scanComponents[0].sampling = 0x21;
  c->scanComponents[2].sampling = 0x21;  // chroma of two blocks
  EXPECT_EQ(kernel(PixelFormat::kYccToBgr), nullptr);
}

}  // namespace
