// SPDX-License-Identifier: MIT
// A bitmap's description with room for its colour table, and what the model says of bitmaps.
#ifndef JPG_TESTS_WHOLE_STATE_BITMAP_H
#define JPG_TESTS_WHOLE_STATE_BITMAP_H

#include <jpg.h>

#include "whole/state/exifState.h"
#include "whole/state/readerState.h"

namespace jpgtest {

// Guarded behind.
struct BitmapInfo {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  uint32_t guard = 0xA5A5A5A5;
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

// A word behind the header: a mask of a bitmap with 16 bits.
uint32_t wordAt(const BITMAPINFO *bmi, size_t i);

// How the picture of a bitmap is read.
enum class BitmapSource { kSequential, kProgressive, kScaled };

// The bitmap readers over a model. `bits` may be null. Rows of a reduced bitmap that the picture
// doesn't reach hold anything: their count, from the bottom, is stored.
uint32_t readBitmap(ReaderState *reader, BitmapSource source, int32_t extra, int32_t lines,
                    uint8_t *bits, BITMAPINFO *bmi, int32_t *unknownRows);
uint32_t readThumbnail(ExifState *exif, uint8_t *bits, BITMAPINFO *bmi);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_BITMAP_H
