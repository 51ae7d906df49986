// SPDX-License-Identifier: MIT
// The mask of a block's non-zero coefficients in zig-zag order, and that of its levels.
#include <immintrin.h>

#include "kernels/x86/jpgAvx2.h"
#include "kernels/x86/jpgZigZagMask.h"

namespace jpg {
namespace {

// Two rows as bytes: 0 where the coefficient is 0, else -1.
__m128i presentRows(const int16_t *rows) {
  const auto *p = reinterpret_cast<const __m128i *>(rows);
  const __m128i packed = _mm_packs_epi16(_mm_loadu_si128(p), _mm_loadu_si128(p + 1));
  return _mm_xor_si128(_mm_cmpeq_epi8(packed, _mm_setzero_si128()), _mm_set1_epi8(-1));
}

// What two rows contribute to sixteen positions of the zig-zag sequence; other bytes are 0.
template <int kGroup, int kRows>
__m128i take(__m128i rows) {
  static constexpr ByteMask kMask = makeByteMask(kGroup, kRows);
  return _mm_shuffle_epi8(rows, _mm_load_si128(reinterpret_cast<const __m128i *>(kMask.byte)));
}

template <int kGroup>
uint64_t group(const __m128i *rows) {
  const __m128i v = _mm_or_si128(_mm_or_si128(take<kGroup, 0>(rows[0]), take<kGroup, 1>(rows[1])),
                                 _mm_or_si128(take<kGroup, 2>(rows[2]), take<kGroup, 3>(rows[3])));
  return static_cast<uint64_t>(_mm_movemask_epi8(v)) << (16 * kGroup);
}

}  // namespace

uint64_t avx2NonZeroMask(const int16_t *block) {
  __m128i rows[4];
  for (int k = 0; k < 4; k++) rows[k] = presentRows(block + 16 * k);
  const __m128i any = _mm_or_si128(_mm_or_si128(rows[0], rows[1]), _mm_or_si128(rows[2], rows[3]));
  if (_mm_testz_si128(any, any) != 0) return 0;
  return group<0>(rows) | group<1>(rows) | group<2>(rows) | group<3>(rows);
}

uint64_t avx2LevelMask(const int16_t *levels, uint32_t shift) {
  const __m128i count = _mm_cvtsi32_si128(static_cast<int>(shift));
  uint64_t present = 0;
  for (int k = 0; k < 64; k += 32) {
    const auto *p = reinterpret_cast<const __m256i *>(levels + k);
    const __m256i a = _mm256_srl_epi16(_mm256_abs_epi16(_mm256_loadu_si256(p)), count);
    const __m256i b = _mm256_srl_epi16(_mm256_abs_epi16(_mm256_loadu_si256(p + 1)), count);
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8);
    const __m256i zero = _mm256_cmpeq_epi8(packed, _mm256_setzero_si256());
    present |= static_cast<uint64_t>(~static_cast<uint32_t>(_mm256_movemask_epi8(zero))) << k;
  }
  return present;
}

}  // namespace jpg
