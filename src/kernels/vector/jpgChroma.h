// SPDX-License-Identifier: MIT
// The colour conversion with vectors.
#ifndef JPG_KERNELS_VECTOR_CHROMA_H
#define JPG_KERNELS_VECTOR_CHROMA_H

#include "kernels/vector/jpgColour.h"
#include "kernels/vector/jpgVec.h"

namespace jpg {
namespace vec {

// What chroma samples of -128..127 add to Y for each colour, and kLevel.
struct Offsets {
  Words blue, green, red;
};

template <int kLevel>
JPG_VEC Offsets offsetsOf(Words cb, Words cr) {
  return {cb + scaled<kCbBlue, kLevel>(cb), scaled<kCbGreen, kLevel>(cb) + scaled<kCrGreen, 0>(cr),
          cr + scaled<kCrRed, kLevel>(cr)};
}

// What sixteen columns of Y and their chroma give.
struct SixteenPixels {
  Sixteen blue, green, red;
};

JPG_VEC Sixteen add(const Sixteen &y, Words even, Words odd) {
  return {y.even + even, y.odd + odd};
}
JPG_VEC SixteenPixels pixelsOf(const Sixteen &y, const Offsets &even, const Offsets &odd) {
  return {add(y, even.blue, odd.blue), add(y, even.green, odd.green), add(y, even.red, odd.red)};
}

}  // namespace vec
}  // namespace jpg

#endif
