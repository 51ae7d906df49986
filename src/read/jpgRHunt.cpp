// SPDX-License-Identifier: MIT
#include "read/jpgRHunt.h"

#include "read/jpgRBits.h"
#include "read/jpgRHold.h"
#include "read/jpgRLenient.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

// Bytes of the stream at any offset.
struct Peek {
  JpgStream *stream;
  uint32_t pictures;  // searches begun for the end of a picture inside a segment
  uint32_t start;     // offset of the first byte in the buffer
  uint32_t count;
  uint8_t bytes[512];
};

constexpr uint32_t kNoByte = 0x100;   // behind the end of the data
constexpr uint32_t kHuffHeader = 17;  // bytes of a Huffman table ahead of its symbols

void fillPeek(Peek *p, uint32_t offset) {
  p->start = offset;
  p->count = 0;
  if (streamSeek(p->stream, offset, kSeekBegin) == kSeekFailed) return;
  const int32_t got = streamRead(p->stream, p->bytes, sizeof(p->bytes));
  p->count = got > 0 ? static_cast<uint32_t>(got) : 0;
}

uint32_t byteAt(Peek *p, uint32_t offset) {
  if (offset - p->start >= p->count) fillPeek(p, offset);
  return p->count != 0 ? p->bytes[offset - p->start] : kNoByte;
}

// The two bytes at an offset, above 0xFFFF where the data end.
uint32_t pairAt(Peek *p, uint32_t offset) {
  const uint32_t high = byteAt(p, offset), low = byteAt(p, offset + 1);
  return (high | low) >= kNoByte ? kNoByte << 8 : high << 8 | low;
}

bool isFrame(uint32_t marker) { return marker >= kMarkerSof0 && marker <= kMarkerSof3; }

bool isCommentary(uint32_t marker) { return marker >= kMarkerApp0; }

// Markers that begin a segment of a file that we read.
bool beginsSegment(uint32_t code) {
  return isFrame(code) || code == kMarkerDht || code == kMarkerSos || code == kMarkerDqt ||
         code == kMarkerDri || (code >= kMarkerApp0 && code <= kMarkerApp15) || code == kMarkerCom;
}

// True when segments follow each other from the offset on: so many that it can't be chance, or up
// to a scan.
bool chainHolds(Peek *p, uint32_t offset) {
  constexpr uint32_t kLinks = 3;
  for (uint32_t link = 0; link < kLinks; link++) {
    const uint32_t code = pairAt(p, offset);
    if (!beginsSegment(code)) return false;
    const uint32_t length = pairAt(p, offset + 2);
    if (length < 2 || length > 0xFFFF) return false;
    if (code == kMarkerSos) return length == 6 + 2 * byteAt(p, offset + 4);
    offset += 2 + length;
  }
  return true;
}

// Behind the EOI of the picture that begins at the offset; 0 if it would not fit in a segment.
uint32_t behindPicture(Peek *p, uint32_t offset) {
  constexpr uint32_t kMostPictures = 1000;  // a hostile file has no more of our time
  if (p->pictures++ >= kMostPictures) return 0;
  for (const uint32_t end = offset + 0xFFFF; offset < end; offset++) {
    const uint32_t code = pairAt(p, offset);
    if (code > 0xFFFF) return 0;
    if (code == kMarkerEoi) return offset + 2;
  }
  return 0;
}

// True when the segment at the offset has the length that its contents ask for; those of APPn and
// COM ask for none.
bool looksRight(Peek *p, uint32_t offset) {
  constexpr uint32_t kByteTable = 65, kWordTable = 129;  // with Pq and Tq
  const uint32_t code = pairAt(p, offset), length = pairAt(p, offset + 2);
  const uint32_t first = byteAt(p, offset + 4);
  if (length < 2 || length > 0xFFFF) return false;
  if (isFrame(code)) return length == 8 + 3 * byteAt(p, offset + 9);
  if (code == kMarkerSos) return length == 6 + 2 * first;
  if (code == kMarkerDri) return length == 4;
  if (code == kMarkerDht) return length >= 2 + kHuffHeader && (first & 0xEC) == 0;
  if (code == kMarkerDqt) return (length - 2) % (first < 16 ? kByteTable : kWordTable) == 0;
  return true;
}

// Searches [offset, end) for a place that `fits`; 0 for none. Pictures inside of segments, such as
// thumbnails, are passed over.
template <typename Fits>
uint32_t search(Peek *p, uint32_t offset, uint32_t end, const Fits &fits) {
  while (offset < end) {
    const uint32_t code = pairAt(p, offset);
    if (code > 0xFFFF) return 0;
    if (beginsSegment(code) && fits(offset)) return offset;
    if (code == kMarkerEoi) return offset;
    const bool begins = code == kMarkerSoi && byteAt(p, offset + 2) == 0xFF;
    const uint32_t behind = begins ? behindPicture(p, offset) : 0;
    offset = behind != 0 ? behind : offset + 1;
  }
  return 0;
}

// Where the next segment or EOI begins, if not at `offset`; 0 for nowhere.
uint32_t huntFrom(JpgContext *c, Peek *p, uint32_t offset) {
  uint32_t marker = offset;
  while (byteAt(p, marker) == 0xFF && byteAt(p, marker + 1) == 0xFF) marker++;
  if (beginsSegment(pairAt(p, marker)) || pairAt(p, marker) == kMarkerEoi) return marker;
  constexpr uint32_t kMostHunts = 100;  // a hostile file has no more of our time
  constexpr uint32_t kHeader = 4;       // marker and length
  LenientRead *state = c->read.lenient;
  if (state->hunts++ >= kMostHunts) return 0;
  // The length of a segment that the decoder doesn't need may be too large: look inside it.
  if (isCommentary(state->segmentMarker)) {
    const uint32_t inside = search(p, state->segmentStart + kHeader, offset,
                                   [&](uint32_t at) { return chainHolds(p, at); });
    if (inside != 0 && pairAt(p, inside) != kMarkerEoi) return inside;
  }
  return search(p, offset, 0xFFFFFFFF, [&](uint32_t at) { return looksRight(p, at); });
}

}  // namespace

Result openHuntedSegment(JpgContext *c, Segment *segment) {
  JpgStream *s = &c->stream;
  LenientRead *state = c->read.lenient;
  *segment = {0, 0};
  c->segLength = 0;
  c->segConsumed = 0;
  uint32_t offset = offsetOf(*s);
  uint32_t marker = peekMarker(s);
  if (!isMarker(marker)) {
    Peek peek = {s, 0, 0, 0, {}};
    offset = huntFrom(c, &peek, offset);
    if (offset == 0) return JPG_E_NOT_JPEG;
    if (const Result r = goToOffset(s, offset); r != JPG_OK) return r;
    marker = peekMarker(s);
    if (!isMarker(marker)) return JPG_E_NOT_JPEG;
  }
  skipMarker(s);
  if (marker < kMarkerRst0 || marker > kMarkerEoi) {
    const uint32_t length = readRaw(s, 16);
    segment->length = length < 2 ? 0 : length - 2;
  }
  segment->marker = marker;
  c->segLength = segment->length;
  state->segmentStart = offset;
  state->segmentMarker = marker;
  return JPG_OK;
}

uint32_t huntLines(JpgContext *c, uint32_t offset) {
  constexpr uint32_t kLength = 4;  // of the segment's data, its length field included
  Peek peek = {&c->stream, 0, 0, 0, {}};
  for (uint32_t code = pairAt(&peek, offset); code <= 0xFFFF; code = pairAt(&peek, ++offset)) {
    if (!isMarker(code) || isRestart(code)) continue;
    if (code != kMarkerDnl || pairAt(&peek, offset + 2) != kLength) return 0;
    return pairAt(&peek, offset + 4) & 0xFFFF;
  }
  return 0;
}

}  // namespace jpg
