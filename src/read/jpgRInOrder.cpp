// SPDX-License-Identifier: MIT
#include "read/jpgRInOrder.h"

#include <string.h>

#include "read/jpgRFastBlock.h"
#include "read/jpgRHold.h"
#include "read/jpgRScan.h"
#include "read/jpgRWalk.h"
#include "share/jpgHeap.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

constexpr uint32_t kMostBlocks = kMaxComponents * 16;  // of an MCU

Result decodeCorner4(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                     uint32_t * /*last*/) {
  return decodeCornerFast(w, s, block, component, kCornerOf4);
}

Result decodeCorner2(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                     uint32_t * /*last*/) {
  return decodeCornerFast(w, s, block, component, kCornerOf2);
}

Result decodeDcOnly(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                    uint32_t * /*last*/) {
  return decodeCornerFast(w, s, block, component, 0);
}

constexpr BlockRoutine kRoutines[] = {decodeDcOnly, decodeCorner2, decodeCorner4,
                                      decodeBlockFast};  // by scale code

// Blocks of an MCU ahead of a frame component's.
uint32_t blocksAhead(const JpgContext &c, uint32_t component) {
  uint32_t blocks = 0;
  for (uint32_t i = 0; i < component; i++) blocks += frameBlocks(c.scanComponents[i]);
  return blocks;
}

// An MCU whose blocks lie in the order of the frame and are decoded in the order of the scan.
struct CodedMcu {
  int16_t *blocks;
  int16_t *list[kMostBlocks];
  uint8_t last[kMostBlocks];  // as listed
};

void listBlocks(const JpgContext &c, CodedMcu *mcu) {
  const LenientScan &scan = c.read.lenient->scan;
  int16_t **list = mcu->list;
  for (uint32_t k = 0; k < scan.count; k++) {
    int16_t *block = mcu->blocks + size_t{blocksAhead(c, scan.frameIndex[k])} * kBlockSize;
    for (uint32_t i = 0; i < scan.component[k].blocksPerMcu; i++, block += kBlockSize) {
      *list++ = block;
    }
  }
}

// What a lost MCU holds.
void fillMcu(const JpgContext &c, CodedMcu *mcu) {
  const LenientRead &state = *c.read.lenient;
  uint32_t n = 0;
  for (uint32_t k = 0; k < state.scan.count; k++) {
    const JpgScanComponent &component = state.scan.component[k];
    for (uint32_t i = 0; i < component.blocksPerMcu; i++, n++) {
      memset(mcu->list[n], 0, kBlockSize * sizeof(int16_t));
      mcu->list[n][0] = dequantise(state.walk.lastDc[k], component.quantTable[0]);
      mcu->last[n] = 0;
    }
  }
}

void decodeNextMcu(JpgContext *c, BitWindow *w, CodedMcu *mcu) {
  const bool coded =
      unitIsCoded(c, w) && decodeUnit(c, w, kRoutines[c->scanState], mcu->list, mcu->last);
  if (!coded) fillMcu(*c, mcu);
  countUnit(&c->read.lenient->walk);
}

void finishMcu(const JpgContext &c, Planes *planes, uint32_t mcuRow, uint32_t column,
               const CodedMcu &mcu, InverseKernel transform) {
  for (uint32_t i = 0; i < c.read.lenient->scan.blocks; i++) transform(mcu.list[i], mcu.last[i]);
  putMcu(planes, mcuRow, column, mcu.blocks);
}

// Decodes a row; without planes it is passed over. An MCU is transformed after the next one is
// decoded, so that the transform doesn't wait for coefficients just stored.
void decodeRow(JpgContext *c, Planes *planes, InverseKernel transform) {
  const uint32_t mcuRow = c->read.lenient->nextRow++;
  CodedMcu mcu[2];
  for (uint32_t i = 0; i < 2; i++) {
    mcu[i].blocks = c->coefBuffer + size_t{i} * c->blocksPerMcu * kBlockSize;
    listBlocks(*c, &mcu[i]);
  }
  BitWindow w;
  initWindow(&w);
  for (uint32_t i = 0; i <= c->mcusPerRow; i++) {
    if (i < c->mcusPerRow) decodeNextMcu(c, &w, &mcu[i % 2]);
    if (i > 0 && planes != nullptr) {
      finishMcu(*c, planes, mcuRow, i - 1, mcu[(i - 1) % 2], transform);
    }
  }
  if (isOpen(w)) closeWindow(&w, &c->stream);
}

Result goToFirstRow(JpgContext *c) {
  if (const Result r = goToOffset(&c->stream, c->scanDataOffset); r != JPG_OK) return r;
  c->read.lenient->nextRow = 0;
  beginWalk(c, c->mcuCount);
  return JPG_OK;
}

}  // namespace

Result beginInOrder(JpgContext *c) {
  const size_t bytes = size_t{2} * c->blocksPerMcu * kBlockSize * sizeof(int16_t);
  c->coefBuffer = static_cast<int16_t *>(heapAlloc(bytes));
  if (c->coefBuffer == nullptr) return JPG_E_OUT_OF_MEMORY;
  const Result r = goToFirstRow(c);
  if (r != JPG_OK) heapRelease(c->coefBuffer);
  return r;
}

Result readRowInOrder(JpgContext *c, Planes *planes, uint32_t mcuRow, InverseKernel transform) {
  LenientRead *state = c->read.lenient;
  if (mcuRow < state->nextRow) {
    if (const Result r = goToFirstRow(c); r != JPG_OK) return r;
  }
  while (state->nextRow < mcuRow) decodeRow(c, nullptr, transform);
  decodeRow(c, planes, transform);
  return JPG_OK;
}

}  // namespace jpg
