// SPDX-License-Identifier: MIT
// The forward transform of portable/jpgFdct.cpp and the division by quantisation steps.
//
// A block's samples differ by at most 255, so every sum of two values, and every difference of two
// such sums, fits 16 bits: they reach 2 * 64 * 255 in the row pass. (With a difference of 256 they
// would reach 32768.) Other sums are formed of pairs in 32 bits. The rotations are multiplied
// out: r * kK5 + (r + q) * kK4 becomes r * (kK5 + kK4) + q * kK4, and so on, with the same 32-bit
// sums.
#include "kernels/vector/jpgVec.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {
namespace vec {
namespace {

// The multipliers of portable/jpgFdct.cpp; kK3, kK6, kK8 and kK9 have the opposite sign.
constexpr int kC4 = 2896, kK1 = 2217, kK2 = 3135, kK3 = 7569, kK4 = 1130, kK5 = 4551, kK6 = 6811,
              kK7 = 4816, kK8 = 8034, kK9 = 1598;

// Outputs 0 and 4 of lines, which have the scale of the input: times 8 after the column pass,
// divided by 8 after the row pass.
template <bool kFirst>
JPG_VEC void scaleEnds(Words s07, Words s16, Words s25, Words s34, Words *y) {
  if constexpr (kFirst) {
    const Words outer = s07 + s34, inner = s16 + s25;
    y[0] = shiftLeft<3>(outer + inner);
    y[4] = shiftLeft<3>(outer - inner);
  } else {
    const Pairs outer = pairs(s07, s16), inner = pairs(s34, s25);
    y[0] = packRounded<3>(dot(outer, 1, 1, inner, 1, 1));
    y[4] = packRounded<3>(dot(outer, 1, -1, inner, 1, -1));
  }
}

// Eight one-dimensional transforms, shifted right.
template <bool kFirst>
JPG_VEC void transform(Words *x) {
  constexpr int kShift = kFirst ? 9 : 15;
  const Words s07 = x[0] + x[7], d07 = x[0] - x[7], s16 = x[1] + x[6], d16 = x[1] - x[6];
  const Words s25 = x[2] + x[5], d25 = x[2] - x[5], s34 = x[3] + x[4], d34 = x[3] - x[4];
  scaleEnds<kFirst>(s07, s16, s25, s34, x);
  const Pairs e13 = pairs(s07 - s34, s16 - s25), d1625 = pairs(d16, d25);
  x[2] = packRounded<kShift>(dot(e13, kK2 + kK1, kK1));
  x[6] = packRounded<kShift>(dot(e13, kK1, kK1 - kK3));
  const Words a = packRounded<12>(dot(d1625, kC4, -kC4)), b = packRounded<12>(dot(d1625, kC4, kC4));
  const Pairs rt = pairs(d07, b);  // r, t = d07 + b, d07 - b
  const Pairs qp = pairs(d34, a);  // q, p = d34 + a, d34 - a
  x[1] = packRounded<kShift>(dot(rt, kK5 + kK4, kK5 + kK4, qp, kK4, kK4));
  x[3] = packRounded<kShift>(dot(rt, kK7, -kK7, qp, kK7 - kK8, kK8 - kK7));
  x[5] = packRounded<kShift>(dot(rt, kK7 - kK9, kK9 - kK7, qp, kK7, -kK7));
  x[7] = packRounded<kShift>(dot(rt, kK4, kK4, qp, kK4 - kK6, kK4 - kK6));
}

JPG_VEC Words tableRow(const uint16_t *table, int row) {
  return load(reinterpret_cast<const int16_t *>(table) + 8 * row);
}

JPG_VEC Words quantise(Words w, const QuantReciprocals &q, int row) {
  const Words n = magnitude(w) + tableRow(q.half, row);
  const Words product = upperProduct(shiftRight<1>(n) & words(~3), tableRow(q.factor, row));
  return withSignOf(upperProduct(product, tableRow(q.shift, row)), w);
}

JPG_VEC uint64_t makeLevels(int16_t *block, const QuantReciprocals &q) {
  Words x[8], levels[8];
  for (int k = 0; k < 8; k++) x[k] = load(block + 8 * k);
  transform<true>(x);
  transpose(x);
  transform<false>(x);
  transpose(x);
  for (int k = 0; k < 8; k++) x[k] = quantise(x[k], q, k);
  zigZag(x, levels);
  for (int k = 0; k < 8; k++) store(block + 8 * k, levels[k]);
  return nonZeroBits(levels);
}

}  // namespace
}  // namespace vec

void vectorTransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                                uint64_t *masks) {
  for (uint32_t i = 0; i < count; i++) {
    masks[i] = vec::makeLevels(blocks + 64 * i, *steps.reciprocals);
  }
}

}  // namespace jpg
