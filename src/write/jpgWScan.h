// SPDX-License-Identifier: MIT
// The scans of a held DCT picture: walks their blocks in the store, and counts or writes their
// symbols.
#ifndef JPG_WRITE_WSCAN_H
#define JPG_WRITE_WSCAN_H

#include <stdint.h>

#include "share/jpgShare.h"
#include "write/jpgWBand.h"
#include "write/jpgWOptimal.h"
#include "write/jpgWSymbols.h"

namespace jpg {

// A scan: all components of the frame, or one. Ss to Se is 0 to 63 for a sequential scan, 0 alone
// for DC (with all its bits), else a band of AC, of one component.
struct Scan {
  uint32_t first;
  uint32_t count;
  uint32_t Ss, Se;
  uint32_t Ah, Al;
};

// What is to be known of the frame beyond the record.
struct HeldFrame {
  JpgContext *c;
  uint32_t mcuRows;
  uint32_t blocksPerMcu;
};

// A component's own blocks, without those that only fill up MCUs.
struct Plane {
  uint32_t columns, rows;  // blocks
  uint32_t h, v;           // of an MCU
  uint32_t offset;         // blocks of an MCU ahead of the component's
};
Plane planeOf(const HeldFrame &f, uint32_t component);

// AC scans of a component are counted together, in one pass over its blocks: each `coder` with its
// own counts. Rows of blocks are taken `step` apart; 1 takes all.
using BandCounter = BandCoder<SymbolCounter>;
void startBand(const Scan &scan, BandCounter *counter, SymbolCounts *counts);
void countBands(const HeldFrame &f, uint32_t component, uint32_t step, BandCounter *counters,
                uint32_t count);

// Counts a sequential scan or one of DC. Tables 0 and 1 are for DC, 2 and 3 for AC.
constexpr uint32_t kScanTables = 4;
void countScan(const HeldFrame &f, const Scan &scan, SymbolCounter *counter);

// Writes a scan's data by the codes of the tables; a scan of AC alone has table 0. `room` has
// kGatherRoom bytes.
Result writeScan(const HeldFrame &f, const Scan &scan, const JpgHuffCode *codes, uint8_t *room);

}  // namespace jpg

#endif
