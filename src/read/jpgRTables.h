// SPDX-License-Identifier: MIT
// Table segments: Huffman tables, quantisation tables, restart interval.
//
// In: the current segment. Out: the context's tables. A table that is longer than the rest
// of its segment isn't loaded and ends the segment.
#ifndef JPG_READ_RTABLES_H
#define JPG_READ_RTABLES_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// DHT. 0, JPG_E_OUT_OF_MEMORY, or JPG_E_UNSUPPORTED (identifier above 3, a table
// that makeHuffCodes refuses, more than kMaxPendingTables since the last scan).
Result readHuffmanTables(JpgContext *c);

// DQT. 0, or JPG_E_UNSUPPORTED (identifier above 3).
Result readQuantTables(JpgContext *c);

// DRI. 0 or JPG_E_BAD_SEGMENT_LENGTH.
Result readRestartInterval(JpgContext *c);

// Makes the lookup arrays of the tables loaded since the last scan, and empties the
// list of them. 0 or JPG_E_OUT_OF_MEMORY.
Result buildPendingTables(JpgContext *c);

// Frees the retired tables, which only earlier scans used.
void freeRetiredTables(JpgContext *c);

}  // namespace jpg

#endif
