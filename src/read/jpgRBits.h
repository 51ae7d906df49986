// SPDX-License-Identifier: MIT
// The bit reader: bits and raw bytes out of a context's stream.
//
// Entropy-coded data are read with removal of stuffed zeros (T.81 F.1.2.3): an FF is
// fetched together with the byte behind it, which stays in the bit stream unless it is
// zero, so that both bytes of a marker can be peeked. Marker segments are read raw.
// After the end of the data the reader delivers 1-bits without end.
//
// The operations are inline because header parsing and plain decoding call them for
// every symbol. At most 16 bits are requested at a time (23 by the marker peek), so
// the 32-bit buffer never overflows.
#ifndef JPG_READ_RBITS_H
#define JPG_READ_RBITS_H

#include <stdint.h>

#include "share/jpgAssert.h"
#include "share/jpgMarkers.h"
#include "share/jpgShare.h"

namespace jpg {

// Result of peekMarker for a stuffed FF 00: not a marker.
constexpr uint32_t kStuffedByte = 0xFF00;

// Appends a byte below the valid bits; stuffed: an FF whose zero was dropped.
inline void appendByte(JpgStream *s, uint32_t byte, uint32_t stuffed) {
  JPG_ASSERT(s->bitCount <= 23);
  s->bitBuffer |= (byte << 24) >> s->bitCount;
  s->bitCount += 8;
  s->stuffHistory = s->stuffHistory << 1 | stuffed;
}

// Appends what stands for an FF and the byte behind it, which isn't a stuffed zero, in a stream
// that stops at markers (jpgRHold.h).
void appendUpToMarker(JpgStream *s, uint32_t next);

// Fetches bytes until at least n bits are in the buffer, removing stuffed zeros.
inline void fillBits(JpgStream *s, uint32_t n) {
  while (s->bitCount < n) {
    const uint32_t byte = fetchByte(s);
    if (byte != 0xFF) {
      appendByte(s, byte, 0);
      continue;
    }
    const uint32_t next = fetchByte(s);
    if (next != 0 && s->holdsMarkers != 0) {
      appendUpToMarker(s, next);
      continue;
    }
    appendByte(s, byte, next == 0 ? 1 : 0);
    if (next != 0) appendByte(s, next, 0);
  }
}

// Fetches raw bytes until at least n bits are in the buffer.
inline void fillRaw(JpgStream *s, uint32_t n) {
  while (s->bitCount < n) appendByte(s, fetchByte(s), 0);
}

// The next n bits, 0 <= n <= 16, which must be in the buffer.
inline uint32_t topBits(const JpgStream *s, uint32_t n) {
  JPG_ASSERT(n <= 16 && n <= s->bitCount);
  return (s->bitBuffer >> 1) >> (31 - n);
}

// Drops n bits, 0 <= n <= 31, which must be in the buffer.
inline void dropBits(JpgStream *s, uint32_t n) {
  JPG_ASSERT(n <= s->bitCount);
  s->bitBuffer <<= n;
  s->bitCount -= n;
}

inline uint32_t peekBits(JpgStream *s, uint32_t n) {
  fillBits(s, n);
  return topBits(s, n);
}

inline uint32_t readBits(JpgStream *s, uint32_t n) {
  const uint32_t v = peekBits(s, n);
  dropBits(s, n);
  return v;
}

inline void skipBits(JpgStream *s, uint32_t n) {
  fillBits(s, n);
  dropBits(s, n);
}

inline uint32_t peekRaw(JpgStream *s, uint32_t n) {
  fillRaw(s, n);
  return topBits(s, n);
}

inline uint32_t readRaw(JpgStream *s, uint32_t n) {
  const uint32_t v = peekRaw(s, n);
  dropBits(s, n);
  return v;
}

// Reads n bytes.
void readRawBytes(JpgStream *s, uint8_t *out, uint32_t n);

// Drops the bits left of the current byte.
inline void alignToByte(JpgStream *s) { dropBits(s, s->bitCount % 8); }

// True when the oldest whole byte in the buffer, which must have one, is a data byte FF whose
// stuffed zero was dropped.
inline bool oldestIsStuffed(const JpgStream *s) {
  return (s->stuffHistory >> (s->bitCount / 8 - 1) & 1) != 0;
}

// The two bytes behind the current byte's bits; kStuffedByte when the first of
// them is a data byte FF.
uint32_t peekMarker(JpgStream *s);

// Drops the two bytes that peekMarker has returned, and the bits ahead of them.
inline void skipMarker(JpgStream *s) { dropBits(s, s->bitCount % 8 + 16); }

// Stream offset of the next unread byte, SOI included.
inline uint32_t tellOffset(const JpgStream *s) {
  // SOI is read before the bit reader starts.
  return s->bytesFetched - s->bufFill + s->bufIndex + kSoiLength;
}

// Discards all bytes and bits that were fetched.
void dropFetched(JpgStream *s, uint32_t bytesFetched);

// Goes to `offset` of the stream. kFull also starts the picture again: DC
// predictors, row position, last marker and MCU count are cleared. 0 or JPG_E_SEEK.
enum class Reposition { kStreamOnly, kFull };
Result reposition(JpgContext *c, uint32_t offset, Reposition what);

// Goes to the first scan's data; a marker segment that is partly read is abandoned.
Result goToScanData(JpgContext *c, Reposition what);

}  // namespace jpg

#endif
