// SPDX-License-Identifier: MIT
// The inverse transforms of portable/jpgIdct.cpp: all eight columns, then all eight rows at once.
//
// Products of 16-bit factors are formed and added in pairs (vpmaddwd), modulo 2^32 as there.
// The row pass needs the column pass's output in 16 bits; a block that might exceed them goes
// through the portable routine.
#include <immintrin.h>

#include "kernels/portable/jpgPortable.h"
#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

// The multipliers of portable/jpgIdct.cpp.
constexpr int kC1 = 4017, kS1 = 799, kC3 = 3406, kS3 = 2276, kC4 = 2896, kC2 = 3784, kS2 = 1567;

// A pair of factors for vpmaddwd: `a` multiplies the first value of a pair, `b` the second.
__m256i factors(int a, int b) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF)));
}

// Pairs (a[i], b[i]).
__m256i pairs(__m128i a, __m128i b) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi16(a, b)),
                                 _mm_unpackhi_epi16(a, b), 1);
}

__m256i times(__m256i x, int a, int b) { return _mm256_madd_epi16(x, factors(a, b)); }

template <int kShift>
__m256i roundShift(__m256i v) {
  return _mm256_srai_epi32(_mm256_add_epi32(v, _mm256_set1_epi32(1 << (kShift - 1))), kShift);
}

struct Line {
  __m256i y[8];
};

// A pass: its right shift, and how many fraction bits it drops ahead of the odd part's products by
// c4.
template <int kShiftOfPass, int kDroppedInPass>
struct Pass {
  static constexpr int kShift = kShiftOfPass, kDropped = kDroppedInPass;
  static constexpr int kOddC4 = kC4 >> (12 - kDropped);
};
using UsualColumns = Pass<9, 12>;
using AccurateColumns = Pass<9, 8>;
using Rows = Pass<17, 12>;

// Eight one-dimensional transforms of x[0..7], shifted right. q1 is the factor of x1 in the first
// rotation's second sum.
template <typename P>
[[gnu::always_inline]] inline Line transform(const __m128i *x, __m128i q1) {
  const __m256i x17 = pairs(x[1], x[7]), x35 = pairs(x[3], x[5]);
  const __m256i x04 = pairs(x[0], x[4]), x26 = pairs(x[2], x[6]);
  const __m256i p = times(x17, kC1, kS1);
  const __m256i q = _mm256_madd_epi16(x17, pairs(q1, _mm_set1_epi16(-kC1)));
  const __m256i u = times(x35, kC3, kS3), v = times(x35, -kS3, kC3);
  const __m256i t1 = _mm256_sub_epi32(p, u), t2 = _mm256_sub_epi32(q, v);
  const __m256i c4 = _mm256_set1_epi32(P::kOddC4);
  const __m256i o[4] = {
      _mm256_add_epi32(p, u),
      _mm256_mullo_epi32(roundShift<P::kDropped>(_mm256_add_epi32(t1, t2)), c4),
      _mm256_mullo_epi32(roundShift<P::kDropped>(_mm256_sub_epi32(t1, t2)), c4),
      _mm256_add_epi32(q, v),
  };
  const __m256i e0 = times(x04, kC4, kC4), e1 = times(x04, kC4, -kC4);
  const __m256i r = times(x26, kC2, kS2), s = times(x26, kS2, -kC2);
  const __m256i e[4] = {_mm256_add_epi32(e0, r), _mm256_add_epi32(e1, s), _mm256_sub_epi32(e1, s),
                        _mm256_sub_epi32(e0, r)};
  Line line;
  for (int k = 0; k < 4; k++) {
    line.y[k] = roundShift<P::kShift>(_mm256_add_epi32(e[k], o[k]));
    line.y[7 - k] = roundShift<P::kShift>(_mm256_sub_epi32(e[k], o[k]));
  }
  return line;
}

// If the magnitudes of a column's coefficients sum to no more than this, the column pass's output
// fits 16 bits. An even coefficient adds at most 3784 of its magnitude, an odd one at most
// 4017 + |x1| <= 6917 over sqrt(2) (x1 is multiplied by itself, too): in all
// |y| < 6917 * 2900 / sqrt(2) + 2^12 < 2^24, which is then shifted right by 9.
constexpr short kMostMagnitude = 2900;

// True if no column of kRows coefficients has a sum of magnitudes above kMostMagnitude.
template <int kRows>
bool isModest(const __m128i *x) {
  __m128i sum = _mm_abs_epi16(x[0]);
  for (int k = 1; k < kRows; k++) sum = _mm_adds_epu16(sum, _mm_abs_epi16(x[k]));
  const __m128i beyond = _mm_subs_epu16(sum, _mm_set1_epi16(kMostMagnitude));
  return _mm_testz_si128(beyond, beyond) != 0;
}

// A transposed matrix of 16-bit values.
struct Transposed {
  __m256i row[4];  // rows k and k + 4 in the lanes of row[k]
};

// Transposes eight lines of 32-bit values that fit 16 bits.
[[gnu::always_inline]] inline Transposed transpose(const Line &line) {
  __m256i packed[4];
  for (int k = 0; k < 4; k++) packed[k] = _mm256_packs_epi32(line.y[2 * k], line.y[2 * k + 1]);
  const __m256i a0 = _mm256_unpacklo_epi16(packed[0], packed[1]);
  const __m256i a1 = _mm256_unpackhi_epi16(packed[0], packed[1]);
  const __m256i a2 = _mm256_unpacklo_epi16(packed[2], packed[3]);
  const __m256i a3 = _mm256_unpackhi_epi16(packed[2], packed[3]);
  const __m256i b0 = _mm256_unpacklo_epi16(a0, a1), b1 = _mm256_unpackhi_epi16(a0, a1);
  const __m256i b2 = _mm256_unpacklo_epi16(a2, a3), b3 = _mm256_unpackhi_epi16(a2, a3);
  return {{_mm256_unpacklo_epi64(b0, b2), _mm256_unpackhi_epi64(b0, b2),
           _mm256_unpacklo_epi64(b1, b3), _mm256_unpackhi_epi64(b1, b3)}};
}

__m256i limited(__m256i v) {
  return _mm256_min_epi16(_mm256_max_epi16(v, _mm256_set1_epi16(-128)), _mm256_set1_epi16(127));
}

// Stores eight rows of samples from the lines of the row pass: shifted right by 17, their values
// fit 16 bits.
[[gnu::always_inline]] inline void storeSamples(const Line &lines, int16_t *block) {
  const Transposed out = transpose(lines);
  for (int k = 0; k < 4; k++) {
    const __m256i rows = limited(out.row[k]);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(block + 8 * k), _mm256_castsi256_si128(rows));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(block + 8 * (k + 4)),
                     _mm256_extracti128_si256(rows, 1));
  }
}

// Operations on registers of four or eight 32-bit values, for transformSparse.
struct Four {
  using Word = __m128i;
  static Word madd(Word a, Word b) { return _mm_madd_epi16(a, b); }
  static Word add(Word a, Word b) { return _mm_add_epi32(a, b); }
  static Word sub(Word a, Word b) { return _mm_sub_epi32(a, b); }
  static Word all(int v) { return _mm_set1_epi32(v); }
  static Word times(Word a, Word b) { return _mm_mullo_epi32(a, b); }
  template <int kShift>
  static Word shift(Word v) {
    return _mm_srai_epi32(v, kShift);
  }
};
struct Eight {
  using Word = __m256i;
  static Word madd(Word a, Word b) { return _mm256_madd_epi16(a, b); }
  static Word add(Word a, Word b) { return _mm256_add_epi32(a, b); }
  static Word sub(Word a, Word b) { return _mm256_sub_epi32(a, b); }
  static Word all(int v) { return _mm256_set1_epi32(v); }
  static Word times(Word a, Word b) { return _mm256_mullo_epi32(a, b); }
  template <int kShift>
  static Word shift(Word v) {
    return _mm256_srai_epi32(v, kShift);
  }
};

constexpr int pairOf(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF));
}

template <typename Lanes>
struct SparseLine {
  typename Lanes::Word y[8];
};

// One-dimensional transforms of lines whose values 4 to 7 are 0, from the pairs (x0, x2) and
// (x1, x3). plus3 and minus3 are the factor pairs (q1, -kS3) and (q1, kS3), with q1 as for
// transform().
template <typename Lanes, typename P>
[[gnu::always_inline]] inline SparseLine<Lanes> transformSparse(typename Lanes::Word x02,
                                                                typename Lanes::Word x13,
                                                                typename Lanes::Word plus3,
                                                                typename Lanes::Word minus3) {
  using Word = typename Lanes::Word;
  const auto with = [](Word x, int a, int b) { return Lanes::madd(x, Lanes::all(pairOf(a, b))); };
  const auto round = [](Word v, int half) { return Lanes::add(v, Lanes::all(half)); };
  const Word t1 = with(x13, kC1, -kC3), t2 = Lanes::madd(x13, minus3), c4 = Lanes::all(P::kOddC4);
  constexpr int kHalf = 1 << (P::kDropped - 1);
  const Word sum = Lanes::template shift<P::kDropped>(round(Lanes::add(t1, t2), kHalf));
  const Word difference = Lanes::template shift<P::kDropped>(round(Lanes::sub(t1, t2), kHalf));
  const Word o[4] = {with(x13, kC1, kC3), Lanes::times(sum, c4), Lanes::times(difference, c4),
                     Lanes::madd(x13, plus3)};
  const Word e[4] = {with(x02, kC4, kC2), with(x02, kC4, kS2), with(x02, kC4, -kS2),
                     with(x02, kC4, -kC2)};
  SparseLine<Lanes> line;
  for (int k = 0; k < 4; k++) {
    const Word base = round(e[k], 1 << (P::kShift - 1));
    line.y[k] = Lanes::template shift<P::kShift>(Lanes::add(base, o[k]));
    line.y[7 - k] = Lanes::template shift<P::kShift>(Lanes::sub(base, o[k]));
  }
  return line;
}

// Columns 0 to 3 of two rows, reordered to the pairs of columns (0, 2) and (1, 3) of each row.
__m128i pairColumns(__m128i a, __m128i b) {
  const __m128i order = _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15);
  return _mm_shuffle_epi8(_mm_packs_epi32(a, b), order);
}

// One of the two pairs of each of eight rows: selection 0x88 for (0, 2), 0xDD for (1, 3).
template <int kSelection>
__m256i gatherPairs(const __m128i *rows) {
  const auto pick = [](__m128i a, __m128i b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), kSelection));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(pick(rows[0], rows[1])),
                                 pick(rows[2], rows[3]), 1);
}

// Zig-zag positions up to here lie in rows and columns 0 to 3.
constexpr uint32_t kLastSparse = 9;

// What x1 is multiplied by in the column pass: itself in the usual transform, as in the portable
// routine. Required.
template <typename Columns>
__m128i firstFactor(__m128i x1) {
  return Columns::kDropped == UsualColumns::kDropped ? x1 : _mm_set1_epi16(kS1);
}

// A block with coefficients in rows and columns 0 to 3 only.
template <typename Columns>
void makeSparse(const __m128i *x, int16_t *block) {
  const __m128i x13 = _mm_unpacklo_epi16(x[1], x[3]), q1 = firstFactor<Columns>(x[1]);
  const __m128i plus3 = _mm_unpacklo_epi16(q1, _mm_set1_epi16(-kS3));
  const __m128i minus3 = _mm_unpacklo_epi16(q1, _mm_set1_epi16(kS3));
  const SparseLine<Four> columns =
      transformSparse<Four, Columns>(_mm_unpacklo_epi16(x[0], x[2]), x13, plus3, minus3);
  __m128i rows[4];
  for (int k = 0; k < 4; k++) rows[k] = pairColumns(columns.y[2 * k], columns.y[2 * k + 1]);
  const SparseLine<Eight> lines =
      transformSparse<Eight, Rows>(gatherPairs<0x88>(rows), gatherPairs<0xDD>(rows),
                                   Eight::all(pairOf(kS1, -kS3)), Eight::all(pairOf(kS1, kS3)));
  Line out;
  for (int k = 0; k < 8; k++) out.y[k] = lines.y[k];
  storeSamples(out, block);
}

template <typename Columns>
void makeDense(__m128i *x, int16_t *block) {
  const Transposed t = transpose(transform<Columns>(x, firstFactor<Columns>(x[1])));
  for (int k = 0; k < 4; k++) {
    x[k] = _mm256_castsi256_si128(t.row[k]);
    x[k + 4] = _mm256_extracti128_si256(t.row[k], 1);
  }
  storeSamples(transform<Rows>(x, _mm_set1_epi16(kS1)), block);
}

// A block with DC alone: 64 equal samples.
void makeFlat(int16_t *block) {
  const int column = (block[0] * kC4 + (1 << 8)) >> 9;
  int sample = (column * kC4 + (1 << 16)) >> 17;
  if (sample < -128) sample = -128;
  if (sample > 127) sample = 127;
  const __m256i all = _mm256_set1_epi16(static_cast<short>(sample));
  for (int k = 0; k < 64; k += 16) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(block + k), all);
  }
}

template <typename Columns>
[[gnu::always_inline]] inline void transformBlock(int16_t *block, uint32_t last,
                                                  InverseKernel portable) {
  if (last == 0) {
    makeFlat(block);
    return;
  }
  __m128i x[8];
  const int count = last <= kLastSparse ? 4 : 8;
  for (int k = 0; k < count; k++) {
    x[k] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block + 8 * k));
  }
  if (last <= kLastSparse && isModest<4>(x)) {
    makeSparse<Columns>(x, block);
  } else if (last > kLastSparse && isModest<8>(x)) {
    makeDense<Columns>(x, block);
  } else {
    portable(block, last);
  }
}

}  // namespace

void avx2InverseTransform(int16_t *block, uint32_t last) {
  transformBlock<UsualColumns>(block, last, jpgIdct8x8);
}

void avx2AccurateTransform(int16_t *block, uint32_t last) {
  transformBlock<AccurateColumns>(block, last, jpgAccurateIdct8x8);
}

}  // namespace jpg
