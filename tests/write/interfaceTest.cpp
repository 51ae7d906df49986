// SPDX-License-Identifier: MIT
// The write side's interface: settings, segments, pieces, epilogs, refusals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "faulty.h"
#include "libraryEncode.h"

namespace {

using namespace jpgtest;
using jpg::faulty::Fault;
using jpg::faulty::Operation;

// A write handle to memory that leaves nothing behind.
class WriteHandle : public testing::Test {
 protected:
  void SetUp() override {
    jpg::faulty::reset();
    ASSERT_EQ(jpgWritePrologToMemory(2, &h_), JPG_OK);
  }
  void TearDown() override {
    if (h_ != nullptr) finish();
    EXPECT_EQ(jpg::faulty::liveBlocks(), 0u);
  }
  uint32_t finish(Bytes *stream = nullptr) {
    void *data = nullptr;
    uint32_t size = 0;
    const uint32_t r = jpgWriteEpilogToMemory(h_, &data, &size);
    h_ = nullptr;
    const Bytes bytes = take(data, size);
    if (stream != nullptr) *stream = bytes;
    return r;
  }
  uint32_t piece(Bytes *bytes) {
    void *data = nullptr;
    uint32_t size = 0;
    const uint32_t r = jpgWriteGetPartialBitstream(h_, &data, &size);
    if (r == JPG_OK) *bytes = take(data, size);
    return r;
  }

  JPGHANDLE h_ = nullptr;
};

JpgRect rectOf(int32_t width, int32_t height, int32_t channels, void *bits) {
  JpgRect rect = {};
  rect.width = width;
  rect.height = height;
  rect.channels = channels;
  rect.bitsPerSample = 8;
  rect.stride = static_cast<int32_t>(int64_t{width} * channels);
  rect.bits = bits;
  return rect;
}

uint8_t pixels[64 * 64 * 4];

TEST_F(WriteHandle, SettersCheckTheirRanges) {
  const struct {
    std::function<uint32_t(int32_t)> set;
    int32_t low, high;
  } kSetters[] = {
      {[&](int32_t v) { return jpgWriteSetQuantizationFactor(h_, v); }, 1, 100},
      {[&](int32_t v) { return jpgWriteSetNumberOfComponents(h_, v); }, 1, 4},
      {[&](int32_t v) { return jpgWriteSetSpatialPredictor(h_, v); }, 1, 7},
  };
  for (const auto &s : kSetters) {
    EXPECT_EQ(s.set(s.low), JPG_OK);
    EXPECT_EQ(s.set(s.high), JPG_OK);
    for (const int32_t bad : {s.low - 1, s.high + 1, INT32_MIN, INT32_MAX}) {
      EXPECT_EQ(s.set(bad), JPG_E_INVALID_PARAMETER) << bad;
    }
  }
  EXPECT_EQ(jpgWriteSetImageSize(h_, 0, 1), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteSetImageSize(h_, 1, 0), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteSetImageSize(h_, 100000, 100000), JPG_OK);
  EXPECT_EQ(jpgWriteSetRestartInterval(h_, -1), JPG_OK);
  EXPECT_EQ(jpgWriteSetNoColorConversion(h_), JPG_OK);
}

TEST_F(WriteHandle, SamplingWordsAreWalkedFromTheLowestByteToAZero) {
  for (const uint32_t good :
       {0u, 0x11u, 0x00221111u, 0x00002211u, 0x22211211u, 0x13001111u, 0xFF000022u}) {
    EXPECT_EQ(jpgWriteSetSubsamplingFactor(h_, good), JPG_OK) << std::hex << good;
  }
  for (const uint32_t bad :
       {0x10u, 0x01u, 0x13u, 0x20u, 0x23u, 0x31u, 0x00221113u, 0x00101111u, 0x14111111u, 0x41u}) {
    EXPECT_EQ(jpgWriteSetSubsamplingFactor(h_, bad), JPG_E_INVALID_PARAMETER) << std::hex << bad;
  }
}

TEST(WriteProlog, NullsTheHandleAndRefusesNullPointers) {
  JPGHANDLE h = reinterpret_cast<JPGHANDLE>(pixels);
  EXPECT_EQ(jpgWritePrologToFile(nullptr, 0, &h), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(h, nullptr);
  EXPECT_EQ(jpgWritePrologToFile(u"x", 0, nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWritePrologToMemory(0, nullptr), JPG_E_INVALID_HANDLE);
  h = reinterpret_cast<JPGHANDLE>(pixels);
  EXPECT_EQ(jpgWritePrologToFile(u"/no such folder/x.jpg", 0, &h), JPG_E_OPEN_FAILED);
  EXPECT_EQ(h, nullptr);
  const std::u16string tooLong(256, u'x');
  EXPECT_EQ(jpgWritePrologToFile(tooLong.c_str(), 0, &h), JPG_E_OPEN_FAILED);
}

TEST(WriteProlog, OfAFailedAllocationIsOutOfMemory) {
  jpg::faulty::reset();
  jpg::faulty::arm(Operation::kAlloc, Fault::kFail, 1);
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_E_OUT_OF_MEMORY);
  EXPECT_EQ(h, nullptr);
}

// Every function that writes, on a handle.
std::vector<std::function<uint32_t(JPGHANDLE)>> writers() {
  static JpgRect rect = rectOf(8, 8, 3, pixels);
  static void *data;
  static uint32_t size;
  static const uint8_t one = 1;
  return {[](JPGHANDLE h) { return jpgWriteFromRect(h, &rect, 8); },
          [](JPGHANDLE h) { return jpgWriteSpatialFromRect(h, &rect, 8); },
          [](JPGHANDLE h) { return jpgWriteWriteMarkerCode(h, 0xFFFE, 1); },
          [](JPGHANDLE h) { return jpgWriteWriteMarkerData(h, &one, 1, nullptr); },
          [](JPGHANDLE h) { return jpgWriteWriteMarkerSegment(h, 0xFFFE, &one, 1); },
          [](JPGHANDLE h) { return jpgWriteGetPartialBitstream(h, &data, &size); },
          [](JPGHANDLE h) { return jpgWriteEpilogToFile(h); },
          [](JPGHANDLE h) { return jpgWriteEpilogToMemory(h, &data, &size); }};
}

TEST_F(WriteHandle, NullForeignAndReadHandlesAreRefusedByWriters) {
  Bytes stream;
  JpgRect rect = rectOf(8, 8, 3, pixels);
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 8), JPG_OK);
  ASSERT_EQ(finish(&stream), JPG_OK);
  JPGHANDLE reader = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &reader),
            JPG_OK);
  alignas(8) uint8_t zeros[64] = {};
  for (const auto &write : writers()) {
    EXPECT_EQ(write(nullptr), JPG_E_INVALID_HANDLE);
    EXPECT_EQ(write(reinterpret_cast<JPGHANDLE>(zeros)), JPG_E_INVALID_HANDLE);
    EXPECT_EQ(write(reinterpret_cast<JPGHANDLE>(zeros + 2)), JPG_E_INVALID_HANDLE);
    EXPECT_EQ(write(reader), JPG_E_INVALID_HANDLE);
  }
  rect.bitsPerPixel = 24;
  EXPECT_EQ(jpgReadToRect(reader, &rect, 8), JPG_OK);  // nothing was destroyed
  EXPECT_EQ(jpgReadEpilog(reader), JPG_OK);
}

TEST_F(WriteHandle, ReadersRefuseAWriteHandle) {
  JpgRect rect = rectOf(8, 8, 3, pixels);
  uint16_t marker = 0;
  uint32_t length = 0;
  uint8_t byte = 0;
  EXPECT_EQ(jpgReadToRect(h_, &rect, 8), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadProgressiveToRect(h_, &rect, 8, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadScaleOutputToRect(h_, &rect, 8, 1), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadSpatialToRect(h_, &rect, 8), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadSeekMarkerSegment(h_, 0, &marker, &length), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadReadMarkerData(h_, &byte, 1, nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadSeekRestartMarker(h_, 0, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadSetPartialBitstream(h_, &byte, 1), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadEpilog(h_), JPG_E_INVALID_HANDLE);
  uint32_t process = 0;
  EXPECT_EQ(jpgReadGetCodingProcess(h_, &process), JPG_OK);  // the record alone
  EXPECT_EQ(process, JPG_PROCESS_BASELINE);
}

TEST_F(WriteHandle, NullPointersComeBeforeNumbers) {
  JpgRect rect = rectOf(8, 8, 3, nullptr);
  uint32_t size = 0;
  void *data = nullptr;
  EXPECT_EQ(jpgWriteFromRect(h_, nullptr, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteFromRect(h_, &rect, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteWriteMarkerData(h_, nullptr, 0, nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteWriteMarkerSegment(h_, 0, nullptr, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteGetPartialBitstream(h_, nullptr, &size), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteGetPartialBitstream(h_, &data, nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteEpilogToMemory(h_, nullptr, &size), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteEpilogToMemory(h_, &data, nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteFreeBitstream(nullptr), JPG_E_INVALID_HANDLE);
}

TEST_F(WriteHandle, RectanglesThatCannotBeDescribedAreRefusedBeforeTheHeaders) {
  const struct {
    int32_t width, height, channels, precision;
    uint32_t code;
  } kCases[] = {
      {0, 8, 3, 8, JPG_E_INVALID_PARAMETER},     {-1, 8, 3, 8, JPG_E_INVALID_PARAMETER},
      {65536, 8, 3, 8, JPG_E_INVALID_PARAMETER}, {INT32_MIN, 8, 3, 8, JPG_E_INVALID_PARAMETER},
      {8, 65536, 3, 8, JPG_E_INVALID_PARAMETER}, {8, -1, 3, 8, JPG_E_INVALID_PARAMETER},
      {8, 8, 3, 12, JPG_E_INVALID_PARAMETER},    {8, 8, 3, 0, JPG_E_INVALID_PARAMETER},
      {8, 8, 0, 8, JPG_E_UNSUPPORTED},           {8, 8, 5, 8, JPG_E_UNSUPPORTED},
      {8, 8, -1, 8, JPG_E_UNSUPPORTED}};
  for (const auto &c : kCases) {
    JpgRect rect = rectOf(c.width, c.height, c.channels, pixels);
    rect.bitsPerSample = c.precision;
    EXPECT_EQ(jpgWriteFromRect(h_, &rect, 8), c.code);
  }
  Bytes stream;
  EXPECT_EQ(finish(&stream), JPG_OK);
  // SOI, DNL with no lines (the height was never told), EOI.
  EXPECT_EQ(stream, (Bytes{0xFF, 0xD8, 0xFF, 0xDC, 0, 4, 0, 0, 0xFF, 0xD9}));
}

TEST_F(WriteHandle, LinesOfZeroAreRefused) {
  JpgRect rect = rectOf(8, 8, 3, pixels);
  EXPECT_EQ(jpgWriteFromRect(h_, &rect, 0), JPG_E_INVALID_PARAMETER);
}

TEST_F(WriteHandle, LayoutsThatNoGathererServesAreUnsupported) {
  JpgRect two = rectOf(8, 8, 2, pixels);
  EXPECT_EQ(jpgWriteFromRect(h_, &two, 8), JPG_E_UNSUPPORTED);
  for (const uint32_t packed : {0u, 0x00002211u, 0x00221111u, 0x22111111u}) {
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
    ASSERT_EQ(jpgWriteSetSubsamplingFactor(h, packed), JPG_OK);
    const bool four = packed >= 0x00221111u;  // four components take 0x11111111 alone
    JpgRect rect = rectOf(8, 8, four ? 4 : 3, pixels);
    EXPECT_EQ(jpgWriteFromRect(h, &rect, 8), JPG_E_UNSUPPORTED) << std::hex << packed;
    void *data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
    take(data, size);
  }
}

TEST_F(WriteHandle, TheHeightThatWasSetWinsOverTheRectangles) {
  ASSERT_EQ(jpgWriteSetImageSize(h_, 99, 24), JPG_OK);
  JpgRect rect = rectOf(8, 16, 1, pixels);
  EXPECT_EQ(jpgWriteFromRect(h_, &rect, 16), JPG_OK);
  Bytes stream;
  ASSERT_EQ(finish(&stream), JPG_OK);
  const Bytes sof = {0xFF, 0xC0, 0, 11, 8, 0, 24, 0, 8, 1, 1, 0x11, 0};
  EXPECT_NE(std::search(stream.begin(), stream.end(), sof.begin(), sof.end()), stream.end());
}

TEST_F(WriteHandle, SettingsChangedBehindTheHeadersChangeNoPicture) {
  EncodeJob job;
  job.width = 40;
  job.height = 32;
  const Bytes expected = modelEncode(job);
  Bytes data = pixelsOf(job);
  JpgRect rect = rectOf(40, 32, 3, data.data());
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 16), JPG_OK);
  jpgWriteSetSubsamplingFactor(h_, 0x11111111);
  jpgWriteSetNumberOfComponents(h_, 4);
  jpgWriteSetQuantizationFactor(h_, 5);
  jpgWriteSetImageSize(h_, 3000, 32);
  rect.bits = data.data() + 16 * 120;
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 16), JPG_OK);
  Bytes stream;
  ASSERT_EQ(finish(&stream), JPG_OK);
  EXPECT_EQ(stream == expected, true);
}

TEST_F(WriteHandle, SegmentsAreWrittenAsDeclared) {
  const uint8_t text[] = "comment";
  EXPECT_EQ(jpgWriteWriteMarkerSegment(h_, 0xFFFE, text, 7), JPG_OK);
  EXPECT_EQ(jpgWriteWriteMarkerCode(h_, 0xFFC0, 4), JPG_OK);
  uint32_t written = 99;
  EXPECT_EQ(jpgWriteWriteMarkerData(h_, text, 3, &written), JPG_OK);
  EXPECT_EQ(written, 3u);
  EXPECT_EQ(jpgWriteWriteMarkerData(h_, text + 3, 4, &written), JPG_OK);  // the surplus is cut
  EXPECT_EQ(written, 1u);
  EXPECT_EQ(jpgWriteWriteMarkerData(h_, text, 1, &written), JPG_NO_DATA);
  Bytes stream;
  EXPECT_EQ(finish(&stream), JPG_OK);
  const Bytes expected = {0xFF, 0xD8, 0xFF, 0xFE, 0,    9, 'c', 'o',  'm', 'm',
                          'e',  'n',  't',  0xFF, 0xC0, 0, 6,   'c',  'o', 'm',
                          'm',  0xFF, 0xDC, 0,    4,    0, 0,   0xFF, 0xD9};
  EXPECT_EQ(stream, expected);
}

TEST_F(WriteHandle, SegmentsOutOfRangeAreRefused) {
  for (const uint32_t marker : {0u, 0xC0u, 0xFFBFu, 0xFFFFu, 0x1FFFEu}) {
    EXPECT_EQ(jpgWriteWriteMarkerCode(h_, marker, 1), JPG_E_INVALID_PARAMETER) << marker;
  }
  EXPECT_EQ(jpgWriteWriteMarkerCode(h_, 0xFFFE, 0), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteWriteMarkerCode(h_, 0xFFFE, 65534), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteWriteMarkerCode(h_, 0xFFFE, 65533), JPG_OK);
  uint8_t byte = 0;
  EXPECT_EQ(jpgWriteWriteMarkerData(h_, &byte, 0, nullptr), JPG_E_INVALID_PARAMETER);
}

TEST_F(WriteHandle, PiecesNeedTheirFlag) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0xFFFFFFFD, &h), JPG_OK);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteGetPartialBitstream(h, &data, &size), JPG_E_INVALID_FUNCTION);
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  take(data, size);
}

TEST_F(WriteHandle, TheFirstPieceMayHoldTheHeadersAlone) {
  ASSERT_EQ(jpgWriteSetImageSize(h_, 40, 32), JPG_OK);
  ASSERT_EQ(jpgWriteSetNumberOfComponents(h_, 3), JPG_OK);
  EncodeJob job;
  job.width = 40;
  job.height = 32;
  const Bytes whole = modelEncode(job);
  Bytes first, second, rest;
  ASSERT_EQ(piece(&first), JPG_OK);
  // All of the headers, then EOI.
  ASSERT_GT(first.size(), 600u);
  EXPECT_TRUE(std::equal(first.begin(), first.end() - 2, whole.begin()));
  EXPECT_EQ(Bytes(first.end() - 2, first.end()), (Bytes{0xFF, 0xD9}));
  ASSERT_EQ(piece(&second), JPG_OK);
  EXPECT_EQ(second, (Bytes{0xFF, 0xD9}));  // the headers aren't written again
  Bytes data = pixelsOf(job);
  JpgRect rect = rectOf(40, 32, 3, data.data());
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 32), JPG_OK);
  ASSERT_EQ(finish(&rest), JPG_OK);
  EXPECT_TRUE(
      std::equal(rest.begin(), rest.end(), whole.begin() + static_cast<long>(first.size()) - 2));
}

TEST_F(WriteHandle, ARectangleMustAgreeWithHeadersThatAreOut) {
  ASSERT_EQ(jpgWriteSetImageSize(h_, 40, 32), JPG_OK);
  ASSERT_EQ(jpgWriteSetNumberOfComponents(h_, 3), JPG_OK);
  Bytes first;
  ASSERT_EQ(piece(&first), JPG_OK);
  JpgRect wide = rectOf(41, 32, 3, pixels);
  JpgRect gray = rectOf(40, 32, 1, pixels);
  JpgRect same = rectOf(40, 32, 3, pixels);
  EXPECT_EQ(jpgWriteFromRect(h_, &wide, 16), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteFromRect(h_, &gray, 16), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteSpatialFromRect(h_, &same, 16), JPG_E_UNSUPPORTED);
  EXPECT_EQ(jpgWriteFromRect(h_, &same, 16), JPG_OK);
}

TEST_F(WriteHandle, EarlyHeadersOfSizesThatTheirFieldsCannotHoldAreRefused) {
  Bytes bytes;
  for (const uint32_t side : {65536u, 65537u, 0xFFFFFFFFu}) {
    ASSERT_EQ(jpgWriteSetImageSize(h_, side, 8), JPG_OK);
    EXPECT_EQ(piece(&bytes), JPG_E_INVALID_PARAMETER);
    ASSERT_EQ(jpgWriteSetImageSize(h_, 8, side), JPG_OK);
    EXPECT_EQ(piece(&bytes), JPG_E_INVALID_PARAMETER);
  }
  ASSERT_EQ(jpgWriteSetImageSize(h_, 65535, 65535), JPG_OK);
  EXPECT_EQ(piece(&bytes), JPG_OK);
}

TEST_F(WriteHandle, APieceOfAHandleWithoutSettingsStillHasHeaders) {
  Bytes first;
  ASSERT_EQ(piece(&first), JPG_OK);
  EXPECT_EQ(first.size(), 2u + 134 + 33 + 33 + 183 + 183 + 10 + 8 + 2);
}

TEST_F(WriteHandle, PiecesBeginWithClearedPredictionsAndDecodeOneAfterAnother) {
  EncodeJob job;
  job.width = 48;
  job.height = 48;
  job.sampling = 0x00111111;
  Bytes data = pixelsOf(job);
  ASSERT_EQ(jpgWriteSetSubsamplingFactor(h_, job.sampling), JPG_OK);
  ASSERT_EQ(jpgWriteSetImageSize(h_, 48, 48), JPG_OK);
  JpgRect rect = rectOf(48, 48, 3, data.data());
  std::vector<Bytes> pieces(3);
  for (size_t i = 0; i < 3; i++) {
    rect.bits = data.data() + i * 16 * 144;
    ASSERT_EQ(jpgWriteFromRect(h_, &rect, 16), JPG_OK);
    ASSERT_EQ(i < 2 ? piece(&pieces[i]) : finish(&pieces[i]), JPG_OK);
  }
  JPGHANDLE reader = nullptr;
  Bytes first = pieces[0];
  ASSERT_EQ(jpgReadPrologFromMemory(first.data(), static_cast<int32_t>(first.size()), 2, &reader),
            JPG_OK);
  std::vector<uint8_t> out(48 * 48 * 3);
  rect.bitsPerPixel = 24;
  for (size_t i = 0; i < 3; i++) {
    if (i > 0) {
      ASSERT_EQ(jpgReadSetPartialBitstream(reader, pieces[i].data(),
                                           static_cast<uint32_t>(pieces[i].size())),
                JPG_OK);
    }
    rect.bits = out.data() + i * 16 * 144;
    ASSERT_EQ(jpgReadToRect(reader, &rect, 16), JPG_OK) << i;
  }
  EXPECT_EQ(jpgReadEpilog(reader), JPG_OK);
  // The same pixels as the whole stream gives.
  const Bytes whole = modelEncode(job);
  ASSERT_EQ(jpgReadPrologFromMemory(whole.data(), static_cast<int32_t>(whole.size()), 0, &reader),
            JPG_OK);
  std::vector<uint8_t> expected(out.size());
  rect.bits = expected.data();
  ASSERT_EQ(jpgReadToRect(reader, &rect, 48), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(reader), JPG_OK);
  EXPECT_EQ(out == expected, true);
}

TEST_F(WriteHandle, AFailedSinkIsStickyAndTheBlockIsStillHandedOver) {
  JpgRect rect = rectOf(64, 64, 3, pixels);
  for (size_t i = 0; i < sizeof(pixels); i++) pixels[i] = static_cast<uint8_t>(i * i / 3);
  ASSERT_EQ(jpgWriteSetQuantizationFactor(h_, 100), JPG_OK);
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 64), JPG_OK);
  jpg::faulty::arm(Operation::kAlloc, Fault::kFailAfter, jpg::faulty::calls(Operation::kAlloc) + 2);
  EXPECT_EQ(jpgWriteFromRect(h_, &rect, 64), JPG_E_WRITE_FAULT);
  jpg::faulty::arm(Operation::kAlloc, Fault::kNone, 0);
  EXPECT_EQ(jpgWriteFromRect(h_, &rect, 64), JPG_E_WRITE_FAULT);
  EXPECT_EQ(jpgWriteWriteMarkerSegment(h_, 0xFFFE, pixels, 4), JPG_E_WRITE_FAULT);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteGetPartialBitstream(h_, &data, &size), JPG_E_FAIL);
  EXPECT_EQ(jpgWriteEpilogToMemory(h_, &data, &size), JPG_E_WRITE_FAULT);
  h_ = nullptr;
  EXPECT_NE(data, nullptr);
  EXPECT_GT(size, 0u);
  EXPECT_EQ(size % 4096, 0u);  // whole stages
  take(data, size);
}

TEST_F(WriteHandle, UpTo65535UntoldLinesAreToldByDnl) {
  JpgRect rect = rectOf(1, 0, 1, pixels);
  rect.stride = 0;
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 65535), JPG_OK);
  Bytes stream;
  ASSERT_EQ(finish(&stream), JPG_OK);
  const Bytes end = {0xFF, 0xDC, 0, 4, 0xFF, 0xFF, 0xFF, 0xD9};
  ASSERT_GE(stream.size(), end.size());
  EXPECT_TRUE(std::equal(end.rbegin(), end.rend(), stream.rbegin()));
}

TEST_F(WriteHandle, MoreThan65535UntoldLinesEndInARefusedDnl) {
  JpgRect rect = rectOf(1, 0, 1, pixels);
  rect.stride = 0;
  ASSERT_EQ(jpgWriteFromRect(h_, &rect, 65536), JPG_OK);
  EXPECT_EQ(finish(), JPG_E_INVALID_PARAMETER);
}

TEST_F(WriteHandle, TheFileEpilogOfAMemoryHandleLeaksNothing) {
  EXPECT_EQ(jpgWriteEpilogToFile(h_), JPG_OK);
  h_ = nullptr;
}

}  // namespace
