// SPDX-License-Identifier: MIT
// The forward transform of portable/jpgFdct.cpp and the division by quantisation steps.
//
// A block's samples differ by at most 255, so every sum of two values, and every difference of two
// such sums, fits 16 bits: they reach 2 * 64 * 255 in the row pass. (With a difference of 256 they
// would reach 32768.) Other sums are formed by vpmaddwd in 32 bits. The rotations are multiplied
// out: r * kK5 + (r + q) * kK4 becomes r * (kK5 + kK4) + q * kK4, and so on, with the same 32-bit
// sums.
#include <immintrin.h>

#include "kernels/x86/jpgAvx2.h"
#include "kernels/x86/jpgZigZagMask.h"

namespace jpg {
namespace {

// The multipliers of portable/jpgFdct.cpp; kK3, kK6, kK8 and kK9 have the opposite sign.
constexpr int kC4 = 2896, kK1 = 2217, kK2 = 3135, kK3 = 7569, kK4 = 1130, kK5 = 4551, kK6 = 6811,
              kK7 = 4816, kK8 = 8034, kK9 = 1598;

__m256i factors(int a, int b) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF)));
}

template <int kShift>
__m256i roundShift(__m256i v) {
  return _mm256_srai_epi32(_mm256_add_epi32(v, _mm256_set1_epi32(1 << (kShift - 1))), kShift);
}

// Two blocks are transformed at a time, one in each 128-bit lane: eight 16-bit values of each
// block a register, or pairs of values in two registers, the first four pairs of each block (low)
// and the last four (high).
struct Pairs {
  __m256i low, high;
};

Pairs pairsOf(__m256i a, __m256i b) {
  return {_mm256_unpacklo_epi16(a, b), _mm256_unpackhi_epi16(a, b)};
}

// x * (a, b), pair by pair.
Pairs times(const Pairs &x, int a, int b) {
  const __m256i f = factors(a, b);
  return {_mm256_madd_epi16(x.low, f), _mm256_madd_epi16(x.high, f)};
}

// x * (a, b) + y * (c, d), pair by pair.
Pairs sum(const Pairs &x, int a, int b, const Pairs &y, int c, int d) {
  const Pairs p = times(x, a, b), q = times(y, c, d);
  return {_mm256_add_epi32(p.low, q.low), _mm256_add_epi32(p.high, q.high)};
}

// Rounds and shifts 32-bit values, which then fit 16 bits.
template <int kShift>
__m256i narrow(const Pairs &v) {
  return _mm256_packs_epi32(roundShift<kShift>(v.low), roundShift<kShift>(v.high));
}

struct Matrix {
  __m256i row[8];
};

// Outputs 0 and 4 of a line, which have the scale of the input: times 8 after the column pass,
// divided by 8 after the row pass.
template <bool kFirst>
__m256i scaled(const Pairs &v) {
  if (!kFirst) return narrow<3>(v);
  return _mm256_slli_epi16(_mm256_packs_epi32(v.low, v.high), 3);
}

// Eight one-dimensional transforms of each block, shifted right.
template <bool kFirst>
[[gnu::always_inline]] inline Matrix transform(const Matrix &in) {
  constexpr int kShift = kFirst ? 9 : 15;
  const __m256i *x = in.row;
  const __m256i s07 = _mm256_add_epi16(x[0], x[7]), d07 = _mm256_sub_epi16(x[0], x[7]);
  const __m256i s16 = _mm256_add_epi16(x[1], x[6]), d16 = _mm256_sub_epi16(x[1], x[6]);
  const __m256i s25 = _mm256_add_epi16(x[2], x[5]), d25 = _mm256_sub_epi16(x[2], x[5]);
  const __m256i s34 = _mm256_add_epi16(x[3], x[4]), d34 = _mm256_sub_epi16(x[3], x[4]);
  const Pairs outer = pairsOf(s07, s16), inner = pairsOf(s34, s25);
  const Pairs e13 = pairsOf(_mm256_sub_epi16(s07, s34), _mm256_sub_epi16(s16, s25));
  const Pairs d1625 = pairsOf(d16, d25);
  const __m256i a = narrow<12>(times(d1625, kC4, -kC4));
  const __m256i b = narrow<12>(times(d1625, kC4, kC4));
  const Pairs rt = pairsOf(d07, b);  // r, t = d07 + b, d07 - b
  const Pairs qp = pairsOf(d34, a);  // q, p = d34 + a, d34 - a
  return {{scaled<kFirst>(sum(outer, 1, 1, inner, 1, 1)),
           narrow<kShift>(sum(rt, kK5 + kK4, kK5 + kK4, qp, kK4, kK4)),
           narrow<kShift>(times(e13, kK2 + kK1, kK1)),
           narrow<kShift>(sum(rt, kK7, -kK7, qp, kK7 - kK8, kK8 - kK7)),
           scaled<kFirst>(sum(outer, 1, -1, inner, 1, -1)),
           narrow<kShift>(sum(rt, kK7 - kK9, kK9 - kK7, qp, kK7, -kK7)),
           narrow<kShift>(times(e13, kK1, kK1 - kK3)),
           narrow<kShift>(sum(rt, kK4, kK4, qp, kK4 - kK6, kK4 - kK6))}};
}

// Transposes both blocks.
[[gnu::always_inline]] inline Matrix transpose(const Matrix &m) {
  __m256i a[8], b[8];
  for (int k = 0; k < 4; k++) {
    a[2 * k] = _mm256_unpacklo_epi16(m.row[k], m.row[k + 4]);
    a[2 * k + 1] = _mm256_unpackhi_epi16(m.row[k], m.row[k + 4]);
  }
  for (int k = 0; k < 4; k++) {
    b[2 * k] = _mm256_unpacklo_epi16(a[k], a[k + 4]);
    b[2 * k + 1] = _mm256_unpackhi_epi16(a[k], a[k + 4]);
  }
  Matrix out;
  for (int k = 0; k < 4; k++) {
    out.row[2 * k] = _mm256_unpacklo_epi16(b[k], b[k + 4]);
    out.row[2 * k + 1] = _mm256_unpackhi_epi16(b[k], b[k + 4]);
  }
  return out;
}

__m128i load(const void *from) { return _mm_loadu_si128(static_cast<const __m128i *>(from)); }

__m256i inBoth(const uint16_t *table) { return _mm256_broadcastsi128_si256(load(table)); }

__m256i quantise(__m256i v, const QuantReciprocals &q, int row) {
  const __m256i n = _mm256_add_epi16(_mm256_abs_epi16(v), inBoth(q.half + 8 * row));
  const __m256i even = _mm256_andnot_si256(_mm256_set1_epi16(3), _mm256_srli_epi16(n, 1));
  const __m256i product = _mm256_mulhi_epu16(even, inBoth(q.factor + 8 * row));
  return _mm256_sign_epi16(_mm256_mulhi_epu16(product, inBoth(q.shift + 8 * row)), v);
}

template <int kGroup, int kRow>
__m256i take(__m256i row, __m256i others) {
  static constexpr WordMask kMask = makeWordMask(kGroup, kRow);
  if (!kMask.any) return others;
  const __m256i mask = _mm256_broadcastsi128_si256(load(kMask.byte));
  return _mm256_or_si256(others, _mm256_shuffle_epi8(row, mask));
}

// Eight levels of the zig-zag sequence.
template <int kGroup>
[[gnu::always_inline]] inline __m256i group(const __m256i *rows) {
  __m256i v = _mm256_setzero_si256();
  v = take<kGroup, 0>(rows[0], v);
  v = take<kGroup, 1>(rows[1], v);
  v = take<kGroup, 2>(rows[2], v);
  v = take<kGroup, 3>(rows[3], v);
  v = take<kGroup, 4>(rows[4], v);
  v = take<kGroup, 5>(rows[5], v);
  v = take<kGroup, 6>(rows[6], v);
  return take<kGroup, 7>(rows[7], v);
}

// Where the levels of two blocks go.
struct Levels {
  int16_t *first, *second;
  uint64_t present[2];  // mask of each block's non-zero levels
};

// Stores sixteen levels of each block.
template <int kPair>
[[gnu::always_inline]] inline void storePair(const __m256i *rows, Levels *out) {
  const __m256i a = group<2 * kPair>(rows), b = group<2 * kPair + 1>(rows);
  const __m256i first = _mm256_permute2x128_si256(a, b, 0x20);
  const __m256i second = _mm256_permute2x128_si256(a, b, 0x31);
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(out->first + 16 * kPair), first);
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(out->second + 16 * kPair), second);
  const __m256i zero = _mm256_cmpeq_epi8(_mm256_packs_epi16(a, b), _mm256_setzero_si256());
  const uint32_t mask = ~static_cast<uint32_t>(_mm256_movemask_epi8(zero));
  out->present[0] |= static_cast<uint64_t>(mask & 0xFFFF) << (16 * kPair);
  out->present[1] |= static_cast<uint64_t>(mask >> 16) << (16 * kPair);
}

void makeTwo(const int16_t *first, const int16_t *second, const QuantReciprocals &q, Levels *out) {
  Matrix m;
  for (int k = 0; k < 8; k++) {
    m.row[k] = _mm256_inserti128_si256(_mm256_castsi128_si256(load(first + 8 * k)),
                                       load(second + 8 * k), 1);
  }
  m = transpose(transform<false>(transpose(transform<true>(m))));
  for (int k = 0; k < 8; k++) m.row[k] = quantise(m.row[k], q, k);
  storePair<0>(m.row, out);
  storePair<1>(m.row, out);
  storePair<2>(m.row, out);
  storePair<3>(m.row, out);
}

}  // namespace

void avx2TransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                              uint64_t *masks) {
  for (; count >= 2; count -= 2, blocks += 2 * 64, masks += 2) {
    Levels out = {blocks, blocks + 64, {0, 0}};
    makeTwo(blocks, blocks + 64, *steps.reciprocals, &out);
    masks[0] = out.present[0];
    masks[1] = out.present[1];
  }
  if (count == 0) return;
  int16_t unused[64];
  Levels out = {blocks, unused, {0, 0}};
  makeTwo(blocks, blocks, *steps.reciprocals, &out);
  masks[0] = out.present[0];
}

}  // namespace jpg
