// SPDX-License-Identifier: MIT
// Block expansion and pixel output, at every scale.
//
// In: the saturated sample blocks of one MCU in coefBuffer, component after component. At scale
// code s (the context's scanState) a block holds a cell of 2^s x 2^s samples in its top-left
// corner. An expansion routine brings every component to the MCU's full resolution by replication
// and lists the blocks in blockMapA; a pixel writer then stores the MCU's pixels in the caller's
// rectangle, cell by cell. Both are chosen once per call by the drivers.
#ifndef JPG_READ_RCLR_H
#define JPG_READ_RCLR_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// `sampling` holds the components' sampling bytes, the first in the top byte.
using ExpandRoutine = void (*)(JpgContext *c, uint32_t sampling);

// Stores rect->height rows (those of the band) of min(w, MCU width) pixels at
// column x; `bits` points at the band's first row. w of 0 or less stores nothing.
using PixelWriter = void (*)(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);

void jpgExpand1x1(JpgContext *c, uint32_t sampling);
void jpgExpand2x1(JpgContext *c, uint32_t sampling);
void jpgExpand1x2(JpgContext *c, uint32_t sampling);
void jpgExpand2x2(JpgContext *c, uint32_t sampling);

void jpgPutGray(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);
void jpgPutTwo(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);
void jpgPutThree(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);
void jpgPutThreeReversed(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);
void jpgPutFour(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);
void jpgPutYccToBgr(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w);

// Layout of a pixel in the caller's rectangle.
enum class PixelFormat {
  kNone,           // the rectangle doesn't take the picture's components
  kGray,           // component 0
  kTwo,            // components in their order
  kThree,          // the same
  kFour,           // the same
  kThreeReversed,  // red, green, blue as blue, green, red
  kYccToBgr        // Y, Cb, Cr as blue, green, red
};

// Without colour conversion: all components as decoded; kNone when the rectangle's bytes per pixel
// differ from their count.
PixelFormat chooseRawFormat(const JpgContext &c, const JpgRect &rect);

// With colour conversion: for sequential pictures, and for progressive ones, whose three
// components always count as YCbCr.
PixelFormat chooseFormat(const JpgContext &c);
PixelFormat chooseProgressiveFormat(const JpgContext &c);

// The pixel writer of a format; null for kNone.
PixelWriter writerOf(PixelFormat format);

// The expansion routine for the frame's MCU, or null for a layout that isn't supported.
ExpandRoutine chooseExpand(const JpgContext &c);

// The sampling word for an expansion routine: samplingPacked with the first
// component's byte moved to the top.
uint32_t samplingWord(const JpgContext &c);

}  // namespace jpg

#endif
