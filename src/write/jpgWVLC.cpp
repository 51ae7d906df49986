#include "write/jpgWVLC.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "share/jpgMarkers.h"
#include "write/jpgWBits.h"
#include "write/jpgWMark.h"
#include "write/jpgWMcu.h"

namespace jpg {
namespace {

constexpr uint8_t kFill = 0xFF;  // byte behind which a data stream has a stuffed 0

// One byte through the stage.
Result putByte(JpgContext *c, uint32_t byte) {
  JpgStream *s = &c->stream;
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
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

// Transforms and quantises an MCU's blocks; components that share a quantisation table go through
// the kernel together.
void makeLevels(const JpgContext &c, int16_t *blocks, uint64_t *present) {
  for (uint32_t i = 0; i < c.write.frameComponents;) {
    const JpgScanComponent &k = c.scanComponents[i];
    uint32_t count = 0;
    for (; i < c.write.frameComponents && c.scanComponents[i].tq == k.tq; i++) {
      count += c.scanComponents[i].blocksPerMcu;
    }
    c.kernels->transformAndQuantise(blocks, count, {k.quantTable, &c.write.reciprocals[k.tq]},
                                    present);
    blocks += count * kBlockSize;
    present += count;
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
  const uint64_t *which = present;
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    for (uint32_t b = 0; b < k->blocksPerMcu; b++, blocks += kBlockSize) {
      if (const Result r = encodeLevels(c, k, blocks, *which++); r != JPG_OK) return r;
    }
  }
  c->mcusSinceRestart++;
  return c->mcusSinceRestart == c->write.frameRestart ? writeRestart(c) : JPG_OK;
}

}  // namespace jpg
