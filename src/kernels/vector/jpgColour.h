// SPDX-License-Identifier: MIT
// The factors of the colour conversion with vectors.
#ifndef JPG_KERNELS_VECTOR_COLOUR_H
#define JPG_KERNELS_VECTOR_COLOUR_H

#include <stdint.h>

namespace jpg {

// Multipliers, scaled by 2^15, whose products with every sample of -128..127, rounded to nearest,
// are exactly the colour tables' entries (a test compares them all). 1.772 and 1.402 are above 1,
// so the sample itself is added for blue and red.
constexpr int16_t kCbBlue = 25297;    // 0.772
constexpr int16_t kCbGreen = -11277;  // -0.34414
constexpr int16_t kCrGreen = -23401;  // -0.71414
constexpr int16_t kCrRed = 13173;     // 0.402

}  // namespace jpg

#endif
