// SPDX-License-Identifier: MIT
// A thin layer of vectors of 128 bits: what the kernels of this folder are written with. It is the
// only place that knows the vector unit. All operations give the same bits on all units.
//
// Only this set's files include it: they are compiled for the vector unit, and the linker must not
// keep such a copy of an inline function for callers elsewhere. For the same reason they include
// none of our other inline functions.
//
// Types:
//   Words    8 values of 16 bits, with or without a sign
//   Longs4   4 values of 32 bits;  Longs: 8 of them, low and high
//   Bytes    16 bytes;  Colours: 16 of blue, green and red
//   Pairs    8 pairs of 16-bit values;  Pairs4: 4 of them
//   Sixteen  words for 16 columns of pixels, even and odd ones, in an order of the unit's own
//
// Words:
//   load, store, loadFour, storeFour, words(v)  the last: v in all places
//   loadTwo(p, q)       two from each
//   + - * &             * keeps the low 16 bits
//   least, most         with signs
//   magnitude           without the sign, which -32768 keeps
//   withSignOf(m, w)    m, negated where w is negative
//   addSaturated        without signs, to 65535 at most
//   shiftLeft<n>, shiftRight<n>, shiftRight(w, n)  zeros move in
//   upperProduct        the upper 16 bits of the product of values without signs
//   scaled<f, add>(w)   w * f / 2^15 rounded to nearest, halves up, plus `add`; |w| < 8192
//   anyAbove(w, n)      some value without sign is above n
//   whereNonZero(w, t)  t where w isn't 0, else 0
//   highest(w)          the largest value, of those without signs below 32768
//   nonZeroBits(w[8])   bit k for the k-th of 64 values
//   zigZag(w[8], out[8])  64 values of a block in the order of the zig-zag sequence
//   interleaveLow       a0 b0 a1 b1 ... of the first four values
//   interleaved         the same, and of the last four
//   lowHalves/highHalves  the first or last four values of a, then those of b
// Longs:
//   longs4(v), + -, shift<n> to the right with the sign
//   pack<n>(low, high)  shifted right to values that fit 16 bits
//   packRounded<n>      the same, rounded to nearest, halves up
//   packSum<n>(a, b), packDifference<n>(a, b)  of their sums or differences
//   times<f>, timesSmall<f>  by a factor of 16 bits, modulo 2^32; the second one for values of 16
//                       bits alone
// Pairs:
//   pairs(a, b), pairsLow(a, b), pairsHigh(a, b)  (a[i], b[i]): all, the first or the last four
//   dot(p, a, b)        first * a + second * b
//   dot(p, a, b, q, c, d)  dot(p, a, b) + dot(q, c, d)
//   dot(p, q)           first * first + second * second
// Bytes:
//   loadBytes, loadEightBytes (as words), lowWords, highWords, evenBytes, oddBytes, pairSums
//   storeSamples(first, second, a, b)  eight samples of -128..127 each, as bytes, 128 added
// Pixels:
//   sixteen(left, right), sixteen(bytes)  of columns 0 to 7 and 8 to 15, or of 16 columns
//   ordered(w)          of columns 0, 2, 4, ..., or 1, 3, 5, ..., in the order of Sixteen
//   loadPixels, loadLines(upper, lower)  16 pixels, or 8 of each line, of 3 bytes
//   storePixels         16 pixels of blue, green, red, saturated to bytes
//   storeLines          the same, the last 8 of them to another line
#ifndef JPG_KERNELS_VECTOR_VEC_H
#define JPG_KERNELS_VECTOR_VEC_H

#if defined(__ARM_NEON)
#include "kernels/vector/jpgVecNeon.h"
#include "kernels/vector/jpgZigZagNeon.h"
#else
#include "kernels/vector/jpgVecSse2.h"
#include "kernels/vector/jpgZigZagSse2.h"
#endif

namespace jpg {
namespace vec {

JPG_VEC Pairs pairs(Words a, Words b) { return {pairsLow(a, b), pairsHigh(a, b)}; }
JPG_VEC Longs dot(const Pairs &x, int a, int b) { return {dot(x.low, a, b), dot(x.high, a, b)}; }
JPG_VEC Longs dot(const Pairs &x, int a, int b, const Pairs &y, int c, int d) {
  return {dot(x.low, a, b, y.low, c, d), dot(x.high, a, b, y.high, c, d)};
}
JPG_VEC Longs dot(const Pairs &x, const Pairs &y) {
  return {dot(x.low, y.low), dot(x.high, y.high)};
}

JPG_VEC Longs operator+(const Longs &a, const Longs &b) { return {a.low + b.low, a.high + b.high}; }
JPG_VEC Longs operator-(const Longs &a, const Longs &b) { return {a.low - b.low, a.high - b.high}; }
JPG_VEC Longs operator+(const Longs &a, Longs4 all) { return {a.low + all, a.high + all}; }
template <int kShift>
JPG_VEC Longs shift(const Longs &a) {
  return {shift<kShift>(a.low), shift<kShift>(a.high)};
}
template <int kFactor>
JPG_VEC Longs times(const Longs &a) {
  return {times<kFactor>(a.low), times<kFactor>(a.high)};
}
template <int kFactor>
JPG_VEC Longs timesSmall(const Longs &a) {
  return {timesSmall<kFactor>(a.low), timesSmall<kFactor>(a.high)};
}

// Half of the last bit that a shift by kShift keeps, in all places.
template <int kShift>
JPG_VEC Longs4 half() {
  return longs4(1 << (kShift - 1));
}
template <int kShift>
JPG_VEC Words pack(const Longs &a) {
  return pack<kShift>(a.low, a.high);
}
template <int kShift>
JPG_VEC Words packRounded(const Longs &a) {
  return packRounded<kShift>(a.low, a.high);
}

// Interleaves the first four of eight rows with the last four.
JPG_VEC void interleaveRows(Words *m) {
  const TwoWords a = interleaved(m[0], m[4]), b = interleaved(m[1], m[5]);
  const TwoWords c = interleaved(m[2], m[6]), d = interleaved(m[3], m[7]);
  m[0] = a.low;
  m[1] = a.high;
  m[2] = b.low;
  m[3] = b.high;
  m[4] = c.low;
  m[5] = c.high;
  m[6] = d.low;
  m[7] = d.high;
}

// Eight rows become eight columns.
JPG_VEC void transpose(Words *m) {
  interleaveRows(m);
  interleaveRows(m);
  interleaveRows(m);
}

JPG_VEC Words limited(Words w) { return least(most(w, words(-128)), words(127)); }

}  // namespace vec
}  // namespace jpg

#endif
