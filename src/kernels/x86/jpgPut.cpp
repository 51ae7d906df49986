// SPDX-License-Identifier: MIT
// Pixels of an MCU from its blocks: the colour conversion and chroma replication of jpgRClr.cpp.
#include <immintrin.h>
#include <string.h>

#include "kernels/vector/jpgColour.h"
#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

constexpr uint32_t kCell = 8;        // samples of a block, both ways
constexpr uint32_t kBlockSize = 64;  // samples of a block
constexpr uint32_t kPixelBytes = 3;

__m128i loadRow(const int16_t *samples) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(samples));
}

// What eight chroma samples add to Y for each colour, the level shift of 128 included.
struct Offsets {
  __m128i blue, green, red;
};

Offsets offsetsOf(const int16_t *cb, const int16_t *cr) {
  const __m128i b = loadRow(cb), r = loadRow(cr), shift = _mm_set1_epi16(128);
  const __m128i bShift = _mm_add_epi16(b, shift), rShift = _mm_add_epi16(r, shift);
  const __m128i green = _mm_add_epi16(_mm_mulhrs_epi16(b, _mm_set1_epi16(kCbGreen)),
                                      _mm_mulhrs_epi16(r, _mm_set1_epi16(kCrGreen)));
  return {_mm_add_epi16(bShift, _mm_mulhrs_epi16(b, _mm_set1_epi16(kCbBlue))),
          _mm_add_epi16(green, shift),
          _mm_add_epi16(rShift, _mm_mulhrs_epi16(r, _mm_set1_epi16(kCrRed)))};
}

// 16 bytes of each colour.
struct Colors {
  __m128i blue, green, red;
};

// Sixteen pixels, two to each chroma sample.
Colors sixteen(__m128i left, __m128i right, const Offsets &o) {
  const auto join = [&](__m128i offset) {
    return _mm_packus_epi16(_mm_add_epi16(left, _mm_unpacklo_epi16(offset, offset)),
                            _mm_add_epi16(right, _mm_unpackhi_epi16(offset, offset)));
  };
  return {join(o.blue), join(o.green), join(o.red)};
}

// Eight pixels; the upper eight bytes repeat them.
Colors eight(__m128i y, const Offsets &o) {
  const auto join = [&](__m128i offset) {
    const __m128i v = _mm_add_epi16(y, offset);
    return _mm_packus_epi16(v, v);
  };
  return {join(o.blue), join(o.green), join(o.red)};
}

// Shuffle mask for bytes 16 * kThird to 16 * kThird + 15 of 48 interleaved bytes: the index of the
// byte of colour kColor that goes there, -1 where another colour's does.
template <int kThird, int kColor>
__m128i interleaveMask() {
  const auto at = [](int i) {
    const int place = 16 * kThird + i;
    return static_cast<char>(place % 3 == kColor ? place / 3 : -1);
  };
  return _mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8), at(9), at(10),
                       at(11), at(12), at(13), at(14), at(15));
}

template <int kThird>
__m128i third(const Colors &c) {
  return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c.blue, interleaveMask<kThird, 0>()),
                                   _mm_shuffle_epi8(c.green, interleaveMask<kThird, 1>())),
                      _mm_shuffle_epi8(c.red, interleaveMask<kThird, 2>()));
}

void store16(uint8_t *out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(out), v); }

void storeSixteen(uint8_t *out, const Colors &c) {
  store16(out, third<0>(c));
  store16(out + 16, third<1>(c));
  store16(out + 32, third<2>(c));
}

void storeEight(uint8_t *out, const Colors &c) {
  store16(out, third<0>(c));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(out + 16), third<1>(c));
}

// One row of an MCU of kAcross Y blocks side by side.
template <uint32_t kAcross>
void putRow(const int16_t *y, const Offsets &o, uint8_t *out) {
  if (kAcross == 2) {
    storeSixteen(out, sixteen(loadRow(y), loadRow(y + kBlockSize), o));
  } else {
    storeEight(out, eight(loadRow(y), o));
  }
}

template <uint32_t kAcross, uint32_t kDown>
void putYcc(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
            uint32_t columns) {
  const int16_t *cb = blocks + kBlockSize * kAcross * kDown, *cr = cb + kBlockSize;
  const bool whole = columns == kCell * kAcross;
  uint8_t line[kPixelBytes * kCell * kAcross];
  Offsets o = {};
  for (uint32_t r = 0; r < rows; r++, out += stride) {
    if (r % kDown == 0) o = offsetsOf(cb + kCell * (r / kDown), cr + kCell * (r / kDown));
    const int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kCell * (r % kCell);
    putRow<kAcross>(y, o, whole ? out : line);
    if (!whole) memcpy(out, line, kPixelBytes * columns);
  }
}

__m128i loadFour(const int16_t *samples) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(samples));
}

// Stores `rows` rows of `columns` pixels, at most kMost; the rows begin kPitch pixels apart in the
// sixteen.
template <uint32_t kPitch, uint32_t kMost>
void storeRows(uint8_t *out, ptrdiff_t stride, uint32_t rows, uint32_t columns, const Colors &c) {
  uint8_t lines[3 * 16];
  storeSixteen(lines, c);
  const uint8_t *line = lines;
  for (uint32_t r = 0; r < rows; r++, out += stride, line += kPixelBytes * kPitch) {
    if (columns == kMost) {
      memcpy(out, line, kPixelBytes * kMost);  // constant size: no call
    } else {
      memcpy(out, line, kPixelBytes * columns);
    }
  }
}

__m128i twice(__m128i v) { return _mm_unpacklo_epi16(v, v); }

// Pixels of two lines of eight luma samples with their chroma.
Colors pairOfLines(__m128i upper, __m128i lower, const Offsets &above, const Offsets &below) {
  const auto join = [&](__m128i a, __m128i b) {
    return _mm_packus_epi16(_mm_add_epi16(upper, a), _mm_add_epi16(lower, b));
  };
  return {join(above.blue, below.blue), join(above.green, below.green), join(above.red, below.red)};
}

// Cells of 4 x 4 samples, two rows at a time.
template <uint32_t kAcross, uint32_t kDown>
void putYccHalf(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                uint32_t columns) {
  constexpr uint32_t kHalf = kCell / 2;
  const int16_t *cb = blocks + kBlockSize * kAcross * kDown, *cr = cb + kBlockSize;
  const auto offsetsOfRow = [&](uint32_t r) {
    const Offsets o = offsetsOf(cb + kCell * (r / kDown), cr + kCell * (r / kDown));
    return kAcross == 1 ? o : Offsets{twice(o.blue), twice(o.green), twice(o.red)};
  };
  const auto lumaOfRow = [&](uint32_t r) {
    const int16_t *y = blocks + kBlockSize * kAcross * (r / kHalf) + kCell * (r % kHalf);
    if (kAcross == 1) return loadFour(y);
    return _mm_unpacklo_epi64(loadFour(y), loadFour(y + kBlockSize));
  };
  for (uint32_t r = 0; r < rows; r += 2, out += 2 * stride) {
    const Offsets above = offsetsOfRow(r);
    const Offsets below = kDown == 1 ? offsetsOfRow(r + 1) : above;
    const Colors c = pairOfLines(lumaOfRow(r), lumaOfRow(r + 1), above, below);
    const uint32_t left = rows - r < 2 ? rows - r : 2;
    storeRows<8, kHalf * kAcross>(out, stride, left, columns, c);
  }
}

// Cells of 2 x 2 samples: two rows of four samples, of which only two a row are used when
// kAcross is 1.
template <uint32_t kAcross>
__m128i loadQuarters(const int16_t *y) {
  const auto pair = [](const int16_t *samples) {
    int both = 0;
    memcpy(&both, samples, sizeof(both));
    return both;
  };
  constexpr uint32_t kNext = kBlockSize * (kAcross - 1);
  return _mm_setr_epi32(pair(y), pair(y + kNext), pair(y + kCell), pair(y + kNext + kCell));
}

// What the chroma adds in the two rows that loadQuarters() loads.
template <uint32_t kAcross, uint32_t kDown>
Offsets offsetsOfQuarter(const int16_t *cb, const int16_t *cr) {
  const auto spread = [](__m128i v) { return kAcross == 2 ? twice(v) : v; };
  const Offsets a = offsetsOf(cb, cr);
  const Offsets b = kDown == 2 ? a : offsetsOf(cb + kCell, cr + kCell);
  const auto both = [&](__m128i upper, __m128i lower) {
    return _mm_unpacklo_epi64(spread(upper), spread(lower));
  };
  return {both(a.blue, b.blue), both(a.green, b.green), both(a.red, b.red)};
}

template <uint32_t kAcross, uint32_t kDown>
void putYccQuarter(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                   uint32_t columns) {
  const int16_t *cb = blocks + kBlockSize * kAcross * kDown, *cr = cb + kBlockSize;
  const __m128i upper = loadQuarters<kAcross>(blocks);
  const Offsets above = offsetsOfQuarter<kAcross, kDown>(cb, cr);
  if (kDown == 1) {
    storeRows<4, 2 * kAcross>(out, stride, rows, columns, pairOfLines(upper, upper, above, above));
    return;
  }
  const __m128i lower = loadQuarters<kAcross>(blocks + kBlockSize * kAcross);
  const Offsets below = offsetsOfQuarter<kAcross, kDown>(cb + kCell, cr + kCell);
  storeRows<4, 2 * kAcross>(out, stride, rows, columns, pairOfLines(upper, lower, above, below));
}

}  // namespace

constexpr YccKernels avx2PutYcc2 = {{putYccQuarter<1, 1>, putYccQuarter<1, 2>},
                                    {putYccQuarter<2, 1>, putYccQuarter<2, 2>}};
constexpr YccKernels avx2PutYcc4 = {{putYccHalf<1, 1>, putYccHalf<1, 2>},
                                    {putYccHalf<2, 1>, putYccHalf<2, 2>}};
constexpr YccKernels avx2PutYcc8 = {{putYcc<1, 1>, putYcc<1, 2>}, {putYcc<2, 1>, putYcc<2, 2>}};

}  // namespace jpg
