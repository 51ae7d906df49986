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

// Aligned to a word, so that it is loaded at once: strict-alignment targets would call memcpy.
struct alignas(uint32_t) Magnitude {
  uint16_t category;  // bits of |v|
  uint16_t bits;      // additional bits
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

}  // namespace jpg

#endif
