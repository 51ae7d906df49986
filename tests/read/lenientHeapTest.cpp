// SPDX-License-Identifier: MIT
// Lenient reading under faults: a call that failed may be repeated, and gives the same picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "faulty.h"
#include "model/losslessWriter.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;
using faulty::Fault;
using faulty::Operation;

Bytes pixelsOf(JPGHANDLE h, uint32_t *result) {
  Canvas canvas(43, 37, 3);
  const JpgRect rect = canvas.rect();
  *result = jpgReadToRect(h, &rect, 37);
  EXPECT_TRUE(canvas.guardsIntact());
  return canvas.pixels();
}

// Each allocation of the first decode call fails once; the call is then repeated.
TEST(LenientHeap, ACallThatFoundNoMemoryMayBeRepeated) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 61);
  for (const Bytes &stream : {encode(picture), encodeInScans(picture, {{0}, {1}, {2}}),
                              encodeProgressive(picture, spectralScript(3))}) {
    faulty::reset();
    uint32_t result = 0;
    Bytes expected;
    {
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT | JPG_READ_SMOOTH);
      expected = pixelsOf(reader.handle(), &result);
      ASSERT_RESULT(JPG_OK, result);
    }
    uint32_t failures = 0;
    for (uint32_t n = 1; n < 100; n++) {
      SCOPED_TRACE(n);
      faulty::reset();
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT | JPG_READ_SMOOTH);
      faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + n);
      const Bytes first = pixelsOf(reader.handle(), &result);
      if (result == JPG_OK) break;
      failures++;
      ASSERT_RESULT(JPG_E_OUT_OF_MEMORY, result);
      EXPECT_EQ(expected == pixelsOf(reader.handle(), &result), true);
      EXPECT_RESULT(JPG_OK, result);
    }
    EXPECT_GT(failures, 1U);
    EXPECT_LT(failures, 99U);
  }
}

// Each allocation of opening and decoding fails once, in streams with tables in odd places. A call
// without memory may be repeated; a picture that found none between its scans shows the scans it
// had.
TEST(LenientHeap, TablesThatFindNoMemoryAreTold) {
  Picture picture = makePicture(16, 16, {0x11, 0x11}, Fill::kSmooth, 62);
  StreamBuilder between = headersOfScans(picture, kSof0);
  for (unsigned i = 0; i < 2; i++) {
    putScanHeader(between, picture, {{i}, 0, 63, 0, 0});
    between.raw(progressiveScan(picture, {{i}, 0, 63, 0, 0}));
    for (int k = 0; k < 10; k++) between.dht(0x03, picture.dc[0]);
  }
  const Bytes without = StreamBuilder()
                            .soi()
                            .sof(kSof0, 8, 8, 8, {{1, 0x11, 0}})
                            .sos({{1, 0}})
                            .raw({0x2B, 0xFF})
                            .eoi()
                            .bytes();
  for (const Bytes &stream : {between.eoi().bytes(), without}) {
    uint32_t told = 0;
    for (uint32_t n = 1; n < 100; n++) {
      faulty::reset();
      faulty::arm(Operation::kAlloc, Fault::kFail, n);
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
      uint32_t result = reader.result();
      if (result == JPG_OK) {
        pixelsOf(reader.handle(), &result);
        if (result == JPG_E_OUT_OF_MEMORY) {
          uint32_t again = 0;
          pixelsOf(reader.handle(), &again);
          EXPECT_TRUE(again == JPG_OK || again == JPG_E_DAMAGED);
        }
      }
      if (result != JPG_E_OUT_OF_MEMORY) break;
      told++;
    }
    EXPECT_GT(told, 3U);
  }
}

TEST(LenientHeap, APictureTooLargeForItsStoreIsTold) {
  faulty::reset();
  const Bytes stream = StreamBuilder()
                           .soi()
                           .sof(kSof0, 8, 65500, 65500, {{1, 0x11, 0}, {2, 0x11, 0}})
                           .sos({{1, 0}})
                           .bytes();
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  ASSERT_RESULT(JPG_OK, reader.result());
  uint8_t row[16] = {};
  JpgRect rect = {};
  rect.bits = row;
  EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, jpgReadToRect(reader.handle(), &rect, 1));
}

// What a program does with a file: segments, bands, seeks back and on.
uint32_t useFile(const std::string &path, bool *closed) {
  JPGHANDLE h = nullptr;
  uint32_t r = jpgReadPrologFromFile(widePath(path).c_str(), 0, 0, JPG_READ_LENIENT, &h);
  *closed = true;
  if (r != JPG_OK) return r;
  uint16_t marker = 0;
  uint32_t length = 0;
  Canvas canvas(75, 59, 3);
  JpgRect rect = canvas.rect();
  const auto keep = [&](uint32_t code) {
    if (r == JPG_OK || r == JPG_E_DAMAGED) r = code;
  };
  keep(jpgReadToRect(h, &rect, 20));
  for (int32_t i = 0; i < 3; i++) {
    jpgReadSeekMarkerSegment(h, i == 0 ? JPG_SEGMENT_FIRST : JPG_SEGMENT_NEXT, &marker, &length);
  }
  keep(jpgReadToRect(h, &rect, 20));
  jpgReadSeekMarkerSegment(h, JPG_SEGMENT_FIRST, &marker, &length);
  const uint32_t sought = jpgReadSeekRestartMarker(h, 0, JPG_RESTART_FROM_START);
  if (sought == JPG_OK) keep(jpgReadToRect(h, &rect, 59));
  *closed = jpgReadEpilog(h) == JPG_OK;
  return r;
}

// Every seek and every read fails once, and from some point on.
TEST(LenientFaults, OfSeeksAndReadsAreToldOrCountAsTheEndOfTheData) {
  Picture picture = makePicture(75, 59, {0x22, 0x11, 0x11}, Fill::kSmooth, 63);
  SpatialJob job;
  job.width = 75;
  job.height = 59;
  job.components = 3;
  job.restart = 75;
  std::vector<Bytes> streams = {encodeProgressive(picture, spectralScript(3)), modelSpatial(job)};
  for (const uint16_t interval : Words{0, 5}) {
    picture.restartInterval = interval;
    Bytes stream = encode(picture);
    streams.push_back(stream);
    // A restart marker is missing, a unit is broken, and stray bytes stand ahead of the tables.
    for (size_t i = stream.size() / 2; i + 2 < stream.size(); i++) {
      if (stream[i] == 0xFF && stream[i + 1] == kRst0 + 1) {
        stream.erase(stream.begin() + static_cast<ptrdiff_t>(i),
                     stream.begin() + static_cast<ptrdiff_t>(i) + 2);
      }
    }
    for (size_t i = stream.size() - 60; i < stream.size() - 40; i++) stream[i] = 0x7F;
    stream.insert(stream.begin() + 2, {1, 2, 3});
    streams.push_back(stream);
  }
  for (const Bytes &stream : streams) {
    const TempFile file(stream);
    for (const Operation operation : {Operation::kSeek, Operation::kRead}) {
      for (const Fault fault : {Fault::kFail, Fault::kFailAfter}) {
        for (uint32_t n = 1; n < 60; n++) {
          SCOPED_TRACE(n);
          faulty::reset();
          faulty::arm(operation, fault, n);
          bool closed = false;
          const uint32_t r = useFile(file.path(), &closed);
          EXPECT_TRUE(closed);
          const uint32_t usual[] = {JPG_OK,         JPG_E_DAMAGED,     JPG_E_SEEK,
                                    JPG_E_NOT_JPEG, JPG_E_OPEN_FAILED, JPG_E_UNSUPPORTED};
          EXPECT_TRUE(std::count(std::begin(usual), std::end(usual), r) == 1) << nameOf(r);
          EXPECT_EQ(0U, faulty::liveBlocks());
        }
      }
    }
  }
}

}  // namespace
}  // namespace jpgtest
