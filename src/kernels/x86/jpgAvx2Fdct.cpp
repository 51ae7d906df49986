// The forward transform of jpgWFdct.cpp and the division by quantisation steps.
//
// Samples of -128..128 keep every sum of two values within 16 bits; sums of more are formed
// by vpmaddwd in 32 bits. The rotations are multiplied out: r * kK5 + (r + q) * kK4 is
// r * (kK5 + kK4) + q * kK4, and so on, with the same 32-bit sums.
#include <immintrin.h>

#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

// The multipliers of jpgWFdct.cpp.
constexpr int kC4 = 2896, kK1 = 2217, kK2 = 3135, kK3 = 7569, kK4 = 1130, kK5 = 4551, kK6 = 6811,
              kK7 = 4816, kK8 = 8034, kK9 = 1598;

__m256i factors(int a, int b) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF)));
}

__m256i pairs(__m128i a, __m128i b) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi16(a, b)),
                                 _mm_unpackhi_epi16(a, b), 1);
}

__m256i times(__m256i x, int a, int b) { return _mm256_madd_epi16(x, factors(a, b)); }

// x * (a, b) + y * (c, d), pair by pair.
__m256i sum(__m256i x, int a, int b, __m256i y, int c, int d) {
  return _mm256_add_epi32(times(x, a, b), times(y, c, d));
}

template <int kShift>
__m256i roundShift(__m256i v) {
  return _mm256_srai_epi32(_mm256_add_epi32(v, _mm256_set1_epi32(1 << (kShift - 1))), kShift);
}

// Eight 32-bit values that fit 16 bits.
__m128i narrow(__m256i v) {
  return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

struct Line {
  __m256i y[8];
};

// Eight one-dimensional transforms ahead of descaling; 0 and 4 carry the input's scale.
Line transform(const __m128i *x) {
  const __m128i s07 = _mm_add_epi16(x[0], x[7]), d07 = _mm_sub_epi16(x[0], x[7]);
  const __m128i s16 = _mm_add_epi16(x[1], x[6]), d16 = _mm_sub_epi16(x[1], x[6]);
  const __m128i s25 = _mm_add_epi16(x[2], x[5]), d25 = _mm_sub_epi16(x[2], x[5]);
  const __m128i s34 = _mm_add_epi16(x[3], x[4]), d34 = _mm_sub_epi16(x[3], x[4]);
  const __m256i outer = pairs(s07, s16), inner = pairs(s34, s25);
  const __m256i e13 = pairs(_mm_sub_epi16(s07, s34), _mm_sub_epi16(s16, s25));
  const __m256i d1625 = pairs(d16, d25);
  const __m128i a = narrow(roundShift<12>(times(d1625, kC4, -kC4)));
  const __m128i b = narrow(roundShift<12>(times(d1625, kC4, kC4)));
  const __m256i rt = pairs(d07, b);  // r, t = d07 + b, d07 - b
  const __m256i qp = pairs(d34, a);  // q, p = d34 + a, d34 - a
  return {{sum(outer, 1, 1, inner, 1, 1), sum(rt, kK5 + kK4, kK5 + kK4, qp, kK4, kK4),
           times(e13, kK2 + kK1, kK1), sum(rt, kK7, -kK7, qp, kK7 - kK8, kK8 - kK7),
           sum(outer, 1, -1, inner, 1, -1), sum(rt, kK7 - kK9, kK9 - kK7, qp, kK7, -kK7),
           times(e13, kK1, kK1 - kK3), sum(rt, kK4, kK4, qp, kK4 - kK6, kK4 - kK6)}};
}

// Rows k and k + 4 of a transposed matrix.
struct Transposed {
  __m256i row[4];
};

// From eight lines of 32-bit values that fit 16 bits.
Transposed transpose(const Line &line) {
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

// Descales a line; kEven is the shift of outputs 0 and 4, negative to the left.
template <int kOdd>
void descale(Line *line) {
  for (int k = 0; k < 8; k++) {
    if (k % 4 != 0) line->y[k] = roundShift<kOdd>(line->y[k]);
  }
}

// Coefficients of rows k and k + 4, eight each.
Transposed transformBlock(const int16_t *block) {
  __m128i x[8];
  for (int k = 0; k < 8; k++) {
    x[k] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block + 8 * k));
  }
  Line columns = transform(x);
  descale<9>(&columns);
  columns.y[0] = _mm256_slli_epi32(columns.y[0], 3);
  columns.y[4] = _mm256_slli_epi32(columns.y[4], 3);
  const Transposed t = transpose(columns);
  for (int k = 0; k < 4; k++) {
    x[k] = _mm256_castsi256_si128(t.row[k]);
    x[k + 4] = _mm256_extracti128_si256(t.row[k], 1);
  }
  Line rows = transform(x);
  descale<15>(&rows);
  rows.y[0] = roundShift<3>(rows.y[0]);
  rows.y[4] = roundShift<3>(rows.y[4]);
  return transpose(rows);
}

__m256i loadRows(const uint16_t *table, int k) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i *>(table + 8 * k));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i *>(table + 8 * (k + 4)));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

__m256i quantise(__m256i v, const QuantReciprocals &q, int k) {
  const __m256i n = _mm256_add_epi16(_mm256_abs_epi16(v), loadRows(q.half, k));
  const __m256i even = _mm256_andnot_si256(_mm256_set1_epi16(3), _mm256_srli_epi16(n, 1));
  const __m256i product = _mm256_mulhi_epu16(even, loadRows(q.factor, k));
  return _mm256_sign_epi16(_mm256_mulhi_epu16(product, loadRows(q.shift, k)), v);
}

// Where the k-th coefficient of the zig-zag sequence (T.81 Figure 5) lies in the block.
constexpr int naturalOf(int k) {
  int at = 0;
  for (int d = 0; d <= 14; d++) {
    const int low = d > 7 ? d - 7 : 0, high = d > 7 ? 7 : d;
    for (int i = low; i <= high; i++, at++) {
      const int row = d % 2 != 0 ? i : d - i;
      if (at == k) return 8 * row + (d - row);
    }
  }
  return 0;
}

// Bytes that row kRow gives to the eight levels from 8 * kGroup on; -128 for none.
struct ShuffleMask {
  alignas(16) char byte[16];
  bool any;
};

constexpr ShuffleMask makeMask(int group, int row) {
  ShuffleMask m{};
  for (int i = 0; i < 8; i++) {
    const int natural = naturalOf(8 * group + i);
    const bool here = natural / 8 == row;
    m.byte[2 * i] = here ? static_cast<char>(2 * (natural % 8)) : static_cast<char>(-128);
    m.byte[2 * i + 1] = here ? static_cast<char>(2 * (natural % 8) + 1) : static_cast<char>(-128);
    if (here) m.any = true;
  }
  return m;
}

template <int kGroup, int kRow>
__m128i take(__m128i row, __m128i others) {
  static constexpr ShuffleMask kMask = makeMask(kGroup, kRow);
  if (!kMask.any) return others;
  const __m128i mask = _mm_load_si128(reinterpret_cast<const __m128i *>(kMask.byte));
  return _mm_or_si128(others, _mm_shuffle_epi8(row, mask));
}

// Eight levels of the zig-zag sequence.
template <int kGroup>
__m128i group(const __m128i *rows) {
  __m128i v = _mm_setzero_si128();
  v = take<kGroup, 0>(rows[0], v);
  v = take<kGroup, 1>(rows[1], v);
  v = take<kGroup, 2>(rows[2], v);
  v = take<kGroup, 3>(rows[3], v);
  v = take<kGroup, 4>(rows[4], v);
  v = take<kGroup, 5>(rows[5], v);
  v = take<kGroup, 6>(rows[6], v);
  return take<kGroup, 7>(rows[7], v);
}

// Stores sixteen levels; returns which aren't 0.
template <int kPair>
uint64_t storePair(const __m128i *rows, int16_t *levels) {
  const __m128i first = group<2 * kPair>(rows), second = group<2 * kPair + 1>(rows);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(levels + 16 * kPair), first);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(levels + 16 * kPair + 8), second);
  const __m128i zero = _mm_cmpeq_epi8(_mm_packs_epi16(first, second), _mm_setzero_si128());
  const auto mask = static_cast<unsigned>(_mm_movemask_epi8(zero));
  return static_cast<uint64_t>(~mask & 0xFFFF) << (16 * kPair);
}

}  // namespace

uint64_t avx2MakeLevels(int16_t *block, const QuantSteps &steps, int16_t *levels) {
  const Transposed coefficients = transformBlock(block);
  __m128i rows[8];
  for (int k = 0; k < 4; k++) {
    const __m256i v = quantise(coefficients.row[k], *steps.reciprocals, k);
    rows[k] = _mm256_castsi256_si128(v);
    rows[k + 4] = _mm256_extracti128_si256(v, 1);
  }
  return storePair<0>(rows, levels) | storePair<1>(rows, levels) | storePair<2>(rows, levels) |
         storePair<3>(rows, levels);
}

}  // namespace jpg
