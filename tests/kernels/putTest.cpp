// Pixels of an MCU: every kernel against the general expansion and pixel writers.
#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "kernelSets.h"
#include "read/jpgRCell.h"
#include "read/jpgRClr.h"
#include "read/jpgRRect.h"
#include "share/jpgShare.h"

namespace {

using namespace jpg;
using jpgtest::FencedBytes;
using jpgtest::KernelTest;
using jpgtest::Random;

// A frame's MCU ahead of its output: sampling bytes of 0x11 to 0x22, one for each component.
class Mcu {
 public:
  explicit Mcu(const std::vector<uint8_t> &sampling, uint32_t cell = 8)
      : context_(std::make_unique<JpgContext>()), cell_(cell) {
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
    for (uint32_t i = 0; i < c->hvMax; i++) {
      for (uint32_t k = 0; k < kMaxComponents; k++) cells_.push_back(i + k * c->hvMax);
    }
    c->coefBuffer = blocks_.data();
    c->scratchBlocks = scratch_.data();
    c->blockMapA = map_.data();
    c->blockMapB = cells_.data();
  }

  JpgContext *c() { return context_.get(); }
  uint32_t width() { return cell_ * c()->hMax; }
  uint32_t height() { return cell_ * c()->vMax; }
  int16_t *blocks() { return blocks_.data(); }

  // Samples of any value, or, at times, of the ends alone.
  void scatter(Random *r) {
    const bool ends = r->below(4) == 0;
    for (int16_t &v : blocks_) {
      const int32_t any = r->within(-128, 127);
      v = static_cast<int16_t>(!ends ? any : any < 0 ? -128 : 127);
    }
  }

  void putByGeneralRoutines(const JpgRect &rect, int32_t columns) {
    if (cell_ == 8) {
      chooseExpand (*c())(c(), samplingWord(*c()));
      choosePixelWriter(*c(), rect)(c(), &rect, 0, columns);
      return;
    }
    expandScaled();
    putMcu<PutYccToBgr>(*c(), rect, 0, columns, static_cast<int32_t>(cell_));
  }

 private:
  void expandScaled() {
    const uint32_t sampling = samplingWord(*c());
    if (c()->hvMax == 1) expandSingle(c());
    if (c()->hvMax == 2) expandPair(c(), sampling, c()->hMax == 2, cell_);
    if (c()->hvMax == 4) expandQuad(c(), sampling, cell_);
  }

  std::unique_ptr<JpgContext> context_;
  uint32_t cell_;  // samples of a block, both ways
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

// Both ways of storing, into memory with the fence on either side.
::testing::AssertionResult storesAlike(Mcu *mcu, McuKernel kernel, const Canvas &canvas) {
  for (const FencedBytes::Fence fence : {FencedBytes::kBehind, FencedBytes::kAhead}) {
    FencedBytes general(canvas.size(), fence), fast(canvas.size(), fence);
    const JpgRect rect = canvas.rect(&general);
    mcu->putByGeneralRoutines(rect, static_cast<int32_t>(canvas.columns));
    kernel(mcu->blocks(), canvas.top(&fast), canvas.stride(), canvas.rows, canvas.columns);
    if (general.equals(fast)) continue;
    return ::testing::AssertionFailure()
           << canvas.rows << " rows of " << canvas.columns << ", stride " << canvas.stride();
  }
  return ::testing::AssertionSuccess();
}

// All parts of an MCU, with and without gaps, both ways up.
void compareAllParts(Mcu *mcu, McuKernel kernel, uint32_t pixelBytes) {
  Random r(1);
  for (uint32_t rows = 1; rows <= mcu->height(); rows++) {
    for (uint32_t columns = 1; columns <= mcu->width(); columns++) {
      for (const uint32_t gap : {0U, 1U, 50U}) {
        for (const bool upsideDown : {false, true}) {
          mcu->scatter(&r);
          ASSERT_TRUE(storesAlike(mcu, kernel, {rows, columns, pixelBytes, gap, upsideDown}));
        }
      }
    }
  }
}

constexpr uint8_t kSampling[] = {0x11, 0x12, 0x21, 0x22};

class PutKernels : public KernelTest {};

TEST_F(PutKernels, StoreGrayAsTheGeneralRoutines) {
  Mcu mcu({0x11});
  compareAllParts(&mcu, best_->putGray, 1);
}

TEST_F(PutKernels, StoreColourAsTheGeneralRoutinesInEveryLayout) {
  for (uint32_t h = 1; h <= 2; h++) {
    for (uint32_t v = 1; v <= 2; v++) {
      const McuKernel kernel = (*best_->putYcc[kScaleFull])[h - 1][v - 1];
      SCOPED_TRACE(::testing::Message() << h << "x" << v);
      Mcu mcu({static_cast<uint8_t>(h << 4 | v), 0x11, 0x11});
      compareAllParts(&mcu, kernel, 3);
    }
  }
}

// Scaled pixels stand in the cells' corners, which the general routines for them expand alike.
TEST_F(PutKernels, StoreScaledColourAsTheGeneralRoutinesInEveryLayout) {
  for (uint32_t code = 0; code < kScaleFull; code++) {
    for (uint32_t layout = 0; layout < 4; layout++) {
      const uint32_t h = 1 + layout / 2, v = 1 + layout % 2;
      SCOPED_TRACE(::testing::Message() << h << "x" << v << ", cells of " << (1U << code));
      Mcu mcu({static_cast<uint8_t>(h << 4 | v), 0x11, 0x11}, 1U << code);
      compareAllParts(&mcu, (*best_->putYcc[code])[h - 1][v - 1], 3);
      compareAllParts(&mcu, (*plain_->putYcc[code])[h - 1][v - 1], 3);
    }
  }
}

// A layout for which a kernel is chosen is one that it serves.
TEST_F(PutKernels, AreChosenOnlyForWhatTheyStore) {
  uint32_t chosen = 0;
  Random r(2);
  for (uint32_t layout = 0; layout < 4 * 4 * 4 * 3; layout++) {
    Mcu mcu({kSampling[layout & 3], kSampling[layout >> 2 & 3], kSampling[layout >> 4 & 3]});
    constexpr uint32_t kFlags[] = {0, kFlagYcbcrToRgb, kFlagYcbcrToRgb | kFlagNoColorConversion};
    mcu.c()->flags = kFlags[layout >> 6];
    const Canvas canvas = {mcu.height(), mcu.width(), 3, 0, false};
    FencedBytes unused(canvas.size(), FencedBytes::kBehind);
    const PixelWriter writer = choosePixelWriter(*mcu.c(), canvas.rect(&unused));
    const McuKernel kernel = chooseMcuKernel(*mcu.c(), writer, kScaleFull);
    if (kernel == nullptr) continue;
    chosen++;
    mcu.scatter(&r);
    ASSERT_TRUE(storesAlike(&mcu, kernel, canvas)) << "layout " << layout;
  }
  EXPECT_LE(chosen, 4U);
}

// Single components of every sampling, which are stored as bytes.
TEST_F(PutKernels, OfGrayAreChosenOnlyForMcusOfOneBlock) {
  Random r(3);
  for (const uint8_t sampling : kSampling) {
    Mcu mcu({sampling});
    const McuKernel kernel = chooseMcuKernel(*mcu.c(), jpgPutGray, kScaleFull);
    if (kernel == nullptr) continue;
    mcu.scatter(&r);
    EXPECT_TRUE(storesAlike(&mcu, kernel, {mcu.height(), mcu.width(), 1, 0, false}));
  }
}

// All samples there are, in the layout where each pixel has its own.
TEST_F(PutKernels, ConvertEveryColourAsTheGeneralRoutines) {
  const McuKernel kernel = (*best_->putYcc[kScaleFull])[0][0];
  Mcu mcu({0x11, 0x11, 0x11});
  std::array<uint8_t, 3 * 64> general, fast;
  const JpgRect rect = {8, 8, 24, 24, 3, 8, general.data(), 0, 0};
  int16_t *cb = mcu.blocks() + 64, *cr = cb + 64;
  for (int32_t pair = 0; pair < 65536; pair++) {
    std::fill(cb, cb + 64, static_cast<int16_t>(pair % 256 - 128));
    std::fill(cr, cr + 64, static_cast<int16_t>(pair / 256 - 128));
    for (int32_t first = -128; first < 128; first += 64) {
      for (int32_t i = 0; i < 64; i++) mcu.blocks()[i] = static_cast<int16_t>(first + i);
      mcu.putByGeneralRoutines(rect, 8);
      kernel(mcu.blocks(), fast.data(), 24, 8, 8);
      ASSERT_EQ(general, fast) << "Cb " << cb[0] << ", Cr " << cr[0] << ", Y from " << first;
    }
  }
}

}  // namespace
