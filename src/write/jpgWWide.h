// Blocks of levels through a wide bit buffer: what the operations of jpgWVLC.h would put
// out, a block at a time.
#ifndef JPG_WRITE_WWIDE_H
#define JPG_WRITE_WWIDE_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// Codes a block: its levels in zig-zag order, each -2047..2047, of which bit k of `present`
// says whether level k isn't 0. The DC predictor is brought up to date.
Result encodeLevels(JpgContext *c, JpgScanComponent *component, const int16_t *levels,
                    uint64_t present);

}  // namespace jpg

#endif
