// SPDX-License-Identifier: MIT
// Marker segments, restart intervals, refused arguments.
#include "suite.h"

namespace golden {
namespace {

void walkSegments(Suite &suite, Digest &digest, const Stream &stream) {
  constexpr int kMost = 40;
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  uint32_t r = JPG_OK;
  for (int i = 0; i < kMost && r == JPG_OK; i++) {
    uint16_t marker = 0;
    uint32_t length = 0;
    const int32_t mode = i == 0 ? JPG_SEGMENT_FIRST : JPG_SEGMENT_NEXT;
    r = jpgReadSeekMarkerSegment(in.handle(), mode, &marker, &length);
    digest.number(r);
    digest.number(marker);
    digest.number(length);
    uint8_t data[7] = {};
    uint32_t count = 0;
    digest.number(jpgReadReadMarkerData(in.handle(), data, sizeof(data), &count));
    digest.number(count);
    digest.bytes(data, sizeof(data));
  }
  Plane plane(stream.width, stream.height);
  const JpgRect rect = plane.rect(0, pixelBytesOf(stream));
  suite.result(digest, jpgReadToRect(in.handle(), &rect, stream.height));
  plane.fold(digest);
}

// The rows of one interval, from the start and from the place reached.
void seekIntervals(Suite &suite, Digest &digest, const Stream &stream, int32_t intervals) {
  constexpr int32_t kLines = 16;
  Opened in(suite, digest, stream);
  Plane plane(stream.width, 3 * kLines);
  JpgRect rect = plane.rect(0, pixelBytesOf(stream));
  const auto seek = [&](int32_t n, uint32_t mode) {
    digest.number(jpgReadSeekRestartMarker(in.handle(), n, mode));
  };
  seek(intervals, JPG_RESTART_FROM_START);
  digest.number(jpgReadToRect(in.handle(), &rect, kLines));
  seek(1, JPG_RESTART_FROM_CURRENT);
  rect = plane.rect(kLines, pixelBytesOf(stream));
  digest.number(jpgReadToRect(in.handle(), &rect, kLines));
  seek(0, JPG_RESTART_FROM_START);
  rect = plane.rect(2 * kLines, pixelBytesOf(stream));
  digest.number(jpgReadToRect(in.handle(), &rect, kLines));
  seek(100, JPG_RESTART_FROM_START);
  seek(1, 2);
  plane.fold(digest);
}

void runRestarts(Suite &suite) {
  const struct {
    const char *name;
    int32_t channels;
    uint32_t sampling;
    int32_t interval;
  } kCases[] = {{"grey", 1, 0x11, 6},          {"greyTwoRows", 1, 0x11, 12},
                {"quarter", 3, 0x221111, 3},   {"full", 3, 0x111111, 6},
                {"withinRow", 3, 0x221111, 2}, {"none", 3, 0x221111, 0}};
  for (const auto &c : kCases) {
    Digest digest;
    const Stream stream = encodeSample(suite, c.channels, c.sampling, c.interval);
    for (int32_t n = 0; n < 4; n++) seekIntervals(suite, digest, stream, n);
    suite.emit(std::string("access.restart.") + c.name, digest);
  }
}

// Calls that a reader refuses.
void refuseReading(Suite &suite, Digest &digest, const Stream &stream) {
  Opened in(suite, digest, stream);
  JPGHANDLE h = in.handle();
  Plane plane(stream.width, stream.height);
  JpgRect rect = plane.rect(0, 2);
  uint32_t n = 0;
  uint16_t marker = 0;
  void *block = nullptr;
  digest.number(jpgReadSeekMarkerData(h));
  digest.number(jpgReadSeekMarkerSegment(h, 2, &marker, &n));
  digest.number(jpgReadReadMarkerData(h, &rect, 0, &n));
  digest.number(jpgReadSetPartialBitstream(h, stream.bytes.data(), 5));
  digest.number(jpgReadScaleOutputGetImageSize(h, &n, &n, 4));
  digest.number(jpgReadScaleOutputToRect(h, &rect, 1, -1));
  digest.number(jpgReadProgressiveToRect(h, &rect, 1, 0));
  digest.number(jpgReadSpatialToRect(h, &rect, 1));
  digest.number(jpgWriteFromRect(h, &rect, 1));
  digest.number(jpgWriteEpilogToMemory(h, &block, &n));
  digest.number(jpgWriteEpilogToFile(h));
  digest.number(jpgReadEpilog(nullptr));
  rect.bits = nullptr;
  digest.number(jpgReadToRect(h, &rect, 1));
}

// Settings and calls that a writer refuses.
void refuseWriting(Suite &suite, Digest &digest) {
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToMemory(0, &h));
  JpgRect rect = {};
  uint8_t pixels[16] = {};
  void *block = nullptr;
  uint32_t n = 0;
  digest.number(jpgWriteSetImageSize(h, 0, 1));
  digest.number(jpgWriteSetSubsamplingFactor(h, 0x411111));
  digest.number(jpgWriteSetNumberOfComponents(h, 5));
  digest.number(jpgWriteSetQuantizationFactor(h, 101));
  digest.number(jpgWriteSetSpatialPredictor(h, 8));
  digest.number(jpgWriteWriteMarkerCode(h, 0xFFFF, 4));
  digest.number(jpgWriteWriteMarkerSegment(h, 0xFFE1, pixels, 65534));
  digest.number(jpgWriteGetPartialBitstream(h, &block, &n));
  rect.bits = pixels;
  digest.number(jpgWriteFromRect(h, &rect, 0));
  rect.bitsPerSample = 8;
  rect.width = 4;
  rect.height = 1;
  for (const int32_t channels : {0, 2, 5}) {
    rect.channels = channels;
    digest.number(jpgWriteFromRect(h, &rect, 1));
  }
  rect.bitsPerSample = 17;
  digest.number(jpgWriteSpatialFromRect(h, &rect, 1));
  digest.number(jpgReadEpilog(h));
  suite.result(digest, jpgWriteEpilogToMemory(h, &block, &n));
  digest.bytes(takeBlock(suite, block, n));
  digest.number(jpgWriteFreeBitstream(nullptr));
}

}  // namespace

void runAccess(Suite &suite) {
  Digest grey, colour;
  walkSegments(suite, grey, encodeSample(suite, 1, 0x11, 5));
  suite.emit("access.segments.grey", grey);
  walkSegments(suite, colour, encodeSample(suite, 3, 0x221111, 3));
  suite.emit("access.segments.colour", colour);
  runRestarts(suite);
  Digest reading, writing;
  refuseReading(suite, reading, encodeSample(suite, 3, 0x221111, 0));
  suite.emit("access.refused.reading", reading);
  refuseWriting(suite, writing);
  suite.emit("access.refused.writing", writing);
}

}  // namespace golden
