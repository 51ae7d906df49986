// SPDX-License-Identifier: MIT
// Rows of pixels from planes of samples, as portable/jpgRow.cpp makes them, 32 pixels at a time:
// those of even and of odd columns apart, in 16 bits each.
#include <immintrin.h>
#include <string.h>

#include "kernels/vector/jpgColour.h"
#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

constexpr uint32_t kPixels = 32;
constexpr uint32_t kPixelBytes = 3;

__m256i load32(const uint8_t *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}

// 16 bytes as words.
__m256i loadWords(const uint8_t *p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}

__m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
__m256i thrice(__m256i v) { return add(v, add(v, v)); }
__m256i words(int v) { return _mm256_set1_epi16(static_cast<short>(v)); }

// Values of the even and of the odd ones of 32 columns.
struct Columns {
  __m256i even, odd;
};

Columns split(__m256i bytes) {
  return {_mm256_and_si256(bytes, words(0xFF)), _mm256_srli_epi16(bytes, 8)};
}

// Samples of a component, one for two pixels, weighted by the row's distance.
template <bool kBlendsRows>
__m256i samplesAt(const uint8_t *first, const uint8_t *second) {
  const __m256i v = loadWords(first);
  return kBlendsRows ? add(thrice(v), loadWords(second)) : v;
}

// A component's 32 values from the column 32 * n on; sums are rounded as the portable routine does.
template <bool kInterpolates, int kAcross, int kDown>
[[gnu::always_inline]] inline Columns chromaOf(const uint8_t *first, const uint8_t *second,
                                               bool oddRow) {
  constexpr bool kRows = kInterpolates && kDown == 2;
  if (kAcross == 1) {
    const Columns a = split(load32(first));
    if (!kRows) return a;
    const Columns b = split(load32(second));
    const __m256i tie = words(oddRow ? 2 : 1);
    return {_mm256_srli_epi16(add(add(thrice(a.even), b.even), tie), 2),
            _mm256_srli_epi16(add(add(thrice(a.odd), b.odd), tie), 2)};
  }
  const __m256i v = samplesAt<kRows>(first, second);
  if (!kInterpolates) return {v, v};
  const __m256i three = thrice(v);
  const __m256i before = samplesAt<kRows>(first - 1, second - 1);
  const __m256i behind = samplesAt<kRows>(first + 1, second + 1);
  constexpr int kShift = kRows ? 4 : 2;
  return {_mm256_srli_epi16(add(add(three, before), words(kRows ? 8 : 1)), kShift),
          _mm256_srli_epi16(add(add(three, behind), words(kRows ? 7 : 2)), kShift)};
}

// What chroma adds to Y for each colour.
struct Offsets {
  __m256i blue, green, red;
};

Offsets offsetsOf(__m256i cb, __m256i cr) {
  const __m256i b = _mm256_sub_epi16(cb, words(128)), r = _mm256_sub_epi16(cr, words(128));
  return {add(b, _mm256_mulhrs_epi16(b, words(kCbBlue))),
          add(_mm256_mulhrs_epi16(b, words(kCbGreen)), _mm256_mulhrs_epi16(r, words(kCrGreen))),
          add(r, _mm256_mulhrs_epi16(r, words(kCrRed)))};
}

// 32 bytes of each colour; each lane has 8 of even columns, then 8 of odd ones.
struct Colours {
  __m256i blue, green, red;
};

Colours coloursOf(const Columns &y, const Columns &cb, const Columns &cr) {
  const Offsets even = offsetsOf(cb.even, cr.even), odd = offsetsOf(cb.odd, cr.odd);
  return {_mm256_packus_epi16(add(y.even, even.blue), add(y.odd, odd.blue)),
          _mm256_packus_epi16(add(y.even, even.green), add(y.odd, odd.green)),
          _mm256_packus_epi16(add(y.even, even.red), add(y.odd, odd.red))};
}

// Shuffle mask for bytes 16 * kThird to 16 * kThird + 15 of the 48 bytes of a lane's pixels: the
// index of the byte of colour kColour that goes there, -1 where another colour's does.
template <int kThird, int kColour>
__m256i interleaveMask() {
  const auto at = [](int i) {
    const int place = 16 * kThird + i, column = place / 3;
    return static_cast<char>(place % 3 == kColour ? column % 2 * 8 + column / 2 : -1);
  };
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6),
                                                   at(7), at(8), at(9), at(10), at(11), at(12),
                                                   at(13), at(14), at(15)));
}

template <int kThird>
__m256i third(const Colours &c) {
  return _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(c.blue, interleaveMask<kThird, 0>()),
                                         _mm256_shuffle_epi8(c.green, interleaveMask<kThird, 1>())),
                         _mm256_shuffle_epi8(c.red, interleaveMask<kThird, 2>()));
}

void store32(uint8_t *out, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), v); }

void storePixels(uint8_t *out, const Colours &c) {
  const __m256i a = third<0>(c), b = third<1>(c), d = third<2>(c);
  store32(out, _mm256_permute2x128_si256(a, b, 0x20));
  store32(out + 32, _mm256_permute2x128_si256(d, a, 0x30));
  store32(out + 64, _mm256_permute2x128_si256(b, d, 0x31));
}

template <bool kInterpolates, int kAcross, int kDown>
void putYccRow(const YccRow &row, uint8_t *out, uint32_t columns) {
  const auto coloursAt = [&row](uint32_t x) {
    const uint32_t i = x / kAcross;
    const auto chroma = [&](int k) {
      return chromaOf<kInterpolates, kAcross, kDown>(row.first[k] + i, row.second[k] + i, row.odd);
    };
    return coloursOf(split(load32(row.y + x)), chroma(0), chroma(1));
  };
  uint32_t x = 0;
  for (; x + kPixels <= columns; x += kPixels) storePixels(out + kPixelBytes * x, coloursAt(x));
  if (x == columns) return;
  uint8_t rest[kPixelBytes * kPixels];
  storePixels(rest, coloursAt(x));
  memcpy(out + kPixelBytes * x, rest, kPixelBytes * (columns - x));
}

}  // namespace

constexpr YccRowKernels avx2PutYccRow = {{{putYccRow<false, 1, 1>, putYccRow<false, 1, 1>},
                                          {putYccRow<false, 2, 1>, putYccRow<false, 2, 1>}},
                                         {{putYccRow<false, 1, 1>, putYccRow<true, 1, 2>},
                                          {putYccRow<true, 2, 1>, putYccRow<true, 2, 2>}}};

}  // namespace jpg
