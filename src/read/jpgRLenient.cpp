// SPDX-License-Identifier: MIT
#include "read/jpgRLenient.h"

#include <string.h>

#include "read/jpgRHead.h"
#include "read/jpgRHold.h"
#include "read/jpgRHunt.h"
#include "read/jpgRScan.h"
#include "read/jpgRStore.h"
#include "read/jpgRTables.h"
#include "share/jpgAnnexK.h"
#include "share/jpgHeap.h"
#include "share/jpgHuffFast.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

// Tables that many streams of motion pictures leave out, by table identifier.
constexpr uint32_t kExamples = 2;
constexpr HuffSource kExampleDc[kExamples] = {{kDcLuminanceCounts, kDcValues},
                                              {kDcChrominanceCounts, kDcValues}};
constexpr HuffSource kExampleAc[kExamples] = {{kAcLuminanceCounts, kAcLuminanceValues},
                                              {kAcChrominanceCounts, kAcChrominanceValues}};

Result defineTable(JpgHuffTable *table, const HuffSource &source, HuffUse use) {
  if (table->lookup != nullptr) return JPG_OK;
  const Result r = makeHuffCodes(source, table);
  return r != JPG_OK ? r : makeHuffLookup(table, use);
}

Result defineMissingTables(JpgContext *c, const ScanHeader &scan) {
  for (uint32_t k = 0; k < scan.count; k++) {
    const uint32_t dc = scan.dcTable[k], ac = scan.acTable[k];
    Result r = JPG_OK;
    if (dc < kExamples) r = defineTable(&c->dcTables[dc], kExampleDc[dc], HuffUse::kDc);
    if (r != JPG_OK) return r;
    if (ac < kExamples) r = defineTable(&c->acTables[ac], kExampleAc[ac], HuffUse::kAc);
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

// Frames exist whose components share an identifier. A scan that names it several times means one
// component after another.
void partNamesakes(const JpgContext &c, ScanHeader *header) {
  uint32_t taken = 0;
  for (uint32_t k = 0; k < header->count; k++) {
    const uint32_t first = header->frameIndex[k];
    uint32_t i = first;
    while (i < c.numComponents &&
           ((taken >> i & 1) != 0 || c.scanComponents[i].id != c.scanComponents[first].id)) {
      i++;
    }
    if (i < c.numComponents) header->frameIndex[k] = static_cast<uint8_t>(i);
    taken |= 1U << header->frameIndex[k];
  }
}

// The scan that useScan has made the current one.
void keepScan(JpgContext *c, const ScanHeader &header) {
  LenientScan *scan = &c->read.lenient->scan;
  *scan = {};
  scan->count = header.count;
  for (uint32_t k = 0; k < header.count; k++) {
    const JpgScanComponent &slot = c->scanComponents[k];
    const JpgScanComponent &frame = c->scanComponents[header.frameIndex[k]];
    JpgScanComponent *component = &scan->component[k];
    *component = slot;
    component->id = frame.id;
    component->sampling = frame.sampling;
    component->tq = frame.tq;
    component->quantTable = c->quantTables[frame.tq];
    if (header.count == 1) component->blocksPerMcu = 1;
    scan->frameIndex[k] = header.frameIndex[k];
    scan->blocks += component->blocksPerMcu;
  }
}

// Walks to the next scan header, loading tables.
Result goToScanHeader(JpgContext *c) {
  for (;;) {
    Segment segment;
    if (const Result r = nextSegment(c, &segment); r != JPG_OK) return r;
    if (segment.marker == kMarkerSos) return JPG_OK;
    // Behind EOI, or in a frame of its own, there would be another picture.
    if (segment.marker == kMarkerEoi || endsHeaderLoop(segment.marker)) return JPG_NO_DATA;
    if (const Result r = loadSegment(c, segment.marker); r != JPG_OK) return r;
  }
}

}  // namespace

Result makeLenient(JpgContext *c) {
  auto *state = static_cast<LenientRead *>(heapAlloc(sizeof(LenientRead)));
  if (state == nullptr) return JPG_E_OUT_OF_MEMORY;
  *state = {};
  c->read.lenient = state;
  return JPG_OK;
}

void freeLenient(JpgContext *c) {
  if (!isLenient(*c)) return;
  freeStore(c->read.lenient);
  heapRelease(c->read.lenient);
}

void noteDamage(JpgContext *c, Result code) {
  Damage *damage = &c->read.lenient->damage;
  if (damage->code == JPG_OK) *damage = {code, offsetOf(c->stream)};
}

Result openLenientScan(JpgContext *c) {
  if (const Result r = goToScanHeader(c); r != JPG_OK) return r;
  if (const Result r = buildPendingTables(c); r != JPG_OK) return r;
  ScanHeader header;
  if (const Result r = readScanHeader(c, &header); r != JPG_OK) return r;
  if (header.count == 0) return JPG_E_UNSUPPORTED;
  if (const Result r = defineMissingTables(c, header); r != JPG_OK) return r;
  partNamesakes(*c, &header);
  useScan(c, header);
  beginScan(c);
  keepScan(c, header);
  return JPG_OK;
}

Result findHeight(JpgContext *c) {
  c->height = huntLines(c, c->scanDataOffset);
  if (c->height == 0) return JPG_E_UNSUPPORTED;
  deriveGeometry(c);
  return goToOffset(&c->stream, c->scanDataOffset);
}

}  // namespace jpg
