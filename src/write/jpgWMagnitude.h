// SPDX-License-Identifier: MIT
// Look-up table of magnitude categories and additional bits (T.81 F.1.2.1) for the values that
// occur in DCT coding and in lossless coding of bytes.
#ifndef JPG_WRITE_WMAGNITUDE_H
#define JPG_WRITE_WMAGNITUDE_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgAssert.h"

namespace jpg {

constexpr int32_t kMaxMagnitude = 2047;

// In one word, which is loaded at once.
struct Magnitude {
  uint32_t word;  // additional bits << 16 | category

  constexpr uint32_t category() const { return word & 15; }  // bits of |v|
  constexpr uint32_t bits() const { return word >> 16; }
};
struct MagnitudeTable {
  Magnitude entry[2 * kMaxMagnitude + 1];  // from -kMaxMagnitude on
};
extern const MagnitudeTable jpgMagnitudes;

inline const Magnitude &magnitudeOf(int32_t value) {
  JPG_ASSERT(value >= -kMaxMagnitude && value <= kMaxMagnitude);
  // As wide as a pointer: no conversion of the sum's.
  return jpgMagnitudes.entry[ptrdiff_t{kMaxMagnitude} + value];
}

// The entry of 0, for loops. Hidden from the optimiser, which would otherwise add the offset again
// for each value.
inline const Magnitude *magnitudesFrom0() {
  const Magnitude *m = &magnitudeOf(0);
  asm("" : "+r"(m));
  return m;
}

}  // namespace jpg

#endif
