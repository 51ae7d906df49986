// SPDX-License-Identifier: MIT
// Rows of a bitmap of any depth, converted to grey or to blue, green, red.
#ifndef JPG_WIN_DIBROWS_H
#define JPG_WIN_DIBROWS_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// A plain (not run-length coded) bitmap: rows in memory order, each padded to 4 bytes.
struct PlainDib {
  BITMAPINFOHEADER header;  // its width and colours; the depth is below
  const RGBQUAD *colors;    // colour table or masks
  const uint8_t *bits;
  uint32_t bitsPerPixel;
  uint32_t compression;  // BI_RGB for rows expanded from run-length codes
};

// Converts the first `target.height` rows in memory into the target in reverse order: the
// bitmap counts as bottom-up whatever its biHeight says. The target has 8 bits a pixel (grey:
// the green byte) or 24 (blue, green, red). 0, JPG_E_INVALID_PARAMETER for 4 or 8 bits that
// are marked as compressed, or JPG_E_FAIL for a depth that isn't supported.
Result convertDibRows(const PlainDib &dib, const JpgRect &target);

}  // namespace jpg

#endif
