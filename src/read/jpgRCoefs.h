// SPDX-License-Identifier: MIT
// The store of a progressive picture: the coefficients of all its blocks.
//
// It holds MCU after MCU in raster order, an MCU's blocks in frame component order. It lies in
// pieces of whole rows of MCUs, the first one behind the scratch blocks of coefBuffer. It is
// cleared row by row, when its first scan comes to a row.
#ifndef JPG_READ_RCOEFS_H
#define JPG_READ_RCOEFS_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// Common heaps keep blocks of up to 32 MB for the next picture; larger ones come from the system
// every time, and are faulted in page by page.
constexpr uint64_t kCoefPieceBytes = uint64_t{30} << 20;

// Bytes of the first piece; makeCoefPieces() allocates the others. For a store of more bytes than
// the heap is asked for at a time, all of them, so that it is refused at once.
uint64_t firstPieceBytes(const JpgContext &c);

// Allocates the other pieces. 0 or JPG_E_OUT_OF_MEMORY.
Result makeCoefPieces(JpgContext *c);

void freeCoefPieces(JpgContext *c);

// The first MCU of a row of MCUs.
int16_t *storedRow(const JpgContext &c, uint32_t mcuRow);

// Clears the rows ahead of row `end` that haven't been cleared.
void clearStoreTo(JpgContext *c, uint32_t end);

}  // namespace jpg

#endif
