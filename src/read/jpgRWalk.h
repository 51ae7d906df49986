// SPDX-License-Identifier: MIT
// The walk through the units of a scan whose data may be damaged.
//
// The driver asks for each unit in turn whether it is coded. After a failure the walk goes on at
// the next restart marker that fits; units that it passes over are lost, and the driver fills
// them. The bit reader stops at markers meanwhile (jpgRHold.h).
#ifndef JPG_READ_RWALK_H
#define JPG_READ_RWALK_H

#include "read/jpgRFastBits.h"
#include "read/jpgRLenient.h"

namespace jpg {

// Begins at the first unit of the scan in the handle's lenient state, of `units` units.
void beginWalk(JpgContext *c, uint32_t units);

// Ahead of a unit: takes the restart marker that stands there. False when the unit is lost.
bool unitIsCoded(JpgContext *c, BitWindow *w);

// Counts a unit, decoded or lost.
inline void countUnit(ScanWalk *walk) { walk->unit++; }

// The unit can't be decoded: it is lost, and what follows it as far as the walk can't go on.
void loseUnit(JpgContext *c, BitWindow *w, Result code);

// Decodes the blocks of a unit of a sequential scan. Where the data are damaged but no restart
// interval limits the damage, decoding goes on, and the blocks hold what was decoded. False when
// the unit is lost.
using BlockRoutine = Result (*)(BitWindow *w, JpgStream *s, int16_t *block,
                                JpgScanComponent *component, uint32_t *last);
bool decodeUnit(JpgContext *c, BitWindow *w, BlockRoutine decode, int16_t *const *blocks,
                uint8_t *last);

// After the last unit: passes over what is left of the data, and leaves the marker behind them to
// the headers' parser.
void endWalk(JpgContext *c);

}  // namespace jpg

#endif
