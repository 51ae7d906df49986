// SPDX-License-Identifier: MIT
#include "write/jpgWVLC.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "share/jpgAssert.h"
#include "share/jpgMarkers.h"
#include "write/jpgWBits.h"
#include "write/jpgWHead.h"
#include "write/jpgWMark.h"
#include "write/jpgWMcu.h"
#include "write/jpgWStore.h"

namespace jpg {
namespace {

constexpr uint8_t kFill = 0xFF;  // byte behind which a data stream has a stuffed 0

// One byte through the stage.
Result putByte(JpgContext *c, uint32_t byte) {
  JpgStream *s = &c->stream;
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  JPG_ASSERT(s->bufIndex < kStreamBuffer);
  s->inputBuffer[s->bufIndex++] = static_cast<uint8_t>(byte);
  return s->bufIndex < kStreamBuffer ? JPG_OK : flushStage(c);
}

// One byte of entropy-coded data, with its stuffed zero.
Result putDataByte(JpgContext *c, uint32_t byte) {
  if (const Result r = putByte(c, byte); r != JPG_OK) return r;
  return byte == kFill ? putByte(c, 0) : JPG_OK;
}

// Pads the pending bits to whole bytes and writes them.
Result flushBits(JpgContext *c) {
  JpgStream *s = &c->stream;
  if (s->bitCount == kBitBufferSize) return JPG_OK;
  const uint32_t pad = s->bitCount % 8;
  s->bitBuffer = s->bitBuffer << pad | ((1U << pad) - 1);
  for (uint32_t left = kBitBufferSize - (s->bitCount - pad); left > 0; left -= 8) {
    const Result r = putDataByte(c, s->bitBuffer >> (left - 8) & 0xFF);
    if (r != JPG_OK) return r;
  }
  s->bitBuffer = 0;
  s->bitCount = kBitBufferSize;
  return JPG_OK;
}

QuantSteps stepsOf(const JpgContext &c, const JpgScanComponent &k) {
  return {k.quantTable, &c.write.reciprocals[k.tq]};
}

// Transforms and quantises an MCU's blocks; components that share a quantisation table go through
// the kernel together.
void makeLevels(const JpgContext &c, int16_t *blocks, uint64_t *present) {
  for (uint32_t i = 0; i < c.write.frameComponents;) {
    const JpgScanComponent &k = c.scanComponents[i];
    uint32_t count = 0;
    for (; i < c.write.frameComponents && c.scanComponents[i].tq == k.tq; i++) {
      count += c.scanComponents[i].blocksPerMcu;
    }
    c.kernels->transformAndQuantise(blocks, count, stepsOf(c, k), present);
    blocks += count * kBlockSize;
    present += count;
    JPG_ASSERT(count <= kMaxBlocksPerMcu);
  }
}

// Codes or stores an MCU's levels.
Result codeMcu(JpgContext *c, const int16_t *blocks, const uint64_t *present) {
  if (isHeld(*c)) {
    storeBlocks(&c->write.store, blocks, blocksOfMcu(*c));
    return JPG_OK;
  }
  if (const Result r = encodeLevels(c, blocks, present); r != JPG_OK) return r;
  c->mcusSinceRestart++;
  return c->mcusSinceRestart == c->write.frameRestart ? writeRestart(c) : JPG_OK;
}

// Levels of an MCU, with the masks of those that aren't 0.
struct McuLevels {
  int16_t *levels;
  uint64_t *present;
};

// Gives blocks that lie outside the picture the DC of the block before them and no AC, which costs
// the fewest bits. The first block of a component has at least one pixel of the picture.
void emptyOutside(const JpgContext &c, uint32_t columns, uint32_t lines, McuLevels mcu) {
  for (uint32_t i = 0; i < c.write.frameComponents; i++) {
    const uint32_t h = c.scanComponents[i].sampling >> 4, v = c.scanComponents[i].sampling & 15;
    for (uint32_t b = 0; b < h * v; b++, mcu.levels += kBlockSize, mcu.present++) {
      const uint32_t x = b % h * 8 * (c.hMax / h), y = b / h * 8 * (c.vMax / v);
      if (x < columns && y < lines) continue;
      memset(mcu.levels, 0, kBlockSize * sizeof(int16_t));
      mcu.levels[0] = mcu.levels[-static_cast<ptrdiff_t>(kBlockSize)];
      *mcu.present = mcu.levels[0] != 0 ? 1 : 0;
    }
  }
}

}  // namespace

Result writeMarker(JpgContext *c, uint32_t marker) {
  if (const Result r = flushBits(c); r != JPG_OK) return r;
  return writeNumber(c, marker, 2);
}

Result writeBytes(JpgContext *c, const uint8_t *data, uint32_t n) {
  JpgStream *s = &c->stream;
  if (n != 0 && c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  while (n != 0) {
    const uint32_t room = kStreamBuffer - s->bufIndex;
    const uint32_t count = n < room ? n : room;
    memcpy(s->inputBuffer + s->bufIndex, data, count);
    s->bufIndex += count;
    data += count;
    n -= count;
    if (s->bufIndex < kStreamBuffer) return JPG_OK;
    if (const Result r = flushStage(c); r != JPG_OK) return r;
  }
  return JPG_OK;
}

Result writeNumber(JpgContext *c, uint32_t value, uint32_t n) {
  for (; n > 0; n--) {
    if (const Result r = putByte(c, value >> (8 * (n - 1)) & 0xFF); r != JPG_OK) return r;
  }
  return JPG_OK;
}

Result flushStage(JpgContext *c) {
  JpgStream *s = &c->stream;
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  if (s->bufIndex == 0) return JPG_OK;
  if (streamWrite(s, s->inputBuffer, s->bufIndex) < 0) {
    c->write.outputFailed = kOutputShort;
    return JPG_E_WRITE_FAULT;
  }
  s->bufIndex = 0;
  return JPG_OK;
}

Result encodeMcu(JpgContext *c, int16_t *blocks) {
  uint64_t present[kMaxBlocksPerMcu];
  makeLevels(*c, blocks, present);
  return codeMcu(c, blocks, present);
}

bool encodesPairs(const JpgContext &c) {
  const uint32_t n = c.write.frameComponents;
  if (c.kernels->forwardBlocks != 2 || blocksOfMcu(c) != n) return false;
  return n == 1 || (n == 3 && c.scanComponents[1].tq == c.scanComponents[2].tq);
}

// The second MCU's first block is transformed beside the first one's, ahead of it.
Result encodeMcuPair(JpgContext *c, int16_t *blocks) {
  constexpr size_t kBlockBytes = kBlockSize * sizeof(int16_t);
  const uint32_t n = c->write.frameComponents;
  int16_t *first = blocks + kBlockSize, *second = first + n * kBlockSize;
  memcpy(blocks, second, kBlockBytes);
  uint64_t present[2][3], begins[2];
  c->kernels->transformAndQuantise(blocks, 2, stepsOf(*c, c->scanComponents[0]), begins);
  memcpy(second, blocks, kBlockBytes);
  present[0][0] = begins[1];
  present[1][0] = begins[0];
  if (n > 1) {
    const QuantSteps steps = stepsOf(*c, c->scanComponents[1]);
    c->kernels->transformAndQuantise(first + kBlockSize, 2, steps, present[0] + 1);
    c->kernels->transformAndQuantise(second + kBlockSize, 2, steps, present[1] + 1);
  }
  const Result r = codeMcu(c, first, present[0]);
  return r != JPG_OK ? r : codeMcu(c, second, present[1]);
}

Result encodePartialMcu(JpgContext *c, int16_t *blocks, uint32_t columns, uint32_t lines) {
  uint64_t present[kMaxBlocksPerMcu];
  makeLevels(*c, blocks, present);
  emptyOutside(*c, columns, lines, {blocks, present});
  return codeMcu(c, blocks, present);
}

}  // namespace jpg
