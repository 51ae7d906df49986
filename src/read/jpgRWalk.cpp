// SPDX-License-Identifier: MIT
#include "read/jpgRWalk.h"

#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRFastBlock.h"
#include "read/jpgRHold.h"
#include "read/jpgRVLC.h"
#include "share/jpgArith.h"

namespace jpg {
namespace {

constexpr uint32_t kRestartNumbers = 8;
// A marker that is up to this many numbers ahead tells of lost intervals; another one is taken for
// an earlier marker.
constexpr uint32_t kMostAhead = 4;
// A marker that stands just where one is expected is only taken for one of a later interval if it
// is at most this many numbers ahead: files exist whose markers don't count.
constexpr uint32_t kMostAheadInPlace = 2;
constexpr uint32_t kDoesNotFit = kRestartNumbers;

uint32_t lesser(uint32_t a, uint32_t b) { return a < b ? a : b; }

// Behind the units decoded so far. Their last DC values stay known until others are decoded.
void clearPredictors(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  const bool decoded = state->walk.unit > state->walk.resumeAt;
  for (uint32_t k = 0; k < kMaxComponents; k++) {
    if (decoded) state->walk.lastDc[k] = state->scan.component[k].dcPredictor;
    state->scan.component[k].dcPredictor = 0;
  }
  c->eobRun = 0;
}

void loseRest(ScanWalk *walk) {
  walk->resumeAt = walk->units;
  walk->intervalEnd = walk->units;
}

// Intervals that a restart marker is ahead of the expected one, or kDoesNotFit. inPlace: it stands
// where that one is expected.
uint32_t intervalsAhead(const ScanWalk &walk, uint32_t marker, bool inPlace) {
  uint32_t ahead = (marker - walk.expected) % kRestartNumbers;
  if (inPlace && ahead > kMostAheadInPlace) ahead = 0;
  if (ahead > kMostAhead) return kDoesNotFit;
  const uint64_t unit = walk.intervalEnd + uint64_t{ahead} * walk.interval;
  if (unit < walk.units) return ahead;
  return inPlace ? 0 : kDoesNotFit;
}

// Passes over copies of the marker just taken.
void passCopies(JpgStream *s, uint32_t marker) {
  for (;;) {
    fillBits(s, 8);
    if (s->heldMarker != marker) return;
    passMarker(s);
  }
}

// Goes on behind the held restart marker.
void takeRestart(JpgContext *c, uint32_t ahead) {
  ScanWalk *walk = &c->read.lenient->walk;
  const uint32_t marker = c->stream.heldMarker;
  clearPredictors(c);
  walk->resumeAt = walk->intervalEnd + ahead * walk->interval;
  walk->intervalEnd = lesser(walk->resumeAt + walk->interval, walk->units);
  walk->expected = (marker + 1) % kRestartNumbers;
  if (walk->resumeAt > walk->unit) noteDamage(c, JPG_E_DAMAGED);
  passMarker(&c->stream);
  passCopies(&c->stream, marker);
}

// True if an interval of units can be decoded from the stream's place on and a marker, or the end,
// comes right behind it.
bool intervalFits(JpgContext *c) {
  JpgStream *s = &c->stream;
  const ScanWalk &walk = c->read.lenient->walk;
  LenientScan scan = c->read.lenient->scan;
  int16_t block[kBlockSize];
  BitWindow w;
  initWindow(&w);
  Result r = JPG_OK;
  for (JpgScanComponent &k : scan.component) k.dcPredictor = 0;
  const uint32_t end = lesser(walk.intervalEnd + walk.interval, walk.units);
  for (uint32_t unit = walk.intervalEnd; unit < end && r == JPG_OK; unit++) {
    for (uint32_t k = 0; k < scan.count; k++) {
      for (uint32_t i = 0; i < scan.component[k].blocksPerMcu && r == JPG_OK; i++) {
        uint32_t last = 0;
        r = decodeBlockFast(&w, s, block, &scan.component[k], &last);
      }
    }
  }
  if (isOpen(w)) closeWindow(&w, s);
  return r == JPG_OK && !overran(*s) && !skipToMarker(s);
}

// Goes on where a restart marker should stand but the data of the next interval begin. False if
// that isn't so.
bool passMissingRestart(JpgContext *c) {
  JpgStream *s = &c->stream;
  ScanWalk *walk = &c->read.lenient->walk;
  alignToByte(s);
  fillBits(s, 8);
  if (s->heldMarker != 0 || c->sofMarker == kMarkerSof2) return false;
  const StreamPlace place = streamPlaceOf(*s);
  const bool fits = intervalFits(c);
  if (returnToPlace(s, place) != JPG_OK || !fits) return false;
  clearPredictors(c);
  walk->expected = (walk->expected + 1) % kRestartNumbers;
  walk->resumeAt = walk->intervalEnd;
  walk->intervalEnd = lesser(walk->intervalEnd + walk->interval, walk->units);
  return true;
}

// Goes to the next restart marker that fits; without one the rest of the scan is lost.
void seekRestart(JpgContext *c, bool inPlace) {
  JpgStream *s = &c->stream;
  ScanWalk *walk = &c->read.lenient->walk;
  if (inPlace && passMissingRestart(c)) return;
  inPlace = !skipToMarker(s) && inPlace;
  while (isRestart(s->heldMarker)) {
    const uint32_t ahead = intervalsAhead(*walk, s->heldMarker, inPlace);
    if (ahead != kDoesNotFit) {
      takeRestart(c, ahead);
      return;
    }
    passMarker(s);
    skipToMarker(s);
    inPlace = false;
  }
  noteDamage(c, JPG_E_DAMAGED);
  clearPredictors(c);
  loseRest(walk);
}

// In a scan that has no restart interval: goes on behind the held marker if it is a restart marker.
void passStrayRestart(JpgContext *c) {
  JpgStream *s = &c->stream;
  ScanWalk *walk = &c->read.lenient->walk;
  skipToMarker(s);
  clearPredictors(c);
  if (!isRestart(s->heldMarker)) {
    loseRest(walk);
    return;
  }
  passMarker(s);
  walk->resumeAt = walk->unit + 1;
}

// Goes on behind a restart marker that comes next. False when there is data ahead of it, or
// another marker: the place is then as before.
bool passRestart(JpgContext *c) {
  JpgStream *s = &c->stream;
  fillBits(s, 8);
  if (!isRestart(s->heldMarker) || s->bitCount - s->padding >= 8) return false;
  clearPredictors(c);
  passMarker(s);
  return true;
}

// Where a unit begins.
struct UnitStart {
  StreamPlace place;  // where the window was opened, or the unit itself
  uint32_t bits;      // taken from the window since then
  int32_t predictor[kMaxComponents];
};

UnitStart startOfUnit(const JpgContext &c, const BitWindow &w) {
  UnitStart start = {streamPlaceOf(c.stream), isOpen(w) ? placeOf(w) : 0, {}};
  for (uint32_t k = 0; k < kMaxComponents; k++) {
    start.predictor[k] = c.read.lenient->scan.component[k].dcPredictor;
  }
  return start;
}

void restorePredictors(JpgContext *c, const UnitStart &start) {
  for (uint32_t k = 0; k < kMaxComponents; k++) {
    c->read.lenient->scan.component[k].dcPredictor = start.predictor[k];
  }
}

Result goBack(JpgContext *c, const UnitStart &start) {
  constexpr uint32_t kStep = 16;  // bits
  restorePredictors(c, start);
  if (const Result r = returnToPlace(&c->stream, start.place); r != JPG_OK) return r;
  uint32_t left = start.bits;
  for (; left > kStep; left -= kStep) skipBits(&c->stream, kStep);
  skipBits(&c->stream, left);
  return JPG_OK;
}

// A symbol by the procedure of T.81 F.2.2.3, which takes one bit more than the longest code before
// it gives up; 0 then.
uint32_t mendSymbol(JpgStream *s, const HuffDecoder &table) {
  uint32_t symbol = 0;
  if (decodeSymbol(s, table, &symbol) != JPG_OK) skipBits(s, kMaxCodeLength + 1);
  return symbol;
}

// Decodes a block of damaged data as far as there is sense in it.
void mendBlock(JpgStream *s, int16_t *block, JpgScanComponent *k) {
  const uint32_t category = mendSymbol(s, dcDecoder(*k)) & 15;
  if (category != 0) k->dcPredictor = wrapAdd(k->dcPredictor, receiveExtend(s, category));
  block[0] = dequantise(k->dcPredictor, k->quantTable[0]);
  for (uint32_t n = 1; n < kBlockSize; n++) {
    const uint32_t symbol = mendSymbol(s, acDecoder(*k));
    const uint32_t size = symbol & 15;
    n += symbol >> 4;
    if (size == 0 && symbol >> 4 != 15) return;
    if (size == 0) continue;
    const int32_t value = receiveExtend(s, size);
    if (n < kBlockSize) block[kZigZag.natural[n]] = dequantise(value, k->quantTable[n]);
  }
}

Result decodeBlocks(JpgContext *c, BitWindow *w, BlockRoutine decode, int16_t *const *blocks,
                    uint8_t *last) {
  LenientScan *scan = &c->read.lenient->scan;
  uint32_t n = 0;
  for (uint32_t k = 0; k < scan->count; k++) {
    JpgScanComponent *component = &scan->component[k];
    for (uint32_t i = 0; i < component->blocksPerMcu; i++, n++) {
      uint32_t reached = 0;
      memset(blocks[n], 0, kBlockSize * sizeof(int16_t));
      const Result r = decode(w, &c->stream, blocks[n], component, &reached);
      if (r != JPG_OK) return r;
      last[n] = static_cast<uint8_t>(reached);
    }
  }
  return JPG_OK;
}

void mendBlocks(JpgContext *c, int16_t *const *blocks, uint8_t *last) {
  LenientScan *scan = &c->read.lenient->scan;
  uint32_t n = 0;
  for (uint32_t k = 0; k < scan->count; k++) {
    for (uint32_t i = 0; i < scan->component[k].blocksPerMcu; i++, n++) {
      memset(blocks[n], 0, kBlockSize * sizeof(int16_t));
      mendBlock(&c->stream, blocks[n], &scan->component[k]);
      last[n] = kBlockSize - 1;
    }
  }
}

}  // namespace

void beginWalk(JpgContext *c, uint32_t units) {
  ScanWalk *walk = &c->read.lenient->walk;
  *walk = {};
  walk->units = units;
  walk->interval = c->restartInterval;
  walk->intervalEnd = walk->interval != 0 ? lesser(walk->interval, units) : units;
  for (JpgScanComponent &k : c->read.lenient->scan.component) k.dcPredictor = 0;
  clearPredictors(c);
  beginHolding(&c->stream);
}

bool unitIsCoded(JpgContext *c, BitWindow *w) {
  const ScanWalk &walk = c->read.lenient->walk;
  if (walk.unit == walk.intervalEnd) {
    if (isOpen(*w)) closeWindow(w, &c->stream);
    seekRestart(c, true);
  }
  return walk.unit >= walk.resumeAt;
}

void loseUnit(JpgContext *c, BitWindow *w, Result code) {
  if (isOpen(*w)) closeWindow(w, &c->stream);
  noteDamage(c, code);
  if (c->read.lenient->walk.interval != 0) {
    seekRestart(c, false);
  } else {
    passStrayRestart(c);
  }
}

// A unit that begins at a restart marker, in a scan that has no restart interval, comes behind it.
bool decodeUnit(JpgContext *c, BitWindow *w, BlockRoutine decode, int16_t *const *blocks,
                uint8_t *last) {
  JpgStream *s = &c->stream;
  const ScanWalk &walk = c->read.lenient->walk;
  for (;;) {
    const UnitStart start = startOfUnit(*c, *w);
    const Result r = decodeBlocks(c, w, decode, blocks, last);
    if (r == JPG_OK && !overran(*s)) return true;
    const Result code = r != JPG_OK ? r : JPG_E_END_OF_IMAGE;
    if (isOpen(*w)) closeWindow(w, s);
    const bool back = goBack(c, start) == JPG_OK;
    if (walk.intervalEnd < walk.units || !back) {
      loseUnit(c, w, code);
      return false;
    }
    if (walk.interval == 0 && passRestart(c)) continue;
    noteDamage(c, code);
    mendBlocks(c, blocks, last);
    if (!overran(*s)) return true;
    restorePredictors(c, start);
    loseUnit(c, w, code);
    return false;
  }
}

void endWalk(JpgContext *c) {
  JpgStream *s = &c->stream;
  skipToMarker(s);
  while (isRestart(s->heldMarker)) {
    passMarker(s);
    skipToMarker(s);
  }
  leaveMarker(s);
}

}  // namespace jpg
