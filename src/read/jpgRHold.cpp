// SPDX-License-Identifier: MIT
#include "read/jpgRHold.h"

#include "read/jpgRBits.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

// Behind a held marker nothing is fetched: the buffer looks empty and the stream ended, so that
// every fetch gives an FF (streamRefill), which leads back here.
void hold(JpgStream *s, uint32_t marker) {
  s->heldMarker = marker;
  s->heldFill = s->bufFill;
  s->bufFill = s->bufIndex;
  s->endState = kEndPassed;
}

// Stream offset of the next byte that is fetched once nothing is held.
uint32_t fetchOffset(const JpgStream &s) {
  const uint32_t fill = s.heldMarker != 0 ? s.heldFill : s.bufFill;
  return s.bytesFetched - fill + s.bufIndex + kSoiLength;
}

void release(JpgStream *s) {
  s->bufFill = s->heldFill;
  s->endState = s->heldMarker == kHeldEnd ? kEndPassed : kEndNone;
  s->heldMarker = 0;
  s->padding = 0;
  s->bitBuffer = 0;
  s->bitCount = 0;
  s->stuffHistory = 0;
}

}  // namespace

// Fill bytes ahead of a marker are passed over. A code below the markers' is a stuffed zero that
// was damaged: the FF is data.
void appendUpToMarker(JpgStream *s, uint32_t next) {
  if (s->heldMarker == 0) {
    while (next == 0xFF && s->endState == kEndNone) next = fetchByte(s);
    const bool ended = s->endState != kEndNone;
    const uint32_t code = 0xFF00 | next;
    if (!ended && code < kMarkerFirst) {
      appendByte(s, 0xFF, 1);
      return;
    }
    hold(s, ended ? kHeldEnd : code);
  }
  appendByte(s, 0, 0);
  s->padding += 8;
}

void beginHolding(JpgStream *s) { s->holdsMarkers = 1; }

void endHolding(JpgStream *s) { s->holdsMarkers = 0; }

bool skipToMarker(JpgStream *s) {
  alignToByte(s);
  bool dropped = false;
  while (s->heldMarker == 0) {
    dropped = dropped || s->bitCount != 0;
    dropBits(s, s->bitCount);
    fillBits(s, 8);
  }
  return dropped || s->bitCount > s->padding;
}

void passMarker(JpgStream *s) { release(s); }

void leaveMarker(JpgStream *s) {
  const uint32_t marker = s->heldMarker;
  release(s);
  endHolding(s);
  if (marker == kHeldEnd) return;
  s->bitBuffer = marker << 16;
  s->bitCount = 16;
}

StreamPlace streamPlaceOf(const JpgStream &s) {
  return {fetchOffset(s), s.bitBuffer, s.bitCount,    s.stuffHistory,
          s.heldMarker,   s.padding,   s.holdsMarkers};
}

StreamPlace leavePlace(JpgStream *s) {
  const StreamPlace place = streamPlaceOf(*s);
  if (s->heldMarker != 0) release(s);
  endHolding(s);
  return place;
}

Result returnToPlace(JpgStream *s, const StreamPlace &place) {
  if (const Result r = goToOffset(s, place.offset); r != JPG_OK) return r;
  if (place.heldMarker != 0) hold(s, place.heldMarker);
  s->bitBuffer = place.bitBuffer;
  s->bitCount = place.bitCount;
  s->stuffHistory = place.stuffHistory;
  s->padding = place.padding;
  s->holdsMarkers = place.holdsMarkers;
  return JPG_OK;
}

uint32_t offsetOf(const JpgStream &s) {
  const uint32_t fetched = fetchOffset(s);
  const uint32_t marker = s.heldMarker != 0 && s.heldMarker != kHeldEnd ? 2 : 0;
  const uint32_t pending = s.bitCount > s.padding ? (s.bitCount - s.padding) / 8 : 0;
  return fetched - marker - pending;
}

Result goToOffset(JpgStream *s, uint32_t offset) {
  s->heldMarker = 0;
  s->padding = 0;
  dropFetched(s, offset - kSoiLength);
  return streamSeek(s, offset, kSeekBegin) == kSeekFailed ? JPG_E_SEEK : JPG_OK;
}

}  // namespace jpg
