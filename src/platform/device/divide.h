// SPDX-License-Identifier: MIT
// Division for cores without a divide instruction, for builds that don't link the compiler's
// runtime library.
#ifndef JPG_PLATFORM_DEVICE_DIVIDE_H
#define JPG_PLATFORM_DEVICE_DIVIDE_H

#include <stdint.h>

namespace jpg {

template <typename Word>
struct Divided {
  Word quotient;
  Word remainder;
};

inline uint32_t leadingZeros(uint32_t word) { return static_cast<uint32_t>(__builtin_clz(word)); }
inline uint32_t leadingZeros(uint64_t word) { return static_cast<uint32_t>(__builtin_clzll(word)); }

// Long division, one bit of the quotient per step. The divisor must not be 0.
template <typename Word>
inline Divided<Word> divide(Word dividend, Word divisor) {
  if (dividend < divisor) return {0, dividend};
  Word quotient = 0;
  for (uint32_t shift = leadingZeros(divisor) - leadingZeros(dividend);; shift--) {
    const Word part = divisor << shift;
    quotient = static_cast<Word>(quotient << 1);
    if (dividend >= part) {
      dividend -= part;
      quotient |= 1;
    }
    if (shift == 0) return {quotient, dividend};
  }
}

}  // namespace jpg

#endif
