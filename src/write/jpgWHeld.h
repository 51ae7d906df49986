// SPDX-License-Identifier: MIT
// Pictures that are held until the epilog: those with Huffman tables of their own, and progressive
// ones. The encode calls fill the store (jpgWStore.h); here the frame is written from it.
#ifndef JPG_WRITE_WHELD_H
#define JPG_WRITE_WHELD_H

#include <stdint.h>

#include "share/jpgShare.h"
#include "write/jpgWOptimal.h"
#include "write/jpgWScan.h"
#include "write/jpgWScript.h"
#include "write/jpgWSymbols.h"

namespace jpg {

// Room for the work of the epilog: one block of the heap.
struct HeldWork {
  OptimalWork optimal;
  SymbolCounts counts[kScanTables];  // of the scan being written
  OptimalTable tables[kScanTables];
  JpgHuffCode codes[kScanTables * kSymbols];
  TrialWork trials;
  uint8_t room[kGatherRoom];
};

// Writes the frame of a held picture, headers and scans. Its height is that of the lines encoded,
// and at most the one that was set. 0, JPG_E_INVALID_PARAMETER for more than 65535 lines whose
// number wasn't set, JPG_E_OUT_OF_MEMORY, before anything is written, or JPG_E_WRITE_FAULT.
Result writeHeldPicture(JpgContext *c);

// The same for a lossless frame, whose height is settled.
Result writeHeldSpatial(JpgContext *c, HeldWork *work);

// Makes table i from its counts, with its codes.
void makeTable(HeldWork *work, uint32_t i);

// Writes DHT with table i of the work.
Result writeTable(JpgContext *c, const HeldWork &work, uint32_t i, uint32_t tcTh);

}  // namespace jpg

#endif
