// Blocks of a progressive scan out of a bit window: what the block decoders of jpgRVLC.h
// give, results, coefficients and stream state alike, in fewer steps.
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
