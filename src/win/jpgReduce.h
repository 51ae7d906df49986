// SPDX-License-Identifier: MIT
// Reduction of 24-bit pixels to 8 or 16 bits by error diffusion.
#ifndef JPG_WIN_REDUCE_H
#define JPG_WIN_REDUCE_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// Reduces the rows of `from` (24 bits, blue, green, red) into those of `to`: to the
// reduction palette's indices for 8 bits, to 5-6-5 words for 16. 0,
// JPG_E_OUT_OF_MEMORY, or JPG_E_INVALID_PARAMETER for another depth.
Result reduceColors(uint32_t bitsPerPixel, const JpgRect &from, const JpgRect &to);

}  // namespace jpg

#endif
