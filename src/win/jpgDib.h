// SPDX-License-Identifier: MIT
// Windows device-independent bitmaps: headers, rectangles over their bits, and
// temporary buffers.
//
// Shared by the readers, the writer and the Exif thumbnail. Nothing here decodes.
#ifndef JPG_WIN_DIB_H
#define JPG_WIN_DIB_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// An image's size and components.
struct ImageShape {
  uint32_t width;
  uint32_t height;
  uint32_t components;
};

// A bitmap's description may be unaligned, as it is in a .bmp file in memory, behind a file header
// of 14 bytes. It is therefore always copied, never accessed in place.
BITMAPINFOHEADER loadDibHeader(const void *bmi);
void storeDibHeader(void *bmi, const BITMAPINFOHEADER &header);

// The colour table, or the masks, behind a description's header. Entries need no alignment.
RGBQUAD *colorTable(void *bmi);
const RGBQUAD *colorTable(const void *bmi);

// Fills the header, and the colour table or masks behind it, for an image; biBitCount
// other than 8, 16, 24 becomes 8. The caller's block has room for 256 entries (8 bits)
// or three masks (16 bits).
void fillDibHeader(void *bmi, const ImageShape &shape);

// Stores the JFIF density as the header's resolution, in pixels per metre.
void setDibResolution(const JpgContext &c, void *bmi);

// Bytes of a bitmap row of `width` pixels, padded to 4; 0 when `width` isn't positive
// or the row doesn't fit 31 bits.
uint32_t dibRowBytes(int32_t width, uint32_t bitsPerPixel);

// Describes `lines` rows of the bitmap's bits for an image of that width; image row 0
// is the last in memory when biHeight is positive. 0 or JPG_E_INVALID_PARAMETER.
Result makeDibRect(const BITMAPINFOHEADER &header, const ImageShape &shape, int32_t lines,
                   void *bits, JpgRect *rect);

// Allocates the rectangle's bits, zeroed, from its stride (0: rows without padding)
// and height. JPG_E_OUT_OF_MEMORY when the heap has no room.
Result allocateDibBuffer(JpgRect *rect);

// Frees the rectangle's bits. JPG_E_INVALID_PARAMETER when there are none, JPG_E_FAIL when the
// heap fails to free them.
Result freeDibBuffer(JpgRect *rect);

// A reader that fills a rectangle with rows.
struct RectSource {
  Result (*read)(void *source, const JpgRect *rect, int32_t lines);
  void *source;
};

// Reads three-component rows into a 24-bit buffer and reduces its colours into the bitmap.
// 0, JPG_E_OUT_OF_MEMORY, JPG_E_INVALID_PARAMETER for a bitmap of neither 8 nor 16 bits (after
// reading), or the source's code.
Result readReduced(const BITMAPINFOHEADER &header, const JpgRect &dib, const RectSource &source,
                   int32_t lines);

}  // namespace jpg

#endif
