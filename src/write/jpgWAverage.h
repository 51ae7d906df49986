// SPDX-License-Identifier: MIT
// Blocks with averages of subsampled components, and the edges of the picture continued.
//
// In: interleaved bytes of an MCU. Out: level-shifted samples, block after block, as encodeMcu
// takes them. A sample is the average of the pixels that it stands for, computed from their sums
// with a single rounding to nearest. At the edges the last pixel or line is repeated first, so that
// the average is that of the pixels that are there.
#ifndef JPG_WRITE_WAVERAGE_H
#define JPG_WRITE_WAVERAGE_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// The pixels that are there of an MCU: at least one line and column.
struct McuPixels {
  const uint8_t *bits;
  ptrdiff_t stride;  // bytes
  uint32_t lines;
  uint32_t columns;
};

// Copies them to `out`, lines of kAreaSize pixels, and fills the MCU by repeating the last pixel
// of each line, then the last line.
void continueEdges(const JpgContext &c, const McuPixels &in, uint8_t *out);

// Makes the blocks of a whole MCU of any supported layout. Kernels do the same for the usual ones.
void averageMcu(const JpgContext &c, const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

}  // namespace jpg

#endif
