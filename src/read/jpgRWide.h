// Blocks of a sequential scan out of a bit window: what decodeBlock and decodeBlockCorner of
// jpgRVLC.h give, results, coefficients and stream state alike, in fewer steps.
#ifndef JPG_READ_RWIDE_H
#define JPG_READ_RWIDE_H

#include "read/jpgRWindow.h"
#include "share/jpgShare.h"

namespace jpg {

// As decodeBlock, through `w`, which may be closed before and after. `*last` receives the
// coded position of the last coefficient that may differ from 0, 0 to 63.
Result decodeBlockWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                       uint32_t *last);

// As decodeBlockCorner with this `lastStored`, which is 24, 4 or 0.
Result decodeCornerWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                        uint32_t lastStored);

}  // namespace jpg

#endif
