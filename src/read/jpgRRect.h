// Steps of the sequential decode driver that the scaled and progressive drivers
// share: an MCU row's way from the bit stream to the rectangle.
#ifndef JPG_READ_RRECT_H
#define JPG_READ_RRECT_H

#include "read/jpgRClr.h"
#include "share/jpgShare.h"

namespace jpg {

// Makes one block's limited samples: decode, transform, limit. 0 or the block
// decoder's code.
using BlockStep = Result (*)(JpgStream *s, int16_t *block, JpgScanComponent *component);

// What a call has chosen.
struct McuPipeline {
  BlockStep step;
  ExpandRoutine expand;
  PixelWriter write;
  uint32_t sampling;  // for expand
  int32_t mcuWidth;   // pixels of an MCU in the output
  int32_t width;      // pixels of a row to store; 0 or less stores nothing
};

// Decodes one row of MCUs into `band`, whose height is the rows to store.
// JPG_E_END_OF_IMAGE after EOI, JPG_E_UNSUPPORTED when the scan doesn't hold all
// components of the frame, or the block decoder's code.
Result decodeMcuRow(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band);

// Before the first rows: when the caller has used marker access since the prolog,
// goes back to the start of the scan data. 0 or JPG_E_SEEK.
Result returnToScanData(JpgContext *c);

}  // namespace jpg

#endif
