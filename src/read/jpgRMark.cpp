// SPDX-License-Identifier: MIT
// Marker segment access, restart markers and partial bitstreams.
#include "read/jpgRMark.h"

#include "read/jpgRBits.h"
#include "read/jpgRHead.h"
#include "read/jpgRPicture.h"
#include "read/jpgRPlanes.h"
#include "share/jpgArith.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

void restartDecoder(JpgContext *c) {
  skipMarker(&c->stream);
  c->eobRun = 0;
  c->mcusSinceRestart = 0;
  for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
}

Result loadDnl(JpgContext *c) {
  constexpr uint32_t kDnlLength = 4;  // length field and number of lines
  skipMarker(&c->stream);
  if (readRaw(&c->stream, 16) != kDnlLength) return JPG_E_BAD_SEGMENT_LENGTH;
  const uint32_t lines = readRaw(&c->stream, 16);
  if (c->height != 0) return JPG_E_DNL_CONFLICT;
  c->height = lines;
  return JPG_OK;
}

// Goes to the segment that `mode` asks for.
Result seekSegment(JpgContext *c, int32_t mode, Segment *segment) {
  if (mode == JPG_SEGMENT_NEXT) return nextSegment(c, segment);
  *segment = {0, 0};
  const Result r = reposition(c, kSoiLength, Reposition::kStreamOnly);
  return r != JPG_OK ? r : openSegment(c, segment);
}

// MCU rows (lossless: lines) of a restart interval; 0 when a DCT interval is not
// a whole number of MCU rows.
Result rowsPerInterval(const JpgContext &c, uint32_t *rows) {
  const bool lossless = c.sofMarker >= kMarkerSof3;
  const uint32_t perRow = lossless ? c.width : c.mcusPerRow;
  if (perRow == 0) return JPG_E_UNSUPPORTED;
  if (!lossless && c.restartInterval % perRow != 0) return JPG_E_UNSUPPORTED;
  *rows = c.restartInterval / perRow;
  return JPG_OK;
}

// Goes to where a restart seek begins to count intervals.
Result goToIntervalOrigin(JpgContext *c, uint32_t mode, uint32_t rows) {
  if (mode == JPG_RESTART_FROM_START) return goToScanData(c, Reposition::kFull);
  if (rows != 0) c->rowPosition -= c->rowPosition % rows;
  alignToByte(&c->stream);
  return JPG_OK;
}

// The rows ahead of the interval are decoded on the way by the next decode call.
Result seekLeniently(JpgContext *c, int32_t intervals, uint32_t mode, uint32_t rows) {
  const uint32_t current = pictureRow(*c);
  const uint32_t origin = mode == JPG_RESTART_FROM_CURRENT ? current - current % rows : 0;
  const uint64_t passed = intervals > 0 ? asUnsigned(intervals) : 0;
  const uint64_t row = origin + passed * rows;
  if (row >= c->mcuRows) return JPG_NO_DATA;
  seekPictureRow(c, static_cast<uint32_t>(row));
  return JPG_OK;
}

// Drops bytes up to the next marker, or up to the end of the data, whose 1-bits look like
// one; returns the two bytes there. The dropped bytes may include some that the marker peek
// has already unstuffed.
uint32_t findMarker(JpgStream *s) {
  for (;;) {
    const uint32_t code = peekRaw(s, 16);
    if (code >= kMarkerFirst && !oldestIsStuffed(s)) return code;
    dropBits(s, 8);
  }
}

}  // namespace

void handleMarkers(JpgContext *c) {
  for (uint32_t marker = peekMarker(&c->stream); isMarker(marker);
       marker = peekMarker(&c->stream)) {
    if (isRestart(marker)) {
      restartDecoder(c);
    } else if (marker == kMarkerEoi) {
      c->lastMarker = kMarkerEoi;
      return;
    } else if (marker == kMarkerDnl) {
      loadDnl(c);
    } else if (setUpScan(c) != JPG_OK) {
      return;
    }
  }
}

void endInterval(JpgContext *c, BitWindow *w, bool endsScan) {
  if (isOpen(*w)) closeWindow(w, &c->stream);
  if (c->mcusSinceRestart != c->restartInterval) {
    c->lastMarker = peekMarker(&c->stream);
  } else if (endsScan) {
    while (isRestart(peekMarker(&c->stream))) restartDecoder(c);
  } else {
    handleMarkers(c);
  }
}

}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadSeekMarkerSegment(JPGHANDLE handle, int32_t mode, uint16_t *marker,
                                           uint32_t *length) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || marker == nullptr || length == nullptr) return JPG_E_INVALID_HANDLE;
  if (mode == JPG_SEGMENT_DAMAGE && isLenient(*c)) return tellDamage(*c, marker, length);
  c->flags |= kFlagMarkerAccessUsed;  // also for a mode that is refused
  if (mode != JPG_SEGMENT_FIRST && mode != JPG_SEGMENT_NEXT) return JPG_E_INVALID_PARAMETER;
  if (isLenient(*c)) leavePicture(c);
  Segment segment;
  const Result r = seekSegment(c, mode, &segment);
  *marker = static_cast<uint16_t>(segment.marker);
  *length = segment.length;
  return r;
}

uint32_t JPG_CALL jpgReadReadMarkerData(JPGHANDLE handle, void *buffer, uint32_t size,
                                        uint32_t *count) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || buffer == nullptr) return JPG_E_INVALID_HANDLE;
  c->flags |= kFlagMarkerAccessUsed;  // also for a size that is refused
  if (size == 0) return JPG_E_INVALID_PARAMETER;
  const uint32_t left = c->segLength - c->segConsumed;
  const uint32_t n = size < left ? size : left;
  readSegmentData(c, static_cast<uint8_t *>(buffer), n);
  if (count != nullptr) *count = n;
  return n > 0 ? JPG_OK : JPG_NO_DATA;
}

uint32_t JPG_CALL jpgReadSeekMarkerData(JPGHANDLE handle) {
  JpgContext *c = validReader(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  c->flags |= kFlagMarkerAccessUsed;
  return JPG_E_UNSUPPORTED;
}

uint32_t JPG_CALL jpgReadSeekRestartMarker(JPGHANDLE handle, int32_t intervals, uint32_t mode) {
  JpgContext *c = validReader(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->restartInterval == 0) return JPG_NO_DATA;
  uint32_t rows = 0;
  if (const Result r = rowsPerInterval(*c, &rows); r != JPG_OK) return r;
  if (mode != JPG_RESTART_FROM_START && mode != JPG_RESTART_FROM_CURRENT) {
    return JPG_E_INVALID_PARAMETER;
  }
  if (isLenient(*c)) {
    if (c->sofMarker != kMarkerSof3) return seekLeniently(c, intervals, mode, rows);
    if (const Result r = returnToPicture(c); r != JPG_OK) return r;
  }
  c->read.restartSought = 1;
  resetPlanes(c);
  if (const Result r = goToIntervalOrigin(c, mode, rows); r != JPG_OK) return r;
  for (int32_t i = 0; i < intervals; i++) {
    c->rowPosition += rows;
    const uint32_t marker = findMarker(&c->stream);
    handleMarkers(c);
    if (!isRestart(marker)) return JPG_NO_DATA;
  }
  c->flags |= kFlagPositioned;
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadSetPartialBitstream(JPGHANDLE handle, const void *data, uint32_t size) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || data == nullptr) return JPG_E_INVALID_HANDLE;
  if (size == 0) return JPG_E_INVALID_PARAMETER;
  constexpr uint32_t kNeeded = kFlagMemorySource | kFlagPartialBitstream;
  if ((c->flags & kNeeded) != kNeeded) return JPG_NO_DATA;
  for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
  c->flags |= kFlagPositioned;
  // An EOI at the end of a piece doesn't end the picture: decoding goes on in the new block.
  c->lastMarker = 0;
  c->flags &= ~kFlagMarkerAccessUsed;
  c->read.inPiece = 1;
  JpgStream *s = &c->stream;
  s->base = static_cast<const uint8_t *>(data);
  s->current = const_cast<uint8_t *>(s->base);
  s->size = size;
  s->position = 0;
  dropFetched(s, 0);
  return JPG_OK;
}
