// Steps of the sequential decode driver that the scaled and progressive drivers
// share: an MCU row's way from the bit stream to the rectangle.
#ifndef JPG_READ_RRECT_H
#define JPG_READ_RRECT_H

#include "kernels/jpgKernels.h"
#include "read/jpgRClr.h"
#include "read/jpgRWindow.h"
#include "share/jpgShare.h"

namespace jpg {

// A block's way from the bit stream to limited samples, in two steps: between them lie those
// of other blocks, so that a transform needn't wait for coefficients that are just being
// stored.
struct BlockSteps {
  // Coefficients, `*last` the coded position of the last that may not be 0. 0 or the block
  // decoder's code.
  Result (*decode)(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component,
                   uint32_t *last);
  void (*transform)(const JpgContext &c, int16_t *block, uint32_t last);
};

// What a call has chosen.
struct McuPipeline {
  const BlockSteps *steps;  // null where blocks come from a store
  McuKernel put;            // stores an MCU at once; null: expand, then write
  ExpandRoutine expand;
  PixelWriter write;
  uint32_t pixelBytes;  // of put
  uint32_t sampling;    // for expand
  int32_t mcuWidth;     // pixels of an MCU in the output
  int32_t width;        // pixels of a row to store; 0 or less stores nothing
};

// The kernel that stores an MCU of this frame, at the scale of `code` (kScaleFull or less), as
// the full-size writer `write` would at its size; null for none.
McuKernel chooseMcuKernel(const JpgContext &c, PixelWriter write, uint32_t code);

// Stores the MCU whose limited sample blocks are at `blocks` (coefBuffer, or, with a kernel,
// elsewhere), at column x, its first `columns` columns and the band's rows.
void storeMcu(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band,
              const int16_t *blocks, int32_t x, int32_t columns);

// Decodes one row of MCUs into `band`, whose height is the rows to store.
// JPG_E_END_OF_IMAGE after EOI, JPG_E_UNSUPPORTED when the scan doesn't hold all
// components of the frame, or the block decoder's code.
Result decodeMcuRow(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band);

// Before the first rows: when the caller has used marker access since the prolog,
// goes back to the start of the scan data. 0 or JPG_E_SEEK.
Result returnToScanData(JpgContext *c);

}  // namespace jpg

#endif
