#include "write/jpgWVLC.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "share/jpgMarkers.h"
#include "write/jpgWMagnitude.h"
#include "write/jpgWMark.h"
#include "write/jpgWMcu.h"
#include "write/jpgWWide.h"

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

// The four bytes of a full bit buffer, most significant first.
Result emitWord(JpgContext *c) {
  constexpr uint32_t kRoomForWord = 8;  // four bytes, each stuffed
  JpgStream *s = &c->stream;
  if (s->bufIndex >= kStreamBuffer - kRoomForWord) {
    for (uint32_t shift = 32; shift > 0; shift -= 8) {
      const Result r = putDataByte(c, s->bitBuffer >> (shift - 8) & 0xFF);
      if (r != JPG_OK) return r;
    }
    return JPG_OK;
  }
  uint8_t *out = s->inputBuffer + s->bufIndex;
  for (uint32_t shift = 32; shift > 0; shift -= 8) {
    const auto byte = static_cast<uint8_t>(s->bitBuffer >> (shift - 8));
    *out++ = byte;
    if (byte == kFill) *out++ = 0;
  }
  s->bufIndex = static_cast<uint32_t>(out - s->inputBuffer);
  return JPG_OK;
}

// Pads the pending bits to whole bytes and puts them out.
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

Result putWithBits(JpgContext *c, const JpgHuffCode &code, const Magnitude &m) {
  return putBits(c, code.code << m.category | m.bits, code.length + uint32_t{m.category});
}

int32_t magnitude(int32_t v) { return v < 0 ? -v : v; }

// Transforms and quantises an MCU's blocks, those of components with one table together.
void makeLevels(const JpgContext &c, int16_t *blocks, uint64_t *present) {
  for (uint32_t i = 0; i < c.write.frameComponents;) {
    const JpgScanComponent &k = c.scanComponents[i];
    uint32_t count = 0;
    for (; i < c.write.frameComponents && c.scanComponents[i].tq == k.tq; i++) {
      count += c.scanComponents[i].blocksPerMcu;
    }
    c.kernels->makeLevels(blocks, count, {k.quantTable, &c.write.reciprocals[k.tq]}, present);
    blocks += count * kBlockSize;
    present += count;
  }
}

}  // namespace

Result putBits(JpgContext *c, uint32_t value, uint32_t length) {
  JpgStream *s = &c->stream;
  const uint32_t free = s->bitCount;
  if (length < free) {
    s->bitBuffer = s->bitBuffer << length | value;
    s->bitCount = free - length;
    return JPG_OK;
  }
  const uint32_t rest = length - free;  // bits that don't fit the word, 0 to 31
  const uint32_t filled = free < 32 ? s->bitBuffer << free : 0;
  s->bitBuffer = filled | value >> rest;
  const Result r = emitWord(c);
  s->bitBuffer = value & ((1U << rest) - 1);
  s->bitCount = kBitBufferSize - rest;
  return r;
}

Result putDifference(JpgContext *c, const JpgHuffCode *table, int32_t difference) {
  const Magnitude &m = magnitudeOf(difference);
  return putWithBits(c, table[m.category], m);
}

Result putLosslessDifference(JpgContext *c, const JpgHuffCode *table, int32_t difference) {
  constexpr int32_t kHalfRange = 32768;
  const uint32_t low = static_cast<uint32_t>(difference) & 0xFFFF;
  const int32_t d = static_cast<int32_t>(low) - (low > kHalfRange ? 2 * kHalfRange : 0);
  uint32_t category = 0;
  while (magnitude(d) >> category != 0) category++;
  const uint32_t bits = static_cast<uint32_t>(d < 0 ? d - 1 : d) & ((1U << category) - 1);
  return putBits(c, table[category].code << category | bits, table[category].length + category);
}

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
  return c->mcusSinceRestart == c->restartInterval ? writeRestart(c) : JPG_OK;
}

}  // namespace jpg
