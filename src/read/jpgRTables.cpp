// SPDX-License-Identifier: MIT
#include "read/jpgRTables.h"

#include "read/jpgRBits.h"
#include "read/jpgRHead.h"
#include "read/jpgRLenient.h"
#include "share/jpgHuffFast.h"
#include "share/jpgMarkers.h"
#include "share/jpgSpatial.h"

namespace jpg {
namespace {

// The use of a table: decides which shortcuts it gets.
HuffUse useOf(const JpgContext &c, uint32_t id) {
  if (id >> 4 != 0) return HuffUse::kAc;
  const bool words = c.sofMarker == kMarkerSof3 && c.precision > kMaxBytePrecision;
  return words ? HuffUse::kWide : HuffUse::kDc;
}

constexpr uint32_t kTableHeader = 1 + kMaxCodeLength;  // Tc/Th and the 16 counts
constexpr uint32_t kTableClassMask = 0xF0;             // Tc: 0 DC, otherwise AC
constexpr uint32_t kTableIdMask = 0x0F;

uint32_t unread(const JpgContext &c) { return c.segLength - c.segConsumed; }

// A table identifier byte's slot: 0 to 3 DC, 4 to 7 AC; the identifier is below 4.
uint32_t slotOf(uint32_t tcTh) {
  return (tcTh & kTableIdMask) + ((tcTh & kTableClassMask) != 0 ? kMaxTables : 0);
}

JpgHuffTable *tableAt(JpgContext *c, uint32_t slot) {
  return slot < kMaxTables ? &c->dcTables[slot] : &c->acTables[slot - kMaxTables];
}

// True when a component slot of the current scan uses the table.
bool scanUses(const JpgContext &c, const JpgHuffTable &table) {
  for (const JpgScanComponent &k : c.scanComponents) {
    if (table.lookup != nullptr && (k.dcLookup == table.lookup || k.acLookup == table.lookup)) {
      return true;
    }
  }
  return false;
}

// Puts `fresh` in the slot. The table that it replaces is freed, or retired if the scan under
// way still decodes with it.
void replaceTable(JpgContext *c, uint32_t slot, const JpgHuffTable &fresh) {
  JpgHuffTable *table = tableAt(c, slot);
  if (scanUses(*c, *table)) {
    c->read.retired[slot] = *table;  // was empty: a scan uses only one table per slot
  } else {
    freeHuffTable(table);
  }
  *table = fresh;
}

// One table of a DHT segment behind its Tc/Th byte and counts.
Result loadHuffmanTable(JpgContext *c, uint32_t tcTh, const uint8_t *counts, uint32_t sum) {
  if ((tcTh & kTableIdMask) >= kMaxTables || sum > kMaxCodes) return JPG_E_UNSUPPORTED;
  if (c->pendingHuffCount >= kMaxPendingTables) {
    if (!isLenient(*c)) return JPG_E_UNSUPPORTED;
    if (const Result r = buildPendingTables(c); r != JPG_OK) return r;
  }
  uint8_t values[kMaxCodes];
  readSegmentData(c, values, sum);
  JpgHuffTable fresh = {};
  if (const Result r = makeHuffCodes({counts, values}, &fresh); r != JPG_OK) return r;
  replaceTable(c, slotOf(tcTh), fresh);
  c->pendingHuffIds[c->pendingHuffCount++] = tcTh;
  return JPG_OK;
}

}  // namespace

Result readHuffmanTables(JpgContext *c) {
  while (unread(*c) >= kTableHeader) {
    uint8_t head[kTableHeader];
    readSegmentData(c, head, kTableHeader);
    const uint8_t *counts = head + 1;
    const uint32_t sum = countCodes(counts);
    if (sum > unread(*c)) break;
    if (const Result r = loadHuffmanTable(c, head[0], counts, sum); r != JPG_OK) return r;
  }
  if (c->pendingHuffCount < kMaxPendingTables) c->pendingHuffIds[c->pendingHuffCount] = kNoPending;
  return JPG_OK;
}

Result readQuantTables(JpgContext *c) {
  while (unread(*c) != 0) {
    uint8_t pqTq = 0;
    readSegmentData(c, &pqTq, 1);
    const uint32_t id = pqTq & 15;
    const uint32_t entryBytes = pqTq >> 4 == 1 ? 2 : 1;
    if (unread(*c) < entryBytes * kBlockSize) return JPG_OK;
    if (id >= kMaxTables) return JPG_E_UNSUPPORTED;
    uint8_t data[2 * kBlockSize] = {};
    readRawBytes(&c->stream, data, entryBytes * kBlockSize);
    for (uint32_t k = 0; k < kBlockSize; k++) {
      const uint32_t word = uint32_t{data[2 * k]} << 8 | data[2 * k + 1];
      c->quantTables[id][k] = entryBytes == 1 ? data[k] : word;
    }
    c->segConsumed += entryBytes * kBlockSize;
  }
  return JPG_OK;
}

Result readRestartInterval(JpgContext *c) {
  if (c->segLength != 2) return JPG_E_BAD_SEGMENT_LENGTH;
  c->restartInterval = readRaw(&c->stream, 16);
  c->segConsumed = c->segLength;
  return JPG_OK;
}

Result buildPendingTables(JpgContext *c) {
  for (uint32_t i = 0; i < c->pendingHuffCount; i++) {
    const uint32_t id = c->pendingHuffIds[i];
    const Result r = makeHuffLookup(tableAt(c, slotOf(id)), useOf(*c, id));
    if (r != JPG_OK) return r;
  }
  c->pendingHuffCount = 0;
  c->pendingHuffIds[0] = kNoPending;
  return JPG_OK;
}

void freeRetiredTables(JpgContext *c) {
  for (JpgHuffTable &table : c->read.retired) freeHuffTable(&table);
}

}  // namespace jpg
