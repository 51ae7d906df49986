// SPDX-License-Identifier: MIT
// An MCU's blocks from pixels: the colour conversion and chroma decimation of jpgWMcu.cpp, or the
// averages of jpgWAverage.cpp. Sixteen pixels at a time: of a line, or of two lines.
#include "kernels/vector/jpgVec.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {
namespace vec {
namespace {

constexpr int kCell = 8, kBlockSize = 64;
constexpr int kFractionBits = 12;

// The rounding term is a product, too: 16 * 128 is half of 2^12. With the level shift of 128 it is
// 16 times this.
constexpr int kSixteenth = 16;
constexpr int kRounding = 128;
constexpr int kLumaRounding = kRounding - (128 << kFractionBits) / kSixteenth;

// Eight pixels, or the sums of two or four.
struct Weighable {
  Words blue, green, red;
};

JPG_VEC Weighable lowOf(const Colours &c) {
  return {lowWords(c.blue), lowWords(c.green), lowWords(c.red)};
}
JPG_VEC Weighable highOf(const Colours &c) {
  return {highWords(c.blue), highWords(c.green), highWords(c.red)};
}
JPG_VEC Weighable evensOf(const Colours &c) {
  return {evenBytes(c.blue), evenBytes(c.green), evenBytes(c.red)};
}
JPG_VEC Weighable sumsOf(const Colours &c) {
  return {pairSums(c.blue), pairSums(c.green), pairSums(c.red)};
}
JPG_VEC Weighable operator+(const Weighable &a, const Weighable &b) {
  return {a.blue + b.blue, a.green + b.green, a.red + b.red};
}

JPG_VEC void storeLuma(const Weighable &w, int16_t *out) {
  const Longs s =
      dot(pairs(w.blue, w.green), 467, 2404, pairs(w.red, words(kSixteenth)), 1225, kLumaRounding);
  store(out, pack<kFractionBits>(s));
}

// Cb, and Cr a block further on, of the sums of 2^kMore pixels.
template <int kMore>
JPG_VEC void storeChroma(const Weighable &w, int16_t *out) {
  const Pairs bg = pairs(w.blue, w.green), r = pairs(w.red, words(kSixteenth << kMore));
  const Longs cb = dot(bg, 2048, -1357, r, -691, kRounding);
  const Longs cr = dot(bg, -333, -1715, r, 2048, kRounding);
  store(out, pack<kFractionBits + kMore>(cb));
  store(out + kBlockSize, pack<kFractionBits + kMore>(cr));
}

// One block of Y across.
template <int kDown, bool kAverages>
void loadNarrow(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = blocks + kBlockSize * kDown;
  for (int r = 0; r < kCell * kDown; r += 2, in += 2 * stride, blocks += 2 * kCell) {
    const Colours c = loadLines(in, in + stride);
    const Weighable upper = lowOf(c), lower = highOf(c);
    storeLuma(upper, blocks);
    storeLuma(lower, blocks + kCell);
    if constexpr (kDown == 1) {
      storeChroma<0>(upper, chroma);
      storeChroma<0>(lower, chroma + kCell);
    } else if constexpr (kAverages) {
      storeChroma<1>(upper + lower, chroma);
    } else {
      storeChroma<0>(upper, chroma);
    }
    chroma += 2 / kDown * kCell;
  }
}

// A line of two blocks of Y side by side.
JPG_VEC Colours loadLine(const uint8_t *in, int16_t *y) {
  const Colours c = loadPixels(in);
  storeLuma(lowOf(c), y);
  storeLuma(highOf(c), y + kBlockSize);
  return c;
}

template <int kDown, bool kAverages>
void loadWide(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = blocks + kBlockSize * 2 * kDown;
  for (int r = 0; r < kCell * kDown; r += kDown, in += stride, chroma += kCell) {
    int16_t *y = blocks + kBlockSize * 2 * (r / kCell) + kCell * (r % kCell);
    const Colours c = loadLine(in, y);
    Weighable w = kAverages ? sumsOf(c) : evensOf(c);
    if constexpr (kDown == 2) {
      in += stride;
      const Colours next = loadLine(in, y + kCell);
      if (kAverages) w = w + sumsOf(next);
    }
    storeChroma<kAverages ? kDown : 0>(w, chroma);
  }
}

}  // namespace
}  // namespace vec

void vectorLoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  for (int r = 0; r < vec::kCell; r++, in += stride) {
    vec::store(blocks + vec::kCell * r, vec::loadEightBytes(in) - vec::words(128));
  }
}

constexpr LoadKernels vectorLoadYcc = {{vec::loadNarrow<1, false>, vec::loadNarrow<2, false>},
                                       {vec::loadWide<1, false>, vec::loadWide<2, false>}};
constexpr LoadKernels vectorAverageYcc = {{vec::loadNarrow<1, false>, vec::loadNarrow<2, true>},
                                          {vec::loadWide<1, true>, vec::loadWide<2, true>}};

}  // namespace jpg
