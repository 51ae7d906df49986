// SPDX-License-Identifier: MIT
// The zig-zag sequence (T.81 Figure 5) with SSE2, which can't move words freely: neighbours in the
// sequence are made neighbours in registers, two by two, and then four of these pairs are taken
// together. Numbers in comments are rows and columns.
#ifndef JPG_KERNELS_VECTOR_ZIGZAGSSE2_H
#define JPG_KERNELS_VECTOR_ZIGZAGSSE2_H

#include "kernels/vector/jpgVecSse2.h"

namespace jpg {
namespace vec {

// Two registers with pairs: of columns 0 to 3, and of columns 4 to 7.
struct PairsOfRows {
  __m128i low, high;
};

JPG_VEC PairsOfRows pairsOfRows(__m128i a, __m128i b) {
  return {_mm_unpacklo_epi16(a, b), _mm_unpackhi_epi16(a, b)};
}

// What lies beside: column c + 1 of a row at the place of column c.
JPG_VEC __m128i beside(Words row) { return _mm_srli_si128(row.v, 2); }

// Pairs on the way up: column c of the lower row, then column c + 1 of the upper row.
JPG_VEC PairsOfRows upward(Words upper, Words lower) { return pairsOfRows(lower.v, beside(upper)); }
// The same on the way down.
JPG_VEC PairsOfRows downward(Words upper, Words lower) {
  return pairsOfRows(beside(upper), lower.v);
}

// Pairs i of a and j of b, then k of c and l of d.
template <int i, int j, int k, int l>
JPG_VEC Words fourPairs(__m128i a, __m128i b, __m128i c, __m128i d) {
  const auto f = [](__m128i v) { return _mm_castsi128_ps(v); };
  const __m128 left = _mm_shuffle_ps(f(a), f(b), _MM_SHUFFLE(j, j, i, i));
  const __m128 right = _mm_shuffle_ps(f(c), f(d), _MM_SHUFFLE(l, l, k, k));
  return {_mm_castps_si128(_mm_shuffle_ps(left, right, _MM_SHUFFLE(2, 0, 2, 0)))};
}

JPG_VEC void zigZag(const Words *r, Words *out) {
  const PairsOfRows up01 = upward(r[0], r[1]), down01 = downward(r[0], r[1]);
  const PairsOfRows up12 = upward(r[1], r[2]), down12 = downward(r[1], r[2]);
  const PairsOfRows up23 = upward(r[2], r[3]), down23 = downward(r[2], r[3]);
  const PairsOfRows up34 = upward(r[3], r[4]), down34 = downward(r[3], r[4]);
  const PairsOfRows up45 = upward(r[4], r[5]), down45 = downward(r[4], r[5]);
  const PairsOfRows up56 = upward(r[5], r[6]), down56 = downward(r[5], r[6]);
  const PairsOfRows up67 = upward(r[6], r[7]), down67 = downward(r[6], r[7]);
  const PairsOfRows edge12 = pairsOfRows(r[1].v, r[2].v), edge56 = pairsOfRows(r[5].v, r[6].v);
  // 00 01  10 20  11 02  03 12
  out[0] = fourPairs<0, 0, 1, 2>(r[0].v, edge12.low, up01.low, down01.low);
  // 21 30  40 31  22 13  04 05
  out[1] = fourPairs<0, 0, 2, 2>(down23.low, up34.low, up12.low, r[0].v);
  // 14 23  32 41  50 60  51 42
  out[2] = fourPairs<3, 1, 0, 1>(down12.low, down34.low, edge56.low, up45.low);
  // 33 24  15 06  07 16  25 34
  out[3] = fourPairs<3, 1, 2, 0>(up23.low, up01.high, down01.high, down23.high);
  // 43 52  61 70  71 62  53 44
  out[4] = fourPairs<2, 0, 1, 3>(down45.low, down67.low, up67.low, up45.low);
  // 35 26  17 27  36 45  54 63
  out[5] = fourPairs<1, 3, 1, 3>(up23.high, edge12.high, down34.high, down56.low);
  // 72 73  64 55  46 37  47 56
  out[6] = fourPairs<1, 0, 2, 2>(r[7].v, up56.high, up34.high, down45.high);
  // 65 74  75 66  57 67  76 77
  out[7] = fourPairs<0, 1, 3, 3>(down67.high, up67.high, edge56.high, r[7].v);
}

}  // namespace vec
}  // namespace jpg

#endif
