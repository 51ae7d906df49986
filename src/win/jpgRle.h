// SPDX-License-Identifier: MIT
// Expansion of run-length coded bitmaps.
#ifndef JPG_WIN_RLE_H
#define JPG_WIN_RLE_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// The rows into which coded data are expanded, from the first in memory.
struct RlePlane {
  uint8_t *bits;      // zeroed
  uint32_t rowBytes;  // a multiple of 4
  uint32_t rows;
  uint32_t bitsPerPixel;  // 4 or 8
};

// Expands `size` bytes of data (0: up to the code for the end of the bitmap). Data
// that end early end the bitmap. 0, or JPG_E_FAIL for a run that leaves its row.
Result expandRle(const uint8_t *data, uint32_t size, const RlePlane &plane);

}  // namespace jpg

#endif
