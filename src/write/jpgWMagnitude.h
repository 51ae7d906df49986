// Magnitude categories and additional bits (T.81 F.1.2.1) of the values that DCT coding, and
// lossless coding of bytes, puts out.
#ifndef JPG_WRITE_WMAGNITUDE_H
#define JPG_WRITE_WMAGNITUDE_H

#include <stdint.h>

namespace jpg {

constexpr int32_t kMaxMagnitude = 2047;

// In one word: two halves would be copied by a call where words must be aligned.
struct alignas(uint32_t) Magnitude {
  uint16_t category;  // bits of |v|
  uint16_t bits;      // additional ones
};
struct MagnitudeTable {
  Magnitude entry[2 * kMaxMagnitude + 1];  // from -kMaxMagnitude on
};
extern const MagnitudeTable jpgMagnitudes;

inline const Magnitude &magnitudeOf(int32_t value) {
  return jpgMagnitudes.entry[kMaxMagnitude + value];
}

}  // namespace jpg

#endif
