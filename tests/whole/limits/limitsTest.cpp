// SPDX-License-Identifier: MIT
// Limits: streams that lie about their size, progressive bombs, chains of directories, tens
// of thousands of scans. Time and memory are printed, and held to bounds that a slow machine
// under a sanitizer keeps, too.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "faulty.h"
#include "support/picture.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"
#include "whole/limits/bombs.h"
#include "whole/limits/heapLaw.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

constexpr uint16_t kHuge = 65500;     // pixels
constexpr uint16_t kBombSide = 1440;  // pixels: 32400 blocks, which one code ends
constexpr double kQuick = 1.0;        // seconds: what takes no work
constexpr double kPatience = 20.0;    // seconds: what takes work
constexpr uint32_t kManyScans = 65535;

// What a piece of work took.
class Watch {
 public:
  explicit Watch(const char *what) : what_(what) {
    faulty::reset();
    begin_ = std::chrono::steady_clock::now();
  }
  // Prints; seconds since the beginning.
  double stop(size_t streamBytes) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin_;
    std::printf("limit %s: %zu bytes of stream, %.1f ms, heap peak %zu bytes\n", what_, streamBytes,
                took.count() * 1e3, faulty::peakBytes());
    return took.count();
  }

 private:
  const char *what_;
  std::chrono::steady_clock::time_point begin_;
};

uint32_t open(const Bytes &stream, JPGHANDLE *h) {
  return jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, h);
}

// A rectangle all of whose rows are one row of the caller's.
JpgRect oneRow(Bytes &row, int32_t width) { return {width, 0, 0, 24, 3, 8, row.data(), 0, 0}; }

TEST(Limits, AHugeSequentialPictureCostsWhatItsRowsCost) {
  const Bytes stream = endlessStream(kSof0, kHuge, kHuge, 3);
  EXPECT_LT(stream.size(), 250u);
  Bytes row(size_t{3} * kHuge);
  const JpgRect rect = oneRow(row, kHuge);
  Watch watch("65500 x 65500 baseline, 64 rows");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  for (int band = 0; band < 4; band++) EXPECT_RESULT(JPG_OK, jpgReadToRect(h, &rect, 16));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({kHuge, kHuge, 3, false, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(Limits, AHugeLosslessPictureTakesOneRow) {
  const Bytes stream = endlessStream(kSof3, kHuge, kHuge, 3);
  Bytes row(size_t{3} * kHuge);
  const JpgRect rect = oneRow(row, kHuge);
  Watch watch("65500 x 65500 lossless, 16 rows");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  EXPECT_RESULT(JPG_OK, jpgReadSpatialToRect(h, &rect, 16));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({kHuge, kHuge, 3, false, true}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(Limits, AHugeProgressivePictureIsRefusedBeforeAnythingIsAllocatedForIt) {
  const Bytes stream = endlessStream(kSof2, kHuge, kHuge, 1);
  Watch watch("65500 x 65500 progressive");
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, open(stream, &h));
  EXPECT_LT(watch.stop(stream.size()), kQuick);
  EXPECT_LE(faulty::peakBytes(), readerBytes({0, 0, 1, true, false}));
  EXPECT_EQ(0u, faulty::liveBlocks());
}

TEST(Limits, ALargeProgressivePictureTakesItsStoreAndNoMore) {
  const Bytes stream = manyScans(kBombSide, 1, false);
  Bytes row(size_t{3} * kBombSide);
  const JpgRect rect = oneRow(row, kBombSide);
  Watch watch("1440 x 1440 progressive, one scan");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  EXPECT_GE(faulty::peakBytes(), size_t{2} * kBombSide * kBombSide);
  EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(h, &rect, kBombSide, 0));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({kBombSide, kBombSide, 1, true, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

// Scans of two bytes that go over all blocks.
TEST(Limits, AProgressiveBombCostsItsScansTimesItsBlocksAtMost) {
  constexpr uint32_t kScans = 2000;
  const Bytes stream = manyScans(kBombSide, kScans, false);
  Bytes row(size_t{3} * kBombSide);
  const JpgRect rect = oneRow(row, kBombSide);
  Watch watch("1440 x 1440 progressive, 2000 scans of two bytes");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(h, &rect, kBombSide, 0));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({kBombSide, kBombSide, 1, true, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

// A caller with a deadline takes the scans one by one.
TEST(Limits, ScanByScanTheCallerKeepsControl) {
  constexpr uint32_t kScans = 20;
  const Bytes stream = manyScans(64, kScans, false);
  Bytes row(size_t{3} * 64);
  const JpgRect rect = oneRow(row, 64);
  const Reader reader = Reader::ofMemory(stream);
  uint32_t calls = 0;
  while (jpgReadProgressiveToRect(reader.handle(), &rect, 64, JPG_PROGRESSIVE_NEXT_SCAN) ==
         JPG_OK) {
    ASSERT_LE(++calls, kScans);
  }
  EXPECT_EQ(kScans, calls);
}

TEST(Limits, SixtyFiveThousandScansTakeNoMoreMemoryThanTwo) {
  for (const bool tablesEach : {false, true}) {
    const Bytes stream = manyScans(8, kManyScans, tablesEach);
    Bytes row(24);
    const JpgRect rect = oneRow(row, 8);
    Watch watch(tablesEach ? "65535 scans with tables" : "65535 scans");
    JPGHANDLE h = nullptr;
    ASSERT_RESULT(JPG_OK, open(stream, &h));
    EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(h, &rect, 8, JPG_PROGRESSIVE_ALL_SCANS));
    EXPECT_LT(watch.stop(stream.size()), kPatience);
    EXPECT_LE(faulty::peakBytes(), readerBytes({8, 8, 1, true, false}));
    EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
  }
}

// The most work for the fewest bytes: a table of 18 bytes has a lookup array of 65,536.
TEST(Limits, TablesOfTheDeepestCodesCostTheirLookupArrays) {
  constexpr uint32_t kScans = 2000;
  HuffTable deep;
  deep.counts[15] = 1;
  deep.values = {0};
  StreamBuilder s = endlessHeaders(kSof2, 8, 8, 1);
  for (uint32_t i = 0; i < kScans; i++) {
    Bytes tables;
    // No more than eight wait for a scan, and two stand in the headers.
    for (uint8_t t = i == 0 ? 1 : 0; t < 4; t++) {
      append(tables, dhtData(t, deep));
      append(tables, dhtData(0x10 | t, deep));
    }
    s.segment(kDht, tables).sos({{1, 0}}, 1, 63).raw(Bytes(i == 0 ? 1 : 2, 0));
  }
  const Bytes stream = s.eoi().bytes();
  Bytes row(24);
  const JpgRect rect = oneRow(row, 8);
  Watch watch("2000 scans with eight of the deepest tables");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(h, &rect, 8, JPG_PROGRESSIVE_ALL_SCANS));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({8, 8, 1, true, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(Limits, SixtyFiveThousandScanHeadersInARowArePassed) {
  const Bytes stream = manyScanHeaders(kManyScans);
  Bytes row(24);
  const JpgRect rect = oneRow(row, 8);
  Watch watch("65535 scan headers between two blocks");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  EXPECT_RESULT(JPG_OK, jpgReadToRect(h, &rect, 16));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_LE(faulty::peakBytes(), readerBytes({8, 16, 1, false, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(Limits, SixtyFiveThousandSegmentsAheadOfTheFrameArePassed) {
  Picture picture = grayPicture({dcBlock(80)});
  StreamBuilder before;
  for (uint32_t i = 0; i < kManyScans; i++) before.segment(kApp1, {});
  picture.before = before.bytes();
  const Bytes stream = encode(picture);
  Watch watch("65535 segments");
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  JPGEXIFHANDLE exif = nullptr;
  EXPECT_RESULT(JPG_E_NOT_JPEG, jpgReadExifReadAttributeProlog(h, &exif));
  EXPECT_LT(watch.stop(stream.size()), kPatience);
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(Limits, MegabytesWithoutAnEndOrOfMarkersAreSearchedOnce) {
  constexpr size_t kMegabytes = size_t{8} << 20;
  Bytes noEnd = {0xFF, 0xD8};
  noEnd.resize(kMegabytes, 0xFF);
  Bytes restarts = endlessHeaders(kSof0, 8, 16, 1).dri(1).sos({{1, 0}}).raw({0}).bytes();
  while (restarts.size() < kMegabytes) append(restarts, {0xFF, 0xD0});
  append(restarts, {0xFF, 0xD9});
  JPGHANDLE h = nullptr;
  Watch watch("8 MiB without an end, from memory and a file");
  EXPECT_RESULT(JPG_E_NOT_JPEG, open(noEnd, &h));
  const TempFile file(noEnd);
  EXPECT_RESULT(JPG_E_NOT_JPEG, jpgReadPrologFromFile(widePath(file.path()).c_str(), 0, 0, 0, &h));
  EXPECT_LT(watch.stop(noEnd.size()), kPatience);
  Bytes row(24);
  const JpgRect rect = oneRow(row, 8);
  Watch second("8 MiB of restart markers");
  ASSERT_RESULT(JPG_OK, open(restarts, &h));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, jpgReadToRect(h, &rect, 16));
  EXPECT_LT(second.stop(restarts.size()), kPatience);
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

// A chain of directories, and directories that lead back to themselves.
TEST(Limits, ChainsOfDirectoriesAreNotFollowedBeyondTheSecond) {
  TiffBuilder tiff(ByteOrder::kBig);
  uint32_t next = 8;  // the last one leads to the header's own place
  for (int i = 0; i < 3000; i++) next = tiff.putIfd({tiff.shortOf(274, 1)}, next & 0xFFFF);
  tiff.setZeroth(next);
  const Bytes stream = streamOf(tiff);
  BITMAPINFO bmi[5] = {};  // room for masks, none is asked for
  Watch watch("3000 directories in a chain");
  JPGHANDLE h = nullptr;
  JPGEXIFHANDLE exif = nullptr;
  ASSERT_RESULT(JPG_OK, open(stream, &h));
  ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(h, &exif));
  EXPECT_RESULT(JPG_E_NOT_FOUND, jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi));
  EXPECT_LT(watch.stop(stream.size()), kQuick);
  EXPECT_LE(faulty::peakBytes(), readerBytes({16, 8, 1, false, false}) + attributeBytes(65533));
  EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(exif));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

}  // namespace
}  // namespace jpgtest
