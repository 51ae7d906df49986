// SPDX-License-Identifier: MIT
// Output that comes up short at every byte of the headers and of the first MCUs, and going
// back in a stream that can't.
#include <gtest/gtest.h>

#include "exif/jpgRExif.h"
#include "faulty.h"
#include "support/picture.h"
#include "support/random.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

constexpr uint32_t kStage = 4096;     // bytes that the writer collects
constexpr uint32_t kHeaders = 700;    // more than headers and the coded data take
constexpr uint32_t kSegmentHead = 6;  // SOI, a marker and its length

JpgRect noise(Bytes &samples) {
  samples.resize(size_t{3} * 16 * 16);
  Random random(6);
  for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
  return {16, 16, 48, 24, 3, 8, samples.data(), 0, 0};
}

// Writes a segment that leaves so many bytes of the stage, then a picture.
uint32_t writeBehind(JPGHANDLE h, uint32_t left, bool lossless, uint32_t sampling) {
  Bytes samples;
  const JpgRect rect = noise(samples);
  const Bytes filler(kStage - kSegmentHead - left, 0x33);
  const auto length = static_cast<uint32_t>(filler.size());
  EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, lossless ? 16 : 1));
  EXPECT_RESULT(JPG_OK, jpgWriteSetSubsamplingFactor(h, sampling));
  EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
  return lossless ? jpgWriteSpatialFromRect(h, &rect, 16) : jpgWriteFromRect(h, &rect, 16);
}

TEST(Sink, MayComeUpShortAtEveryByte) {
  for (const bool lossless : {false, true}) {
    for (uint32_t left = 1; left < kHeaders; left++) {
      faulty::reset();
      JPGHANDLE h = nullptr;
      ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/full", 0, &h));
      const uint32_t r = writeBehind(h, left, lossless, 0x00111111);
      EXPECT_RESULT(JPG_E_WRITE_FAULT, r) << left;
      EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h)) << left;
      EXPECT_EQ(0u, faulty::liveBlocks());
      EXPECT_EQ(0u, faulty::openFiles());
    }
  }
}

// Without restart intervals lines behind the first are predicted from the one above.
TEST(Sink, MayComeUpShortInEveryLineOfALosslessPicture) {
  Bytes samples;
  const JpgRect rect = noise(samples);
  for (uint32_t left = 1; left < kHeaders; left++) {
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/full", 0, &h));
    const Bytes filler(kStage - kSegmentHead - left, 0x33);
    const auto length = static_cast<uint32_t>(filler.size());
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
    EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteSpatialFromRect(h, &rect, 16)) << left;
    EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h)) << left;
  }
}

// A picture that is held goes out in the epilog, where the output comes up short then.
TEST(Sink, MayComeUpShortAtEveryByteOfAPictureThatIsHeld) {
  constexpr uint32_t kLength = 1600;  // more than the streams have behind the segment
  for (const uint32_t flags : {JPG_WRITE_OPTIMIZE, JPG_WRITE_PROGRESSIVE}) {
    for (const bool lossless : {false, true}) {
      for (uint32_t left = 1; left < kLength; left++) {
        faulty::reset();
        JPGHANDLE h = nullptr;
        ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/full", flags, &h));
        ASSERT_RESULT(JPG_OK, writeBehind(h, left, lossless, 0x00111111));
        EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h)) << left;
        EXPECT_EQ(0u, faulty::liveBlocks());
        EXPECT_EQ(0u, faulty::openFiles());
      }
    }
  }
}

// The data are gathered 4096 bytes at a time; the disk is full in the middle of them, with and
// without restart intervals.
TEST(Sink, MayComeUpShortWithinTheDataOfAPictureThatIsHeld) {
  constexpr uint32_t kSide = 96;
  Bytes samples(size_t{3} * kSide * kSide);
  Random random(6);
  for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
  const JpgRect rect = {kSide, kSide, 3 * kSide, 24, 3, 8, samples.data(), 0, 0};
  for (const uint32_t flags : {JPG_WRITE_OPTIMIZE, JPG_WRITE_PROGRESSIVE}) {
    for (uint32_t kind = 0; kind < 4; kind++) {
      const bool lossless = kind % 2 != 0;
      for (uint32_t stages = 0; stages < 4; stages++) {
        faulty::reset();
        faulty::limitOutput(size_t{stages} * kStage, false);
        const TempFile file({});
        JPGHANDLE h = nullptr;
        ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(widePath(file.path()).c_str(), flags, &h));
        EXPECT_RESULT(JPG_OK, jpgWriteSetQuantizationFactor(h, 100));
        EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, kind < 2 ? 0 : kSide));
        EXPECT_RESULT(JPG_OK, lossless ? jpgWriteSpatialFromRect(h, &rect, kSide)
                                       : jpgWriteFromRect(h, &rect, kSide));
        EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h)) << stages;
        EXPECT_EQ(0u, faulty::liveBlocks());
      }
    }
  }
  faulty::reset();
}

// No picture: DNL, of six bytes, and EOI come behind the segment.
TEST(Sink, MayComeUpShortAtTheEnd) {
  for (uint32_t left = 1; left < 16; left++) {
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/full", 0, &h));
    const Bytes filler(kStage - kSegmentHead - left, 0x33);
    const auto length = static_cast<uint32_t>(filler.size());
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
    EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h)) << left;
  }
}

TEST(Sink, GetsTheSameBytesWhereverItsStageEnds) {
  for (const bool lossless : {false, true}) {
    Bytes first;
    for (uint32_t left = 0; left < kHeaders; left++) {
      JPGHANDLE h = nullptr;
      ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
      EXPECT_RESULT(JPG_OK, writeBehind(h, left, lossless, 0x00111111));
      void *data = nullptr;
      uint32_t size = 0;
      ASSERT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
      const auto *bytes = static_cast<const uint8_t *>(data);
      const Bytes behind(bytes + kStage - left, bytes + size);
      EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
      if (left == 0) first = behind;
      EXPECT_EQ(first, behind) << left;
    }
  }
}

TEST(Sink, PartialBitstreamsMayRunOutOfMemoryAtEveryAllocation) {
  bool untouched = false;
  for (uint32_t n = 1; n < 100 && !untouched; n++) {
    faulty::reset();
    faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter, n);
    JPGHANDLE h = nullptr;
    uint32_t r = jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h);
    EXPECT_EQ(r == JPG_OK, h != nullptr);
    void *data = nullptr;
    uint32_t size = 0;
    for (int piece = 0; piece < 2 && r == JPG_OK; piece++) {
      r = jpgWriteGetPartialBitstream(h, &data, &size);
      if (r == JPG_OK) {
        EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
      }
    }
    untouched = !faulty::faultHappened();
    EXPECT_EQ(untouched, r == JPG_OK);
    if (!untouched) {
      EXPECT_TRUE(r == JPG_E_OUT_OF_MEMORY || r == JPG_E_WRITE_FAULT) << nameOf(r);
    }
    if (h != nullptr) jpgWriteEpilogToFile(h);
    EXPECT_EQ(0u, faulty::liveBlocks()) << n;
  }
  EXPECT_TRUE(untouched);
  faulty::reset();
}

// SOI, a segment, DNL and EOI: when they fill the stage to the last byte, nothing is left to be
// handed out at the end.
TEST(Sink, MayTakeAStreamOfExactlyOneStage) {
  constexpr uint32_t kDnlAndEoi = 6 + 2;
  for (const uint32_t size : {kStage - 1, kStage, kStage + 1}) {
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
    const Bytes filler(size - kSegmentHead - kDnlAndEoi, 0x33);
    const auto length = static_cast<uint32_t>(filler.size());
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
    void *data = nullptr;
    uint32_t written = 0;
    ASSERT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &written));
    ASSERT_EQ(size, written);
    const auto *bytes = static_cast<const uint8_t *>(data);
    EXPECT_EQ((Bytes{0xFF, 0xDC, 0, 4, 0, 0, 0xFF, 0xD9}),
              Bytes(bytes + size - kDnlAndEoi, bytes + size));
    EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  }
}

TEST(Sink, IsNotCalledForNothing) {
  faulty::reset();
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(u"/dev/null", 0, &h));
  const Bytes filler(kStage - kSegmentHead - 6 - 2, 0x33);
  const auto length = static_cast<uint32_t>(filler.size());
  EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(h));
  EXPECT_EQ(1u, faulty::calls(faulty::Operation::kWrite));
}

// A segment ahead of the picture that found no room has said so itself.
TEST(Sink, HasNoPartialBitstreamBehindASegmentThatFailed) {
  faulty::reset();
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h));
  const Bytes filler(kStage, 0x33);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter, 1);
  EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), kStage));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_E_FAIL, jpgWriteGetPartialBitstream(h, &data, &size));
  EXPECT_EQ(nullptr, data);
  EXPECT_RESULT(JPG_E_WRITE_FAULT, jpgWriteEpilogToFile(h));
  EXPECT_EQ(0u, faulty::liveBlocks());
  faulty::reset();
}

// The result of a partial bitstream of headers alone, of whose allocations the n-th and all behind
// it fail; behind a segment that leaves so many bytes of the stage.
uint32_t partialWithout(uint32_t n, uint32_t left) {
  faulty::reset();
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteSetImageSize(h, 8, 8));
  EXPECT_RESULT(JPG_OK, jpgWriteSetNumberOfComponents(h, 1));
  const Bytes filler(kStage - kSegmentHead - left, 0x33);
  const auto length = static_cast<uint32_t>(filler.size());
  EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, filler.data(), length));
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter,
              faulty::calls(faulty::Operation::kAlloc) + n);
  void *data = nullptr;
  uint32_t size = 0;
  const uint32_t r = jpgWriteGetPartialBitstream(h, &data, &size);
  EXPECT_EQ(r == JPG_OK, data != nullptr);
  EXPECT_EQ(r != JPG_OK, faulty::faultHappened());
  if (data != nullptr) {
    EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  }
  jpgWriteEpilogToFile(h);
  EXPECT_EQ(0u, faulty::liveBlocks());
  faulty::reset();
  return r;
}

// Tables are allocated, too, but memory for the stream comes last. Where the stage ends just behind
// the headers, it is EOI that finds none.
TEST(Sink, MayRunOutOfMemoryInAPartialBitstreamWhereverItsStageEnds) {
  for (uint32_t left = 1; left < kHeaders; left++) {
    uint32_t last = JPG_OK, r = JPG_OK;
    uint32_t n = 1;
    while ((r = partialWithout(n, left)) != JPG_OK) {
      EXPECT_TRUE(r == JPG_E_OUT_OF_MEMORY || r == JPG_E_WRITE_FAULT) << nameOf(r);
      last = r;
      n++;
      ASSERT_LT(n, 20u);
    }
    EXPECT_GT(n, 2u);
    EXPECT_RESULT(JPG_E_WRITE_FAULT, last) << left;
  }
}

// A byte 0 ends the check of the factors, so that those above it are told by the encoder.
TEST(Sink, FactorsAboveAByteOfZeroAreRefusedByTheEncoder) {
  for (const uint32_t sampling : {0x00110011U, 0x00330011U, 0x00130011U, 0x00310011U, 0x00100011U,
                                  0x00010011U, 0x00220011U}) {
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
    EXPECT_RESULT(JPG_E_UNSUPPORTED, writeBehind(h, kHeaders, false, sampling)) << sampling;
    EXPECT_NE(JPG_E_INVALID_HANDLE, jpgWriteEpilogToFile(h));
  }
}

TEST(Source, RestartSeeksMayFailToGoBack) {
  Picture p = makePicture(16, 16, {0x11});
  p.restartInterval = 2;
  const TempFile file(encode(p));
  faulty::reset();
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgReadPrologFromFile(widePath(file.path()).c_str(), 0, 0, 0, &h));
  faulty::arm(faulty::Operation::kSeek, faulty::Fault::kFail,
              faulty::calls(faulty::Operation::kSeek) + 1);
  EXPECT_RESULT(JPG_E_SEEK, jpgReadSeekRestartMarker(h, 1, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, jpgReadSeekRestartMarker(h, 1, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
  faulty::reset();
}

TEST(Source, TheResolutionUnitOfAThumbnailIsTaken) {
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t pixels = tiff.put(Bytes(3, 1));
  const uint32_t first = tiff.putIfd(
      {tiff.longOf(256, 1), tiff.longOf(257, 1), tiff.shortOf(259, 1), tiff.shortOf(262, 2),
       tiff.longOf(273, pixels), tiff.longOf(279, 3), tiff.shortOf(296, 3)});
  tiff.putZeroth({}, first);
  const Reader reader = Reader::ofMemory(streamOf(tiff));
  JPGEXIFHANDLE exif = nullptr;
  ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(reader.handle(), &exif));
  EXPECT_EQ(2, exif->resolutionUnit);
  BITMAPINFOHEADER header[16] = {};
  header[0].biBitCount = 24;
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(exif, nullptr,
                                                        reinterpret_cast<BITMAPINFO *>(header)));
  EXPECT_EQ(3, exif->resolutionUnit);
  EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(exif));
}

}  // namespace
}  // namespace jpgtest
