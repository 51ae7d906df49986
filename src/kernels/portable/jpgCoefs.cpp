// SPDX-License-Identifier: MIT
// The masks of a block's non-zero coefficients and levels, and dequantisation, for any processor.
#include <string.h>

#include "kernels/portable/jpgPortable.h"
#include "kernels/portable/jpgPositions.h"
#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

bool isAligned(const int16_t *block) {
  return reinterpret_cast<uintptr_t>(block) % sizeof(uint32_t) == 0;
}

// Rows are tested by halves, two words each: most halves are all zero.
constexpr uint32_t kHalfRow = 4;

bool isEmpty(const int16_t *half) {
  uint32_t words[2];
  memcpy(words, __builtin_assume_aligned(half, sizeof(uint32_t)), sizeof(words));
  return (words[0] | words[1]) == 0;
}

// Calls take(natural index, zig-zag position) for each coefficient of a block, in natural order,
// and empty(natural index) instead for a half row of zeros. These are skipped only when `words`
// says that the block is aligned to words. Fully unrolled, so that both indices are constants.
template <typename Take, typename Empty, uint32_t kPlace = 0>
[[gnu::always_inline]] inline void forCoefficients(const int16_t *block, bool words,
                                                   const Take &take, const Empty &empty) {
  if (!words || !isEmpty(block + kPlace)) {
    take(kPlace + 0, kPositions.of[kPlace + 0]);
    take(kPlace + 1, kPositions.of[kPlace + 1]);
    take(kPlace + 2, kPositions.of[kPlace + 2]);
    take(kPlace + 3, kPositions.of[kPlace + 3]);
  } else {
    empty(kPlace);
  }
  constexpr uint32_t kNext = kPlace + kHalfRow;
  if constexpr (kNext < kBlockSize) {
    forCoefficients<Take, Empty, kNext>(block, words, take, empty);
  }
}

}  // namespace

uint64_t portableNonZeroMask(const int16_t *block) {
  uint32_t low = 0, high = 0;  // two halves: 64-bit shifts are slow on 32-bit processors
  const auto take = [&](uint32_t n, uint32_t k) {
    if (block[n] == 0) return;
    if (k < 32) {
      low |= 1U << k;
    } else {
      high |= 1U << (k - 32);
    }
  };
  forCoefficients(block, isAligned(block), take, [](uint32_t) {});
  return uint64_t{high} << 32 | low;
}

uint64_t portableLevelMask(const int16_t *levels, uint32_t shift) {
  const bool words = isAligned(levels);
  const int32_t most = (1 << shift) - 1;  // magnitudes up to this become 0
  uint32_t half[2] = {0, 0};
  for (uint32_t k = 0; k < kBlockSize; k += kHalfRow) {
    if (words && isEmpty(levels + k)) continue;
    uint32_t four = 0;
    const auto take = [&](uint32_t i) {
      if (asUnsigned(levels[k + i] + most) > asUnsigned(2 * most)) four |= 1U << i;
    };
    take(0);
    take(1);
    take(2);
    take(3);
    half[k / 32] |= four << k % 32;
  }
  return uint64_t{half[1]} << 32 | half[0];
}

uint32_t portableDequantise(const int16_t *in, const int16_t *steps, int16_t *out) {
  uint32_t last = 0, lastHere = 0;
  const auto take = [&](uint32_t n, uint32_t k) {
    if (n % kHalfRow == 0) lastHere = 0;
    if (in[n] != 0) lastHere = k;  // zig-zag positions ascend along a row
    out[n] = low16(in[n] * steps[n]);
    if (n % kHalfRow == kHalfRow - 1 && lastHere > last) last = lastHere;
  };
  const auto clear = [&](uint32_t n) {
    memset(__builtin_assume_aligned(out + n, sizeof(uint32_t)), 0, kHalfRow * sizeof(int16_t));
  };
  forCoefficients(in, isAligned(in) && isAligned(out), take, clear);
  return last;
}

}  // namespace jpg
