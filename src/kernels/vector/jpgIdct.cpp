// SPDX-License-Identifier: MIT
// The inverse transforms of portable/jpgIdct.cpp: all eight columns, then all eight rows at once.
//
// Products of 16-bit factors are formed and added in pairs. The row pass needs the column pass's
// output in 16 bits; a block that might exceed them goes through the portable routine. Otherwise
// no sum exceeds 32 bits.
#include "kernels/portable/jpgPortable.h"
#include "kernels/vector/jpgVec.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {
namespace vec {
namespace {

// The multipliers of portable/jpgIdct.cpp.
constexpr int kC1 = 4017, kS1 = 799, kC3 = 3406, kS3 = 2276, kC4 = 2896, kC2 = 3784, kS2 = 1567;

// A pass: its right shift, how many fraction bits it drops ahead of the odd part's products by
// c4, and whether what is left of these values fits 16 bits.
template <int kShiftOfPass, int kDroppedInPass, bool kFitsInPass>
struct Pass {
  static constexpr int kShift = kShiftOfPass, kDropped = kDroppedInPass;
  static constexpr bool kFits = kFitsInPass;
};
using UsualColumns = Pass<9, 12, true>;
using AccurateColumns = Pass<9, 8, false>;
using Rows = Pass<17, 12, false>;

// The odd part's products by c4, of values to which the half of their last bit is added.
template <typename P, typename L>
JPG_VEC L timesC4(const L &v) {
  constexpr int kFactor = kC4 >> (12 - P::kDropped);
  if constexpr (P::kFits) return timesSmall<kFactor>(shift<P::kDropped>(v));
  return times<kFactor>(shift<P::kDropped>(v));
}

// The even and the odd part of lines: line k is e[k] + o[k], line 7 - k is e[k] - o[k], shifted
// right; the even part has the rounding term.
template <typename L>
struct Parts {
  L e[4], o[4];
};

// One-dimensional transforms of lines: of their pairs (x1, x7), (x3, x5), (x0, x4), (x2, x6). q
// has the factors of the first rotation's second sum.
template <typename P, typename L, typename Q>
JPG_VEC Parts<L> transformAll(const Q &x17, const Q &x35, const Q &x04, const Q &x26, const Q &q) {
  const L p = dot(x17, kC1, kS1), r = dot(x17, q);
  const L u = dot(x35, kC3, kS3), v = dot(x35, -kS3, kC3);
  const L t1 = (p - u) + half<P::kDropped>(), t2 = r - v;
  const L e0 = dot(x04, kC4, kC4) + half<P::kShift>();
  const L e1 = dot(x04, kC4, -kC4) + half<P::kShift>();
  const L c = dot(x26, kC2, kS2), s = dot(x26, kS2, -kC2);
  return {{e0 + c, e1 + s, e1 - s, e0 - c},
          {p + u, timesC4<P>(t1 + t2), timesC4<P>(t1 - t2), r + v}};
}

// The same of lines whose values 4 to 7 are 0, from the pairs (x0, x2) and (x1, x3). Beside the
// first rotation's factor of x1, minus has -kS3 and plus has kS3.
template <typename P, typename L, typename Q>
JPG_VEC Parts<L> transformSparse(const Q &x02, const Q &x13, const Q &minus, const Q &plus) {
  const L t1 = dot(x13, kC1, -kC3) + half<P::kDropped>(), t2 = dot(x13, plus);
  const Longs4 rounding = half<P::kShift>();
  return {{dot(x02, kC4, kC2) + rounding, dot(x02, kC4, kS2) + rounding,
           dot(x02, kC4, -kS2) + rounding, dot(x02, kC4, -kC2) + rounding},
          {dot(x13, kC1, kC3), timesC4<P>(t1 + t2), timesC4<P>(t1 - t2), dot(x13, minus)}};
}

// If the magnitudes of a column's coefficients sum to no more than this, the column pass's output
// fits 16 bits. An even coefficient adds at most 3784 of its magnitude, an odd one at most
// 4017 + |x1| <= 6917 over sqrt(2) (x1 is multiplied by itself, too): in all
// |y| < 6917 * 2900 / sqrt(2) + 2^12 < 2^24, which is then shifted right by 9. And what the usual
// pass multiplies by c4 is at most 6917 * 2900 / 2^12 < 2^13.
constexpr int kMostMagnitude = 2900;

// True if no column of kRows coefficients has a sum of magnitudes above `bound`.
template <int kRows>
JPG_VEC bool isModest(const Words *x, int bound) {
  Words sum = magnitude(x[0]);
  for (int k = 1; k < kRows; k++) sum = addSaturated(sum, magnitude(x[k]));
  return !anyAbove(sum, bound);
}

// What x1 is multiplied by in the column pass: itself in the usual transform, as in the portable
// routine. Required.
template <typename Columns>
JPG_VEC Words firstFactor(Words x1) {
  return Columns::kDropped == UsualColumns::kDropped ? x1 : words(kS1);
}

template <typename P>
JPG_VEC void combine(const Parts<Longs> &l, Words *y) {
  for (int k = 0; k < 4; k++) {
    y[k] = packSum<P::kShift>(l.e[k], l.o[k]);
    y[7 - k] = packDifference<P::kShift>(l.e[k], l.o[k]);
  }
}

template <typename P>
JPG_VEC void transformLines(Words *x, Words q1) {
  combine<P>(transformAll<P, Longs>(pairs(x[1], x[7]), pairs(x[3], x[5]), pairs(x[0], x[4]),
                                    pairs(x[2], x[6]), pairs(q1, words(-kC1))),
             x);
}

JPG_VEC void storeLimited(Words *lines, int16_t *block) {
  transpose(lines);
  for (int k = 0; k < 8; k++) store(block + 8 * k, limited(lines[k]));
}

template <typename Columns>
JPG_VEC void makeDense(Words *x, int16_t *block) {
  transformLines<Columns>(x, firstFactor<Columns>(x[1]));
  transpose(x);
  transformLines<Rows>(x, words(kS1));
  storeLimited(x, block);
}

// Eight lines of four values become four lines of eight.
template <typename P>
JPG_VEC void combineTransposed(const Parts<Longs4> &l, Words *c) {
  const Longs4 *e = l.e, *o = l.o;
  const Words a = packSum<P::kShift>({e[0], e[1]}, {o[0], o[1]});  // lines 0 and 1
  const Words b = packSum<P::kShift>({e[2], e[3]}, {o[2], o[3]});
  const Words d = packDifference<P::kShift>({e[3], e[2]}, {o[3], o[2]});
  const Words f = packDifference<P::kShift>({e[1], e[0]}, {o[1], o[0]});
  const TwoWords ab = interleaved(a, b), df = interleaved(d, f);
  const TwoWords upper = interleaved(ab.low, ab.high), lower = interleaved(df.low, df.high);
  c[0] = lowHalves(upper.low, lower.low);
  c[1] = highHalves(upper.low, lower.low);
  c[2] = lowHalves(upper.high, lower.high);
  c[3] = highHalves(upper.high, lower.high);
}

// A block with coefficients in rows and columns 0 to 3 only.
template <typename Columns>
JPG_VEC void makeSparse(const Words *x, int16_t *block) {
  const Words q1 = firstFactor<Columns>(x[1]);
  Words c[4];
  combineTransposed<Columns>(
      transformSparse<Columns, Longs4>(pairsLow(x[0], x[2]), pairsLow(x[1], x[3]),
                                       pairsLow(q1, words(-kS3)), pairsLow(q1, words(kS3))),
      c);
  Words out[8];
  combine<Rows>(
      transformSparse<Rows, Longs>(pairs(c[0], c[2]), pairs(c[1], c[3]),
                                   pairs(words(kS1), words(-kS3)), pairs(words(kS1), words(kS3))),
      out);
  storeLimited(out, block);
}

// A block with DC alone: 64 equal samples.
JPG_VEC void makeFlat(int16_t *block) {
  const int column = (block[0] * kC4 + (1 << 8)) >> 9;
  int sample = (column * kC4 + (1 << 16)) >> 17;
  if (sample < -128) sample = -128;
  if (sample > 127) sample = 127;
  for (int k = 0; k < 64; k += 8) store(block + k, words(sample));
}

// Zig-zag positions up to here lie in rows and columns 0 to 3.
constexpr uint32_t kLastSparse = 9;

template <typename Columns>
JPG_VEC void transformBlock(int16_t *block, uint32_t last, InverseKernel portable) {
  if (last == 0) {
    makeFlat(block);
    return;
  }
  Words x[8];
  if (last <= kLastSparse) {
    for (int k = 0; k < 4; k++) x[k] = loadFour(block + 8 * k);
    if (isModest<4>(x, kMostMagnitude)) return makeSparse<Columns>(x, block);
  } else {
    for (int k = 0; k < 8; k++) x[k] = load(block + 8 * k);
    if (isModest<8>(x, kMostMagnitude)) return makeDense<Columns>(x, block);
  }
  portable(block, last);
}

// ---- Half size: cells of 4 x 4 samples ----

constexpr int kHalfC = 5352;  // 4096 sqrt(2) cos(pi/8)
constexpr int kHalfS = 2217;  // 4096 sqrt(2) sin(pi/8)

// A sum of magnitudes up to here keeps the column pass's output, at most 5352/4096 of it, within
// 16 bits.
constexpr int kMostHalfMagnitude = 25000;

// Four lines of four, from the pairs (x0, x2) and (x1, x3): two lines a register.
struct FourLines {
  Words first, second;
};

template <int kShift>
JPG_VEC FourLines transformFour(Pairs4 x02, Pairs4 x13) {
  const Longs4 e0 = dot(x02, 4096, 4096) + half<kShift>();
  const Longs4 e1 = dot(x02, 4096, -4096) + half<kShift>();
  const Longs4 u = dot(x13, kHalfC, kHalfS), t = dot(x13, kHalfS, -kHalfC);
  return {packSum<kShift>({e0, e1}, {u, t}), packDifference<kShift>({e1, e0}, {t, u})};
}

JPG_VEC FourLines transposed(const FourLines &l) {
  const TwoWords both = interleaved(l.first, l.second);
  const TwoWords columns = interleaved(both.low, both.high);
  return {columns.low, columns.high};
}

// Stores two rows of four samples.
JPG_VEC void storeHalves(int16_t *row, Words w) {
  const Words samples = limited(w);
  storeFour(row, samples);
  storeFour(row + 8, highHalves(samples, samples));
}

}  // namespace
}  // namespace vec

void vectorInverseTransform(int16_t *block, uint32_t last) {
  vec::transformBlock<vec::UsualColumns>(block, last, jpgIdct8x8);
}

void vectorAccurateTransform(int16_t *block, uint32_t last) {
  vec::transformBlock<vec::AccurateColumns>(block, last, jpgAccurateIdct8x8);
}

void vectorInverseTransformHalf(int16_t *block, uint32_t last) {
  using namespace vec;
  Words x[4];
  for (int k = 0; k < 4; k++) x[k] = loadFour(block + 8 * k);
  if (!isModest<4>(x, kMostHalfMagnitude)) {
    jpgIdct4x4(block, last);
    return;
  }
  const FourLines c = transposed(transformFour<12>(pairsLow(x[0], x[2]), pairsLow(x[1], x[3])));
  const FourLines rows =
      transformFour<15>(pairsLow(c.first, c.second), pairsHigh(c.first, c.second));
  const FourLines out = transposed(rows);
  storeHalves(block, out.first);
  storeHalves(block + 16, out.second);
}

}  // namespace jpg
