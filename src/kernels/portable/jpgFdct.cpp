// SPDX-License-Identifier: MIT
// The forward transform and quantisation, for any processor: the definition of what the library
// writes.
//
// A separable forward DCT of butterflies and rotations in fixed point with 12 fraction bits:
// columns first, whose output is 8 times the one-dimensional transform, then rows, which shift
// those three bits out again. The result is 8 times that of T.81 A.3.3: the DC term is the plain
// sum of the samples. The row pass compares each coefficient with half its step: most are smaller
// and become 0. Only the others are divided, by multiplying with the step's reciprocal.
#include <string.h>

#include "kernels/portable/jpgPortable.h"
#include "kernels/portable/jpgPositions.h"
#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

constexpr uint32_t kFractionBits = 12;
constexpr uint32_t kColumnShift = 9;   // 2^12 down to 8
constexpr uint32_t kRowShift = 15;     // 8 x 2^12 down to 1
constexpr uint32_t kEvenRowShift = 3;  // 8 down to 1

// Multipliers, scaled by 4096: 0.7070 (cos(pi/4)), 0.5413, 0.7654, -1.8479, 0.2759, 1.1111,
// -1.6628, 1.1758, -1.9614, -0.3901. Kept in memory: compilers turn multiplications by known
// constants into shifts and adds, which are slower on processors that multiply in a cycle or two.
struct Factors {
  int32_t c4, k1, k2, k3, k4, k5, k6, k7, k8, k9;
};
constexpr Factors kFactors = {2896, 2217, 3135, -7569, 1130, 4551, -6811, 4816, -8034, -1598};

inline const Factors *factors() {
  const Factors *f = &kFactors;
  // Hides the constants from the optimiser, which would turn the multiplications into shifts
  // and adds.
  asm("" : "+r"(f));
  return f;
}

// A line (row or column) of samples or coefficients. Single members rather than an array: some
// compilers spill arrays to memory at -O2.
struct Line {
  int32_t v0, v1, v2, v3, v4, v5, v6, v7;
};

// The one-dimensional transform, ahead of the right shift by kShift; the rounding term is already
// added. Coefficients 0 and 4 aren't scaled by 4096 and have no rounding term.
template <uint32_t kShift>
[[gnu::always_inline]] inline Line transformLine(const Factors &f, const Line &x) {
  constexpr int32_t kHalf = 1 << (kShift - 1);
  constexpr int32_t kButterflyHalf = 1 << (kFractionBits - 1);
  const int32_t s07 = x.v0 + x.v7, d07 = x.v0 - x.v7;
  const int32_t s16 = x.v1 + x.v6, d16 = x.v1 - x.v6;
  const int32_t s25 = x.v2 + x.v5, d25 = x.v2 - x.v5;
  const int32_t s34 = x.v3 + x.v4, d34 = x.v3 - x.v4;
  const int32_t e0 = s07 + s34, e1 = s07 - s34;
  const int32_t e2 = s16 + s25, e3 = s16 - s25;

  const int32_t a = asr((d16 - d25) * f.c4 + kButterflyHalf, kFractionBits);
  const int32_t b = asr((d16 + d25) * f.c4 + kButterflyHalf, kFractionBits);
  const int32_t p = d34 - a, q = d34 + a;
  const int32_t r = d07 + b, t = d07 - b;
  const int32_t m1 = (r + q) * f.k4 + kHalf;
  const int32_t m2 = (t + p) * f.k7 + kHalf;
  const int32_t m3 = (e1 + e3) * f.k1 + kHalf;
  return {e0 + e2, r * f.k5 + m1, e1 * f.k2 + m3, p * f.k8 + m2,
          e0 - e2, t * f.k9 + m2, e3 * f.k3 + m3, q * f.k6 + m1};
}

void transformColumn(const Factors &f, const int16_t *in, int32_t *out) {
  const Line x = {in[0], in[8], in[16], in[24], in[32], in[40], in[48], in[56]};
  const Line y = transformLine<kColumnShift>(f, x);
  out[8 * 0] = y.v0 * 8;
  out[8 * 1] = asr(y.v1, kColumnShift);
  out[8 * 2] = asr(y.v2, kColumnShift);
  out[8 * 3] = asr(y.v3, kColumnShift);
  out[8 * 4] = y.v4 * 8;
  out[8 * 5] = asr(y.v5, kColumnShift);
  out[8 * 6] = asr(y.v6, kColumnShift);
  out[8 * 7] = asr(y.v7, kColumnShift);
}

// A row's coefficients as bits of a mask: coefficient 0 is the highest bit, coefficient k the one k
// places below. Counting leading zeros is one instruction on ARM, counting trailing zeros is four.
constexpr uint32_t kFirstOfRow = uint32_t{1} << 31;

// Replaces a row by its coefficients. Returns the mask of the coefficients whose levels aren't 0:
// those with a magnitude of at least half[k], half the quantisation step.
uint32_t transformRow(const Factors &f, int32_t *row, const uint16_t *half) {
  const Line x = {row[0], row[1], row[2], row[3], row[4], row[5], row[6], row[7]};
  const Line y = transformLine<kRowShift>(f, x);
  constexpr int32_t kEvenHalf = 1 << (kEvenRowShift - 1);
  uint32_t large = 0;
  const auto put = [&](uint32_t k, int32_t c) {
    row[k] = c;
    if ((c < 0 ? -c : c) >= half[k]) large |= kFirstOfRow >> k;
  };
  put(0, asr(y.v0 + kEvenHalf, kEvenRowShift));
  put(1, asr(y.v1, kRowShift));
  put(2, asr(y.v2, kRowShift));
  put(3, asr(y.v3, kRowShift));
  put(4, asr(y.v4 + kEvenHalf, kEvenRowShift));
  put(5, asr(y.v5, kRowShift));
  put(6, asr(y.v6, kRowShift));
  put(7, asr(y.v7, kRowShift));
  return large;
}

// coefficient / step, rounded to nearest, halves away from zero: (magnitude + half) / step by the
// multiplications that QuantReciprocals describes.
inline int32_t quantise(int32_t coefficient, const QuantReciprocals &q, uint32_t at) {
  const auto magnitude = static_cast<uint32_t>(coefficient < 0 ? -coefficient : coefficient);
  // QuantReciprocals has (...) / 2 & ~3 and >> 16: the factor 4 is left out of both.
  const uint32_t n = (magnitude + q.half[at]) / 8;
  const auto level = static_cast<int32_t>(((n * q.factor[at]) >> 14) * q.shift[at] >> 16);
  return coefficient < 0 ? -level : level;
}

// Quantises the coefficients of a row that `large`, the result of transformRow(), names, and stores
// their levels. `at` is the natural index of the row's first coefficient. Returns the mask of the
// levels stored: bit k for zig-zag position k.
inline uint64_t putLevels(const int32_t *row, uint32_t large, const QuantReciprocals &q,
                          uint32_t at, int16_t *levels) {
  uint64_t mask = 0;
  while (large != 0) {
    const auto k = static_cast<uint32_t>(__builtin_clz(large));
    large &= ~(kFirstOfRow >> k);
    levels[kPositions.of[at + k]] = static_cast<int16_t>(quantise(row[k], q, at + k));
    mask |= kPositionBits.of[at + k];
  }
  return mask;
}

uint64_t makeBlockLevels(const Factors &f, int16_t *block, const QuantReciprocals &q) {
  int32_t work[kBlockSize];
  uint64_t mask = 0;
  for (uint32_t j = 0; j < 8; j++) transformColumn(f, block + j, work + j);
  memset(block, 0, kBlockSize * sizeof(int16_t));
  for (uint32_t at = 0; at < kBlockSize; at += 8) {
    const uint32_t large = transformRow(f, work + at, q.half + at);
    mask |= putLevels(work + at, large, q, at, block);
  }
  return mask;
}

}  // namespace

void portableTransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                                  uint64_t *masks) {
  const Factors &f = *factors();
  for (uint32_t i = 0; i < count; i++) {
    masks[i] = makeBlockLevels(f, blocks + kBlockSize * i, *steps.reciprocals);
  }
}

}  // namespace jpg
