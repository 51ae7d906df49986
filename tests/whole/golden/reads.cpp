// SPDX-License-Identifier: MIT
// The ways to read a stream, each folded into a digest.
#include <cstring>

#include "suite.h"

namespace golden {
namespace {

int32_t least(int32_t a, int32_t b) { return a < b ? a : b; }

constexpr int32_t kNoLimit = 0x7FFFFFF;

// Rows from the top, so many a call, up to the first call that fails.
template <typename Read>
void inBands(Suite &suite, Digest &digest, int32_t height, int32_t lines, const Read &read) {
  const int32_t band = lines > 0 ? lines : kNoLimit;
  for (int32_t y = 0; y < height; y += band) {
    const int32_t rows = least(band, height - y);
    const uint32_t r = read(y, rows);
    suite.result(digest, r);
    if (r != JPG_OK) return;
  }
}

void readRows(Suite &suite, Digest &digest, const Stream &stream, int32_t lines, bool bottomUp) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  Plane plane(stream.width, stream.height, bottomUp);
  inBands(suite, digest, stream.height, lines, [&](int32_t y, int32_t rows) {
    const JpgRect rect = plane.rect(y, pixelBytesOf(stream));
    return jpgReadToRect(in.handle(), &rect, rows);
  });
  plane.fold(digest);
}

}  // namespace

void readWhole(Suite &suite, Digest &digest, const Stream &stream, bool bottomUp) {
  readRows(suite, digest, stream, 0, bottomUp);
}

void readBands(Suite &suite, Digest &digest, const Stream &stream, int32_t lines) {
  readRows(suite, digest, stream, lines, false);
}

void readRaw(Suite &suite, Digest &digest, const Stream &stream) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  suite.result(digest, jpgReadSetNoColorConversion(in.handle()));
  Plane plane(stream.width, stream.height);
  const JpgRect rect = plane.rect(0, stream.components);
  suite.result(digest, jpgReadToRect(in.handle(), &rect, stream.height));
  plane.fold(digest);
}

void readScaled(Suite &suite, Digest &digest, const Stream &stream, int32_t scale, int32_t lines) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  uint32_t width = 0, height = 0;
  suite.result(digest, jpgReadScaleOutputGetImageSize(in.handle(), &width, &height, scale));
  digest.number(width);
  digest.number(height);
  const int32_t divisor = 1 << (JPG_SCALE_FULL - scale);
  const int32_t rows = (stream.height + divisor - 1) / divisor;
  Plane plane(stream.width, stream.height);
  inBands(suite, digest, rows, lines / divisor, [&](int32_t y, int32_t count) {
    const JpgRect rect = plane.rect(y, pixelBytesOf(stream));
    return jpgReadScaleOutputToRect(in.handle(), &rect, count, scale);
  });
  plane.fold(digest);
}

void readProgressive(Suite &suite, Digest &digest, const Stream &stream, int32_t lines) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  Plane plane(stream.width, stream.height);
  inBands(suite, digest, stream.height, lines, [&](int32_t y, int32_t rows) {
    const JpgRect rect = plane.rect(y, pixelBytesOf(stream));
    return jpgReadProgressiveToRect(in.handle(), &rect, rows, JPG_PROGRESSIVE_ALL_SCANS);
  });
  plane.fold(digest);
}

void readScanByScan(Suite &suite, Digest &digest, const Stream &stream) {
  constexpr int kMostScans = 64;
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  uint32_t r = JPG_OK;
  for (int scan = 0; r == JPG_OK && scan < kMostScans; scan++) {
    Plane plane(stream.width, stream.height);
    const JpgRect rect = plane.rect(0, pixelBytesOf(stream));
    r = jpgReadProgressiveToRect(in.handle(), &rect, stream.height, JPG_PROGRESSIVE_NEXT_SCAN);
    digest.number(r);
    plane.fold(digest);
  }
  suite.require(!suite.isStrict() || r == JPG_NO_DATA);
}

void readLossless(Suite &suite, Digest &digest, const Stream &stream, int32_t lines) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  uint32_t precision = 0;
  suite.result(digest, jpgReadGetSamplePrecision(in.handle(), &precision));
  Plane plane(stream.width, stream.height);
  inBands(suite, digest, stream.height, lines, [&](int32_t y, int32_t rows) {
    const JpgRect rect = plane.rect(y, stream.components);
    const uint32_t r = jpgReadSpatialToRect(in.handle(), &rect, rows);
    if (r != JPG_OK || y + rows >= stream.height) return r;
    const JpgRect last = plane.rect(y + rows - 1, stream.components);
    return jpgReadSpatialToRect(in.handle(), &last, 0);
  });
  const int32_t samples = stream.width * stream.components;
  for (int32_t y = 0; y < stream.height; y++) {
    for (int32_t i = 0; i < samples; i++) {
      uint16_t word = plane.row(y)[i];
      if (precision > 8) memcpy(&word, plane.row(y) + 2 * i, sizeof(word));
      digest.byte(word);
      digest.byte(word >> 8U);
    }
  }
}

void emitReads(Suite &suite, const std::string &name, const Stream &stream) {
  Digest rows, scaled;
  readWhole(suite, rows, stream);
  readWhole(suite, rows, stream, true);
  readBands(suite, rows, stream, 16);
  readBands(suite, rows, stream, 32);
  readRaw(suite, rows, stream);
  suite.emit(name + ".rows", rows);
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    readScaled(suite, scaled, stream, scale, 0);
    readScaled(suite, scaled, stream, scale, 16);
  }
  suite.emit(name + ".scaled", scaled);
}

}  // namespace golden
