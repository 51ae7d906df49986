// SPDX-License-Identifier: MIT
// Marker segments on the write side: the caller's, the headers', and RSTn.
#ifndef JPG_WRITE_WMARK_H
#define JPG_WRITE_WMARK_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// Begins a segment of `length` data bytes: the marker and the length field.
Result beginSegment(JpgContext *c, uint32_t marker, uint32_t length);

// Writes a whole segment.
Result writeSegment(JpgContext *c, uint32_t marker, const uint8_t *data, uint32_t length);

// Writes DNL with the lines encoded so far. JPG_E_INVALID_PARAMETER when these
// exceed what the segment can hold, 65535.
Result writeDnl(JpgContext *c);

// Writes the next RSTn and clears the DC predictions and the MCU count.
Result writeRestart(JpgContext *c);

}  // namespace jpg

#endif
