// SPDX-License-Identifier: MIT
// Lossless pictures by the lenient reader's calls: row by row through a buffer of the handle, so
// that bands need no spare row, with damaged rows filled.
#ifndef JPG_READ_RLOSSLESS_H
#define JPG_READ_RLOSSLESS_H

#include "share/jpgShare.h"

namespace jpg {

// The next `lines` rows: grey, blue green red (of three components the first is red), or all
// components where the rectangle takes them. Above 8 bits of precision the rectangle must have
// samples of 16 bits. The codes of readPicture().
Result readLosslessPicture(JpgContext *c, const JpgRect &rect, int32_t lines);

}  // namespace jpg

#endif
