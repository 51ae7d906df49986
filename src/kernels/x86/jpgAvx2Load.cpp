// An MCU's blocks from pixels: the colour conversion of jpgWMcu.cpp with its decimated chroma.
#include <immintrin.h>

#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

constexpr int kCell = 8, kBlockSize = 64;
constexpr int kHalf = 1 << 11;                   // rounding, at 12 fraction bits
constexpr int kLumaShift = kHalf - (128 << 12);  // and the level shift

// Sixteen bytes of each colour.
struct Colors {
  __m128i blue, green, red;
};

// Which bytes of the third kThird of 48 interleaved ones are of colour kColor.
template <int kThird, int kColor>
__m128i gatherMask() {
  const auto at = [](int i) {
    const int place = 3 * i + kColor - 16 * kThird;
    return static_cast<char>(place >= 0 && place < 16 ? place : -1);
  };
  return _mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8), at(9), at(10),
                       at(11), at(12), at(13), at(14), at(15));
}

template <int kColor>
__m128i gather(__m128i a, __m128i b, __m128i c) {
  return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, gatherMask<0, kColor>()),
                                   _mm_shuffle_epi8(b, gatherMask<1, kColor>())),
                      _mm_shuffle_epi8(c, gatherMask<2, kColor>()));
}

__m128i load16(const uint8_t *in) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(in)); }
__m128i load8(const uint8_t *in) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(in)); }

// kPixels pixels, 8 or 16; nothing behind them is read.
template <int kPixels>
Colors loadPixels(const uint8_t *in) {
  const __m128i a = load16(in);
  const __m128i b = kPixels == 16 ? load16(in + 16) : load8(in + 16);
  const __m128i c = kPixels == 16 ? load16(in + 32) : _mm_setzero_si128();
  return {gather<0>(a, b, c), gather<1>(a, b, c), gather<2>(a, b, c)};
}

__m256i factors(int a, int b) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<unsigned>(b) << 16 | (static_cast<unsigned>(a) & 0xFFFF)));
}

// Of (blue, green) pairs and red in the lower half of each 32 bits.
__m256i weigh(__m256i bg, __m256i red, int blue, int green, int redFactor, int add) {
  const __m256i s = _mm256_add_epi32(_mm256_madd_epi16(bg, factors(blue, green)),
                                     _mm256_madd_epi16(red, factors(redFactor, 0)));
  return _mm256_srai_epi32(_mm256_add_epi32(s, _mm256_set1_epi32(add)), 12);
}

__m256i luma(__m256i bg, __m256i red) { return weigh(bg, red, 467, 2404, 1225, kLumaShift); }
__m256i cb(__m256i bg, __m256i red) { return weigh(bg, red, 2048, -1357, -691, kHalf); }
__m256i cr(__m256i bg, __m256i red) { return weigh(bg, red, -333, -1715, 2048, kHalf); }

// Eight 32-bit values as 16 bits.
void store(int16_t *out, __m256i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out),
                   _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// Eight pixels from the lowest bytes of each colour, as weigh takes them.
struct Weighable {
  __m256i bg, red;
};

Weighable widen(__m128i blue, __m128i green, __m128i red) {
  const __m256i b = _mm256_cvtepu8_epi32(blue), g = _mm256_cvtepu8_epi32(green);
  return {_mm256_or_si256(b, _mm256_slli_epi32(g, 16)), _mm256_cvtepu8_epi32(red)};
}

__m128i upper(__m128i v) { return _mm_unpackhi_epi64(v, v); }

// The bytes at even places, eight of them.
__m128i decimated(__m128i v) {
  return _mm_shuffle_epi8(v,
                          _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, -1, -1, -1, -1, -1, -1, -1, -1));
}

void storeChroma(const Weighable &w, int16_t *out) {
  store(out, cb(w.bg, w.red));
  store(out + kBlockSize, cr(w.bg, w.red));
}

// kAcross x kDown blocks of Y, one of each chroma component.
template <int kAcross, int kDown>
void loadYcc(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  for (int r = 0; r < kCell * kDown; r++, in += stride) {
    int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kCell * (r % kCell);
    const Colors c = loadPixels<kCell * kAcross>(in);
    const Weighable left = widen(c.blue, c.green, c.red);
    store(y, luma(left.bg, left.red));
    if (kAcross == 2) {
      const Weighable right = widen(upper(c.blue), upper(c.green), upper(c.red));
      store(y + kBlockSize, luma(right.bg, right.red));
    }
    if (r % kDown != 0) continue;
    storeChroma(
        kAcross == 2 ? widen(decimated(c.blue), decimated(c.green), decimated(c.red)) : left,
        chroma + kCell * (r / kDown));
  }
}

}  // namespace

void avx2LoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  for (int r = 0; r < kCell; r++, in += stride) {
    const __m128i v = _mm_sub_epi16(_mm_cvtepu8_epi16(load8(in)), _mm_set1_epi16(128));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(blocks + kCell * r), v);
  }
}

void avx2LoadYcc11(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  loadYcc<1, 1>(in, stride, blocks);
}

void avx2LoadYcc12(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  loadYcc<1, 2>(in, stride, blocks);
}

void avx2LoadYcc21(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  loadYcc<2, 1>(in, stride, blocks);
}

void avx2LoadYcc22(const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  loadYcc<2, 2>(in, stride, blocks);
}

}  // namespace jpg
