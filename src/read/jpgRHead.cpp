// SPDX-License-Identifier: MIT
#include "read/jpgRHead.h"

#include "read/jpgRBits.h"
#include "read/jpgRHunt.h"
#include "read/jpgRLenient.h"
#include "read/jpgRScan.h"
#include "read/jpgRTables.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr uint32_t kMaxSampling = 2;         // largest sampling factor that is supported
constexpr uint32_t kMaxLenientSampling = 4;  // the same for lenient reading

// Drops the unread rest of the current segment.
void skipSegmentRest(JpgContext *c) {
  uint32_t left = c->segLength - c->segConsumed;
  for (; left >= 2; left -= 2) readRaw(&c->stream, 16);
  if (left != 0) readRaw(&c->stream, 8);
  c->segConsumed = c->segLength;
}

// The JFIF segment: "JFIF", 0, version, units and densities (bytes 7 to 11).
void readApp0(JpgContext *c) {
  uint8_t data[14];
  if (c->segLength < sizeof(data)) return;
  readSegmentData(c, data, sizeof(data));
  if (compareText(reinterpret_cast<const char *>(data), "JFIF") != 0) return;
  c->flags |= kFlagJfifSeen;
  c->jfifUnits = data[7];
  c->jfifXDensity = static_cast<uint16_t>(data[8] << 8 | data[9]);
  c->jfifYDensity = static_cast<uint16_t>(data[10] << 8 | data[11]);
}

// "Adobe", version, flags, and the colour transform in byte 11.
void readApp14(JpgContext *c) {
  uint8_t data[12];
  if (c->segLength < sizeof(data)) return;
  readSegmentData(c, data, sizeof(data));
  // The text isn't zero-terminated in the segment: its sixth byte is the high byte
  // of the version, which is 0.
  if (compareText(reinterpret_cast<const char *>(data), "Adobe") != 0) return;
  c->flags |= kFlagAdobeSeen;
  c->adobeTransform = data[11];
}

static_assert(kMarkerFirst == kMarkerSof0, "no marker lies below the frame headers'");

void readFrameComponents(JpgContext *c) {
  uint32_t blocks = 0;  // of the component, or of the one before where a factor is 0
  for (uint32_t i = 0; i < c->numComponents; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    k->id = static_cast<uint8_t>(readRaw(&c->stream, 8));
    k->sampling = static_cast<uint8_t>(readRaw(&c->stream, 8));
    k->tq = static_cast<uint8_t>(readRaw(&c->stream, 8));
    const uint32_t h = k->sampling >> 4;
    const uint32_t v = k->sampling & 15;
    if (h > c->hMax) c->hMax = h;
    if (v > c->vMax) c->vMax = v;
    if (h * v != 0) blocks = h * v;
    c->blocksPerMcu += blocks;
    c->samplingPacked = c->samplingPacked << 8 | k->sampling;
  }
}

// One component is never subsampled against another, whatever the file says
// (T.81 A.2.2: its data units are coded one by one).
void forceSingleComponent(JpgContext *c) {
  c->scanComponents[0].sampling = 0x11;
  c->samplingPacked = 0x11;
  c->hMax = 1;
  c->vMax = 1;
  c->blocksPerMcu = 1;
}

constexpr uint32_t ceilDiv(uint32_t n, uint32_t d) { return (n + d - 1) / d; }

bool frameIsServed(const JpgContext &c) {
  const uint32_t most = isLenient(c) ? kMaxLenientSampling : kMaxSampling;
  if (c.hMax < 1 || c.hMax > most || c.vMax < 1 || c.vMax > most) return false;
  for (uint32_t i = 0; i < c.numComponents; i++) {
    const JpgScanComponent &k = c.scanComponents[i];
    if (k.tq >= kMaxTables || (isLenient(c) && frameBlocks(k) == 0)) return false;
  }
  return true;
}

}  // namespace

bool endsHeaderLoop(uint32_t marker) {
  if (marker == kMarkerSos) return true;
  if (marker <= kMarkerSof3) return true;
  if (marker == kMarkerSof5 || marker == kMarkerSof6) return true;
  return marker >= kMarkerSof9 && marker <= kMarkerSof15;
}

Result loadSegment(JpgContext *c, uint32_t marker) {
  switch (marker) {
    case kMarkerDht:
      return readHuffmanTables(c);
    case kMarkerDqt:
      return readQuantTables(c);
    case kMarkerDri:
      return readRestartInterval(c);
    case kMarkerApp0:
      readApp0(c);
      return JPG_OK;
    case kMarkerApp14:
      readApp14(c);
      return JPG_OK;
    default:
      return JPG_OK;
  }
}

void deriveGeometry(JpgContext *c) {
  c->hvMax = c->hMax * c->vMax;
  c->hvMaxTimesNf = c->hvMax * c->numComponents;
  c->lumaBlockSlots = kMaxComponents * c->hvMax;
  c->mcuWidth = 8 * c->hMax;
  c->mcuHeight = 8 * c->vMax;
  c->mcusPerRow = ceilDiv(c->width, c->mcuWidth);
  c->mcuRows = ceilDiv(c->height, c->mcuHeight);
  c->mcuCount = c->mcusPerRow * c->mcuRows;
}

Result openSegment(JpgContext *c, Segment *segment) {
  if (isLenient(*c)) return openHuntedSegment(c, segment);
  *segment = {0, 0};
  c->segLength = 0;
  c->segConsumed = 0;
  const uint32_t marker = peekMarker(&c->stream);
  if (!isMarker(marker)) return JPG_E_NOT_JPEG;
  skipMarker(&c->stream);
  if (marker < kMarkerRst0 || marker > kMarkerEoi) {
    constexpr uint32_t kLengthField = 2;  // the length counts its own field
    const uint32_t length = readRaw(&c->stream, 16);
    if (length < kLengthField) return JPG_E_NOT_JPEG;
    segment->length = length - kLengthField;
  }
  segment->marker = marker;
  c->segLength = segment->length;
  return JPG_OK;
}

Result nextSegment(JpgContext *c, Segment *segment) {
  skipSegmentRest(c);
  return openSegment(c, segment);
}

void readSegmentData(JpgContext *c, uint8_t *buffer, uint32_t n) {
  readRawBytes(&c->stream, buffer, n);
  c->segConsumed += n;
}

Result runHeaderLoop(JpgContext *c, uint32_t *marker) {
  for (;;) {
    Segment segment;
    if (const Result r = nextSegment(c, &segment); r != JPG_OK) return r;
    *marker = segment.marker;
    if (endsHeaderLoop(segment.marker)) return JPG_OK;
    if (const Result r = loadSegment(c, segment.marker); r != JPG_OK) return r;
  }
}

Result readFrameHeader(JpgContext *c) {
  JpgStream *s = &c->stream;
  c->precision = readRaw(s, 8);
  c->height = readRaw(s, 16);
  c->width = readRaw(s, 16);
  const uint32_t components = readRaw(s, 8);
  if (components < 1 || components > kMaxComponents) return JPG_E_UNSUPPORTED;
  c->numComponents = components;
  c->samplingPacked = 0;
  c->hMax = 0;
  c->vMax = 0;
  c->blocksPerMcu = 0;
  readFrameComponents(c);
  c->segConsumed = c->segLength;  // the length isn't checked; decoding goes on behind the header
  if (components == 1) forceSingleComponent(c);
  if (!frameIsServed(*c)) return JPG_E_UNSUPPORTED;
  deriveGeometry(c);
  return JPG_OK;
}

Result setUpScan(JpgContext *c) {
  c->read.scanSetUps++;
  uint32_t marker = 0;
  if (const Result r = runHeaderLoop(c, &marker); r != JPG_OK) return r;
  if (const Result r = buildPendingTables(c); r != JPG_OK) return r;
  if (marker == kMarkerSos) {
    ScanHeader scan;
    if (const Result r = readScanHeader(c, &scan); r != JPG_OK) return r;
    useScan(c, scan);
  }
  beginScan(c);
  return JPG_OK;
}

}  // namespace jpg
