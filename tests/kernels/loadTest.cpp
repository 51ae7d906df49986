// Blocks of an MCU from pixels: every kernel against the conversion and the gathering routines.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "kernelSets.h"
#include "share/jpgShare.h"
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

  void loadByRoutines(const McuSource &source, const uint8_t *in, ptrdiff_t stride, Blocks *out) {
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
    Frame frame(*tested_, layout);
    McuSource source = {};
    ASSERT_EQ(frame.choose(&source), uint32_t{JPG_OK});
    if (source.load == nullptr) continue;
    for (const uint32_t gap : {0U, 1U, 2U, 3U, 50U}) {
      for (uint64_t seed = 1; seed <= 200; seed++) {
        ASSERT_TRUE(loadsAlike(&frame, source, gap, seed));
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

INSTANTIATE_TEST_SUITE_P(Sets, LoadKernels, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
