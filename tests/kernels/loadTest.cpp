// SPDX-License-Identifier: MIT
// Blocks of an MCU from pixels: every kernel against the conversion and the gathering routines, or
// the general averages, and these against plain arithmetic.
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "kernelSets.h"
#include "share/jpgShare.h"
#include "write/jpgWAverage.h"
#include "write/jpgWMcu.h"

namespace {

using namespace jpg;
using jpgtest::FencedBytes;
using jpgtest::KernelTest;
using jpgtest::Random;

constexpr size_t kMostSamples = size_t{kMaxBlocksPerMcu + 1} * 64;
using Blocks = std::array<int16_t, kMostSamples>;

// A frame to encode, with the sampling bytes of its components.
class Frame {
 public:
  Frame(const Kernels &kernels, const std::vector<uint8_t> &sampling)
      : context_(std::make_unique<JpgContext>()), layout_(sampling) {
    JpgContext *c = context_.get();
    c->kernels = &kernels;
    c->write.frameComponents = static_cast<uint32_t>(sampling.size());
    for (size_t i = 0; i < sampling.size(); i++) {
      const uint32_t h = sampling[i] >> 4, v = sampling[i] & 15U;
      c->scanComponents[i].sampling = sampling[i];
      c->hMax = h > c->hMax ? h : c->hMax;
      c->vMax = v > c->vMax ? v : c->vMax;
    }
  }
  JpgContext *c() { return context_.get(); }
  std::string layout() const { return jpgtest::nameOfLayout(layout_); }
  uint32_t pixelBytes() { return c()->write.frameComponents; }
  uint32_t rowBytes() { return 8 * c()->hMax * pixelBytes(); }
  uint32_t rows() { return 8 * c()->vMax; }
  Result choose(McuSource *source) { return chooseMcuSource(*c(), source); }

  bool averages() { return (c()->options & kOptionAverage) != 0; }

  void loadByRoutines(const McuSource &source, const uint8_t *in, ptrdiff_t stride, Blocks *out) {
    if (averages()) {
      averageMcu(*c(), in, stride, out->data());
      return;
    }
    std::array<int16_t, size_t{kAreaSize} *kAreaSize *kMaxComponents> area = {};
    for (uint32_t y = 0; y < rows(); y++) {
      source.convert(in + static_cast<ptrdiff_t>(y) * stride,
                     area.data() + size_t{y} * kAreaSize * pixelBytes(), 8 * c()->hMax);
    }
    int16_t *at = out->data();
    for (uint32_t i = 0; i < pixelBytes(); i++) at = source.gather[i](area.data() + i, at);
  }

 private:
  std::unique_ptr<JpgContext> context_;
  std::vector<uint8_t> layout_;
};

void scatter(Random *r, FencedBytes *bytes) {
  const bool ends = r->below(4) == 0;
  for (size_t i = 0; i < bytes->size(); i++) {
    const uint32_t any = r->below(256);
    bytes->begin()[i] = static_cast<uint8_t>(!ends ? any : any < 128 ? 0 : 255);
  }
}

// From pixels that lie at a fence on either side, rows upwards and downwards.
::testing::AssertionResult loadsAlike(Frame *frame, const McuSource &source, uint32_t gap,
                                      uint64_t seed) {
  const uint32_t pitch = frame->rowBytes() + gap;
  for (const FencedBytes::Fence fence : {FencedBytes::kBehind, FencedBytes::kAhead}) {
    FencedBytes in(size_t{pitch} * frame->rows() - gap, fence);
    Random r(seed);
    scatter(&r, &in);
    for (const bool upsideDown : {false, true}) {
      const auto stride = static_cast<ptrdiff_t>(pitch) * (upsideDown ? -1 : 1);
      const uint8_t *top = in.begin() + (upsideDown ? size_t{pitch} * (frame->rows() - 1) : 0);
      Blocks general, fast;
      general.fill(0x5A5A);
      fast.fill(0x5A5A);
      frame->loadByRoutines(source, top, stride, &general);
      source.load(top, stride, fast.data());
      if (general == fast) continue;
      return jpgtest::sameBlocks(*frame->c()->kernels, "load, " + frame->layout(), general.data(),
                                 fast.data(), kMostSamples / 64)
             << ", stride " << stride << ", seed " << seed;
    }
  }
  return ::testing::AssertionSuccess();
}

class LoadKernels : public KernelTest {};

TEST_P(LoadKernels, MakeTheBlocksOfTheRoutinesInEveryLayout) {
  const std::vector<uint8_t> kLayouts[] = {
      {0x11}, {0x11, 0x11, 0x11}, {0x12, 0x11, 0x11}, {0x21, 0x11, 0x11}, {0x22, 0x11, 0x11}};
  for (const std::vector<uint8_t> &layout : kLayouts) {
    for (const uint32_t options : {0U, kOptionAverage}) {
      Frame frame(*tested_, layout);
      frame.c()->options = options;
      McuSource source = {};
      ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
      if (source.load == nullptr) continue;
      for (const uint32_t gap : {0U, 1U, 2U, 3U, 50U}) {
        for (uint64_t seed = 1; seed <= 100; seed++) {
          ASSERT_TRUE(loadsAlike(&frame, source, gap, seed));
        }
      }
    }
  }
}

// A layout for which a kernel is chosen is one that it serves.
TEST_P(LoadKernels, AreChosenOnlyForWhatTheyLoad) {
  constexpr uint8_t kSampling[] = {0x11, 0x12, 0x21, 0x22};
  uint32_t chosen = 0;
  for (uint32_t layout = 0; layout < 4 * 4 * 4 * 2; layout++) {
    Frame frame(*tested_,
                {kSampling[layout & 3], kSampling[layout >> 2 & 3], kSampling[layout >> 4 & 3]});
    frame.c()->write.frameRaw = layout >> 6;
    McuSource source = {};
    ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
    if (source.load == nullptr) continue;
    chosen++;
    ASSERT_TRUE(loadsAlike(&frame, source, 0, 1));
  }
  EXPECT_LE(chosen, 4U);
  Frame four(*tested_, {0x11, 0x11, 0x11, 0x11});
  McuSource source = {};
  ASSERT_EQ(four.choose(&source), uint32_t{JPG_OK});
  EXPECT_TRUE(source.load == nullptr);
}

// The pixel i of a picture of all colours.
void putColour(uint32_t i, uint8_t *out) {
  out[0] = static_cast<uint8_t>(i);
  out[1] = static_cast<uint8_t>(i >> 8);
  out[2] = static_cast<uint8_t>(i >> 16);
}

TEST_P(LoadKernels, ConvertEveryColourAsTheRoutines) {
  Frame frame(*tested_, {0x11, 0x11, 0x11});
  McuSource source = {};
  ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
  if (source.load == nullptr) GTEST_SKIP() << "this set has no kernel for it";
  Blocks general = {}, fast = {};
  std::array<uint8_t, 3 * 64> in;
  for (uint32_t first = 0; first < 1U << 24; first += 64) {
    for (uint32_t i = 0; i < 64; i++) putColour(first + i, in.data() + 3 * i);
    frame.loadByRoutines(source, in.data(), 24, &general);
    source.load(in.data(), 24, fast.data());
    if (general == fast) continue;
    ASSERT_TRUE(jpgtest::sameBlocks(*tested_, "load, " + frame.layout(), general.data(),
                                    fast.data(), kMostSamples / 64))
        << ", colours from " << first;
  }
}

// On this the kernels of the forward transform rely.
TEST(ForwardColours, AreWithinARangeOf256ForEachComponent) {
  Frame frame(jpgPortableKernels, {0x11, 0x11, 0x11});
  McuSource source = {};
  ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
  for (uint32_t colour = 0; colour < 1U << 24; colour++) {
    uint8_t in[3];
    int16_t out[3];
    putColour(colour, in);
    source.convert(in, out, 1);
    const bool inside = out[0] >= -128 && out[0] <= 127 && out[1] >= -127 && out[1] <= 128 &&
                        out[2] >= -127 && out[2] <= 128;
    ASSERT_TRUE(inside) << "colour " << colour;
  }
}

// A sample that stands for a group of pixels, in exact arithmetic: the sum of weight times byte,
// divided by the pixels, to the nearest integer. The conversion's factors are in 4096ths.
int32_t plainAverage(const std::vector<const uint8_t *> &pixels, const int32_t *factors,
                     int32_t levelShift, bool halvesDown) {
  const auto n = static_cast<int64_t>(pixels.size());
  int64_t sum = 0;
  for (const uint8_t *p : pixels) {
    for (int k = 0; k < 3; k++) sum += factors[k] * int64_t{p[k]};
  }
  const int64_t whole = n * 4096;
  // floor(sum / whole + 1/2), and halves one lower where they are rounded down.
  const int64_t doubled = 2 * sum + whole - (halvesDown ? 1 : 0) + 2 * whole * 1024;
  return static_cast<int32_t>(doubled / (2 * whole)) - 1024 - levelShift;
}

TEST(Averages, AreThoseOfPlainArithmeticInEveryLayout) {
  constexpr int32_t kYcc[3][3] = {{467, 2404, 1225}, {2048, -1357, -691}, {-333, -1715, 2048}};
  constexpr int32_t kRaw[3][3] = {{0, 0, 4096}, {0, 4096, 0}, {4096, 0, 0}};
  constexpr uint8_t kSampling[] = {0x11, 0x12, 0x21, 0x22};
  Random random(7);
  for (uint32_t layout = 0; layout < 4 * 4 * 4 * 2; layout++) {
    Frame frame(jpgPortableKernels,
                {kSampling[layout & 3], kSampling[layout >> 2 & 3], kSampling[layout >> 4 & 3]});
    const bool raw = layout >> 6 != 0;
    frame.c()->write.frameRaw = raw ? 1 : 0;
    std::vector<uint8_t> in(size_t{frame.rowBytes()} * frame.rows());
    for (uint8_t &b : in) b = random.byte();
    Blocks made = {};
    averageMcu(*frame.c(), in.data(), static_cast<ptrdiff_t>(frame.rowBytes()), made.data());
    const int16_t *at = made.data();
    for (uint32_t i = 0; i < 3; i++) {
      const uint32_t h = frame.c()->scanComponents[i].sampling >> 4;
      const uint32_t v = frame.c()->scanComponents[i].sampling & 15U;
      const uint32_t across = frame.c()->hMax / h, down = frame.c()->vMax / v;
      for (uint32_t k = 0; k < h * v * 64; k++, at++) {
        const uint32_t x = k / 64 % h * 8 + k % 8, y = k / 64 / h * 8 + k / 8 % 8;
        std::vector<const uint8_t *> pixels;
        for (uint32_t p = 0; p < across * down; p++) {
          const uint32_t column = x * across + p % across, row = y * down + p / across;
          pixels.push_back(&in[size_t{row} * frame.rowBytes() + size_t{3} * column]);
        }
        const bool halvesDown = raw && pixels.size() > 1 && x % 2 == 0;
        const int32_t shift = raw || i == 0 ? 128 : 0;
        ASSERT_EQ(*at, plainAverage(pixels, raw ? kRaw[i] : kYcc[i], shift, halvesDown))
            << frame.layout() << (raw ? " raw" : "") << ", component " << i << ", sample " << k;
      }
    }
  }
}

// Halves of raw channels occur in every second group of two: their mean error is 0, since they are
// rounded down in even columns and up in odd ones.
TEST(Averages, OfRawChannelsAreRoundedWithoutBias) {
  Frame frame(jpgPortableKernels, {0x22, 0x11, 0x11});
  frame.c()->write.frameRaw = 1;
  std::vector<uint8_t> in(size_t{frame.rowBytes()} * frame.rows());
  for (size_t i = 0; i < in.size(); i++) in[i] = i / 3 % 2 == 0 ? 100 : 101;  // by column
  Blocks made = {};
  averageMcu(*frame.c(), in.data(), static_cast<ptrdiff_t>(frame.rowBytes()), made.data());
  for (uint32_t k = 4 * 64; k < 6 * 64; k++) ASSERT_EQ(made[k], (k % 2 == 0 ? 100 : 101) - 128);
}

TEST(Averages, OfAPartialMcuAreThoseOfThePixelsThatAreThere) {
  Frame frame(jpgPortableKernels, {0x22, 0x11, 0x11});
  frame.c()->mcuHeight = 16;
  // Three columns and three lines: the last groups have two pixels, one in the corner. Grey of
  // 10 (column + 1) + 40 line.
  std::vector<uint8_t> in;
  for (uint32_t y = 0; y < 3; y++) {
    for (uint32_t x = 0; x < 3; x++) in.insert(in.end(), 3, uint8_t(10 * (x + 1) + 40 * y));
  }
  std::vector<uint8_t> filled(size_t{16} * 16 * 3);
  continueEdges(*frame.c(), {in.data(), 9, 3, 3}, filled.data());
  for (uint32_t y = 0; y < 16; y++) {
    for (uint32_t x = 0; x < 16; x++) {
      const uint32_t grey = 10 * (std::min(x, 2U) + 1) + 40 * std::min(y, 2U);
      ASSERT_EQ(filled[(y * 16 + x) * 3 + 1], grey) << x << ", " << y;
    }
  }
}

// The averages of all kernels stay where the forward transform takes them: the extremes are those
// of pure colours.
TEST_P(LoadKernels, KeepAveragesWithinTheRangeOfTheForwardTransform) {
  for (const std::vector<uint8_t> &layout :
       {std::vector<uint8_t>{0x12, 0x11, 0x11}, {0x21, 0x11, 0x11}, {0x22, 0x11, 0x11}}) {
    Frame frame(*tested_, layout);
    frame.c()->options = kOptionAverage;
    McuSource source = {};
    ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
    ASSERT_TRUE(source.load != nullptr);
    for (uint32_t colour = 0; colour < 8; colour++) {
      std::vector<uint8_t> in(size_t{frame.rowBytes()} * frame.rows());
      for (size_t i = 0; i < in.size(); i++) in[i] = (colour >> i % 3 & 1) != 0 ? 255 : 0;
      Blocks made = {};
      source.load(in.data(), static_cast<ptrdiff_t>(frame.rowBytes()), made.data());
      const size_t luma = size_t{64} * frame.c()->hMax * frame.c()->vMax;
      for (size_t i = luma; i < luma + 128; i++) {
        ASSERT_TRUE(made[i] >= -127 && made[i] <= 128) << frame.layout() << ", colour " << colour;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, LoadKernels, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
