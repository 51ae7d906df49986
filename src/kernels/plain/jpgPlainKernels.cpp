#include <string.h>

#include "kernels/jpgKernels.h"
#include "kernels/plain/jpgPlainIdct.h"
#include "kernels/plain/jpgPlainLevels.h"
#include "kernels/plain/jpgPlainLoad.h"
#include "kernels/plain/jpgPlainPut.h"
#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// Coded positions of the natural order.
struct Positions {
  uint8_t of[kBlockSize];
};
constexpr Positions makePositions() {
  Positions p{};
  for (uint32_t k = 0; k < kBlockSize; k++) p.of[kZigZag.natural[k]] = static_cast<uint8_t>(k);
  return p;
}
constexpr Positions kPositions = makePositions();

bool isAligned(const int16_t *block) {
  return reinterpret_cast<uintptr_t>(block) % sizeof(uint32_t) == 0;
}

// Most rows are empty, which four words tell.
bool isEmptyRow(const int16_t *row) {
  uint32_t words[4];
  memcpy(words, __builtin_assume_aligned(row, sizeof(uint32_t)), sizeof(words));
  return (words[0] | words[1] | words[2] | words[3]) == 0;
}

// Calls take(place, coded position) for the coefficients of a block, in natural order, but for
// empty rows, where it calls empty(place); those are found in blocks of words. Each coefficient has
// code of its own.
template <typename Take, typename Empty, uint32_t kRow = 0>
[[gnu::always_inline]] inline void forCoefficients(const int16_t *block, bool words,
                                                   const Take &take, const Empty &empty) {
  constexpr uint32_t kPlace = 8 * kRow;
  if (!words || !isEmptyRow(block + kPlace)) {
    take(kPlace + 0, kPositions.of[kPlace + 0]);
    take(kPlace + 1, kPositions.of[kPlace + 1]);
    take(kPlace + 2, kPositions.of[kPlace + 2]);
    take(kPlace + 3, kPositions.of[kPlace + 3]);
    take(kPlace + 4, kPositions.of[kPlace + 4]);
    take(kPlace + 5, kPositions.of[kPlace + 5]);
    take(kPlace + 6, kPositions.of[kPlace + 6]);
    take(kPlace + 7, kPositions.of[kPlace + 7]);
  } else {
    empty(kPlace);
  }
  if constexpr (kRow < 7) forCoefficients<Take, Empty, kRow + 1>(block, words, take, empty);
}

uint64_t present(const int16_t *block) {
  uint32_t low = 0, high = 0;  // shifts of 64 bits take longer
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

uint32_t dequantise(const int16_t *in, const int16_t *steps, int16_t *out) {
  uint32_t last = 0, lastOfRow = 0;
  const auto take = [&](uint32_t n, uint32_t k) {
    if (n % 8 == 0) lastOfRow = 0;
    if (in[n] != 0) lastOfRow = k;  // positions of a row ascend
    out[n] = low16(in[n] * steps[n]);
    if (n % 8 == 7 && lastOfRow > last) last = lastOfRow;
  };
  const auto clear = [&](uint32_t n) {
    memset(__builtin_assume_aligned(out + n, sizeof(uint32_t)), 0, 8 * sizeof(int16_t));
  };
  forCoefficients(in, isAligned(in) && isAligned(out), take, clear);
  return last;
}

}  // namespace

constexpr Kernels jpgPlainKernels = {
    plainMakeSamples, plainMakeHalfSamples,
    present,          dequantise,
    plainPutGray,     {&plainPutYcc1, &plainPutYcc2, &plainPutYcc4, &plainPutYcc8},
    plainMakeLevels,  plainLoadGray,
    &plainLoadYcc,
};

}  // namespace jpg
