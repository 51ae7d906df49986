// SPDX-License-Identifier: MIT
// Steps of the sequential decode driver that the scaled and progressive drivers
// share: an MCU row's way from the bit stream to the rectangle.
#ifndef JPG_READ_RRECT_H
#define JPG_READ_RRECT_H

#include "kernels/jpgKernels.h"
#include "read/jpgRClr.h"
#include "read/jpgRFastBits.h"
#include "read/jpgRPlanes.h"
#include "share/jpgShare.h"

namespace jpg {

// Decodes a block's coefficients through the bit window; `*last` receives the zig-zag position
// after which all of them are 0. 0 or the block decoder's code.
using BlockRoutine = Result (*)(BitWindow *w, JpgStream *s, int16_t *block,
                                JpgScanComponent *component, uint32_t *last);

// The routines chosen for a call. A block is transformed only after other blocks have been decoded,
// so that the transform doesn't wait for coefficients that were just stored.
struct McuPipeline {
  BlockRoutine decode;      // null where blocks come from a store
  bool clearsBlocks;        // an MCU's blocks are cleared before decode
  InverseKernel transform;  // to saturated samples
  McuKernel put;            // stores a whole MCU; null: expand, then write
  ExpandRoutine expand;     // null: the layout isn't supported
  PixelWriter write;        // null: the rectangle doesn't fit the components
  uint32_t pixelBytes;      // of put
  uint32_t sampling;        // for expand
  int32_t mcuWidth;         // pixels of an MCU in the output
  int32_t width;            // pixels of a row to store; 0 or less stores nothing
  Planes *planes;           // where the samples go, in place of pixels: put is null then
  uint32_t planeRow;        // row of MCUs in the planes
};

// The pipeline for the scale in scanState, without `decode`.
McuPipeline makePipeline(const JpgContext &c, PixelFormat format, int32_t width);

// Stores the first `columns` columns and the band's rows of an MCU at pixel column x, or all of its
// samples where there are planes. `blocks` are its saturated sample blocks: coefBuffer, or, with a
// put kernel or planes, any others.
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
