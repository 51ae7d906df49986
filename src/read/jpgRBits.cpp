// SPDX-License-Identifier: MIT
#include "read/jpgRBits.h"

#include <string.h>

#include "read/jpgRPlanes.h"
#include "share/jpgAssert.h"

namespace jpg {

// Once the bit buffer is empty, bytes are taken from the input buffer as they are.
void readRawBytes(JpgStream *s, uint8_t *out, uint32_t n) {
  while (n > 0) {
    const uint32_t there = s->bufFill - s->bufIndex;
    if (s->bitCount != 0 || there == 0) {
      *out++ = static_cast<uint8_t>(readRaw(s, 8));
      n--;
      continue;
    }
    const uint32_t count = n < there ? n : there;
    memcpy(out, s->inputBuffer + s->bufIndex, count);
    s->bufIndex += count;
    out += count;
    n -= count;
  }
}

uint32_t peekMarker(JpgStream *s) {
  const uint32_t partial = s->bitCount % 8;
  fillBits(s, partial + 16);
  JPG_ASSERT(s->bitCount <= 31);
  const uint32_t code = (s->bitBuffer << partial) >> 16;
  return oldestIsStuffed(s) ? kStuffedByte : code;
}

void dropFetched(JpgStream *s, uint32_t bytesFetched) {
  s->bufFill = 0;
  s->bytesFetched = bytesFetched;
  s->bitCount = 0;
  s->bufIndex = 0;
  s->endState = kEndNone;
  s->bitBuffer = 0;
  s->stuffHistory = 0;
}

Result reposition(JpgContext *c, uint32_t offset, Reposition what) {
  if (what == Reposition::kFull) {
    for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
    c->rowPosition = 0;
    c->lastMarker = 0;
    c->mcusSinceRestart = 0;
    resetPlanes(c);
  }
  JpgStream *s = &c->stream;
  dropFetched(s, s->startOffset);
  return streamSeek(s, offset, kSeekBegin) == kSeekFailed ? JPG_E_SEEK : JPG_OK;
}

Result goToScanData(JpgContext *c, Reposition what) {
  c->segLength = 0;
  c->segConsumed = 0;
  return reposition(c, c->scanDataOffset, what);
}

}  // namespace jpg
