// SPDX-License-Identifier: MIT
#include "read/jpgRScan.h"

#include "read/jpgRBits.h"
#include "read/jpgRTables.h"
#include "read/jpgRVLC.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr uint8_t kMaxPointTransform = 13;  // largest Al of a progressive scan

// Index of the frame component with this identifier, kMaxComponents for none.
uint32_t findFrameComponent(const JpgContext &c, uint8_t id) {
  for (uint32_t i = 0; i < c.numComponents; i++) {
    if (c.scanComponents[i].id == id) return i;
  }
  return kMaxComponents;
}

Result readScanComponent(JpgContext *c, ScanHeader *scan, uint32_t k) {
  const auto id = static_cast<uint8_t>(readRaw(&c->stream, 8));
  const uint32_t tables = readRaw(&c->stream, 8);
  const uint32_t index = findFrameComponent(*c, id);
  if (index == kMaxComponents) return JPG_E_UNSUPPORTED;
  if (tables >> 4 >= kMaxTables || (tables & 15) >= kMaxTables) return JPG_E_UNSUPPORTED;
  if (k == 0) scan->firstId = id;
  scan->frameIndex[k] = static_cast<uint8_t>(index);
  scan->dcTable[k] = static_cast<uint8_t>(tables >> 4);
  scan->acTable[k] = static_cast<uint8_t>(tables & 15);
  return JPG_OK;
}

bool progressionInRange(const ScanHeader &scan) {
  return scan.Se < kBlockSize && scan.Ss <= scan.Se && scan.Al <= kMaxPointTransform;
}

// Gives slot k the block count and tables of its scan component.
void useScanComponent(JpgContext *c, const ScanHeader &scan, uint32_t k) {
  JpgScanComponent *slot = &c->scanComponents[k];
  const JpgHuffTable &dc = c->dcTables[scan.dcTable[k]];
  const JpgHuffTable &ac = c->acTables[scan.acTable[k]];
  slot->blocksPerMcu = frameBlocks(c->scanComponents[scan.frameIndex[k]]);
  slot->dcLookup = dc.lookup;
  slot->dcCodes = dc.codes;
  slot->dcMaxLength = dc.maxLength;
  slot->acLookup = ac.lookup;
  slot->acCodes = ac.codes;
  slot->acMaxLength = ac.maxLength;
}

void clearScanComponent(JpgScanComponent *slot) {
  slot->blocksPerMcu = 0;
  slot->dcLookup = nullptr;
  slot->acLookup = nullptr;
}

// True when the scan has as many components as the frame, and as many blocks: then an MCU
// fills its buffer. (Frames may give several components one identifier.)
bool holdsFrame(const JpgContext &c, const ScanHeader &scan) {
  if (scan.count != c.numComponents) return false;
  uint32_t scanBlocks = 0;
  uint32_t wholeBlocks = 0;
  for (uint32_t k = 0; k < scan.count; k++) {
    scanBlocks += frameBlocks(c.scanComponents[scan.frameIndex[k]]);
    wholeBlocks += frameBlocks(c.scanComponents[k]);
  }
  return scanBlocks == wholeBlocks;
}

// Blocks of an MCU that belong to the components ahead of the scan's first.
uint32_t blocksAhead(const JpgContext &c, uint32_t frameIndex) {
  uint32_t blocks = 0;
  for (uint32_t i = 0; i < frameIndex; i++) blocks += frameBlocks(c.scanComponents[i]);
  return blocks;
}

ScanKind kindOf(const ScanHeader &scan) {
  const bool first = scan.Ah == 0;
  if (scan.Ss == 0 && scan.Se == 0) return first ? ScanKind::kDcFirst : ScanKind::kDcRefine;
  return first ? ScanKind::kAcFirst : ScanKind::kAcRefine;
}

BlockDecoder blockDecoderOf(ScanKind kind) {
  static constexpr BlockDecoder kDecoders[] = {decodeDcFirst, decodeDcRefine, decodeAcFirst,
                                               decodeAcRefine};
  return kDecoders[static_cast<uint32_t>(kind)];
}

}  // namespace

Result readScanHeader(JpgContext *c, ScanHeader *scan) {
  *scan = {};
  JpgStream *s = &c->stream;
  const uint32_t count = readRaw(s, 8);
  if (count > kMaxComponents) return JPG_E_UNSUPPORTED;
  scan->count = count;
  for (uint32_t k = 0; k < count; k++) {
    if (const Result r = readScanComponent(c, scan, k); r != JPG_OK) return r;
  }
  scan->Ss = static_cast<uint8_t>(readRaw(s, 8));
  scan->Se = static_cast<uint8_t>(readRaw(s, 8));
  const uint32_t approximation = readRaw(s, 8);
  scan->Ah = static_cast<uint8_t>(approximation >> 4);
  scan->Al = static_cast<uint8_t>(approximation & 15);
  c->segConsumed = c->segLength;  // the length isn't checked: entropy-coded data follow
  if (c->sofMarker == kMarkerSof2 && !progressionInRange(*scan)) return JPG_E_UNSUPPORTED;
  return JPG_OK;
}

void useBand(JpgContext *c, uint8_t ss, uint8_t se) {
  const bool any = ss <= se && se < kBlockSize;
  const uint64_t band = any ? ~uint64_t{0} >> (kBlockSize - 1 - se) >> ss << ss : 0;
  c->Ss = ss;
  c->Se = se;
  c->read.band[0] = static_cast<uint32_t>(band);
  c->read.band[1] = static_cast<uint32_t>(band >> 32);
}

void useScan(JpgContext *c, const ScanHeader &scan) {
  for (uint32_t k = 0; k < kMaxComponents; k++) {
    if (k < scan.count) {
      useScanComponent(c, scan, k);
    } else {
      clearScanComponent(&c->scanComponents[k]);
    }
  }
  freeRetiredTables(c);
  c->read.scanHoldsFrame = holdsFrame(*c, scan) ? 1 : 0;
  c->scanNs = static_cast<uint8_t>(scan.count);
  c->scanFirstComponentId = scan.firstId;
  useBand(c, scan.Ss, scan.Se);
  c->Ah = scan.Ah;
  c->Al = scan.Al;
  c->scanBlockOffset = blocksAhead(*c, scan.frameIndex[0]);
  c->read.scanKind = kindOf(scan);
  c->blockDecoder = blockDecoderOf(c->read.scanKind);
}

void beginScan(JpgContext *c) {
  if (c->coefBuffer != nullptr) c->coefCurrent = c->coefStore;
  for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
  c->eobRun = 0;
  c->mcusSinceRestart = 0;
}

}  // namespace jpg
