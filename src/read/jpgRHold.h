// SPDX-License-Identifier: MIT
// A bit reader that stops at markers: the entropy-coded data end where a marker stands, whatever
// the decoders ask for. For data that may be damaged (JPG_READ_LENIENT).
//
// Once a marker is met it is held: nothing more is fetched, and zero bits follow the data. The
// reader of the scan then looks at the marker and goes on behind it or leaves it to the headers'
// parser.
#ifndef JPG_READ_RHOLD_H
#define JPG_READ_RHOLD_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kHeldEnd = 0xFFFF;  // heldMarker: no marker, the data have ended

// Lets the bit reader stop at markers from here on, or no longer; nothing may be held.
void beginHolding(JpgStream *s);
void endHolding(JpgStream *s);

// True when the decoder has taken bits that the data didn't have.
inline bool overran(const JpgStream &s) { return s.bitCount < s.padding; }

// Drops data up to the next marker or the end, and holds it; true if more than the bits that fill
// up a byte were dropped.
bool skipToMarker(JpgStream *s);

// Goes on behind the held marker.
void passMarker(JpgStream *s);

// Makes the held marker what the headers' parser reads next, and ends the holding.
void leaveMarker(JpgStream *s);

// A place in the data to which the stream can return from anywhere.
struct StreamPlace {
  uint32_t offset;  // of the next byte to be fetched
  uint32_t bitBuffer, bitCount, stuffHistory;
  uint32_t heldMarker, padding, holdsMarkers;
};

StreamPlace streamPlaceOf(const JpgStream &s);

// Notes the place and ends the holding.
StreamPlace leavePlace(JpgStream *s);

// 0 or JPG_E_SEEK.
Result returnToPlace(JpgStream *s, const StreamPlace &place);

// Stream offset of the next unread byte, while a marker is held or not; SOI is at 0.
uint32_t offsetOf(const JpgStream &s);

// Goes to a stream offset, such that offsets count on from it. 0 or JPG_E_SEEK.
Result goToOffset(JpgStream *s, uint32_t offset);

}  // namespace jpg

#endif
