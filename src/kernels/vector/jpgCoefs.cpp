// SPDX-License-Identifier: MIT
// The masks of a block's non-zero coefficients and levels, and dequantisation, which finds a
// position after which all products are 0.
#include "kernels/portable/jpgPositions.h"
#include "kernels/vector/jpgVec.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {

uint64_t vectorNonZeroMask(const int16_t *block) {
  vec::Words rows[8];
  for (int k = 0; k < 8; k++) rows[k] = vec::load(block + 8 * k);
  uint64_t mask = 0;
  for (uint64_t bits = vec::nonZeroBits(rows); bits != 0; bits &= bits - 1) {
    mask |= uint64_t{1} << kPositions.of[__builtin_ctzll(bits)];
  }
  return mask;
}

uint64_t vectorLevelMask(const int16_t *levels, uint32_t shift) {
  vec::Words rows[8];
  for (int k = 0; k < 8; k++) {
    rows[k] = vec::shiftRight(vec::magnitude(vec::load(levels + 8 * k)), shift);
  }
  return vec::nonZeroBits(rows);
}

uint32_t vectorDequantise(const int16_t *in, const int16_t *steps, int16_t *out) {
  vec::Words last = vec::words(0);
  for (int k = 0; k < 64; k += 8) {
    const vec::Words product = vec::load(in + k) * vec::load(steps + k);
    vec::store(out + k, product);
    last = vec::most(last, vec::whereNonZero(product, vec::loadEightBytes(kPositions.of + k)));
  }
  return vec::highest(last);
}

}  // namespace jpg
