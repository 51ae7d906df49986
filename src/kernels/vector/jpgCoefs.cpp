// SPDX-License-Identifier: MIT
// The masks of a block's non-zero coefficients and levels, and dequantisation, which finds a
// position after which all products are 0.
#include "kernels/portable/jpgPositions.h"
#include "kernels/vector/jpgVec.h"
#include "kernels/vector/jpgVector.h"
#include "share/jpgArith.h"

namespace jpg {

namespace {

// Turns a mask by natural index, whose bit k stands for index first + k, into one by zig-zag
// position.
inline uint64_t maskOf(size_t bits, uint32_t first) {
  uint64_t mask = 0;
  for (; bits != 0; bits &= bits - 1) mask |= kPositionBits.of[first + lowestBit(bits)];
  return mask;
}

}  // namespace

uint64_t vectorNonZeroMask(const int16_t *block) {
  vec::Words rows[8];
  for (int k = 0; k < 8; k++) rows[k] = vec::load(block + 8 * k);
  const uint64_t bits = vec::nonZeroBits(rows);
  const uint64_t mask = maskOf(static_cast<size_t>(bits), 0);
  return sizeof(size_t) == 8 ? mask : mask | maskOf(static_cast<size_t>(bits >> 32), 32);
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
