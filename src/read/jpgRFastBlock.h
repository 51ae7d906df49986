// SPDX-License-Identifier: MIT
// Blocks of a sequential scan, decoded from a bit window: same results, coefficients and stream
// state as decodeBlock of jpgRVLC.h, but faster.
#ifndef JPG_READ_RFASTBLOCK_H
#define JPG_READ_RFASTBLOCK_H

#include "read/jpgRFastBits.h"
#include "share/jpgShare.h"

namespace jpg {

// As decodeBlock for all coefficients, through `w`, which may be closed before and after, and into
// a block that the caller has cleared. `*last` receives a zig-zag position after which all
// coefficients are 0: 0 for a block with DC alone.
Result decodeBlockFast(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                       uint32_t *last);

// Zig-zag positions of the last coefficients that the reduced transforms use.
constexpr uint32_t kCornerOf2 = 4;   // row 1, column 1
constexpr uint32_t kCornerOf4 = 24;  // row 3, column 3

// As decodeBlock with a `lastStored` of 0, kCornerOf2 or kCornerOf4, into a block whose
// corner the caller has cleared. It may also store outside of the corner.
Result decodeCornerFast(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                        uint32_t lastStored);

}  // namespace jpg

#endif
