// SPDX-License-Identifier: MIT
// Header parsing: the walk over marker segments, the tables and headers that they
// hold, and the set-up of a scan.
//
// In: the stream behind SOI or behind a scan. Out: the frame's values, tables and
// geometry in the context, and the scan's tables in its component slots. Called by
// the prologs and between scans. Segment contents are read raw.
#ifndef JPG_READ_RHEAD_H
#define JPG_READ_RHEAD_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

// The header of a marker segment.
struct Segment {
  uint32_t marker;  // 0xFFC0 to 0xFFFE, 0 for none
  uint32_t length;  // data bytes
};

// Opens the segment at the stream's position; or skips the rest of the current one and opens
// the next. 0 or JPG_E_NOT_JPEG.
Result openSegment(JpgContext *c, Segment *segment);
Result nextSegment(JpgContext *c, Segment *segment);

// Reads n bytes of the current segment, which must have them left, and counts them
// as consumed.
void readSegmentData(JpgContext *c, uint8_t *buffer, uint32_t n);

// Loads the contents of a segment that the reader uses. 0 or the segment's code.
Result loadSegment(JpgContext *c, uint32_t marker);

// True for the markers that end the header loop: of frames and scans.
bool endsHeaderLoop(uint32_t marker);

// Walks segments, loading tables, up to a frame or scan header. 0 and the marker,
// or the code of the segment that failed.
Result runHeaderLoop(JpgContext *c, uint32_t *marker);

// Reads a frame header and derives the MCU geometry. 0 or JPG_E_UNSUPPORTED.
Result readFrameHeader(JpgContext *c);

// Derives the MCU geometry of the picture's size and sampling factors.
void deriveGeometry(JpgContext *c);

// Walks to the next scan header, builds pending lookup arrays and sets the scan up.
// On failure the scan under way keeps its tables and header.
Result setUpScan(JpgContext *c);

}  // namespace jpg

#endif
