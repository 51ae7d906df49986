// SPDX-License-Identifier: MIT
#include "read/jpgRStore.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "read/jpgRFastBlock.h"
#include "read/jpgRFastProg.h"
#include "read/jpgRHold.h"
#include "read/jpgRWalk.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"

namespace jpg {

// A component's coefficients.
struct StoredComponent {
  int16_t *blocks;       // row by row; owned
  uint32_t across;       // blocks of a row, whole MCUs
  uint32_t codedAcross;  // in a scan of this component alone
  uint32_t codedDown;
  int16_t steps[kBlockSize];  // quantisation table of its first scan, natural order
  uint32_t seen;              // 1 once a scan has coded its DC coefficients
};

struct LenientStore {
  StoredComponent component[kMaxComponents];
  uint32_t scans;  // decoded
  uint32_t ended;  // 1: there are no more scans
};

namespace {

constexpr uint32_t kMostBlocks = kMaxComponents * 16;  // of an MCU

uint32_t ceilDiv(uint32_t n, uint32_t d) { return (n + d - 1) / d; }
uint32_t across(const JpgScanComponent &k) { return k.sampling >> 4; }
uint32_t down(const JpgScanComponent &k) { return k.sampling & 15; }

// T.81 A.2.2: a scan of one component has the blocks that cover its samples.
void measure(const JpgContext &c, const JpgScanComponent &k, StoredComponent *component) {
  component->across = c.mcusPerRow * across(k);
  component->codedAcross = ceilDiv(ceilDiv(c.width * across(k), c.hMax), 8);
  component->codedDown = ceilDiv(ceilDiv(c.height * down(k), c.vMax), 8);
}

uint64_t storeBytes(const JpgContext &c, const JpgScanComponent &k) {
  return uint64_t{c.mcuCount} * across(k) * down(k) * kBlockSize * sizeof(int16_t);
}

// The quantisation table counts as it is when a component is first coded (T.81 B.2.4.1).
void keepSteps(JpgContext *c, StoredComponent *component, const JpgScanComponent &k) {
  if (component->seen != 0) return;
  const uint32_t *table = c->quantTables[k.tq];
  for (uint32_t i = 0; i < kBlockSize; i++) {
    component->steps[kZigZag.natural[i]] = low16(asSigned(table[i]));
  }
}

// Levels are stored: the block decoders multiply by these steps.
constexpr struct UnitSteps {
  uint32_t entry[kBlockSize];
} kUnitSteps = {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};

bool isProgressive(const JpgContext &c) { return c.sofMarker == kMarkerSof2; }

// True when the scan is the first to code DC coefficients.
bool codesDc(const JpgContext &c) {
  return !isProgressive(c) || c.read.scanKind == ScanKind::kDcFirst;
}

// Readies the components of the scan.
void beginComponents(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  for (uint32_t k = 0; k < state->scan.count; k++) {
    JpgScanComponent *component = &state->scan.component[k];
    keepSteps(c, &state->store->component[state->scan.frameIndex[k]], *component);
    component->quantTable = const_cast<uint32_t *>(kUnitSteps.entry);
  }
}

void endComponents(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  if (!codesDc(*c)) return;
  for (uint32_t k = 0; k < state->scan.count; k++) {
    state->store->component[state->scan.frameIndex[k]].seen = 1;
  }
}

// The blocks of a unit, in the order of the scan.
void listBlocks(const JpgContext &c, int16_t **blocks) {
  const LenientRead &state = *c.read.lenient;
  const uint32_t unit = state.walk.unit;
  for (uint32_t k = 0; k < state.scan.count; k++) {
    const JpgScanComponent &component = state.scan.component[k];
    const StoredComponent &stored = state.store->component[state.scan.frameIndex[k]];
    const bool single = state.scan.count == 1;
    const uint32_t h = single ? 1 : across(component), v = single ? 1 : down(component);
    const uint32_t perRow = single ? stored.codedAcross : c.mcusPerRow;
    const size_t first = size_t{unit / perRow * v} * stored.across + unit % perRow * h;
    JPG_ASSERT(component.blocksPerMcu == h * v);
    JPG_ASSERT(first + (v - 1) * stored.across + h <=
               uint64_t{stored.across} * c.mcuRows * down(component));
    for (uint32_t i = 0; i < h * v; i++) {
      *blocks++ = stored.blocks + (first + i / h * stored.across + i % h) * kBlockSize;
    }
  }
}

bool decodeProgressiveUnit(JpgContext *c, BitWindow *w, int16_t *const *blocks) {
  LenientScan *scan = &c->read.lenient->scan;
  for (uint32_t k = 0; k < scan->count; k++) {
    JpgScanComponent *component = &scan->component[k];
    for (uint32_t i = 0; i < component->blocksPerMcu; i++) {
      const Result r = decodeProgressiveFast(c, w, *blocks++, component);
      if (r == JPG_OK && !overran(c->stream)) continue;
      loseUnit(c, w, r != JPG_OK ? r : JPG_E_END_OF_IMAGE);
      return false;
    }
  }
  return true;
}

// What a lost unit of a scan that codes DC coefficients holds.
void fillUnit(const JpgContext &c, int16_t *const *blocks) {
  const LenientRead &state = *c.read.lenient;
  const uint32_t shift = isProgressive(c) ? c.Al : 0;
  for (uint32_t k = 0; k < state.scan.count; k++) {
    for (uint32_t i = 0; i < state.scan.component[k].blocksPerMcu; i++) {
      memset(*blocks, 0, kBlockSize * sizeof(int16_t));
      **blocks++ = low16(wrapShl(state.walk.lastDc[k], shift));
    }
  }
}

uint32_t countUnits(const JpgContext &c) {
  const LenientRead &state = *c.read.lenient;
  if (state.scan.count != 1) return c.mcuCount;
  const StoredComponent &stored = state.store->component[state.scan.frameIndex[0]];
  return stored.codedAcross * stored.codedDown;
}

void decodeUnits(JpgContext *c) {
  ScanWalk *walk = &c->read.lenient->walk;
  int16_t *blocks[kMostBlocks];
  uint8_t last[kMostBlocks];
  BitWindow w;
  initWindow(&w);
  const bool fills = codesDc(*c);
  for (; walk->unit < walk->units; countUnit(walk)) {
    bool coded = unitIsCoded(c, &w);
    if (!coded && !fills && walk->resumeAt == walk->units) break;
    listBlocks(*c, blocks);
    if (coded) {
      coded = isProgressive(*c) ? decodeProgressiveUnit(c, &w, blocks)
                                : decodeUnit(c, &w, decodeBlockFast, blocks, last);
    }
    if (!coded && fills) fillUnit(*c, blocks);
  }
  if (isOpen(w)) closeWindow(&w, &c->stream);
}

// A picture without a scan of one of its components is damaged.
void endScans(JpgContext *c) {
  LenientStore *store = c->read.lenient->store;
  store->ended = 1;
  for (uint32_t i = 0; i < c->numComponents; i++) {
    if (store->component[i].seen == 0) noteDamage(c, JPG_E_END_OF_IMAGE);
  }
}

// Gives the components their blocks.
Result allocateComponents(JpgContext *c, LenientStore *store) {
  uint64_t left = kMaxHeapBlock;
  for (uint32_t i = 0; i < c->numComponents; i++) {
    const JpgScanComponent &k = c->scanComponents[i];
    const uint64_t bytes = storeBytes(*c, k);
    StoredComponent *component = &store->component[i];
    measure(*c, k, component);
    component->blocks = bytes <= left ? static_cast<int16_t *>(heapAllocChecked(bytes)) : nullptr;
    if (component->blocks == nullptr) return JPG_E_OUT_OF_MEMORY;
    memset(component->blocks, 0, static_cast<size_t>(bytes));
    left -= bytes;
  }
  return JPG_OK;
}

}  // namespace

void freeStore(LenientRead *state) {
  if (state->store == nullptr) return;
  for (StoredComponent &component : state->store->component) heapRelease(component.blocks);
  heapRelease(state->store);
}

Result decodeStoreScan(JpgContext *c) {
  LenientStore *store = c->read.lenient->store;
  if (store->ended != 0) return JPG_NO_DATA;
  beginComponents(c);
  beginWalk(c, countUnits(*c));
  decodeUnits(c);
  endWalk(c);
  endComponents(c);
  store->scans++;
  Result r = openLenientScan(c);
  if (r == JPG_OK && store->scans >= JPG_LENIENT_MAX_SCANS) r = JPG_E_UNSUPPORTED;
  if (r == JPG_OK) return JPG_OK;
  if (r == JPG_E_OUT_OF_MEMORY) {
    store->ended = 1;  // later calls deliver what there is
    return r;
  }
  if (r != JPG_NO_DATA && r != JPG_E_NOT_JPEG) noteDamage(c, r);
  endScans(c);
  return JPG_OK;
}

Result makeStore(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  state->store = static_cast<LenientStore *>(heapAlloc(sizeof(LenientStore)));
  if (state->store == nullptr) return JPG_E_OUT_OF_MEMORY;
  *state->store = {};
  const Result r = allocateComponents(c, state->store);
  if (r != JPG_OK) freeStore(state);
  return r;
}

bool storeIsEmpty(const LenientRead &state) { return state.store->scans == 0; }

bool storeIsComplete(const LenientRead &state) { return state.store->ended != 0; }

void readRowFromStore(JpgContext *c, Planes *planes, uint32_t mcuRow, InverseKernel transform) {
  const LenientStore &store = *c->read.lenient->store;
  int16_t block[kBlockSize];
  for (uint32_t i = 0; i < c->numComponents; i++) {
    const StoredComponent &component = store.component[i];
    const uint32_t v = down(c->scanComponents[i]);
    for (uint32_t row = 0; row < v; row++) {
      const int16_t *in =
          component.blocks + (size_t{mcuRow} * v + row) * component.across * kBlockSize;
      for (uint32_t column = 0; column < component.across; column++, in += kBlockSize) {
        transform(block, c->kernels->dequantise(in, component.steps, block));
        putBlock(planes, i, mcuRow, row, column, block);
      }
    }
  }
}

}  // namespace jpg
