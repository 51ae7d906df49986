// SPDX-License-Identifier: MIT
// Going to a restart interval, and feeding coded data in pieces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

// A grey picture, one block a row, one restart interval of `rows` rows at a time, whose MCU rows
// have the samples 10, 20, 30, ...
Picture staircase(unsigned mcuRows, uint16_t rowsPerInterval) {
  Picture picture = makePicture(16, static_cast<uint16_t>(8 * mcuRows), {0x11}, Fill::kZero);
  picture.quant[0] = flatQuant(8);
  for (size_t i = 0; i < picture.components[0].blocks.size(); ++i) {
    picture.components[0].blocks[i] = dcBlock(static_cast<int32_t>(10 * (i / 2 + 1)) - 128);
  }
  picture.restartInterval = static_cast<uint16_t>(2 * rowsPerInterval);
  return picture;
}

uint8_t nextSample(Twin &twin) {
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8, 1}, 8));
  return twin.canvas().row(0)[0];
}

TEST(RestartSeek, FromTheStartGoesToAnyInterval) {
  const Bytes stream = encode(staircase(10, 1));
  for (int32_t n = 9; n >= 0; --n) {
    Twin twin(stream);
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_EQ(10 * (n + 1), nextSample(twin));
  }
}

TEST(RestartSeek, OneHandleMayGoToAndFro) {
  Twin twin(encode(staircase(10, 1)));
  for (const int32_t n : {5, 2, 9, 0, 9, 1, 1}) {
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_EQ(10 * (n + 1), nextSample(twin));
  }
}

TEST(RestartSeek, IntervalsOfSeveralRows) {
  const Bytes stream = encode(staircase(11, 3));
  for (int32_t n = 0; n <= 3; ++n) {
    Twin twin(stream);
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_EQ(10 * (3 * n + 1), nextSample(twin));
  }
}

TEST(RestartSeek, FromTheCurrentPlaceGoesOn) {
  Twin twin(encode(staircase(10, 1)));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(2, JPG_RESTART_FROM_CURRENT));
  EXPECT_EQ(30, nextSample(twin));
  // The marker behind that row has been taken by the decoder: the next one is two rows on.
  EXPECT_RESULT(JPG_OK, twin.seekRestart(1, JPG_RESTART_FROM_CURRENT));
  EXPECT_EQ(50, nextSample(twin));
}

TEST(RestartSeek, NoIntervalsLeaveThePlace) {
  for (const int32_t n : {0, -1, -2147483647 - 1}) {
    Twin twin(encode(staircase(4, 1)));
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_EQ(10, nextSample(twin));
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_CURRENT));
    EXPECT_EQ(20, nextSample(twin));
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_EQ(10, nextSample(twin));
  }
}

TEST(RestartSeek, TheStartCanBeGoneBackToAfterTheLastRow) {
  const Picture picture = staircase(3, 1);
  Twin twin(encode(picture));
  EXPECT_RESULT(JPG_OK, twin.decode({16, 24, 1}, 24));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({16, 24, 1}, 24));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(0, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, twin.decode({16, 24, 1}, 24));
  EXPECT_EQ(30, twin.canvas().row(23)[0]);
}

TEST(RestartSeek, TheDecoderCountsTheRowsPassedAsPixelRows) {
  // 3 MCU rows passed of 32 pixel rows: 29 pixel rows remain by the count, 8 in the data.
  Twin twin(encode(staircase(4, 1)));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(3, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({16, 32, 1}, 32));
  EXPECT_EQ(40, twin.canvas().row(7)[0]);
  EXPECT_EQ(Canvas::kGuard, twin.canvas().row(8)[0]);
}

TEST(RestartSeek, TheMcuRowsPassedAreTakenOffThePixelRowsThatRemain) {
  // The data hold 12 rows of MCUs, the frame header says 10 pixel rows.
  Picture picture = staircase(12, 1);
  const Bytes scan = scanOf(picture);
  picture.height = 10;
  const Bytes stream = headersOf(picture).raw(scan).eoi().bytes();
  for (int32_t n = 3; n <= 11; ++n) {
    SCOPED_TRACE(n);
    Twin twin(stream);
    EXPECT_RESULT(JPG_OK, twin.seekRestart(n, JPG_RESTART_FROM_START));
    EXPECT_RESULT(n < 10 ? JPG_OK : JPG_E_FAIL, twin.decode({16, 8, 1}, 8));
    for (int32_t y = 0; y < 8; ++y) {
      const int expected = y < 10 - n ? 10 * (n + 1) : Canvas::kGuard;
      EXPECT_EQ(expected, twin.canvas().row(y)[0]) << y;
    }
  }
}

TEST(RestartSeek, FromTheCurrentPlaceTheCountGoesBackToAnIntervalsStart) {
  // 5 pixel rows have been counted; with three rows to an interval that becomes 3, then 6.
  Twin twin(encode(staircase(9, 3)));
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8, 1}, 5));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(1, JPG_RESTART_FROM_CURRENT));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({16, 72, 1}, 72));
  EXPECT_EQ(90, twin.canvas().row(47)[0]);
  EXPECT_EQ(Canvas::kGuard, twin.canvas().row(48)[0]);
}

TEST(RestartSeek, WithoutRestartIntervalsThereIsNothingToSeek) {
  Picture picture = staircase(4, 1);
  picture.restartInterval = 0;
  Twin twin(encode(picture));
  for (const uint32_t mode : {0U, 1U, 2U}) EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(1, mode));
  EXPECT_EQ(10, nextSample(twin));
}

TEST(RestartSeek, IntervalsThatAreNotWholeRowsAreUnsupported) {
  for (const uint16_t interval : Words{1, 3, 5, 63}) {
    Picture picture = staircase(4, 1);
    picture.restartInterval = interval;
    Twin twin(encode(picture));
    for (const uint32_t mode : {0U, 1U, 2U}) {
      EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.seekRestart(1, mode));
      EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.seekRestart(0, mode));
    }
    EXPECT_EQ(10, nextSample(twin));
  }
}

TEST(RestartSeek, UnknownModesAreRefused) {
  Twin twin(encode(staircase(4, 1)));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(2, JPG_RESTART_FROM_START));
  for (const uint32_t mode : {2U, 3U, 0xFFFFFFFFU}) {
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, twin.seekRestart(1, mode));
  }
  EXPECT_EQ(30, nextSample(twin));
}

TEST(RestartSeek, TheHandleComesFirst) {
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadSeekRestartMarker(nullptr, 1, 7));
}

TEST(RestartSeek, PastTheLastIntervalThereIsNoData) {
  Twin twin(encode(staircase(4, 1)));
  EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(4, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({16, 8, 1}, 8));
  EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(100, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(2147483647, JPG_RESTART_FROM_CURRENT));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(3, JPG_RESTART_FROM_START));
  EXPECT_EQ(40, nextSample(twin));
}

TEST(RestartSeek, TruncatedDataEndTheSearch) {
  const Picture picture = staircase(4, 1);
  StreamBuilder stream = headersOf(picture);
  const std::vector<Bytes> parts = intervalsOf(picture);
  stream.raw(parts[0]).rst(0).raw(parts[1]);
  const TempFile file(stream.bytes());
  Twin fromMemory(stream.bytes(), JPG_READ_COMPLETE);
  Twin fromFile(file, stream.bytes(), 0, 0, JPG_READ_COMPLETE);
  for (Twin *twin : {&fromMemory, &fromFile}) {
    EXPECT_RESULT(JPG_NO_DATA, twin->seekRestart(2, JPG_RESTART_FROM_START));
    EXPECT_RESULT(JPG_OK, twin->seekRestart(1, JPG_RESTART_FROM_START));
    EXPECT_EQ(20, nextSample(*twin));
  }
}

TEST(RestartSeek, AForeignMarkerEndsTheSearch) {
  const Picture picture = staircase(4, 1);
  const std::vector<Bytes> parts = intervalsOf(picture);
  for (const uint8_t code : Bytes{kCom, kApp1, kDri}) {
    StreamBuilder stream = headersOf(picture);
    stream.raw(parts[0]).segment(code, {0, 2}).raw(parts[1]).rst(1).raw(parts[2]).eoi();
    Twin twin(stream.bytes());
    EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(1, JPG_RESTART_FROM_START));
  }
}

TEST(RestartSeek, StuffedBytesOnTheWayAreNoMarkers) {
  Picture picture = makePicture(16, 64, {0x11}, Fill::kZero);
  picture.restartInterval = 2;
  for (Block &block : picture.components[0].blocks) block.fill(32767);
  for (Block &block : picture.components[0].blocks) block[0] = 16383;
  Twin twin(encode(picture));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(7, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8, 1}, 8));
  EXPECT_RESULT(JPG_OK, twin.seekRestart(3, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8, 1}, 8));
}

TEST(RestartSeek, LosslessIntervalsCountInPixels) {
  // 8 pixels a line, a restart every 16: two lines. The coded data are never decoded here.
  StreamBuilder stream;
  stream.soi().dht(0, fullDc()).sof(kSof3, 8, 8, 8, {{1, 0x11, 0}}).dri(16).sos({{1, 0}}, 1, 0);
  stream.raw({1, 2}).rst(0).raw({3, 4}).rst(1).raw({5}).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.seekRestart(2, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_NO_DATA, twin.seekRestart(3, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, twin.seekRestart(1, 2));
}

TEST(RestartSeek, FramesWithoutWidthDoNoHarm) {
  for (const uint8_t sof : Bytes{kSof0, kSof3}) {
    StreamBuilder stream;
    stream.soi().dht(0, fullDc()).sof(sof, 8, 8, 0, {{1, 0x11, 0}}).dri(4).sos({{1, 0}}, 1, 0);
    const Reader reader = Reader::ofMemory(stream.raw({1}).rst(0).raw({2}).eoi().bytes());
    ASSERT_RESULT(JPG_OK, reader.result());
    EXPECT_NE(JPG_OK, jpgReadSeekRestartMarker(reader.handle(), 1, JPG_RESTART_FROM_START));
  }
}

// The coded data of a picture, a row of MCUs at a time and without restart markers: the
// predictions begin anew with every piece.
struct Pieces {
  Picture picture;
  std::vector<Bytes> rows;

  explicit Pieces(Picture p) : picture(std::move(p)) {
    picture.restartInterval = static_cast<uint16_t>(picture.mcusPerRow());
    rows = intervalsOf(picture);
    picture.restartInterval = 0;
  }
  Bytes headers() const { return headersOf(picture).bytes(); }
};

TEST(PartialBitstream, PiecesContinueThePicture) {
  const Picture picture = makePicture(40, 80, {0x22, 0x11, 0x11}, Fill::kSmooth, 81);
  const Bytes pixels = pixelsOf(encode(picture), {40, 80});
  const Pieces pieces(picture);
  Twin twin(pieces.headers(), JPG_READ_PARTIAL_BITSTREAM);
  ASSERT_RESULT(JPG_OK, twin.prologResult());
  Bytes all;
  for (const Bytes &row : pieces.rows) {
    ASSERT_RESULT(JPG_OK, twin.setPartial(row));
    EXPECT_RESULT(JPG_OK, twin.decode({40, 16}, 16));
    append(all, twin.canvas().pixels());
  }
  EXPECT_EQ(pixels, all);
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({40, 16}, 16));
}

TEST(PartialBitstream, TheFirstPieceMayComeWithTheHeaders) {
  const Pieces pieces(staircase(3, 1));
  Twin twin(pieces.headers() + pieces.rows[0], JPG_READ_PARTIAL_BITSTREAM);
  EXPECT_EQ(10, nextSample(twin));
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[1]));
  EXPECT_EQ(20, nextSample(twin));
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[2]));
  EXPECT_EQ(30, nextSample(twin));
}

TEST(PartialBitstream, PiecesMayEndWithRestartMarkers) {
  const Picture picture = staircase(3, 1);
  const std::vector<Bytes> rows = intervalsOf(picture);
  Twin twin(headersOf(picture).bytes(), JPG_READ_PARTIAL_BITSTREAM);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_RESULT(JPG_OK, twin.setPartial(StreamBuilder().raw(rows[i]).rst(i).bytes()));
    EXPECT_EQ(10 * (i + 1), nextSample(twin));
  }
}

TEST(PartialBitstream, WhatIsUnreadOfTheOldPieceIsDropped) {
  const Pieces pieces(staircase(3, 1));
  Twin twin(pieces.headers(), JPG_READ_PARTIAL_BITSTREAM);
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[0] + pieces.rows[1] + Bytes(5000, 0x55)));
  EXPECT_EQ(10, nextSample(twin));
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[2]));
  EXPECT_EQ(30, nextSample(twin));
}

TEST(PartialBitstream, AnExhaustedPieceIsFollowedByOnesUntilTheNextComes) {
  const Pieces pieces(staircase(3, 1));
  Twin twin(pieces.headers(), JPG_READ_PARTIAL_BITSTREAM);
  EXPECT_NE(JPG_OK, twin.decode({16, 8, 1}, 8));
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[0]));
  EXPECT_EQ(10, nextSample(twin));
}

TEST(PartialBitstream, EndOfImageInAPieceEndsThatPieceAlone) {
  Picture picture = staircase(2, 1);
  const std::vector<Bytes> rows = intervalsOf(picture);
  Twin twin(headersOf(picture).bytes(), JPG_READ_PARTIAL_BITSTREAM);
  twin.setPartial(StreamBuilder().raw(rows[0]).eoi().bytes());
  EXPECT_EQ(10, nextSample(twin));
  twin.setPartial(rows[1]);
  EXPECT_EQ(20, nextSample(twin));
}

TEST(PartialBitstream, OtherHandlesHaveNoUseForPieces) {
  const Bytes stream = encode(staircase(2, 1));
  const TempFile file(stream);
  Twin fromFile(file, stream, 0, 0, JPG_READ_PARTIAL_BITSTREAM | JPG_READ_COMPLETE);
  EXPECT_RESULT(JPG_NO_DATA, fromFile.setPartial(stream));
  EXPECT_EQ(10, nextSample(fromFile));
  for (const uint32_t flags : {0U, 4U, 1U}) {
    Twin fromMemory(stream, flags);
    EXPECT_RESULT(JPG_NO_DATA, fromMemory.setPartial(stream));
    EXPECT_EQ(10, nextSample(fromMemory));
  }
}

TEST(PartialBitstream, ArgumentsAreCheckedInTheirOrder) {
  const Bytes stream = encode(staircase(2, 1));
  for (const uint32_t flags : {0U, JPG_READ_PARTIAL_BITSTREAM}) {
    const Reader reader = Reader::ofMemory(stream, flags);
    const uint8_t byte = 0;
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadSetPartialBitstream(nullptr, &byte, 0));
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadSetPartialBitstream(reader.handle(), nullptr, 0));
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadSetPartialBitstream(reader.handle(), &byte, 0));
  }
}

TEST(PartialBitstream, MarkerAccessAheadOfAPieceDoesNotLeadBackIntoIt) {
  const Pieces pieces(staircase(2, 1));
  const Bytes headers = pieces.headers();
  Twin twin(headers, JPG_READ_PARTIAL_BITSTREAM);
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  EXPECT_RESULT(JPG_OK, twin.setPartial(pieces.rows[0]));
  EXPECT_EQ(10, nextSample(twin));
}

}  // namespace
}  // namespace jpgtest
