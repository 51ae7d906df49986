// SPDX-License-Identifier: MIT
// Corners that the modules' own tests leave: each a result that the interface promises.
#include <gtest/gtest.h>

#include "faulty.h"
#include "share/jpgShare.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

// Three components with these identifiers; the pixel of a picture that is flat but for its
// first component.
Bytes firstPixel(uint8_t a, uint8_t b, uint8_t c) {
  Picture p = makePicture(8, 8, {0x11, 0x11, 0x11}, Fill::kZero);
  p.components[0].id = a;
  p.components[1].id = b;
  p.components[2].id = c;
  p.components[1].blocks[0] = dcBlock(200);
  const Reader reader = Reader::ofMemory(encode(p));
  Canvas canvas(8, 8, 3);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
  const Bytes row = canvas.row(0);
  return {row.begin(), row.begin() + 3};
}

TEST(Corners, RgbTakesAllThreeIdentifiers) {
  const Bytes ycc = firstPixel(1, 2, 3);
  const Bytes rgb = firstPixel('R', 'G', 'B');
  EXPECT_NE(ycc, rgb);
  EXPECT_EQ(128, rgb[0]);  // blue and red are the flat components
  EXPECT_EQ(128, rgb[2]);
  EXPECT_EQ(ycc, firstPixel('R', 'G', 'A'));
  EXPECT_EQ(ycc, firstPixel('R', 'A', 'B'));
  EXPECT_EQ(ycc, firstPixel('A', 'G', 'B'));
}

TEST(Corners, ScaledOutputServesSequentialFramesAlone) {
  const Picture p = makePicture(16, 16, {0x11});
  const Reader reader = Reader::ofMemory(encodeProgressive(p, spectralScript(1)));
  ASSERT_RESULT(JPG_OK, reader.result());
  Canvas canvas(16, 16, 3);
  const JpgRect rect = canvas.rect();
  uint32_t width = 0, height = 0;
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadScaleOutputToRect(reader.handle(), &rect, 8, 2));
  EXPECT_RESULT(JPG_E_UNSUPPORTED,
                jpgReadScaleOutputGetImageSize(reader.handle(), &width, &height, 2));
  EXPECT_TRUE(canvas.untouched());
}

TEST(Corners, AProgressivePictureOfNoWidthIsDecodedAndNotStored) {
  const Picture p = makePicture(16, 16, {0x11});
  const Reader reader = Reader::ofMemory(encodeProgressive(p, spectralScript(1)));
  Canvas canvas(16, 16, 1);
  JpgRect rect = canvas.rect();
  for (const int32_t width : {0, -1, INT32_MIN}) {
    rect.width = width;
    EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 16, 1));
    EXPECT_TRUE(canvas.untouched());
  }
}

// Going back after the segments were walked is a seek, which may fail.
TEST(Corners, ReturningToTheScanMayFail) {
  const Picture p = makePicture(16, 16, {0x11});
  for (const bool progressive : {false, true}) {
    const TempFile file(progressive ? encodeProgressive(p, spectralScript(1)) : encode(p));
    faulty::reset();
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgReadPrologFromFile(widePath(file.path()).c_str(), 0, 0, 0, &h));
    uint16_t marker = 0;
    uint32_t length = 0;
    ASSERT_RESULT(JPG_OK, jpgReadSeekMarkerSegment(h, JPG_SEGMENT_FIRST, &marker, &length));
    faulty::arm(faulty::Operation::kSeek, faulty::Fault::kFail,
                faulty::calls(faulty::Operation::kSeek) + 1);
    Canvas canvas(16, 16, 1);
    const JpgRect rect = canvas.rect();
    EXPECT_RESULT(JPG_E_SEEK, progressive ? jpgReadProgressiveToRect(h, &rect, 16, 0)
                                          : jpgReadToRect(h, &rect, 16));
    EXPECT_TRUE(canvas.untouched());
    EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
    EXPECT_EQ(0u, faulty::liveBlocks());
    faulty::reset();
  }
}

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

TEST(Corners, ABitmapOfAnotherWidthDoesntContinueAFrame) {
  Bitmap bitmap = {};
  bitmap.header.biSize = 40;
  bitmap.header.biWidth = 16;
  bitmap.header.biHeight = 32;
  bitmap.header.biBitCount = 24;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  const Bytes bits(size_t{4} * 17 * 32, 0x40);
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteFromWinDIBits(h, 16, bits.data(), bmi));
  for (const int32_t width : {15, 17}) {
    bitmap.header.biWidth = width;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgWriteFromWinDIBits(h, 16, bits.data(), bmi));
  }
  bitmap.header.biWidth = 16;
  EXPECT_RESULT(JPG_OK, jpgWriteFromWinDIBits(h, 16, bits.data(), bmi));
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(h));
}

TEST(Corners, ALosslessEncodeCallChecksWhatItIsGiven) {
  Bytes samples(64, 7);
  JpgRect rect = {8, 4, 8, 8, 1, 8, nullptr, 0, 0};
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgWriteSpatialFromRect(h, &rect, 4));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgWriteSpatialFromRect(h, nullptr, 4));
  rect.bits = samples.data();
  EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 4));
  EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 4));  // beyond the height: nothing
  void *data = nullptr;
  uint32_t size = 0;
  ASSERT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes read(64, 0);
  rect.bits = read.data();
  const Reader reader = Reader::ofMemory(Bytes(bytes, bytes + size));
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  EXPECT_RESULT(JPG_OK, jpgReadSpatialToRect(reader.handle(), &rect, 100));
  EXPECT_EQ(Bytes(samples.begin(), samples.begin() + 32), Bytes(read.begin(), read.begin() + 32));
  EXPECT_RESULT(JPG_E_FAIL, jpgReadSpatialToRect(reader.handle(), &rect, 1));
}

TEST(Corners, AnEncodeCallAfterAFailedOneSaysWhy) {
  Bytes samples(size_t{3} * 64 * 64);
  Random random(3);
  for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
  const JpgRect rect = {64, 0, 192, 24, 3, 8, samples.data(), 0, 0};
  for (const bool lossless : {false, true}) {
    faulty::reset();
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/full", 0, &h));
    const auto encode = [&] {
      return lossless ? jpgWriteSpatialFromRect(h, &rect, 64) : jpgWriteFromRect(h, &rect, 64);
    };
    EXPECT_RESULT(JPG_E_WRITE_FAULT, encode());
    EXPECT_RESULT(JPG_E_WRITE_FAULT, encode());
    EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteWriteMarkerSegment(h, 0xFFFE, samples.data(), 9));
    EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h));
    EXPECT_EQ(0u, faulty::liveBlocks());
  }
}

// The last line is kept for the next call; behind the height there is none.
TEST(Corners, LosslessLinesBehindTheHeightAreNotCoded) {
  Bytes samples(64);
  for (size_t i = 0; i < samples.size(); i++) samples[i] = static_cast<uint8_t>(37 * i);
  Bytes streams[2];
  for (Bytes &stream : streams) {
    JPGHANDLE h = nullptr;
    JpgRect rect = {8, 8, 8, 8, 1, 8, samples.data(), 0, 0};
    ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
    EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 3));
    rect.bits = samples.data() + 24;
    EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 5));
    if (&stream != streams) {
      const uint8_t *kept = reinterpret_cast<const uint8_t *>(h->losslessRowBuffer);
      const Bytes before(kept, kept + 8);
      rect.bits = samples.data();
      EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 5));
      EXPECT_EQ(before, Bytes(kept, kept + 8));
    }
    void *data = nullptr;
    uint32_t size = 0;
    ASSERT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
    const auto *bytes = static_cast<const uint8_t *>(data);
    stream.assign(bytes, bytes + size);
    EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  }
  EXPECT_EQ(streams[0], streams[1]);
  Bytes read(64, 0);
  const JpgRect rect = {8, 8, 8, 8, 1, 8, read.data(), 0, 0};
  const Reader reader = Reader::ofMemory(streams[0]);
  EXPECT_RESULT(JPG_OK, jpgReadSpatialToRect(reader.handle(), &rect, 8));
  EXPECT_EQ(samples, read);
}

TEST(Corners, ReturningToALosslessScanMayFail) {
  Bytes samples(64, 7);
  const JpgRect rect = {8, 8, 8, 8, 1, 8, samples.data(), 0, 0};
  const TempFile file({});
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(widePath(file.path()).c_str(), 0, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 8));
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(h));
  faulty::reset();
  ASSERT_RESULT(JPG_OK, jpgReadPrologFromFile(widePath(file.path()).c_str(), 0, 0, 0, &h));
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadSeekMarkerData(h));  // marker access all the same
  faulty::arm(faulty::Operation::kSeek, faulty::Fault::kFail,
              faulty::calls(faulty::Operation::kSeek) + 1);
  samples.assign(64, 0);
  EXPECT_RESULT(JPG_E_SEEK, jpgReadSpatialToRect(h, &rect, 8));
  EXPECT_EQ(Bytes(64, 0), samples);
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
  faulty::reset();
}

// A scan that begins between restart intervals may hold fewer components than the frame.
TEST(Corners, AScanWithoutAllComponentsEndsASequentialImageInItsMiddle) {
  Picture p = makePicture(24, 8, {0x11, 0x11, 0x11});
  p.restartInterval = 1;
  const std::vector<Bytes> parts = intervalsOf(p);
  StreamBuilder stream = headersOf(p);
  stream.raw(parts[0]).sos({{1, 0x00}}).raw(parts[1]).eoi();
  const Reader reader = Reader::ofMemory(stream.bytes());
  Canvas canvas(24, 8, 3);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadToRect(reader.handle(), &rect, 8));
  EXPECT_TRUE(canvas.guardsIntact());
}

}  // namespace
}  // namespace jpgtest
