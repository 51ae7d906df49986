// SPDX-License-Identifier: MIT
// Colour tables of 8-bit bitmaps.
//
// The reduction palette is a 6 x 6 x 6 colour cube at entries 10 to 225; the other entries
// are copied from the screen's palette.
#ifndef JPG_WIN_PALETTE_H
#define JPG_WIN_PALETTE_H

#include <stdint.h>

#include "jpg.h"

namespace jpg {

constexpr int32_t kCubeLevels = 6;  // of each colour
constexpr int32_t kCubeFirst = 10;  // entry of the cube's black
constexpr int32_t kLevelStep = 51;  // from one level to the next: 0, 51, ... 255

// Entry of a cube colour, by levels.
constexpr int32_t cubeIndex(int32_t red, int32_t green, int32_t blue) {
  return kCubeFirst + 36 * red + 6 * green + blue;
}

// 256 entries each.
void fillGrayRamp(RGBQUAD *table);
void fillReductionPalette(RGBQUAD *table);

}  // namespace jpg

#endif
