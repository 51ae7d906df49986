#include <string.h>

#include "kernels/jpgKernels.h"
#include "kernels/plain/jpgPlainIdct.h"
#include "kernels/plain/jpgPlainLevels.h"
#include "kernels/plain/jpgPlainLoad.h"
#include "kernels/plain/jpgPlainPut.h"
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

// Which coefficients of a block aren't 0, in halves: shifts of 64 bits take longer.
struct Present {
  uint32_t half[2];
};

void lookAtRow(const int16_t *row, const uint8_t *positions, Present *present) {
  for (uint32_t i = 0; i < 8; i++) {
    const uint32_t k = positions[i];
    if (row[i] != 0) present->half[k / 32] |= 1U << k % 32;
  }
}

// Most rows are empty, which four words tell.
bool isEmpty(const int16_t *row) {
  uint32_t words[4];
  memcpy(words, __builtin_assume_aligned(row, sizeof(uint32_t)), sizeof(words));
  return (words[0] | words[1] | words[2] | words[3]) == 0;
}

uint64_t present(const int16_t *block) {
  Present present = {};
  const bool aligned = reinterpret_cast<uintptr_t>(block) % sizeof(uint32_t) == 0;
  for (uint32_t i = 0; i < kBlockSize; i += 8) {
    if (!aligned || !isEmpty(block + i)) lookAtRow(block + i, kPositions.of + i, &present);
  }
  return uint64_t{present.half[1]} << 32 | present.half[0];
}

}  // namespace

constexpr Kernels jpgPlainKernels = {
    plainMakeSamples,
    plainMakeHalfSamples,
    present,
    plainPutGray,
    {&plainPutYcc1, &plainPutYcc2, &plainPutYcc4, &plainPutYcc8},
    plainMakeLevels,
    plainLoadGray,
    &plainLoadYcc,
};

}  // namespace jpg
