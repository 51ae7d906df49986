// SPDX-License-Identifier: MIT
// Calls at the edges: rows beyond the last, changes of scale, odd headers.
#include "suite.h"

namespace golden {
namespace {

// More rows than there are while the height is unknown, then again with the height known.
void runBeyondTheEnd(Suite &suite) {
  Digest digest;
  const Stream stream = noHeightSample(suite);
  Plane plane(stream.width, 2 * stream.height);
  Opened in(suite, digest, stream);
  for (const int32_t lines : {16, 64, 16, 1, 0}) {
    const JpgRect rect = plane.rect(0, 3);
    uint32_t width = 0, height = 0;
    digest.number(jpgReadToRect(in.handle(), &rect, lines));
    digest.number(jpgReadGetImageSize(in.handle(), &width, &height));
    digest.number(height);
    plane.fold(digest);
  }
  suite.emit("edge.beyondTheEnd", digest);
}

// Another scale begins the picture again.
void runScaleChanges(Suite &suite) {
  Digest digest;
  const Stream stream = encodeSample(suite, 3, 0x221111, 0);
  Opened in(suite, digest, stream);
  const int32_t scales[] = {JPG_SCALE_HALF,    JPG_SCALE_EIGHTH, JPG_SCALE_FULL, JPG_SCALE_QUARTER,
                            JPG_SCALE_QUARTER, JPG_SCALE_HALF,   JPG_SCALE_FULL};
  for (const int32_t scale : scales) {
    Plane plane(stream.width, stream.height);
    const JpgRect rect = plane.rect(0, 3);
    suite.result(digest, jpgReadScaleOutputToRect(in.handle(), &rect, 4, scale));
    plane.fold(digest);
  }
  suite.emit("edge.scaleChanges", digest);
}

// A lossless scan that selects no predictor, and one of more than there are.
void runPredictors(Suite &suite) {
  Digest digest;
  for (const int32_t precision : {8, 12}) {
    Stream stream = losslessSample(suite, precision, 1, 1);
    size_t sos = 0;
    while (stream.bytes[sos] != 0xFF || stream.bytes[sos + 1] != 0xDA) sos++;
    for (const uint8_t predictor : {uint8_t{0}, uint8_t{8}, uint8_t{7}}) {
      stream.bytes[sos + 7] = predictor;  // behind marker, length, count, one component
      readLossless(suite, digest, stream, 0);
    }
  }
  suite.emit("edge.predictors", digest);
}

// Components as they are into pixels of other sizes.
void runPixelSizes(Suite &suite) {
  Digest digest;
  for (const int32_t channels : {1, 3, 4}) {
    const Stream stream = encodeSample(suite, channels, 0x11111111, 0);
    for (int32_t pixelBytes = 0; pixelBytes <= 5; pixelBytes++) {
      Opened in(suite, digest, stream);
      digest.number(jpgReadSetNoColorConversion(in.handle()));
      Plane plane(stream.width, stream.height);
      const JpgRect rect = plane.rect(0, pixelBytes);
      digest.number(jpgReadToRect(in.handle(), &rect, stream.height));
      plane.fold(digest);
    }
  }
  suite.emit("edge.pixelSizes", digest);
}

// Widths of the rectangle that aren't the image's, and no rows.
void runRectangles(Suite &suite) {
  Digest digest;
  const Stream stream = encodeSample(suite, 3, 0x221111, 0);
  for (const int32_t width : {-1, 0, 1, 17, 44, 46, 60}) {
    Opened in(suite, digest, stream);
    Plane plane(60, stream.height);
    JpgRect rect = plane.rect(0, 3);
    rect.width = width;
    digest.number(jpgReadToRect(in.handle(), &rect, 0));
    digest.number(jpgReadToRect(in.handle(), &rect, 21));
    digest.number(jpgReadToRect(in.handle(), &rect, 100));
    plane.fold(digest);
  }
  suite.emit("edge.rectangles", digest);
}

void runNewTables(Suite &suite) {
  Digest digest;
  const Stream stream = newTablesSample();
  readProgressive(suite, digest, stream, 0);
  readScanByScan(suite, digest, stream);
  suite.emit("edge.newTables", digest);
}

}  // namespace

void runEdges(Suite &suite) {
  runNewTables(suite);
  runScaleChanges(suite);
  suite.setStrict(false);
  runBeyondTheEnd(suite);
  runPredictors(suite);
  runPixelSizes(suite);
  runRectangles(suite);
  suite.setStrict(true);
}

}  // namespace golden
