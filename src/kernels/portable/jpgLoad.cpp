// SPDX-License-Identifier: MIT
// Blocks straight from whole MCUs of pixels, for any processor: the result of the conversion and
// gathering routines of jpgWMcu.cpp without their work area, or that of jpgWAverage.cpp. Chroma
// that is decimated is computed only for the pixels that are kept; averages are computed from the
// sums of the pixels, with a single rounding.
#include "kernels/portable/jpgPortable.h"
#include "share/jpgArith.h"
#include "share/jpgSamples.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

constexpr uint32_t kPixelBytes = 3;
constexpr uint32_t kFractionBits = 12;
constexpr int32_t kHalf = 1 << (kFractionBits - 1);

// The conversion's factors, scaled by 4096. Kept in memory: compilers turn multiplications by
// known constants into shifts and adds, which are slower on processors that multiply in a cycle
// or two.
struct Factors {
  int32_t yRed, yGreen, yBlue, yRest;
  int32_t cbRed, cbGreen;
  int32_t crGreen, crBlue;
};
constexpr Factors kFactors = {1225, 2404,  467,   kHalf - (kLevelShift << kFractionBits),
                              -691, -1357, -1715, -333};
constexpr uint32_t kHalfFactorBits = 11;  // 2048: 0.5 scaled by 4096

inline const Factors *factors() {
  const Factors *f = &kFactors;
  // Hides the constants from the optimiser, which would turn the multiplications into shifts
  // and adds.
  asm("" : "+r"(f));
  return f;
}

// A block of Y.
void loadLuma(const uint8_t *in, ptrdiff_t stride, int16_t *out) {
  const Factors f = *factors();
  for (uint32_t y = 0; y < 8; y++, in += stride) {
    const uint8_t *pixel = in;
    for (uint32_t x = 0; x < 8; x++, pixel += kPixelBytes) {
      const int32_t sum = pixel[0] * f.yBlue + pixel[1] * f.yGreen + pixel[2] * f.yRed + f.yRest;
      *out++ = static_cast<int16_t>(asr(sum, kFractionBits));
    }
  }
}

// A block of Cb and one of Cr, from every kAcross-th pixel of eight rows `stride` apart.
template <uint32_t kAcross>
void loadChroma(const uint8_t *in, ptrdiff_t stride, int16_t *out) {
  const Factors f = *factors();
  for (uint32_t y = 0; y < 8; y++, in += stride) {
    const uint8_t *pixel = in;
    for (uint32_t x = 0; x < 8; x++, pixel += kPixelBytes * kAcross, out++) {
      const int32_t b = pixel[0], g = pixel[1], r = pixel[2];
      const int32_t cb = g * f.cbGreen + r * f.cbRed + (b << kHalfFactorBits) + kHalf;
      const int32_t cr = g * f.crGreen + b * f.crBlue + (r << kHalfFactorBits) + kHalf;
      out[0] = static_cast<int16_t>(asr(cb, kFractionBits));
      out[kBlockSize] = static_cast<int16_t>(asr(cr, kFractionBits));
    }
  }
}

// The sums of a group's pixels, kAcross x kDown.
struct Sums {
  int32_t b, g, r;
};

template <uint32_t kAcross, uint32_t kDown>
inline Sums sumGroup(const uint8_t *in, ptrdiff_t stride) {
  Sums s = {in[0], in[1], in[2]};
  for (uint32_t i = 1; i < kAcross * kDown; i++) {
    const uint8_t *pixel = in + stride * static_cast<ptrdiff_t>(i / kAcross);
    pixel += i % kAcross * kPixelBytes;
    s = {s.b + pixel[0], s.g + pixel[1], s.r + pixel[2]};
  }
  return s;
}

// A block of Cb and one of Cr, the averages of groups of pixels.
template <uint32_t kAcross, uint32_t kDown>
void averageChroma(const uint8_t *in, ptrdiff_t stride, int16_t *out) {
  constexpr uint32_t kShift = kFractionBits + (kAcross - 1) + (kDown - 1);
  constexpr int32_t kRounding = 1 << (kShift - 1);
  const Factors f = *factors();
  for (uint32_t y = 0; y < 8; y++, in += stride * ptrdiff_t{kDown}) {
    const uint8_t *pixel = in;
    for (uint32_t x = 0; x < 8; x++, pixel += kPixelBytes * kAcross, out++) {
      const Sums s = sumGroup<kAcross, kDown>(pixel, stride);
      const int32_t cb = s.g * f.cbGreen + s.r * f.cbRed + (s.b << kHalfFactorBits) + kRounding;
      const int32_t cr = s.g * f.crGreen + s.b * f.crBlue + (s.r << kHalfFactorBits) + kRounding;
      out[0] = static_cast<int16_t>(asr(cb, kShift));
      out[kBlockSize] = static_cast<int16_t>(asr(cr, kShift));
    }
  }
}

// The blocks of Y; returns the position behind them.
template <uint32_t kAcross, uint32_t kDown>
inline int16_t *loadLumaBlocks(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  for (uint32_t v = 0; v < kDown; v++) {
    for (uint32_t h = 0; h < kAcross; h++, blocks += kBlockSize) {
      loadLuma(in + stride * static_cast<ptrdiff_t>(8 * v) + size_t{8} * kPixelBytes * h, stride,
               blocks);
    }
  }
  return blocks;
}

template <uint32_t kAcross, uint32_t kDown>
void loadYcc(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = loadLumaBlocks<kAcross, kDown>(in, stride, blocks);
  loadChroma<kAcross>(in, stride * ptrdiff_t{kDown}, chroma);
}

template <uint32_t kAcross, uint32_t kDown>
void averageYcc(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = loadLumaBlocks<kAcross, kDown>(in, stride, blocks);
  averageChroma<kAcross, kDown>(in, stride, chroma);
}

}  // namespace

void portableLoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  for (uint32_t y = 0; y < 8; y++, in += stride) {
    for (uint32_t x = 0; x < 8; x++) *blocks++ = static_cast<int16_t>(in[x] - kLevelShift);
  }
}

constexpr LoadKernels portableLoadYcc = {{loadYcc<1, 1>, loadYcc<1, 2>},
                                         {loadYcc<2, 1>, loadYcc<2, 2>}};
constexpr LoadKernels portableAverageYcc = {{loadYcc<1, 1>, averageYcc<1, 2>},
                                            {averageYcc<2, 1>, averageYcc<2, 2>}};

}  // namespace jpg
