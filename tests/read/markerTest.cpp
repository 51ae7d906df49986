// SPDX-License-Identifier: MIT
// Walking marker segments and reading their data.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

Bytes counting(size_t size) {
  Bytes data(size);
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(i * 7);
  return data;
}

// SOI, APP1 of 15 bytes, COM of 6, RST3, an empty APP5, then a picture of 8 by 8 and its tables.
Picture picture() {
  Picture p = grayPicture({dcBlock(80)});
  StreamBuilder before;
  before.segment(kApp1, counting(15)).com("abcdef").rst(3).segment(kApp0 + 5, {});
  p.before = before.bytes();
  return p;
}

Twin walker() { return Twin(encode(picture())); }

TEST(MarkerSegments, AreFoundInTheOrderOfTheStream) {
  Twin twin = walker();
  const struct {
    uint16_t marker;
    uint32_t length;
  } kSegments[] = {{0xFFE1, 15}, {0xFFFE, 6},   {0xFFD3, 0}, {0xFFE5, 0}, {0xFFDB, 65},
                   {0xFFC4, 33}, {0xFFC4, 259}, {0xFFC0, 9}, {0xFFDA, 6}};
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  for (const auto &segment : kSegments) {
    EXPECT_EQ(segment.marker, twin.marker());
    EXPECT_EQ(segment.length, twin.length());
    if (segment.marker != 0xFFDA) {
      EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
    }
  }
  // Behind the scan header come coded data.
  EXPECT_RESULT(JPG_E_NOT_JPEG, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0, twin.marker());
  EXPECT_EQ(0U, twin.length());
  EXPECT_RESULT(JPG_E_NOT_JPEG, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_RESULT(JPG_NO_DATA, twin.readData(10));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  EXPECT_EQ(0xFFE1, twin.marker());
}

TEST(MarkerSegments, TheWalkMayStartWithTheSegmentBehindTheScanHeader) {
  // The prolog leaves the handle behind the first scan header.
  Twin twin = walker();
  EXPECT_RESULT(JPG_E_NOT_JPEG, twin.seekSegment(JPG_SEGMENT_NEXT));
}

TEST(MarkerSegments, EndOfImageIsASegmentWithoutData) {
  Picture p = grayPicture({dcBlock(80)});
  p.before = StreamBuilder().eoi().soi().com("x").bytes();
  Twin twin(encode(p));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  EXPECT_EQ(0xFFD9, twin.marker());
  EXPECT_EQ(0U, twin.length());
  EXPECT_RESULT(JPG_NO_DATA, twin.readData(1));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0xFFD8, twin.marker());
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0xFFFE, twin.marker());
  EXPECT_EQ(1U, twin.length());
}

TEST(MarkerSegments, DataAreReadInAnyPieces) {
  for (uint32_t piece = 1; piece <= 20; ++piece) {
    SCOPED_TRACE(piece);
    Twin twin = walker();
    ASSERT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
    Bytes all;
    while (twin.readData(piece) == JPG_OK) append(all, twin.data());
    EXPECT_EQ(counting(15), all);
    EXPECT_RESULT(JPG_NO_DATA, twin.readData(1));
    EXPECT_EQ(0U, twin.data().size());
  }
}

TEST(MarkerSegments, WhatIsUnreadIsSkipped) {
  for (uint32_t read = 0; read <= 15; ++read) {
    SCOPED_TRACE(read);
    Twin twin = walker();
    ASSERT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
    if (read > 0) {
      EXPECT_RESULT(JPG_OK, twin.readData(read));
    }
    EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
    EXPECT_EQ(0xFFFE, twin.marker());
    EXPECT_RESULT(JPG_OK, twin.readData(100));
    EXPECT_EQ((Bytes{'a', 'b', 'c', 'd', 'e', 'f'}), twin.data());
  }
}

TEST(MarkerSegments, DataAreReadAsTheyStand) {
  // Stuffed pairs, markers and fill bytes are nothing but data here.
  const Bytes data = {0xFF, 0x00, 0xFF, 0xFF, 0xFF, 0xD9, 0xFF, 0x00, 0x00, 0xFF};
  Picture p = grayPicture({dcBlock(80)});
  p.before = StreamBuilder().segment(kApp1, data).com("z").bytes();
  for (uint32_t piece = 1; piece <= 11; ++piece) {
    Twin twin(encode(p));
    ASSERT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
    Bytes all;
    while (twin.readData(piece) == JPG_OK) append(all, twin.data());
    EXPECT_EQ(data, all);
    EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
    EXPECT_EQ(0xFFFE, twin.marker());
  }
}

TEST(MarkerSegments, AStuffedPairIsNoMarker) {
  // Behind the scan header: FF 00 E1 stands for FF E1 in coded data, and for no segment.
  StreamBuilder stream;
  stream.soi().dqt(0, flatQuant(1)).dht(0, fullDc()).dht(0x10, fullAc());
  stream.sof(kSof0, 8, 8, 8, {{1, 0x11, 0}}).sos({{1, 0}});
  stream.raw({0xFF, 0x00, 0xE1, 0x00, 0x04, 0x01, 0x02}).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_E_NOT_JPEG, twin.seekSegment(JPG_SEGMENT_NEXT));
}

TEST(MarkerSegments, TheLargestSegmentCrossesManyBuffers) {
  Picture p = grayPicture({dcBlock(80)});
  p.before = StreamBuilder().segment(kApp1, counting(65533)).com("z").bytes();
  Twin twin(encode(p));
  ASSERT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  EXPECT_EQ(65533U, twin.length());
  EXPECT_RESULT(JPG_OK, twin.readData(70000));
  EXPECT_EQ(counting(65533), twin.data());
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0xFFFE, twin.marker());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
}

TEST(MarkerSegments, BytesBeyondTheEndOfTheStreamReadAsOnes) {
  // A file cut inside a segment behind the scan: only a walk gets there.
  StreamBuilder stream = headersOf(grayPicture({dcBlock(80)}));
  const Bytes bytes = stream.segmentOfLength(kApp1, 50, {1, 2, 3}).bytes();
  const TempFile file(bytes);
  Twin fromFile(file, bytes, 0, 0, JPG_READ_COMPLETE);
  Twin fromMemory(bytes, JPG_READ_COMPLETE);
  for (Twin *twin : {&fromFile, &fromMemory}) {
    ASSERT_RESULT(JPG_OK, twin->seekSegment(JPG_SEGMENT_NEXT));
    EXPECT_EQ(0xFFE1, twin->marker());
    EXPECT_RESULT(JPG_OK, twin->readData(100));
    EXPECT_EQ((Bytes{1, 2, 3} + Bytes(45, 0xFF)), twin->data());
    EXPECT_RESULT(JPG_E_NOT_JPEG, twin->seekSegment(JPG_SEGMENT_NEXT));
  }
}

TEST(MarkerSegments, ArgumentsAreCheckedInTheirOrder) {
  const Reader reader = Reader::ofMemory(encode(picture()));
  uint16_t marker = 0;
  uint32_t length = 0;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadSeekMarkerSegment(nullptr, 0, &marker, &length));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE,
                jpgReadSeekMarkerSegment(reader.handle(), 7, nullptr, &length));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE,
                jpgReadSeekMarkerSegment(reader.handle(), 7, &marker, nullptr));
  for (const int32_t mode : {-1, 2, 3, 2147483647, -2147483647 - 1}) {
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                  jpgReadSeekMarkerSegment(reader.handle(), mode, &marker, &length));
  }
  uint8_t byte = 0;
  uint32_t count = 0;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadReadMarkerData(nullptr, &byte, 1, &count));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadReadMarkerData(reader.handle(), nullptr, 0, &count));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadReadMarkerData(reader.handle(), &byte, 0, &count));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadSeekMarkerData(nullptr));
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadSeekMarkerData(reader.handle()));
}

TEST(MarkerSegments, TheCountOfBytesMayBeLeftOut) {
  const Reader reader = Reader::ofMemory(encode(picture()));
  uint16_t marker = 0;
  uint32_t length = 0;
  ASSERT_RESULT(JPG_OK, jpgReadSeekMarkerSegment(reader.handle(), 0, &marker, &length));
  Bytes data(15, 0);
  EXPECT_RESULT(JPG_OK, jpgReadReadMarkerData(reader.handle(), data.data(), 15, nullptr));
  EXPECT_EQ(counting(15), data);
  EXPECT_RESULT(JPG_NO_DATA, jpgReadReadMarkerData(reader.handle(), data.data(), 15, nullptr));
}

TEST(MarkerAccess, BeforeTheFirstDecodeCallSpoilsNothing) {
  const Picture p = makePicture(40, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 71);
  const Bytes stream = encode(p);
  const Bytes pixels = pixelsOf(stream, {40, 40});
  for (int walk = 0; walk < 4; ++walk) {
    SCOPED_TRACE(walk);
    Twin twin(stream);
    if (walk == 0) twin.seekSegment(JPG_SEGMENT_NEXT);
    if (walk == 1) twin.seekSegment(JPG_SEGMENT_FIRST);
    if (walk == 2)
      while (twin.seekSegment(JPG_SEGMENT_NEXT) == JPG_OK) {
      }
    if (walk == 3) {
      twin.seekSegment(JPG_SEGMENT_FIRST);
      twin.readData(33);
    }
    EXPECT_RESULT(JPG_OK, twin.decode({40, 16}, 16));
    EXPECT_RESULT(JPG_OK, twin.decode({40, 24}, 24));
    EXPECT_EQ(Bytes(pixels.begin() + 16 * 120, pixels.end()), twin.canvas().pixels());
  }
}

TEST(MarkerAccess, EvenASeekThatIsNeverServedBringsTheFirstCallBackToTheScan) {
  // A call for no lines passes the first row of MCUs and leaves the count of rows at 0. Going
  // back to the scan does not clear the predictions: the rows come again, brighter by the last
  // value of the pass before.
  Picture p = makePicture(8, 16, {0x11}, Fill::kZero);
  p.quant[0] = flatQuant(8);
  p.components[0].blocks = {dcBlock(10), dcBlock(10)};
  Twin plain(encode(p));
  EXPECT_RESULT(JPG_OK, plain.decode({8, 8, 1}, 0));
  EXPECT_RESULT(JPG_OK, plain.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(64, 138), plain.canvas().pixels());
  Twin twin(encode(p));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 0));
  EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.seekData());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(64, 148), twin.canvas().pixels());
}

TEST(MarkerAccess, SoDoesASeekOfARefusedModeAndAReadOfARefusedSize) {
  // As above: 148 shows that the first call went back to the scan.
  Picture p = makePicture(8, 16, {0x11}, Fill::kZero);
  p.quant[0] = flatQuant(8);
  p.components[0].blocks = {dcBlock(10), dcBlock(10)};
  for (const int32_t mode : {-1, 2}) {
    Twin twin(encode(p));
    EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 0));
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, twin.seekSegment(mode));
    EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
    EXPECT_EQ(Bytes(64, 148), twin.canvas().pixels()) << mode;
  }
  Twin twin(encode(p));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 0));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, twin.readData(0));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(64, 148), twin.canvas().pixels());
}

TEST(MarkerAccess, BetweenDecodeCallsTheDecoderStaysWhereTheWalkLeftIt) {
  Picture p = makePicture(40, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 72);
  Twin twin(encode(p));
  EXPECT_RESULT(JPG_OK, twin.decode({40, 16}, 16));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  twin.decode({40, 40}, 40);  // decodes tables as if they were coded data; the twins agree
}

TEST(MarkerAccess, SegmentsBehindTheScanCanBeWalked) {
  Picture p = grayPicture({dcBlock(80)});
  StreamBuilder stream = headersOf(p);
  stream.raw(scanOf(p)).segment(kApp1 + 1, counting(9)).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0xFFE2, twin.marker());
  EXPECT_EQ(9U, twin.length());
  EXPECT_RESULT(JPG_OK, twin.readData(9));
  EXPECT_EQ(counting(9), twin.data());
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_EQ(0xFFD9, twin.marker());
}

}  // namespace
}  // namespace jpgtest
