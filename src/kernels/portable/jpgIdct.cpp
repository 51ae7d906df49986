// SPDX-License-Identifier: MIT
// The inverse transforms, with saturated samples, for any processor: the definition of what the
// library delivers.
//
// A separable inverse DCT in fixed point with 12 fraction bits: columns first, whose output is 8
// times the one-dimensional transform, then rows, shifted right by 17. Sums and products wrap
// modulo 2^32.
// In the first pass of Transform::kUsual the product of x1 in the first rotation is x1 * x1, where
// a textbook transform has x1 * sin(pi/16): this is the library's output whenever vertical
// frequency 1 is present, and must stay. The other transforms have the textbook's product there.
// They also keep 4 more fraction bits ahead of that pass's last products, with which they meet the
// limits of IEEE 1180. The second pass is the same for all.
//
// Most blocks have coefficients only in the low-frequency corner, so both passes have variants for
// lines of 2, 4 and 8 coefficients. The column pass finds out which one the row pass needs.
#include <string.h>

#include "kernels/portable/jpgPortable.h"
#include "share/jpgArith.h"
#include "share/jpgSamples.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// Multipliers: nearest integers to 4096 cos and 4096 sin of the angle.
constexpr int32_t kC1 = 4017, kS1 = 799;   // pi/16
constexpr int32_t kC3 = 3406, kS3 = 2276;  // 3pi/16
constexpr int32_t kC4 = 2896;              // pi/4, cosine and sine
constexpr int32_t kC2 = 3784, kS2 = 1567;  // pi/8

constexpr uint32_t kColumnShift = 9;  // columns: 2^12 down to 8
constexpr uint32_t kRowShift = 17;    // rows: 8 x 2^12 x 4 down to 1

// How many of 12 fraction bits are dropped ahead of the odd part's products by c4 in the usual
// first pass and in the second one, and in the accurate first pass.
constexpr uint32_t kCoarseShift = 12;
constexpr uint32_t kFineShift = 8;
static_assert(kC4 % (1 << (kCoarseShift - kFineShift)) == 0, "the finer product is exact");

// Zig-zag positions up to here lie in the first 4 rows and 2 columns, or 4 rows and 4 columns.
constexpr uint32_t kLastOf4x2 = 4;
constexpr uint32_t kLastOf4x4 = 9;

// The multipliers, in memory: compilers turn multiplications by known constants into shifts and
// adds, which are slower on processors that multiply in a cycle or two.
struct Factors {
  int32_t c1, s1, c3, s3, c4, c2, s2;
  int32_t fineC4;  // c4 for values with 4 fraction bits
};
constexpr Factors kFactors = {kC1, kS1, kC3, kS3,
                              kC4, kC2, kS2, kC4 >> (kCoarseShift - kFineShift)};

inline const Factors *factors() {
  const Factors *f = &kFactors;
  // Hides the constants from the optimiser, which would turn the multiplications into shifts
  // and adds.
  asm("" : "+r"(f));
  return f;
}

// A line (row or column) of coefficients, or of its transform ahead of the right shift. Single
// members rather than an array: some compilers spill arrays to memory at -O2.
struct Line {
  int32_t v0, v1, v2, v3, v4, v5, v6, v7;
};

// The one-dimensional transform of a line whose coefficients from kTerms (2, 4 or 8) on are 0,
// ahead of the right shift by kShift; the rounding term is already added. x1S1 is the product of
// v1 in the first rotation's second sum, which differs between the passes, and so does kDropped, a
// coarse or fine shift.
template <uint32_t kTerms, uint32_t kShift, uint32_t kDropped>
[[gnu::always_inline]] inline Line transformLine(const Factors &f, const Line &x, int32_t x1S1) {
  int32_t p = wrapMul(x.v1, f.c1), q = x1S1;
  if (kTerms > 4) {
    p = wrapAdd(p, wrapMul(x.v7, f.s1));
    q = wrapSub(q, wrapMul(x.v7, f.c1));
  }
  int32_t u = 0, v = 0;
  if (kTerms > 2) {
    u = wrapMul(x.v3, f.c3);
    v = wrapMul(x.v3, f.s3);
  }
  if (kTerms > 4) {
    u = wrapAdd(u, wrapMul(x.v5, f.s3));
    v = wrapSub(v, wrapMul(x.v5, f.c3));
  }
  const int32_t o0 = wrapAdd(p, u), o3 = wrapSub(q, v);
  const int32_t t1 = wrapAdd(wrapSub(p, u), 1 << (kDropped - 1)), t2 = wrapAdd(q, v);
  const int32_t c4 = kDropped == kFineShift ? f.fineC4 : f.c4;
  const int32_t o1 = wrapMul(asr(wrapAdd(t1, t2), kDropped), c4);
  const int32_t o2 = wrapMul(asr(wrapSub(t1, t2), kDropped), c4);

  constexpr int32_t kHalf = 1 << (kShift - 1);
  int32_t e0 = 0, e1 = 0, r = 0, s = 0;
  if (kTerms > 4) {
    const int32_t h = wrapMul(x.v4, f.c4);
    e0 = wrapAdd(wrapMul(x.v0, f.c4), kHalf);
    e1 = wrapSub(e0, h);
    e0 = wrapAdd(e0, h);
    r = wrapAdd(wrapMul(x.v2, f.c2), wrapMul(x.v6, f.s2));
    s = wrapSub(wrapMul(x.v2, f.s2), wrapMul(x.v6, f.c2));
  } else {
    e0 = e1 = wrapAdd(wrapMul(x.v0, f.c4), kHalf);
    if (kTerms > 2) {
      r = wrapMul(x.v2, f.c2);
      s = wrapMul(x.v2, f.s2);
    }
  }
  const int32_t e3 = wrapSub(e0, r), e2 = wrapSub(e1, s);
  e0 = wrapAdd(e0, r);
  e1 = wrapAdd(e1, s);
  return {wrapAdd(e0, o0), wrapAdd(e1, o1), wrapAdd(e2, o2), wrapAdd(e3, o3),
          wrapSub(e3, o3), wrapSub(e2, o2), wrapSub(e1, o1), wrapSub(e0, o0)};
}

template <Transform kTransform, uint32_t kTerms>
inline void putColumn(const Factors &f, const Line &x, int32_t *out) {
  constexpr bool kUsual = kTransform == Transform::kUsual;
  const Line y = transformLine < kTerms, kColumnShift,
             kUsual ? kCoarseShift : kFineShift > (f, x, x.v1 * (kUsual ? x.v1 : f.s1));
  out[8 * 0] = asr(y.v0, kColumnShift);
  out[8 * 1] = asr(y.v1, kColumnShift);
  out[8 * 2] = asr(y.v2, kColumnShift);
  out[8 * 3] = asr(y.v3, kColumnShift);
  out[8 * 4] = asr(y.v4, kColumnShift);
  out[8 * 5] = asr(y.v5, kColumnShift);
  out[8 * 6] = asr(y.v6, kColumnShift);
  out[8 * 7] = asr(y.v7, kColumnShift);
}

inline void putFlatColumn(int32_t level, int32_t *out) {
  out[8 * 0] = out[8 * 1] = out[8 * 2] = out[8 * 3] = level;
  out[8 * 4] = out[8 * 5] = out[8 * 6] = out[8 * 7] = level;
}

// What the column pass found in a block.
struct Columns {
  uint32_t count;  // columns up to the last one that isn't all 0
  bool flat;       // no column has more than its first coefficient
};

// Transforms a column of which the first kRows coefficients, 4 or 8, may be non-zero. Columns run
// from right to left: those of zeros at the right edge are skipped and stay unset in `out`.
template <Transform kTransform, uint32_t kRows>
[[gnu::always_inline]] inline void transformColumn(const Factors &f, const int16_t *in,
                                                   int32_t *out, uint32_t column, Columns *c) {
  Line x = {in[0], in[8], in[16], in[24], 0, 0, 0, 0};
  int32_t high = 0;
  if (kRows > 4) {
    x.v4 = in[32];
    x.v5 = in[40];
    x.v6 = in[48];
    x.v7 = in[56];
    high = x.v4 | x.v5 | x.v6 | x.v7;
  }
  if (high != 0) {
    c->flat = false;
    putColumn<kTransform, 8>(f, x, out);
  } else if ((x.v1 | x.v2 | x.v3) != 0) {
    c->flat = false;
    putColumn<kTransform, 4>(f, x, out);
  } else {
    if (x.v0 == 0 && c->count == 0 && column != 0) return;
    putFlatColumn(asr(x.v0 * kC4 + (1 << (kColumnShift - 1)), kColumnShift), out);
  }
  if (c->count == 0) c->count = column + 1;
}

template <Transform kTransform, uint32_t kRows, uint32_t kColumns>
Columns transformColumns(const Factors &f, const int16_t *block, int32_t *work) {
  Columns c = {0, true};
  for (uint32_t j = kColumns; j-- > 0;) {
    transformColumn<kTransform, kRows>(f, block + j, work + j, j, &c);
  }
  return c;
}

// Saturates a sample to -kMax - 1 .. kMax.
template <int32_t kMax>
inline int16_t saturate(int32_t sample) {
  if (kMax == kMaxSample) return limitSample(sample);
  if (sample > kMax) return static_cast<int16_t>(kMax);
  return static_cast<int16_t>(sample < -kMax - 1 ? -kMax - 1 : sample);
}

// Transforms a row and stores its samples. One range check a row: clamping is rare.
template <int32_t kMax, uint32_t kTerms>
inline void putRow(const Factors &f, const int32_t *row, int16_t *out) {
  Line x = {row[0], row[1], 0, 0, 0, 0, 0, 0};
  if (kTerms > 2) {
    x.v2 = row[2];
    x.v3 = row[3];
  }
  if (kTerms > 4) {
    x.v4 = row[4];
    x.v5 = row[5];
    x.v6 = row[6];
    x.v7 = row[7];
  }
  const Line y = transformLine<kTerms, kRowShift, kCoarseShift>(f, x, wrapMul(x.v1, f.s1));
  uint32_t seen = 0;
  const auto put = [&](uint32_t k, int32_t v) {
    const int32_t sample = asr(v, kRowShift);
    seen |= asUnsigned(sample + kMax + 1);
    out[k] = low16(sample);
  };
  put(0, y.v0);
  put(1, y.v1);
  put(2, y.v2);
  put(3, y.v3);
  put(4, y.v4);
  put(5, y.v5);
  put(6, y.v6);
  put(7, y.v7);
  if (seen <= 2 * kMax + 1) return;
  for (uint32_t k = 0; k < 8; k++) out[k] = saturate<kMax>(out[k]);
}

// A row whose coefficients but the first are 0.
template <int32_t kMax>
void putFlatRow(const Factors & /*f*/, const int32_t *row, int16_t *out) {
  const int32_t level = wrapAdd(wrapMul(row[0], kC4), 1 << (kRowShift - 1));
  const int16_t sample = saturate<kMax>(asr(level, kRowShift));
  for (uint32_t k = 0; k < 8; k++) out[k] = sample;
}

using PutRow = void (*)(const Factors &f, const int32_t *row, int16_t *out);

// If all columns are flat, the rows are equal: one is transformed and copied.
template <PutRow kPut>
void putRows(const Factors &f, const int32_t *work, bool flat, int16_t *block) {
  const uint32_t rows = flat ? 1 : 8;
  for (uint32_t r = 0; r < rows; r++) kPut(f, work + 8 * r, block + kRowLength * r);
  for (uint32_t r = rows; r < 8; r++) {
    memcpy(block + kRowLength * r, block, kRowLength * sizeof(int16_t));
  }
}

// Clears the skipped columns that the row pass over 4 or 8 columns reads behind the first `count`.
void clearColumns(int32_t *work, uint32_t count) {
  switch (count) {
    case 3:
      putFlatColumn(0, work + 3);
      break;
    case 5:
      putFlatColumn(0, work + 5);
      [[fallthrough]];
    case 6:
      putFlatColumn(0, work + 6);
      [[fallthrough]];
    case 7:
      putFlatColumn(0, work + 7);
      break;
    default:
      break;
  }
}

// A block with DC alone: 64 equal samples.
template <int32_t kMax>
void makeFlat(int16_t *block) {
  const int32_t column = asr(block[0] * kC4 + (1 << (kColumnShift - 1)), kColumnShift);
  const int32_t row = wrapAdd(wrapMul(column, kC4), 1 << (kRowShift - 1));
  const int16_t sample = saturate<kMax>(asr(row, kRowShift));
  for (uint32_t i = 0; i < kBlockSize; i++) block[i] = sample;
}

template <Transform kTransform, int32_t kMax>
[[gnu::always_inline]] inline void transformBlock(int16_t *block, uint32_t last) {
  if (last == 0) {
    makeFlat<kMax>(block);
    return;
  }
  const Factors &f = *factors();
  int32_t work[kBlockSize];
  Columns c;
  if (last <= kLastOf4x2) {
    c = transformColumns<kTransform, 4, 2>(f, block, work);
  } else if (last <= kLastOf4x4) {
    c = transformColumns<kTransform, 4, 4>(f, block, work);
  } else {
    c = transformColumns<kTransform, 8, 8>(f, block, work);
  }
  clearColumns(work, c.count);
  if (c.count <= 1) {
    putRows<putFlatRow<kMax>>(f, work, c.flat, block);
  } else if (c.count <= 2) {
    putRows<putRow<kMax, 2>>(f, work, c.flat, block);
  } else if (c.count <= 4) {
    putRows<putRow<kMax, 4>>(f, work, c.flat, block);
  } else {
    putRows<putRow<kMax, 8>>(f, work, c.flat, block);
  }
}

// ---- Smaller cells ----------------------------------------------------------

// v / 2^shift, rounded to nearest.
constexpr int32_t roundShift(int32_t v, uint32_t shift) {
  return asr(wrapAdd(v, 1 << (shift - 1)), shift);
}

// Four values of a line ahead of the right shift, scaled by 4096.
struct Line4 {
  int32_t y[4];
};

Line4 transformLine4(int32_t x0, int32_t x1, int32_t x2, int32_t x3) {
  constexpr int32_t kC = 5352;  // 4096 sqrt(2) cos(pi/8)
  constexpr int32_t kS = 2217;  // 4096 sqrt(2) sin(pi/8)
  const int32_t e0 = wrapShl(wrapAdd(x0, x2), 12);
  const int32_t e1 = wrapShl(wrapSub(x0, x2), 12);
  const int32_t u = wrapAdd(wrapMul(x1, kC), wrapMul(x3, kS));
  const int32_t t = wrapSub(wrapMul(x1, kS), wrapMul(x3, kC));
  return {{wrapAdd(e0, u), wrapAdd(e1, t), wrapSub(e1, t), wrapSub(e0, u)}};
}

// Saturates the n x n samples in the block's top-left corner.
template <int32_t kMax>
void limitCorner(int16_t *block, uint32_t n) {
  for (uint32_t y = 0; y < n; y++) {
    for (uint32_t x = 0; x < n; x++) {
      int16_t *sample = &block[kRowLength * y + x];
      *sample = saturate<kMax>(*sample);
    }
  }
}

void transform4x4(int16_t *block) {
  int32_t work[4][4];
  for (uint32_t j = 0; j < 4; j++) {
    const Line4 line = transformLine4(block[j], block[kRowLength + j], block[2 * kRowLength + j],
                                      block[3 * kRowLength + j]);
    for (uint32_t k = 0; k < 4; k++) work[k][j] = roundShift(line.y[k], 12);
  }
  for (uint32_t r = 0; r < 4; r++) {
    const Line4 line = transformLine4(work[r][0], work[r][1], work[r][2], work[r][3]);
    for (uint32_t k = 0; k < 4; k++) block[kRowLength * r + k] = low16(roundShift(line.y[k], 15));
  }
}

void transform2x2(int16_t *block) {
  const int32_t a = block[0], m = block[1];
  const int32_t b = block[kRowLength], n = block[kRowLength + 1];
  block[0] = low16(roundShift(a + b + m + n, 3));
  block[1] = low16(roundShift((a + b) - (m + n), 3));
  block[kRowLength] = low16(roundShift((a - b) + (m - n), 3));
  block[kRowLength + 1] = low16(roundShift((a - b) - (m - n), 3));
}

}  // namespace

void jpgIdct8x8(int16_t *block, uint32_t last) {
  transformBlock<Transform::kUsual, kMaxSample>(block, last);
}

void jpgAccurateIdct8x8(int16_t *block, uint32_t last) {
  transformBlock<Transform::kAccurate, kMaxSample>(block, last);
}

void jpgWideIdct8x8(int16_t *block, uint32_t last) {
  transformBlock<Transform::kWide, kMaxWideSample>(block, last);
}

void jpgIdct4x4(int16_t *block, uint32_t /*last*/) {
  transform4x4(block);
  limitCorner<kMaxSample>(block, 4);
}

void jpgIdct2x2(int16_t *block, uint32_t /*last*/) {
  transform2x2(block);
  limitCorner<kMaxSample>(block, 2);
}

void jpgIdct1x1(int16_t *block, uint32_t /*last*/) {
  block[0] = limitSample(roundShift(block[0], 3));
}

void jpgWideIdct4x4(int16_t *block, uint32_t /*last*/) {
  transform4x4(block);
  limitCorner<kMaxWideSample>(block, 4);
}

void jpgWideIdct2x2(int16_t *block, uint32_t /*last*/) {
  transform2x2(block);
  limitCorner<kMaxWideSample>(block, 2);
}

void jpgWideIdct1x1(int16_t *block, uint32_t /*last*/) {
  block[0] = saturate<kMaxWideSample>(roundShift(block[0], 3));
}

}  // namespace jpg
