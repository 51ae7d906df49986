// Block expansion and pixel output.
//
// In: the limited sample blocks of one MCU in coefBuffer, component after
// component. An expansion routine brings every component to the MCU's full
// resolution by replication and lists the blocks in blockMapA; a pixel writer then
// stores the MCU's pixels in the caller's rectangle, 8x8 cell by cell. Both are
// chosen once per call by the drivers.
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

// The sampling word for an expansion routine: samplingPacked with the first
// component's byte moved to the top.
uint32_t samplingWord(const JpgContext &c);

// The expansion routine for the frame's MCU, or null for a layout that isn't served.
ExpandRoutine chooseExpand(const JpgContext &c);

// The writer that stores all components as decoded, or null when the rectangle's
// bytes a pixel don't equal the component count.
PixelWriter chooseRawWriter(const JpgContext &c, const JpgRect &rect);

// The sequential reader's choice of writer, or null as chooseRawWriter.
PixelWriter choosePixelWriter(const JpgContext &c, const JpgRect &rect);

// Offsets that a chroma sample adds to two of the colours, indexed by sample + 128.
struct ColorPair {
  int32_t first;
  int32_t second;
};
struct ColorTable {
  ColorPair entry[256];
};
extern const ColorTable jpgCbTable;  // to blue, to green
extern const ColorTable jpgCrTable;  // to green, to red

// Pixel limit: entry i is i - 512 limited to 0..255; read at kPixelLimitZero + v
// for a level-shifted value v of -640..639.
constexpr int32_t kPixelLimitZero = 640;
struct PixelLimitTable {
  uint8_t entry[1280];
};
extern const PixelLimitTable jpgPixelLimit;

}  // namespace jpg

#endif
