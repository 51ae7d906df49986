// SPDX-License-Identifier: MIT
// Scan headers: reading one, and setting the component slots up for it.
#ifndef JPG_READ_RSCAN_H
#define JPG_READ_RSCAN_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// A scan header (T.81 B.2.3), its component selectors resolved and checked.
struct ScanHeader {
  uint32_t count;                      // Ns, 0 to 4
  uint8_t firstId;                     // Cs of the first component
  uint8_t frameIndex[kMaxComponents];  // frame component of each
  uint8_t dcTable[kMaxComponents];     // Td, 0 to 3
  uint8_t acTable[kMaxComponents];     // Ta, 0 to 3
  uint8_t Ss, Se, Ah, Al;
};

// H x V of a frame component: its blocks in an MCU.
inline uint32_t frameBlocks(const JpgScanComponent &k) {
  return static_cast<uint32_t>(k.sampling >> 4) * (k.sampling & 15);
}

// Reads the header. 0, or JPG_E_UNSUPPORTED: more than 4 components, one that the
// frame doesn't have, a table selector above 3, or (progressive frames) spectral
// selection or approximation out of range.
Result readScanHeader(JpgContext *c, ScanHeader *scan);

// Makes Ss to Se the current band. A sequential scan may say anything, and uses none.
void useBand(JpgContext *c, uint8_t ss, uint8_t se);

// Makes `scan` the current one: tables, block counts, block decoder.
void useScan(JpgContext *c, const ScanHeader &scan);

// Resets the state of a scan: DC predictors, end-of-band run, MCU count.
void beginScan(JpgContext *c);

}  // namespace jpg

#endif
