// SPDX-License-Identifier: MIT
// Rows of MCUs of a sequential picture, decoded as they come, in data that may be damaged. For
// pictures whose scan holds all components (JPG_READ_LENIENT).
#ifndef JPG_READ_RINORDER_H
#define JPG_READ_RINORDER_H

#include "read/jpgRLenient.h"
#include "read/jpgRPlanes.h"

namespace jpg {

// Makes room for the blocks of two MCUs and goes to the first row. 0, JPG_E_OUT_OF_MEMORY or
// JPG_E_SEEK.
Result beginInOrder(JpgContext *c);

// Decodes an MCU row into the planes. Rows ahead of it are decoded on the way; for one that is
// behind, decoding begins again. 0 or JPG_E_SEEK.
Result readRowInOrder(JpgContext *c, Planes *planes, uint32_t mcuRow, InverseKernel transform);

}  // namespace jpg

#endif
