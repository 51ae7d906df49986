// SPDX-License-Identifier: MIT
// A held lossless picture: its differences, from the store, by tables made for them.
#include <string.h>

#include "share/jpgMarkers.h"
#include "write/jpgWBand.h"
#include "write/jpgWHead.h"
#include "write/jpgWHeld.h"
#include "write/jpgWMark.h"
#include "write/jpgWStore.h"

namespace jpg {
namespace {

// Puts a difference; -32768 stands for 32768, category 16 with 16 additional bits.
template <typename Out>
inline void putStored(Out *out, uint32_t table, int16_t difference) {
  constexpr uint32_t kHalfRange = 0x8000;
  if (difference == INT16_MIN) {
    out->put(table, 16, kHalfRange, 16);
  } else {
    putDifferenceTo(out, table, difference);
  }
}

// Walks all differences. Component i has table i & tableMask.
template <typename Out>
Result walkDifferences(const JpgContext &c, uint32_t tableMask, Out *out) {
  const WriteState &w = c.write;
  const uint32_t interval = w.frameRestart / w.frameWidth;  // lines
  size_t at = 0;
  for (uint32_t y = 0; y < w.frameHeight; y++) {
    if (interval != 0 && y != 0 && y % interval == 0) {
      if (const Result r = out->restart(); r != JPG_OK) return r;
    }
    for (uint32_t x = 0; x < w.frameWidth; x++) {
      for (uint32_t i = 0; i < w.frameComponents; i++) {
        putStored(out, i & tableMask, *valueAt(w.store, at++));
      }
      if (const Result r = out->endMcu(); r != JPG_OK) return r;
    }
  }
  return JPG_OK;
}

constexpr uint32_t kSeparate = 3;  // table masks
constexpr uint32_t kShared = 0;

// Counts and makes the tables; returns their bits and those of the codes.
uint64_t makeTables(const JpgContext &c, uint32_t tableMask, HeldWork *work) {
  memset(work->counts, 0, sizeof(work->counts));
  SymbolCounter counter = {work->counts, 0};
  walkDifferences(c, tableMask, &counter);
  uint64_t bits = 0;
  for (uint32_t i = 0; i < c.write.frameComponents && i <= tableMask; i++) {
    makeTable(work, i);
    bits += bitsByTable(work->counts[i], work->tables[i]);
    bits += uint64_t{8} * segmentBytes(work->tables[i]);
  }
  return bits;
}

}  // namespace

Result writeHeldSpatial(JpgContext *c, HeldWork *work) {
  WriteState *w = &c->write;
  // Only intervals that end with a line take effect.
  if (w->frameRestart % w->frameWidth != 0) w->frameRestart = 0;
  uint32_t mask = kShared;
  if (w->frameComponents > 1) {
    const uint64_t separate = makeTables(*c, kSeparate, work);
    if (separate < makeTables(*c, kShared, work)) mask = kSeparate;
  }
  makeTables(*c, mask, work);
  ScanHeader header = {0, w->frameComponents, {}, c->Ss, 0, 0};
  for (uint32_t i = 0; i < w->frameComponents; i++) {
    header.tables[i] = static_cast<uint8_t>((i & mask) << 4);
    if (i > mask) continue;
    if (const Result r = writeTable(c, *work, i, i); r != JPG_OK) return r;
  }
  if (const Result r = writeFrameHeader(c, kMarkerSof3); r != JPG_OK) return r;
  if (const Result r = writeRestartInterval(c); r != JPG_OK) return r;
  if (const Result r = writeScanHeader(c, header); r != JPG_OK) return r;
  c->restartCounter = 0;
  SymbolWriter writer = beginSymbols(c, work->codes, work->room);
  if (const Result r = walkDifferences(*c, mask, &writer); r != JPG_OK) return r;
  return finishSymbols(&writer);
}

}  // namespace jpg
