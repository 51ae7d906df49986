// SPDX-License-Identifier: MIT
// Blocks of a progressive scan, decoded from a bit window: same results, coefficients and stream
// state as the block decoders of jpgRVLC.h, but faster.
#ifndef JPG_READ_RFASTPROG_H
#define JPG_READ_RFASTPROG_H

#include "read/jpgRFastBits.h"
#include "share/jpgShare.h"

namespace jpg {

// Decodes a block by the context's block decoder, through `w`, which may be closed before
// and after.
Result decodeProgressiveFast(JpgContext *c, BitWindow *w, int16_t *block,
                             JpgScanComponent *component);

}  // namespace jpg

#endif
