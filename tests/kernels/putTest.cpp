// SPDX-License-Identifier: MIT
// Pixels of an MCU: every kernel against the general expansion and pixel writers.
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "kernelSets.h"
#include "read/jpgRClr.h"
#include "read/jpgRRect.h"
#include "share/jpgSamples.h"
#include "share/jpgShare.h"

namespace {

using namespace jpg;
using jpgtest::FencedBytes;
using jpgtest::Random;

// A frame's MCU ahead of its output: sampling bytes of 0x11 to 0x22, one for each component.
class Mcu {
 public:
  explicit Mcu(const std::vector<uint8_t> &sampling)
      : context_(std::make_unique<JpgContext>()), layout_(sampling) {
    JpgContext *c = context_.get();
    c->kernels = bestKernels();
    c->numComponents = static_cast<uint32_t>(sampling.size());
    c->flags = kFlagYcbcrToRgb;
    for (uint32_t i = 0; i < c->numComponents; i++) {
      const uint32_t h = sampling[i] >> 4, v = sampling[i] & 15U;
      c->scanComponents[i].sampling = sampling[i];
      c->samplingPacked = c->samplingPacked << 8 | sampling[i];
      c->hMax = std::max(c->hMax, h);
      c->vMax = std::max(c->vMax, v);
      c->blocksPerMcu += h * v;
    }
    c->hvMax = c->hMax * c->vMax;
    blocks_.resize(size_t{64} * kMaxComponents * c->hvMax);
    scratch_.resize(size_t{64} * kMaxComponents * c->hvMax);
    map_.resize(size_t{kMaxComponents} * c->hvMax);
    for (uint32_t cell = 0; cell < c->hvMax; cell++) {
      for (uint32_t k = 0; k < kMaxComponents; k++) cells_.push_back(cell + k * c->hvMax);
    }
    c->coefBuffer = blocks_.data();
    c->scratchBlocks = scratch_.data();
    c->blockMapA = map_.data();
    c->blockMapB = cells_.data();
  }

  JpgContext *c() { return context_.get(); }
  // Of a cell of 2^code samples both ways.
  uint32_t width(uint32_t code) { return c()->hMax << code; }
  uint32_t height(uint32_t code) { return c()->vMax << code; }
  int16_t *blocks() { return blocks_.data(); }
  std::string layout() const { return jpgtest::nameOfLayout(layout_); }

  // Samples of any value, or, at times, of the ends alone. Beside the cells lies anything.
  void scatter(Random *r, uint32_t code) {
    const bool ends = r->below(4) == 0;
    for (size_t i = 0; i < blocks_.size(); i++) {
      const int32_t any = r->between(-128, 127);
      const bool inside = (i / 8 % 8) >> code == 0 && (i % 8) >> code == 0;
      const int32_t beside = r->between(-32768, 32767);
      blocks_[i] = static_cast<int16_t>(!inside ? beside : !ends ? any : any < 0 ? -128 : 127);
    }
  }

  McuKernel kernel(PixelFormat format, uint32_t code) {
    c()->scanState = code;
    return makePipeline(*c(), format, 0).put;
  }

  void putByGeneralRoutines(const JpgRect &rect, int32_t columns, uint32_t code) {
    c()->scanState = code;
    chooseExpand (*c())(c(), samplingWord(*c()));
    const auto put = c()->numComponents == 1 ? jpgPutGray : jpgPutYccToBgr;
    put(c(), &rect, 0, columns);
  }

 private:
  std::unique_ptr<JpgContext> context_;
  std::vector<uint8_t> layout_;
  std::vector<int16_t> blocks_, scratch_;
  std::vector<int16_t *> map_;
  std::vector<uint32_t> cells_;
};

// Rows of an MCU in memory. `gap` bytes lie between them; upside down, the top row is the last.
struct Canvas {
  uint32_t rows, columns, pixelBytes, gap;
  bool upsideDown;

  uint32_t pitch() const { return pixelBytes * columns + gap; }
  size_t size() const { return size_t{pitch()} * rows - gap; }
  uint8_t *top(FencedBytes *b) const {
    return b->begin() + (upsideDown ? size_t{pitch()} * (rows - 1) : 0);
  }
  int32_t stride() const {
    return upsideDown ? -static_cast<int32_t>(pitch()) : static_cast<int32_t>(pitch());
  }
  JpgRect rect(FencedBytes *b) const {
    return {static_cast<int32_t>(columns),
            static_cast<int32_t>(rows),
            stride(),
            static_cast<int32_t>(8 * pixelBytes),
            static_cast<int32_t>(pixelBytes),
            8,
            top(b),
            0,
            0};
  }
};

// Where the i-th byte stands of rows that lie so.
std::string placeInRows(const Canvas &canvas, size_t i) {
  const auto byte = static_cast<uint32_t>(i) % canvas.pitch();
  const auto line = static_cast<uint32_t>(i) / canvas.pitch();
  const std::string row =
      "row " + std::to_string(canvas.upsideDown ? canvas.rows - 1 - line : line);
  if (byte >= canvas.pixelBytes * canvas.columns) return "the gap behind " + row;
  return row + ", column " + std::to_string(byte / canvas.pixelBytes) + ", channel " +
         std::to_string(byte % canvas.pixelBytes);
}

// Both ways of storing, into memory with the fence on either side; the kernel is one of the set.
::testing::AssertionResult storesAlike(const Kernels &set, Mcu *mcu, McuKernel kernel,
                                       const Canvas &canvas, uint32_t code) {
  for (const FencedBytes::Fence fence : {FencedBytes::kBehind, FencedBytes::kAhead}) {
    FencedBytes general(canvas.size(), fence), fast(canvas.size(), fence);
    const JpgRect rect = canvas.rect(&general);
    mcu->putByGeneralRoutines(rect, static_cast<int32_t>(canvas.columns), code);
    kernel(mcu->blocks(), canvas.top(&fast), canvas.stride(), canvas.rows, canvas.columns);
    if (general.equals(fast)) continue;
    return jpgtest::sameValues(set, "put, " + mcu->layout() + ", " + jpgtest::nameOfScale(code),
                               general.begin(), fast.begin(), canvas.size(),
                               [&](size_t i) { return placeInRows(canvas, i); })
           << ", " << canvas.rows << " rows of " << canvas.columns << ", stride "
           << canvas.stride();
  }
  return ::testing::AssertionSuccess();
}

// All parts of an MCU, with and without gaps, both ways up.
void compareAllParts(const Kernels &set, Mcu *mcu, McuKernel kernel, uint32_t pixelBytes,
                     uint32_t code) {
  Random r(1);
  for (uint32_t rows = 1; rows <= mcu->height(code); rows++) {
    for (uint32_t columns = 1; columns <= mcu->width(code); columns++) {
      for (const uint32_t gap : {0U, 1U, 50U}) {
        for (const bool upsideDown : {false, true}) {
          const Canvas canvas = {rows, columns, pixelBytes, gap, upsideDown};
          mcu->scatter(&r, code);
          ASSERT_TRUE(storesAlike(set, mcu, kernel, canvas, code));
        }
      }
    }
  }
}

constexpr uint8_t kSampling[] = {0x11, 0x12, 0x21, 0x22};
constexpr uint32_t kCodes = 4;  // of scales; the last is full size

TEST(PutKernels, StoreGrayAsTheGeneralRoutinesAtEveryScale) {
  for (const Kernels *set : jpgtest::kernelSets()) {
    for (uint32_t code = 0; code < kCodes; code++) {
      Mcu mcu({0x11});
      compareAllParts(*set, &mcu, set->putGray, 1, code);
    }
  }
}

TEST(PutKernels, StoreColourAsTheGeneralRoutinesInEveryLayoutAtEveryScale) {
  for (const Kernels *set : jpgtest::kernelSets()) {
    for (uint32_t i = 0; i < 4 * kCodes; i++) {
      const uint32_t code = i / 4, h = 1 + (i & 1), v = 1 + (i >> 1 & 1);
      Mcu mcu({static_cast<uint8_t>(h << 4 | v), 0x11, 0x11});
      compareAllParts(*set, &mcu, (*set->putYcc[code])[h - 1][v - 1], 3, code);
    }
  }
}

// A layout for which a kernel is chosen is one that it serves.
TEST(PutKernels, AreChosenOnlyForWhatTheyStore) {
  constexpr uint32_t kFlags[] = {0, kFlagYcbcrToRgb, kFlagYcbcrToRgb | kFlagNoColorConversion};
  uint32_t chosen = 0;
  Random r(2);
  for (uint32_t layout = 0; layout < 4 * 4 * 4 * 3 * kCodes; layout++) {
    const uint32_t code = layout / (4 * 4 * 4 * 3);
    Mcu mcu({kSampling[layout & 3], kSampling[layout >> 2 & 3], kSampling[layout >> 4 & 3]});
    mcu.c()->flags = kFlags[layout / 64 % 3];
    const Canvas canvas = {mcu.height(code), mcu.width(code), 3, 0, false};
    FencedBytes unused(canvas.size(), FencedBytes::kBehind);
    const bool raw = (mcu.c()->flags & kFlagNoColorConversion) != 0;
    const PixelFormat format =
        raw ? chooseRawFormat(*mcu.c(), canvas.rect(&unused)) : chooseFormat(*mcu.c());
    const McuKernel kernel = mcu.kernel(format, code);
    if (kernel == nullptr) continue;
    chosen++;
    EXPECT_EQ(mcu.c()->flags, kFlagYcbcrToRgb);
    mcu.scatter(&r, code);
    ASSERT_TRUE(storesAlike(*mcu.c()->kernels, &mcu, kernel, canvas, code));
  }
  EXPECT_EQ(chosen, 4 * kCodes);
}

TEST(PutKernels, OfGrayAreChosenForSingleComponents) {
  Random r(3);
  for (uint32_t code = 0; code < kCodes; code++) {
    Mcu mcu({0x11});
    const McuKernel kernel = mcu.kernel(PixelFormat::kGray, code);
    ASSERT_NE(kernel, nullptr);
    mcu.scatter(&r, code);
    EXPECT_TRUE(storesAlike(*mcu.c()->kernels, &mcu, kernel,
                            {mcu.height(code), mcu.width(code), 1, 0, false}, code));
    Mcu two({0x11, 0x11});
    EXPECT_EQ(two.kernel(PixelFormat::kGray, code), nullptr);
  }
}

// All samples there are, in the layout where each pixel has its own. Half-size cells convert by
// a routine of their own.
void convertEveryColour(const Kernels &set, uint32_t code) {
  const McuKernel kernel = (*set.putYcc[code])[0][0];
  Mcu mcu({0x11, 0x11, 0x11});
  std::array<uint8_t, 3 * 64> general = {}, fast = {};
  const int32_t n = 1 << code;
  const JpgRect rect = {n, n, 24, 24, 3, 8, general.data(), 0, 0};
  int16_t *cb = mcu.blocks() + 64, *cr = cb + 64;
  for (int32_t pair = 0; pair < 65536; pair++) {
    std::fill(cb, cb + 64, static_cast<int16_t>(pair % 256 - 128));
    std::fill(cr, cr + 64, static_cast<int16_t>(pair / 256 - 128));
    for (int32_t first = -128; first < 128; first += n * n) {
      for (int32_t i = 0; i < n * n; i++) {
        mcu.blocks()[8 * (i / n) + i % n] = static_cast<int16_t>(first + i);
      }
      mcu.putByGeneralRoutines(rect, n, code);
      kernel(mcu.blocks(), fast.data(), 24, static_cast<uint32_t>(n), static_cast<uint32_t>(n));
      if (general == fast) continue;
      const Canvas canvas = {static_cast<uint32_t>(n), 8, 3, 0, false};
      ASSERT_TRUE(jpgtest::sameValues(
          set, "put, " + mcu.layout() + ", " + jpgtest::nameOfScale(code), general.data(),
          fast.data(), general.size(), [&](size_t i) { return placeInRows(canvas, i); }))
          << ", Cb " << cb[0] << ", Cr " << cr[0] << ", Y from " << first;
    }
  }
}

TEST(PutKernels, ConvertEveryColourAsTheGeneralRoutines) {
  for (const Kernels *set : jpgtest::kernelSets()) convertEveryColour(*set, kScaleFull);
}

TEST(PutKernels, ConvertEveryColourOfHalfSizeAsTheGeneralRoutines) {
  for (const Kernels *set : jpgtest::kernelSets()) {
    if (set != &jpgPortableKernels) convertEveryColour(*set, kScaleFull - 1);
  }
}

}  // namespace
