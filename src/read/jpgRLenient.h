// SPDX-License-Identifier: MIT
// State of a handle opened with JPG_READ_LENIENT, which the modules of the lenient reader share,
// and the set-up of its scans.
//
// jpgRHunt finds segments among stray bytes, jpgRWalk goes through the units of a scan and over
// damage in it. Rows of MCUs are decoded as they come (jpgRInOrder) or from a store (jpgRStore).
#ifndef JPG_READ_RLENIENT_H
#define JPG_READ_RLENIENT_H

#include <stdint.h>

#include "read/jpgRHold.h"
#include "share/jpgShare.h"

namespace jpg {

// The first damage of a picture.
struct Damage {
  Result code;      // what was met there, JPG_OK for no damage
  uint32_t offset;  // stream offset in bytes
};

// A scan and the components that it codes: the tables and the block count are the scan's, all else
// is the frame component's.
struct LenientScan {
  uint32_t count;   // components
  uint32_t blocks;  // of a unit, all components
  uint8_t frameIndex[kMaxComponents];
  JpgScanComponent component[kMaxComponents];
};

// Place in the units of a scan. A unit is an MCU, or a block in a scan of one component.
struct ScanWalk {
  uint32_t unit;         // the next one
  uint32_t units;        // of the scan
  uint32_t interval;     // units between restart markers, 0 = none
  uint32_t intervalEnd;  // unit that the next restart marker stands ahead of; `units`: none follows
  uint32_t resumeAt;     // units ahead of this one are lost
  uint32_t expected;     // number of the next restart marker, 0 to 7
  int32_t lastDc[kMaxComponents];  // DC predictors where data were lost
};

struct LenientStore;  // read/jpgRStore.h

struct LenientRead {
  Damage damage;
  LenientScan scan;
  ScanWalk walk;
  LenientStore *store;  // all coefficients; null where rows are decoded as they come; owned
  uint32_t nextRow;     // MCU row that is decoded next, where they are decoded as they come
  uint32_t left;        // 1: the stream has left the picture; it goes on at `place`
  StreamPlace place;
  uint32_t lost;           // lossless: 1 when the rows that follow can't be decoded
  uint32_t segmentStart;   // stream offset of the segment opened last
  uint32_t segmentMarker;  // its marker, 0 for none
  uint32_t hunts;          // for segments, so far
};

inline bool isLenient(const JpgContext &c) { return c.read.lenient != nullptr; }

// Gives the handle its lenient state. 0 or JPG_E_OUT_OF_MEMORY.
Result makeLenient(JpgContext *c);
void freeLenient(JpgContext *c);

// Notes the first damage, at the stream's place.
void noteDamage(JpgContext *c, Result code);

// Goes on to the next scan header and sets the scan up. Huffman tables that it needs but the file
// doesn't have are those of T.81 Annex K. 0, JPG_NO_DATA behind the last scan, JPG_E_NOT_JPEG at
// the end of the data, JPG_E_UNSUPPORTED, JPG_E_BAD_SEGMENT_LENGTH or JPG_E_OUT_OF_MEMORY.
Result openLenientScan(JpgContext *c);

// Takes the height of a picture whose frame header has none from the DNL segment behind its first
// scan. 0, JPG_E_SEEK, or JPG_E_UNSUPPORTED if there is none.
Result findHeight(JpgContext *c);

}  // namespace jpg

#endif
