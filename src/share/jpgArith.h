// SPDX-License-Identifier: MIT
// Arithmetic that wraps or shifts on purpose.
//
// The codec's fixed-point arithmetic is that of a 32-bit processor: sums and
// products wrap modulo 2^32 and right shifts of negative numbers round toward
// minus infinity. These helpers say so where it matters.
#ifndef JPG_SHARE_ARITH_H
#define JPG_SHARE_ARITH_H

#include <stddef.h>
#include <stdint.h>

namespace jpg {

// Two's complement reinterpretation; every compiler we build with does this.
constexpr int32_t asSigned(uint32_t v) { return static_cast<int32_t>(v); }
constexpr uint32_t asUnsigned(int32_t v) { return static_cast<uint32_t>(v); }

constexpr int32_t wrapAdd(int32_t a, int32_t b) { return asSigned(asUnsigned(a) + asUnsigned(b)); }
constexpr int32_t wrapSub(int32_t a, int32_t b) { return asSigned(asUnsigned(a) - asUnsigned(b)); }
constexpr int32_t wrapMul(int32_t a, int32_t b) { return asSigned(asUnsigned(a) * asUnsigned(b)); }
constexpr int32_t wrapShl(int32_t v, uint32_t n) { return asSigned(asUnsigned(v) << n); }

// Arithmetic shift right, 0 <= n <= 31: floor(v / 2^n).
constexpr int32_t asr(int32_t v, uint32_t n) { return v >> n; }
static_assert(asr(-1, 1) == -1, "right shifts of negative numbers must be arithmetic");

// The number of the lowest bit that is set; the word must not be 0. 32-bit processors have no
// instruction for 64 bits, so that the two halves are looked at in turn.
inline uint32_t lowestBit(uint32_t word) { return static_cast<uint32_t>(__builtin_ctz(word)); }
inline uint32_t lowestBit(uint64_t word) {
  if (sizeof(size_t) >= sizeof(word)) return static_cast<uint32_t>(__builtin_ctzll(word));
  const auto low = static_cast<uint32_t>(word), high = static_cast<uint32_t>(word >> 32);
  return low != 0 ? lowestBit(low) : 32 + lowestBit(high);
}

// Low 16 bits as a signed sample or coefficient.
constexpr int16_t low16(int32_t v) {
  return static_cast<int16_t>(static_cast<uint16_t>(asUnsigned(v)));
}

}  // namespace jpg

#endif
