// SPDX-License-Identifier: MIT
#include "write/jpgWHeld.h"

#include <string.h>

#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"
#include "write/jpgWHead.h"
#include "write/jpgWMark.h"

namespace jpg {
namespace {

constexpr uint32_t kClassAc = 0x10;  // Tc of a table byte

SymbolCounter startCounting(HeldWork *work) {
  memset(work->counts, 0, sizeof(work->counts));
  return {work->counts, 0};
}

// ---- Sequential -------------------------------------------------------------

// DC and AC tables for the first component, and two more if there are others.
Result writeSequential(const HeldFrame &f, HeldWork *work) {
  JpgContext *c = f.c;
  const uint32_t kinds = c->write.frameComponents > 1 ? 2 : 1;
  ScanHeader header = {0, c->write.frameComponents, {0x00, 0x11, 0x11, 0x11}, 0, kBlockSize - 1, 0};
  const Scan scan = {0, header.count, 0, kBlockSize - 1, 0, 0};
  SymbolCounter counter = startCounting(work);
  countScan(f, scan, &counter);
  for (uint32_t i = 0; i < kScanTables; i++) {
    if (i % 2 >= kinds) continue;
    makeTable(work, i);
    const uint32_t tcTh = (i >= 2 ? kClassAc : 0) | i % 2;
    if (const Result r = writeTable(c, *work, i, tcTh); r != JPG_OK) return r;
  }
  if (const Result r = writeFrameHeader(c, kMarkerSof0); r != JPG_OK) return r;
  if (const Result r = writeRestartInterval(c); r != JPG_OK) return r;
  if (const Result r = writeScanHeader(c, header); r != JPG_OK) return r;
  return writeScan(f, scan, work->codes, work->room);
}

// ---- Progressive ------------------------------------------------------------

// Makes the tables of a scan and writes them.
Result writeDcTables(const HeldFrame &f, const Scan &scan, HeldWork *work) {
  SymbolCounter counter = startCounting(work);
  countScan(f, scan, &counter);
  uint32_t used = 0;
  for (uint32_t i = 0; i < scan.count; i++) used |= 1U << f.c->scanComponents[scan.first + i].tq;
  for (uint32_t i = 0; i < 2; i++) {
    if ((used >> i & 1) == 0) continue;
    makeTable(work, i);
    if (const Result r = writeTable(f.c, *work, i, i); r != JPG_OK) return r;
  }
  return JPG_OK;
}

// Writes the tables of scan i of the script.
Result writeTablesOf(const HeldFrame &f, const Scan &scan, uint32_t i, HeldWork *work) {
  if (scan.Ss != 0) {
    work->counts[0] = work->trials.counts[i];
    makeTable(work, 0);
    return writeTable(f.c, *work, 0, kClassAc);
  }
  return writeDcTables(f, scan, work);
}

Result writeProgressiveScan(const HeldFrame &f, const Scan &scan, uint32_t i, HeldWork *work) {
  if (const Result r = writeTablesOf(f, scan, i, work); r != JPG_OK) return r;
  ScanHeader header = {scan.first,
                       scan.count,
                       {},
                       static_cast<uint8_t>(scan.Ss),
                       static_cast<uint8_t>(scan.Se),
                       static_cast<uint8_t>(scan.Ah << 4 | scan.Al)};
  for (uint32_t k = 0; k < scan.count && scan.Ss == 0; k++) {
    header.tables[k] = static_cast<uint8_t>(f.c->scanComponents[scan.first + k].tq << 4);
  }
  if (const Result r = writeScanHeader(f.c, header); r != JPG_OK) return r;
  return writeScan(f, scan, work->codes, work->room);
}

Result writeProgressive(const HeldFrame &f, HeldWork *work) {
  Script script;
  chooseScript(f, &work->trials, &work->optimal, &script);
  if (const Result r = writeFrameHeader(f.c, kMarkerSof2); r != JPG_OK) return r;
  if (const Result r = writeRestartInterval(f.c); r != JPG_OK) return r;
  for (uint32_t i = 0; i < script.count; i++) {
    if (const Result r = writeProgressiveScan(f, script.scans[i], i, work); r != JPG_OK) return r;
  }
  return JPG_OK;
}

// ---- Any --------------------------------------------------------------------

// The height is known by now.
Result settleHeight(JpgContext *c) {
  WriteState *w = &c->write;
  if (w->frameHeight == 0 && c->rowPosition > kMaxDimension) return JPG_E_INVALID_PARAMETER;
  if (w->frameHeight == 0 || c->rowPosition < w->frameHeight) w->frameHeight = c->rowPosition;
  return JPG_OK;
}

Result writeDctFrame(JpgContext *c, HeldWork *work) {
  const uint32_t rows = (c->write.frameHeight + c->mcuHeight - 1) / c->mcuHeight;
  const HeldFrame f = {c, rows, blocksOfMcu(*c)};
  const uint32_t tables = c->write.frameComponents > 1 ? 2 : 1;
  if (const Result r = writeQuantTables(c, tables); r != JPG_OK) return r;
  return c->sofMarker == kMarkerSof2 ? writeProgressive(f, work) : writeSequential(f, work);
}

}  // namespace

void makeTable(HeldWork *work, uint32_t i) {
  makeOptimalTable(work->counts[i], &work->optimal, &work->tables[i]);
  listCodes(work->tables[i], work->codes + size_t{i} * kSymbols);
}

Result writeTable(JpgContext *c, const HeldWork &work, uint32_t i, uint32_t tcTh) {
  const OptimalTable &t = work.tables[i];
  return writeHuffmanTable(c, {t.counts, t.values, t.symbols}, tcTh);
}

Result writeHeldPicture(JpgContext *c) {
  if (const Result r = settleHeight(c); r != JPG_OK) return r;
  auto *work = static_cast<HeldWork *>(heapAlloc(sizeof(HeldWork)));
  if (work == nullptr) return JPG_E_OUT_OF_MEMORY;
  const bool lossless = c->sofMarker == kMarkerSof3;
  const Result r = lossless ? writeHeldSpatial(c, work) : writeDctFrame(c, work);
  heapRelease(work);
  return r;
}

}  // namespace jpg
