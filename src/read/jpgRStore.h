// SPDX-License-Identifier: MIT
// The coefficient store of the lenient reader: for pictures whose scans don't hold all components,
// and for progressive ones.
//
// The scans are decoded into it in their order; rows of MCUs are made from it at any time. A
// component's blocks lie row by row in a heap block of their own, 2 bytes a coefficient, not
// dequantised.
#ifndef JPG_READ_RSTORE_H
#define JPG_READ_RSTORE_H

#include "read/jpgRLenient.h"
#include "read/jpgRPlanes.h"

namespace jpg {

// Makes the store, all coefficients 0. 0 or JPG_E_OUT_OF_MEMORY.
Result makeStore(JpgContext *c);
void freeStore(LenientRead *state);

// Decodes the scan that is set up and sets up the next one. JPG_NO_DATA behind the last scan.
Result decodeStoreScan(JpgContext *c);

// True when no scan has been decoded; when there are no more.
bool storeIsEmpty(const LenientRead &state);
bool storeIsComplete(const LenientRead &state);

// Makes the samples of an MCU row in the planes.
void readRowFromStore(JpgContext *c, Planes *planes, uint32_t mcuRow, InverseKernel transform);

}  // namespace jpg

#endif
