// SPDX-License-Identifier: MIT
// An MCU's blocks from pixels: the colour conversion and chroma decimation of jpgWMcu.cpp, or the
// averages of jpgWAverage.cpp.
#include <immintrin.h>

#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

constexpr int kCell = 8, kBlockSize = 64;
constexpr int kHalf = 1 << 11;                   // rounding term for 12 fraction bits
constexpr int kLumaShift = kHalf - (128 << 12);  // with the level shift of 128

constexpr int kPixelBytes = 3;

__m128i load16(const uint8_t *in) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(in)); }

__m256i factors(int a, int b) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF)));
}

// Weighted sums of (blue, green) pairs and of red, which is in the low half of each 32 bits; of
// pixels, or of the sums of 2^kMore pixels.
template <int kMore = 0>
__m256i weigh(__m256i bg, __m256i red, int blue, int green, int redFactor, int add) {
  const __m256i s = _mm256_add_epi32(_mm256_madd_epi16(bg, factors(blue, green)),
                                     _mm256_madd_epi16(red, factors(redFactor, 0)));
  return _mm256_srai_epi32(_mm256_add_epi32(s, _mm256_set1_epi32(add)), 12 + kMore);
}

__m256i luma(__m256i bg, __m256i red) { return weigh(bg, red, 467, 2404, 1225, kLumaShift); }
template <int kMore = 0>
__m256i cb(__m256i bg, __m256i red) {
  return weigh<kMore>(bg, red, 2048, -1357, -691, kHalf << kMore);
}
template <int kMore = 0>
__m256i cr(__m256i bg, __m256i red) {
  return weigh<kMore>(bg, red, -333, -1715, 2048, kHalf << kMore);
}

// Stores eight 32-bit values as 16 bits.
void store(int16_t *out, __m256i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out),
                   _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// Eight pixels as weigh() takes them.
struct Weighable {
  __m256i bg, red;
};

// Loads eight pixels of 3 bytes: 0 to 3 are the first 12 bytes of the low lane, 4 to 7 the last 12
// of the high lane, so that no byte outside the 24 is read.
Weighable loadPixels(const uint8_t *in) {
  const __m256i v = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(in)), load16(in + 8), 1);
  const __m256i bg = _mm256_setr_epi8(0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1,  //
                                      4, -1, 5, -1, 7, -1, 8, -1, 10, -1, 11, -1, 13, -1, 14, -1);
  const __m256i red =
      _mm256_setr_epi8(2, -1, -1, -1, 5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1, 6, -1, -1, -1,
                       9, -1, -1, -1, 12, -1, -1, -1, 15, -1, -1, -1);
  return {_mm256_shuffle_epi8(v, bg), _mm256_shuffle_epi8(v, red)};
}

// The 32-bit values at even (0x88) or odd (0xDD) indices of both, in the order 0, 1, 4, 5, 2, 3,
// ...
template <int kWhich>
__m256i everySecond(__m256i left, __m256i right) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(left), _mm256_castsi256_ps(right), kWhich));
}
__m256i inOrder(__m256i mixed) { return _mm256_permute4x64_epi64(mixed, 0xD8); }

// Every second pixel.
__m256i evens(__m256i left, __m256i right) { return inOrder(everySecond<0x88>(left, right)); }

// The sums of neighbouring pixels: 16-bit values at the places of the pixels'.
__m256i pairs(__m256i left, __m256i right) {
  return inOrder(_mm256_add_epi16(everySecond<0x88>(left, right), everySecond<0xDD>(left, right)));
}

template <int kMore = 0>
void storeChroma(const Weighable &w, int16_t *out) {
  store(out, cb<kMore>(w.bg, w.red));
  store(out + kBlockSize, cr<kMore>(w.bg, w.red));
}

// A line of Y across the MCU. Returns the line's pixels, or the sums of neighbours, for chroma.
template <int kAcross>
Weighable loadLine(const uint8_t *in, int16_t *y) {
  const Weighable left = loadPixels(in);
  store(y, luma(left.bg, left.red));
  if (kAcross == 1) return left;
  const Weighable right = loadPixels(in + kPixelBytes * kCell);
  store(y + kBlockSize, luma(right.bg, right.red));
  return {pairs(left.bg, right.bg), pairs(left.red, right.red)};
}

// As loadYcc, with the averages of chroma.
template <int kAcross, int kDown>
void averageYcc(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  for (int r = 0; r < kCell * kDown; r += kDown, in += stride, chroma += kCell) {
    int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kCell * (r % kCell);
    Weighable sum = loadLine<kAcross>(in, y);
    if (kDown == 2) {
      in += stride;
      const Weighable next = loadLine<kAcross>(in, y + kCell);
      sum = {_mm256_add_epi16(sum.bg, next.bg), _mm256_add_epi16(sum.red, next.red)};
    }
    storeChroma<kAcross - 1 + kDown - 1>(sum, chroma);
  }
}

// kAcross x kDown blocks of Y, one of each chroma component.
template <int kAcross, int kDown>
void loadYcc(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  for (int r = 0; r < kCell * kDown; r++, in += stride) {
    int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kCell * (r % kCell);
    const Weighable left = loadPixels(in);
    const Weighable right = kAcross == 2 ? loadPixels(in + kPixelBytes * kCell) : left;
    store(y, luma(left.bg, left.red));
    if (kAcross == 2) store(y + kBlockSize, luma(right.bg, right.red));
    if (r % kDown != 0) continue;
    int16_t *out = chroma + kCell * (r / kDown);
    if (kAcross == 2) {
      storeChroma({evens(left.bg, right.bg), evens(left.red, right.red)}, out);
    } else {
      storeChroma(left, out);
    }
  }
}

}  // namespace

constexpr LoadKernels avx2LoadYcc = {{loadYcc<1, 1>, loadYcc<1, 2>},
                                     {loadYcc<2, 1>, loadYcc<2, 2>}};
constexpr LoadKernels avx2AverageYcc = {{loadYcc<1, 1>, averageYcc<1, 2>},
                                        {averageYcc<2, 1>, averageYcc<2, 2>}};

}  // namespace jpg
