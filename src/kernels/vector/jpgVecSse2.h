// SPDX-License-Identifier: MIT
// The layer of vectors with SSE2. jpgVec.h says what each operation gives.
#ifndef JPG_KERNELS_VECTOR_VECSSE2_H
#define JPG_KERNELS_VECTOR_VECSSE2_H

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#define JPG_VEC [[gnu::always_inline]] inline

namespace jpg {
namespace vec {

struct Words {
  __m128i v;
};
struct TwoWords {
  Words low, high;
};
struct Bytes {
  __m128i v;
};
struct Colours {
  Bytes blue, green, red;
};
struct Longs4 {
  __m128i v;
};
struct Longs {
  Longs4 low, high;
};
// Interleaved: a0 b0 a1 b1 ...
struct Pairs4 {
  __m128i v;
};
struct Pairs {
  Pairs4 low, high;
};

// ---- Words ----

JPG_VEC Words load(const int16_t *from) {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i *>(from))};
}
JPG_VEC Words loadFour(const int16_t *from) {
  return {_mm_loadl_epi64(reinterpret_cast<const __m128i *>(from))};
}
JPG_VEC Words loadTwo(const int16_t *from, const int16_t *next) {
  int first = 0, second = 0;
  memcpy(&first, from, sizeof(first));
  memcpy(&second, next, sizeof(second));
  return {_mm_unpacklo_epi32(_mm_cvtsi32_si128(first), _mm_cvtsi32_si128(second))};
}
JPG_VEC void store(int16_t *to, Words w) { _mm_storeu_si128(reinterpret_cast<__m128i *>(to), w.v); }
JPG_VEC void storeFour(int16_t *to, Words w) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(to), w.v);
}
JPG_VEC Words words(int value) { return {_mm_set1_epi16(static_cast<short>(value))}; }
JPG_VEC Words operator+(Words a, Words b) { return {_mm_add_epi16(a.v, b.v)}; }
JPG_VEC Words operator-(Words a, Words b) { return {_mm_sub_epi16(a.v, b.v)}; }
JPG_VEC Words operator*(Words a, Words b) { return {_mm_mullo_epi16(a.v, b.v)}; }
JPG_VEC Words operator&(Words a, Words b) { return {_mm_and_si128(a.v, b.v)}; }
JPG_VEC Words least(Words a, Words b) { return {_mm_min_epi16(a.v, b.v)}; }
JPG_VEC Words most(Words a, Words b) { return {_mm_max_epi16(a.v, b.v)}; }
JPG_VEC Words magnitude(Words w) {
  return {_mm_max_epi16(w.v, _mm_sub_epi16(_mm_setzero_si128(), w.v))};
}
JPG_VEC Words withSignOf(Words magnitude, Words w) {
  const __m128i sign = _mm_srai_epi16(w.v, 15);
  return {_mm_sub_epi16(_mm_xor_si128(magnitude.v, sign), sign)};
}
JPG_VEC Words addSaturated(Words a, Words b) { return {_mm_adds_epu16(a.v, b.v)}; }
template <int kShift>
JPG_VEC Words shiftLeft(Words w) {
  return {_mm_slli_epi16(w.v, kShift)};
}
template <int kShift>
JPG_VEC Words shiftRight(Words w) {
  return {_mm_srli_epi16(w.v, kShift)};
}
JPG_VEC Words shiftRight(Words w, uint32_t count) {
  return {_mm_srl_epi16(w.v, _mm_cvtsi32_si128(static_cast<int>(count)))};
}
JPG_VEC Words upperProduct(Words a, Words b) { return {_mm_mulhi_epu16(a.v, b.v)}; }

template <int kFactor, int kAdd>
JPG_VEC Words scaled(Words w) {
  const __m128i product = _mm_mulhi_epi16(_mm_slli_epi16(w.v, 2), _mm_set1_epi16(kFactor));
  return {_mm_srai_epi16(_mm_add_epi16(product, _mm_set1_epi16(2 * kAdd + 1)), 1)};
}

JPG_VEC bool anyAbove(Words w, int limit) {
  const __m128i beyond = _mm_subs_epu16(w.v, _mm_set1_epi16(static_cast<short>(limit)));
  return _mm_movemask_epi8(_mm_cmpeq_epi8(beyond, _mm_setzero_si128())) != 0xFFFF;
}
JPG_VEC Words whereNonZero(Words w, Words taken) {
  return {_mm_andnot_si128(_mm_cmpeq_epi16(w.v, _mm_setzero_si128()), taken.v)};
}
JPG_VEC uint32_t highest(Words w) {
  __m128i v = _mm_max_epi16(w.v, _mm_srli_si128(w.v, 8));
  v = _mm_max_epi16(v, _mm_srli_si128(v, 4));
  v = _mm_max_epi16(v, _mm_srli_si128(v, 2));
  return static_cast<uint32_t>(_mm_extract_epi16(v, 0));
}
JPG_VEC uint64_t nonZeroBits(const Words *w) {
  uint64_t bits = 0;
  for (int k = 0; k < 4; k++) {
    const __m128i packed = _mm_packs_epi16(w[2 * k].v, w[2 * k + 1].v);
    const int zero = _mm_movemask_epi8(_mm_cmpeq_epi8(packed, _mm_setzero_si128()));
    bits |= static_cast<uint64_t>(~static_cast<uint32_t>(zero) & 0xFFFF) << (16 * k);
  }
  return bits;
}

JPG_VEC Words interleaveLow(Words a, Words b) { return {_mm_unpacklo_epi16(a.v, b.v)}; }
JPG_VEC TwoWords interleaved(Words a, Words b) {
  return {interleaveLow(a, b), {_mm_unpackhi_epi16(a.v, b.v)}};
}
JPG_VEC Words lowHalves(Words a, Words b) { return {_mm_unpacklo_epi64(a.v, b.v)}; }
JPG_VEC Words highHalves(Words a, Words b) { return {_mm_unpackhi_epi64(a.v, b.v)}; }

// ---- Longs ----

JPG_VEC Longs4 longs4(int value) { return {_mm_set1_epi32(value)}; }
JPG_VEC Longs4 operator+(Longs4 a, Longs4 b) { return {_mm_add_epi32(a.v, b.v)}; }
JPG_VEC Longs4 operator-(Longs4 a, Longs4 b) { return {_mm_sub_epi32(a.v, b.v)}; }
template <int kShift>
JPG_VEC Longs4 shift(Longs4 a) {
  return {_mm_srai_epi32(a.v, kShift)};
}
template <int kShift>
JPG_VEC Words pack(Longs4 low, Longs4 high) {
  return {_mm_packs_epi32(shift<kShift>(low).v, shift<kShift>(high).v)};
}
template <int kShift>
JPG_VEC Words packRounded(Longs4 low, Longs4 high) {
  const Longs4 half = longs4(1 << (kShift - 1));
  return pack<kShift>(low + half, high + half);
}
template <int kShift>
JPG_VEC Words packSum(const Longs &a, const Longs &b) {
  return pack<kShift>(a.low + b.low, a.high + b.high);
}
template <int kShift>
JPG_VEC Words packDifference(const Longs &a, const Longs &b) {
  return pack<kShift>(a.low - b.low, a.high - b.high);
}

// A product of 32 bits is that of the lower 16 bits, taken as signed, and 2^16 times that of what
// is left. The lower one suffices for values that fit 16 bits.
template <int kFactor>
JPG_VEC Longs4 timesSmall(Longs4 a) {
  return {_mm_madd_epi16(a.v, _mm_set1_epi32(kFactor))};
}
template <int kFactor>
JPG_VEC Longs4 times(Longs4 a) {
  const __m128i rest = _mm_add_epi32(a.v, _mm_set1_epi32(0x8000));
  const __m128i upper = _mm_mullo_epi16(rest, _mm_set1_epi32(kFactor << 16));
  return {_mm_add_epi32(timesSmall<kFactor>(a).v, upper)};
}

// ---- Pairs ----

JPG_VEC Pairs4 pairsLow(Words a, Words b) { return {_mm_unpacklo_epi16(a.v, b.v)}; }
JPG_VEC Pairs4 pairsHigh(Words a, Words b) { return {_mm_unpackhi_epi16(a.v, b.v)}; }
JPG_VEC Longs4 dot(Pairs4 x, int a, int b) {
  const auto factors = static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF);
  return {_mm_madd_epi16(x.v, _mm_set1_epi32(static_cast<int>(factors)))};
}
JPG_VEC Longs4 dot(Pairs4 x, int a, int b, Pairs4 y, int c, int d) {
  return dot(x, a, b) + dot(y, c, d);
}
JPG_VEC Longs4 dot(Pairs4 x, Pairs4 y) { return {_mm_madd_epi16(x.v, y.v)}; }

// ---- Bytes ----

JPG_VEC Bytes loadBytes(const uint8_t *from) {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i *>(from))};
}
JPG_VEC Words loadEightBytes(const uint8_t *from) {
  const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
  return {_mm_unpacklo_epi8(v, _mm_setzero_si128())};
}
JPG_VEC Words lowWords(Bytes b) { return {_mm_unpacklo_epi8(b.v, _mm_setzero_si128())}; }
JPG_VEC Words highWords(Bytes b) { return {_mm_unpackhi_epi8(b.v, _mm_setzero_si128())}; }
JPG_VEC Words evenBytes(Bytes b) { return {_mm_and_si128(b.v, _mm_set1_epi16(0xFF))}; }
JPG_VEC Words oddBytes(Bytes b) { return {_mm_srli_epi16(b.v, 8)}; }
JPG_VEC Words pairSums(Bytes b) { return evenBytes(b) + oddBytes(b); }

JPG_VEC void storeLow(uint8_t *to, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(to), v);
}
JPG_VEC void storeHigh(uint8_t *to, __m128i v) {
  _mm_storeh_pd(reinterpret_cast<double *>(to), _mm_castsi128_pd(v));
}
JPG_VEC void storeAll(uint8_t *to, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(to), v);
}

JPG_VEC void storeSamples(uint8_t *first, uint8_t *second, Words a, Words b) {
  const __m128i v = _mm_xor_si128(_mm_packs_epi16(a.v, b.v), _mm_set1_epi8(-128));
  storeLow(first, v);
  storeHigh(second, v);
}

// ---- Pixels ----

// Even columns lie in the order 0, 8, 4, 12, 2, 10, 6, 14, odd ones likewise: with the bits of
// their numbers reversed, each step of the interleaving takes halves of registers.
struct Sixteen {
  Words even, odd;
};
JPG_VEC Sixteen sixteen(Words left, Words right) {
  const __m128i low = _mm_unpacklo_epi16(left.v, right.v);
  const __m128i high = _mm_unpackhi_epi16(left.v, right.v);
  const __m128i a = _mm_unpacklo_epi32(low, high), b = _mm_unpackhi_epi32(low, high);
  return {{_mm_unpacklo_epi64(a, b)}, {_mm_unpackhi_epi64(a, b)}};
}
JPG_VEC Words ordered(Words w) {
  const __m128i turned = _mm_unpacklo_epi16(w.v, _mm_srli_si128(w.v, 8));
  return {_mm_shuffle_epi32(turned, 0xD8)};
}
JPG_VEC Sixteen sixteen(Bytes b) {
  const Bytes inOrder = {ordered({b.v}).v};
  return {evenBytes(inOrder), oddBytes(inOrder)};
}

// 48 bytes: 16 pixels, or their three colours.
struct Pixels {
  __m128i v[3];
};

// Four times the bytes of the first half are interleaved with those of the second: byte i moves to
// 16 i modulo 47, which takes every third byte together.
JPG_VEC Colours coloursOf(Pixels p) {
  const auto back = [](__m128i v) { return _mm_shuffle_epi32(v, 0x4E); };
  for (int round = 0; round < 4; round++) {
    const __m128i b = back(p.v[1]), c = back(p.v[2]);
    p = {
        {_mm_unpacklo_epi8(p.v[0], b), _mm_unpackhi_epi8(p.v[0], c), _mm_unpacklo_epi8(p.v[1], c)}};
  }
  return {{p.v[0]}, {p.v[1]}, {p.v[2]}};
}
JPG_VEC Colours loadPixels(const uint8_t *from) {
  return coloursOf({{loadBytes(from).v, loadBytes(from + 16).v, loadBytes(from + 32).v}});
}
JPG_VEC Colours loadLines(const uint8_t *upper, const uint8_t *lower) {
  const auto eight = [](const uint8_t *from) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
  };
  return coloursOf({{loadBytes(upper).v, _mm_unpacklo_epi64(eight(upper + 16), eight(lower)),
                     loadBytes(lower + 8).v}});
}

// Of three registers with 8 words (of 24) each, which lie in the order that sixteen() gives.
JPG_VEC Pixels interleaved(__m128i a, __m128i b, __m128i c) {
  const auto back = [](__m128i v) { return _mm_shuffle_epi32(v, 0x4E); };
  const __m128i d = _mm_unpacklo_epi16(a, b), e = _mm_unpacklo_epi16(c, back(a));
  const __m128i f = _mm_unpackhi_epi16(b, c);
  const __m128i g = _mm_unpacklo_epi32(d, e), h = _mm_unpacklo_epi32(f, back(d));
  const __m128i i = _mm_unpackhi_epi32(e, f);
  const __m128d upper = _mm_shuffle_pd(_mm_castsi128_pd(i), _mm_castsi128_pd(g), 2);
  return {{_mm_unpacklo_epi64(g, h), _mm_castpd_si128(upper), _mm_unpackhi_epi64(h, i)}};
}
JPG_VEC Pixels pixels(const Sixteen &b, const Sixteen &g, const Sixteen &r) {
  const __m128i br = _mm_packus_epi16(b.even.v, r.even.v);
  const __m128i gb = _mm_packus_epi16(g.even.v, b.odd.v);
  const __m128i odd = _mm_packus_epi16(g.odd.v, r.odd.v);
  return interleaved(_mm_unpacklo_epi8(br, gb), _mm_unpackhi_epi8(br, gb),
                     _mm_unpacklo_epi8(odd, _mm_srli_si128(odd, 8)));
}
JPG_VEC void storePixels(uint8_t *to, const Sixteen &b, const Sixteen &g, const Sixteen &r) {
  const Pixels p = pixels(b, g, r);
  for (int k = 0; k < 3; k++) storeAll(to + 16 * k, p.v[k]);
}
JPG_VEC void storeLines(uint8_t *upper, uint8_t *lower, const Sixteen &b, const Sixteen &g,
                        const Sixteen &r) {
  const Pixels p = pixels(b, g, r);
  storeAll(upper, p.v[0]);
  storeLow(upper + 16, p.v[1]);
  storeHigh(lower, p.v[1]);
  storeAll(lower + 8, p.v[2]);
}

}  // namespace vec
}  // namespace jpg

#endif
