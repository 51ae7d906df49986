// SPDX-License-Identifier: MIT
// Progressive decoding: scans go into a store of the whole image's coefficients (jpgRCoefs.h);
// bands of pixels are made from it. Coefficients are dequantised when a band is made from them.
#include "read/jpgRBits.h"
#include "read/jpgRClr.h"
#include "read/jpgRCoefs.h"
#include "read/jpgRFastProg.h"
#include "read/jpgRHead.h"
#include "read/jpgRMark.h"
#include "read/jpgRPicture.h"
#include "read/jpgRRect.h"
#include "read/jpgRScan.h"
#include "read/jpgRSmooth.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr int32_t kModeIncremental = JPG_PROGRESSIVE_NEXT_SCAN;

// ---- Scans ----------------------------------------------------------------

// True when the scan's blocks lie within the MCU: the components follow each other
// in the frame, as T.81 B.2.3 demands.
bool scanFitsMcu(const JpgContext &c) {
  uint32_t blocks = c.scanBlockOffset;
  for (uint32_t k = 0; k < c.scanNs; k++) blocks += c.scanComponents[k].blocksPerMcu;
  return blocks <= c.blocksPerMcu;
}

// Prefetches a block: the store is larger than the caches.
inline void fetchBlock(const int16_t *block) {
  __builtin_prefetch(block, 1);
  __builtin_prefetch(block + kBlockSize / 2, 1);
}

Result decodeInterleavedMcu(JpgContext *c, BitWindow *w, int16_t *mcu) {
  if (!scanFitsMcu(*c)) return JPG_E_UNSUPPORTED;
  int16_t *block = mcu + c->scanBlockOffset * kBlockSize;
  constexpr uint32_t kAhead = 16 * kBlockSize;  // prefetch distance; the blocks are contiguous
  for (uint32_t k = 0; k < c->scanNs; k++) {
    JpgScanComponent *component = &c->scanComponents[k];
    for (uint32_t i = 0; i < component->blocksPerMcu; i++, block += kBlockSize) {
      fetchBlock(block + kAhead);
      JPG_ASSERT(block + kBlockSize <= mcu + c->blocksPerMcu * kBlockSize);
      const Result r = decodeProgressiveFast(c, w, block, component);
      if (r != JPG_OK) return r;
    }
  }
  return JPG_OK;
}

Result decodeInterleavedScan(JpgContext *c, BitWindow *w) {
  for (uint32_t row = 0; row < c->mcuRows; row++) {
    clearStoreTo(c, row + 1);
    int16_t *mcu = storedRow(*c, row);
    for (uint32_t i = 1; i <= c->mcusPerRow; i++, mcu += c->blocksPerMcu * kBlockSize) {
      if (const Result r = decodeInterleavedMcu(c, w, mcu); r != JPG_OK) return r;
      countMcu(c, w, row + 1 == c->mcuRows && i == c->mcusPerRow);
    }
  }
  return JPG_OK;
}

// The blocks of one component that cover the image, as a grid.
struct BlockGrid {
  uint32_t offset;  // of the component's blocks in an MCU
  uint32_t h, v;    // blocks of an MCU, across and down
  uint32_t columns, rows;
};

constexpr uint32_t ceilDiv8(uint32_t n) { return (n + 7) / 8; }
constexpr uint32_t lesser(uint32_t a, uint32_t b) { return a < b ? a : b; }

// The grid is computed from the image's full size for every component, also a subsampled one, and
// is cut to the image's MCUs.
BlockGrid gridOfScan(const JpgContext &c) {
  BlockGrid grid = {};
  uint32_t i = 0;
  while (i + 1 < c.numComponents && c.scanComponents[i].id != c.scanFirstComponentId) {
    grid.offset += frameBlocks(c.scanComponents[i++]);
  }
  grid.h = c.scanComponents[i].sampling >> 4;
  grid.v = c.scanComponents[i].sampling & 15;
  grid.columns = lesser(ceilDiv8(c.width), c.mcusPerRow * grid.h);
  grid.rows = lesser(ceilDiv8(c.height), c.mcuRows * grid.v);
  return grid;
}

// A row of the grid: its first block, and how the others follow.
struct BlockRow {
  int16_t *block;
  uint32_t columns;
  uint32_t h;           // blocks side by side in an MCU
  ptrdiff_t mcuBlocks;  // of all components
};

BlockRow rowOf(const JpgContext &c, const BlockGrid &grid, uint32_t row) {
  const uint32_t inMcu = grid.offset + row % grid.v * grid.h;
  int16_t *first = storedRow(c, row / grid.v) + inMcu * kBlockSize;
  return {first, grid.columns, grid.h, static_cast<ptrdiff_t>(c.blocksPerMcu)};
}

constexpr ptrdiff_t kMcusAhead = 4;  // prefetch distance in a scan of one component

// Passes over blocks of an end-of-band run in a first scan of AC coefficients, which leaves them as
// they are: as many of the `left` ones as lie ahead of a restart marker and of the scan's end.
// Returns how many.
uint32_t passRun(JpgContext *c, uint32_t left) {
  if (c->read.scanKind != ScanKind::kAcFirst) return 0;
  uint32_t count = lesser(c->eobRun, left);
  // Not the last block of a restart interval or of the scan: countMcu() must see that one.
  count = lesser(count, c->restartInterval - 1 - c->mcusSinceRestart);
  count = lesser(count, c->mcuCount - 1 - c->mcusSinceRestart);
  c->eobRun -= count;
  c->mcusSinceRestart += count;
  return count;
}

Result decodeBlockRow(JpgContext *c, BitWindow *w, const BlockRow &row, bool last) {
  // A whole number of MCUs, so that a block of the same component is prefetched.
  const ptrdiff_t ahead = kMcusAhead * row.mcuBlocks * ptrdiff_t{kBlockSize};
  for (uint32_t column = 0; column < row.columns;) {
    if (const uint32_t passed = passRun(c, row.columns - column); passed != 0) {
      column += passed;
      continue;
    }
    // An MCU has one or two blocks side by side.
    const uint32_t mcu = row.h == 1 ? column : column / 2, inMcu = row.h == 1 ? 0 : column % 2;
    int16_t *block =
        row.block + (static_cast<ptrdiff_t>(mcu) * row.mcuBlocks + static_cast<ptrdiff_t>(inMcu)) *
                        ptrdiff_t{kBlockSize};
    fetchBlock(block + ahead);
    JPG_ASSERT(mcu < c->mcusPerRow);
    const Result r = decodeProgressiveFast(c, w, block, &c->scanComponents[0]);
    if (r != JPG_OK) return r;
    column++;
    countMcu(c, w, last && column == row.columns);
  }
  return JPG_OK;
}

Result decodeSingleScan(JpgContext *c, BitWindow *w) {
  const BlockGrid grid = gridOfScan(*c);
  for (uint32_t row = 0; row < grid.rows; row++) {
    clearStoreTo(c, row / grid.v + 1);
    const Result r = decodeBlockRow(c, w, rowOf(*c, grid, row), row + 1 == grid.rows);
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

Result decodeScanData(JpgContext *c) {
  BitWindow w;
  initWindow(&w);
  const Result r = c->scanNs == 1 ? decodeSingleScan(c, &w) : decodeInterleavedScan(c, &w);
  if (isOpen(w)) closeWindow(&w, &c->stream);
  return r;
}

// Decodes the current scan and sets up the next one, if any.
Result decodeScan(JpgContext *c) {
  if (c->lastMarker == kMarkerEoi) return JPG_NO_DATA;
  if (const Result r = decodeScanData(c); r != JPG_OK) return r;
  c->lastMarker = peekMarker(&c->stream);
  if (!isMarker(c->lastMarker)) return JPG_NO_DATA;
  return c->lastMarker == kMarkerEoi ? JPG_OK : setUpScan(c);
}

// Decodes the next scan, or all that are left. Rows of the store to which the first one didn't come
// are cleared, whatever the result.
Result decodeScans(JpgContext *c, bool incremental) {
  Result r = JPG_OK;
  do {
    r = decodeScan(c);
  } while (r == JPG_OK && !incremental && c->lastMarker != kMarkerEoi);
  clearStoreTo(c, c->mcuRows);
  return r;
}

// ---- Rows -----------------------------------------------------------------

// The rows of a call.
struct RowSpan {
  uint32_t first;  // rows delivered before the call
  int32_t count;   // rows to deliver
};

// Limits a call's rows to those not yet delivered. In incremental mode, a new pass begins at row 0
// after the last row.
Result beginRows(JpgContext *c, bool incremental, RowSpan *rows) {
  if (c->height == 0) return JPG_OK;
  if (rows->first >= c->height) {
    if ((c->flags & kFlagIncrementalActive) == 0) return JPG_E_FAIL;
    if (!incremental) c->flags &= ~kFlagIncrementalActive;
    rows->first = 0;
  } else if (rows->first == 0 && incremental) {
    c->flags |= kFlagIncrementalActive;
  }
  const auto left = static_cast<int32_t>(c->height - rows->first);
  if (rows->count > left) rows->count = left;
  return JPG_OK;
}

// Sets the first scan up again from its headers. The frame header has been read and is skipped.
Result reopenFirstScan(JpgContext *c) {
  c->segLength = 0;
  c->segConsumed = 0;
  if (const Result r = reposition(c, kSoiLength, Reposition::kFull); r != JPG_OK) return r;
  c->restartInterval = 0;
  c->pendingHuffCount = 0;
  uint32_t marker = 0;
  if (const Result r = runHeaderLoop(c, &marker); r != JPG_OK) return r;
  return setUpScan(c);
}

// Goes back to the first scan's data after marker access or a restart seek. A restart seek may
// have set up other scans, so the headers are then read again. A later piece doesn't contain the
// first scan: there, decoding begins at the stream's position.
Result returnToFirstScan(JpgContext *c) {
  if (c->read.restartSought == 0 || c->read.inPiece != 0) return returnToScanData(c);
  c->flags &= ~kFlagMarkerAccessUsed;
  return c->read.scanSetUps == 1 ? goToScanData(c, Reposition::kFull) : reopenFirstScan(c);
}

// Before the very first scan: goes to its data and has the store cleared as it is filled.
Result beginStore(JpgContext *c) {
  if (c->scanState != kScanStateNone) return JPG_OK;
  if (const Result r = returnToFirstScan(c); r != JPG_OK) return r;
  c->scanState = kScaleFull;
  c->read.storeCleared = 0;
  return JPG_OK;
}

// Quantisation tables of the components in natural order, cut to 16 bits: only the low 16 bits of
// the products are kept.
struct NaturalTables {
  int16_t entry[kMaxComponents][kBlockSize];
};

void makeNaturalTables(const JpgContext &c, NaturalTables *tables) {
  for (uint32_t i = 0; i < c.numComponents; i++) {
    for (uint32_t k = 0; k < kBlockSize; k++) {
      tables->entry[i][kZigZag.natural[k]] = low16(asSigned(c.scanComponents[i].quantTable[k]));
    }
  }
}

// Makes the samples of the MCU at coefCurrent, in coefBuffer.
void reconstructMcu(JpgContext *c, const McuPipeline &output, const NaturalTables &tables) {
  const int16_t *in = c->coefCurrent;
  int16_t *out = c->coefBuffer;
  for (uint32_t i = 0; i < c->numComponents; i++) {
    for (uint32_t b = 0; b < frameBlocks(c->scanComponents[i]); b++) {
      output.transform(out, c->kernels->dequantise(in, tables.entry[i], out));
      in += kBlockSize;
      out += kBlockSize;
    }
  }
  c->coefCurrent += c->blocksPerMcu * kBlockSize;
}

void putMcuRow(JpgContext *c, const McuPipeline &output, const NaturalTables &tables,
               const JpgRect &band) {
  int32_t x = 0;
  int32_t left = band.width > 0 ? band.width : 0;
  for (uint32_t i = 0; i < c->mcusPerRow; i++, x += output.mcuWidth) {
    reconstructMcu(c, output, tables);
    storeMcu(c, output, band, c->coefBuffer, x, left < output.mcuWidth ? left : output.mcuWidth);
    left = left > output.mcuWidth ? left - output.mcuWidth : 0;
  }
}

// The rows that a source of planes is asked for.
struct StoredRows {
  McuPipeline pipeline;
  NaturalTables tables;
};

Result readStoredRow(JpgContext *c, Planes *p, uint32_t mcuRow, void *state) {
  auto *rows = static_cast<StoredRows *>(state);
  rows->pipeline.planes = p;
  rows->pipeline.planeRow = mcuRow;
  c->coefCurrent = storedRow(*c, mcuRow);
  putMcuRow(c, rows->pipeline, rows->tables, {});
  c->coefCurrent = c->coefStore;
  return JPG_OK;
}

// Delivers rows by way of planes; none of a picture whose height isn't known.
Result putRowsByPlanes(JpgContext *c, const McuPipeline &output, PixelFormat format,
                       const JpgRect &target, RowSpan span) {
  if (c->height == 0) return JPG_OK;
  if (const Result r = makePlanes(c, false); r != JPG_OK) return r;
  StoredRows rows = {output, {}};
  rows.pipeline.put = nullptr;
  makeNaturalTables(*c, &rows.tables);
  seekPlanes(c->planes, span.first);
  c->rowPosition = span.first;
  return putPlaneRows(c, c->planes, {readStoredRow, &rows}, planeOutputOf(format), target,
                      span.count, target.width);
}

// Delivers rows, more than 0 of them. The row count moves by whole bands; rows that
// the caller didn't ask for aren't stored.
void putRows(JpgContext *c, const McuPipeline &output, const JpgRect &target, RowSpan span) {
  const auto mcuHeight = static_cast<int32_t>(c->mcuHeight);
  JpgRect rect = target;
  int32_t rows = span.count;
  int32_t band = rows < mcuHeight ? rows : mcuHeight;
  uint32_t mcuRow = span.first / c->mcuHeight;
  c->rowPosition = span.first;
  NaturalTables tables = {};
  makeNaturalTables(*c, &tables);
  for (; mcuRow < c->mcuRows; mcuRow++) {
    rect.height = band < rows ? band : rows;
    c->coefCurrent = storedRow(*c, mcuRow);
    putMcuRow(c, output, tables, rect);
    c->rowPosition += static_cast<uint32_t>(band);
    const int32_t left = asSigned(c->height - c->rowPosition);
    if (left < mcuHeight) band = left;
    rows -= mcuHeight;
    if (band < 1 || rows < 1) break;
    rect.bits = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(mcuHeight) * rect.stride;
  }
  c->coefCurrent = c->coefStore;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadProgressiveToRect(JPGHANDLE handle, const JpgRect *rect, int32_t rows,
                                           int32_t mode) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker != kMarkerSof2) return JPG_E_UNSUPPORTED;
  const bool incremental = (mode & kModeIncremental) != 0;
  if (isLenient(*c)) return readProgressivePicture(c, *rect, rows, incremental);
  if (c->scanState == kScanStateNone) c->rowPosition = 0;  // a restart seek may have changed it
  RowSpan span = {c->rowPosition, rows};
  if (const Result r = beginRows(c, incremental, &span); r != JPG_OK) return r;
  if (span.first == 0) {
    if (const Result r = beginStore(c); r != JPG_OK) return r;
    if (const Result r = decodeScans(c, incremental); r != JPG_OK) return r;
    resetPlanes(c);
  }
  const bool raw = (c->flags & kFlagNoColorConversion) != 0;
  const PixelFormat format = raw ? chooseRawFormat(*c, *rect) : chooseProgressiveFormat(*c);
  const McuPipeline output = makePipeline(*c, format, rect->width);
  if (output.expand == nullptr) return JPG_OK;
  if (output.write == nullptr) return JPG_E_UNSUPPORTED;
  if (span.count < 1) return JPG_OK;
  if (readsSmoothly(*c)) return putRowsByPlanes(c, output, format, *rect, span);
  putRows(c, output, *rect, span);
  return JPG_OK;
}
