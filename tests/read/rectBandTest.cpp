// SPDX-License-Identifier: MIT
// Bands: what a call delivers, what it loses and what the next one goes on with.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

// A grey picture of one block per MCU row whose rows have the samples 10, 20, 30, ...
Picture staircase(uint16_t height) {
  Picture picture = makePicture(8, height, {0x11}, Fill::kZero);
  picture.quant[0] = flatQuant(8);
  for (size_t i = 0; i < picture.components[0].blocks.size(); ++i) {
    picture.components[0].blocks[i] = dcBlock(static_cast<int32_t>(10 * (i + 1)) - 128);
  }
  return picture;
}

// The first sample of each row.
Bytes column(const Canvas &canvas, int32_t rows) {
  Bytes samples;
  for (int32_t y = 0; y < rows; ++y) samples.push_back(canvas.row(y)[0]);
  return samples;
}

Bytes repeated(const Bytes &samples, size_t times) {
  Bytes all;
  for (const uint8_t s : samples) append(all, Bytes(times, s));
  return all;
}

TEST(RectBands, OneCallDeliversTheWholeImage) {
  Twin twin(encode(staircase(24)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 24, 1}, 24));
  EXPECT_EQ(repeated({10, 20, 30}, 8), column(twin.canvas(), 24));
}

TEST(RectBands, BandsOfWholeMcuRowsFollowEachOther) {
  Twin twin(encode(staircase(24)));
  for (const uint8_t sample : Bytes{10, 20, 30}) {
    EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
    EXPECT_EQ(Bytes(8, sample), column(twin.canvas(), 8));
  }
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 8, 1}, 8));
}

TEST(RectBands, BandsThatEndInsideAnMcuRowLoseItsRemainingRows) {
  Twin twin(encode(staircase(24)));
  for (const uint8_t sample : Bytes{10, 20, 30}) {
    EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 5));
    EXPECT_EQ(Bytes(5, sample) + Bytes(3, Canvas::kGuard), column(twin.canvas(), 8));
  }
  // 15 of 24 rows are counted, but the coded data are at their end.
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({8, 8, 1}, 5));
  EXPECT_TRUE(twin.canvas().untouched());
}

TEST(RectBands, ABandOfOneAndAHalfMcuRowsLosesHalfARow) {
  Twin twin(encode(staircase(40)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 12));
  EXPECT_EQ(Bytes(8, 10) + Bytes(4, 20) + Bytes(4, Canvas::kGuard), column(twin.canvas(), 16));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_EQ(repeated({30, 40}, 8), column(twin.canvas(), 16));
}

TEST(RectBands, TheLastBandStoresTheRowsThatRemain) {
  Twin twin(encode(staircase(19)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_EQ(Bytes(3, 30) + Bytes(13, Canvas::kGuard), column(twin.canvas(), 16));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 16, 1}, 16));
}

TEST(RectBands, MoreRowsThanRemainAreCutToThoseThatRemain) {
  for (const int32_t lines : {20, 21, 1000, INT_MAX}) {
    SCOPED_TRACE(lines);
    Twin twin(encode(staircase(19)));
    EXPECT_RESULT(JPG_OK, twin.decode({8, 30, 1}, lines));
    EXPECT_EQ(repeated({10, 20}, 8) + Bytes(3, 30) + Bytes(11, Canvas::kGuard),
              column(twin.canvas(), 30));
    EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 30, 1}, lines));
  }
}

TEST(RectBands, NoLinesPassAnMcuRowWithoutCountingIt) {
  Twin twin(encode(staircase(24)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 0));
  EXPECT_TRUE(twin.canvas().untouched());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 24, 1}, 16));
  EXPECT_EQ(repeated({20, 30}, 8) + Bytes(8, Canvas::kGuard), column(twin.canvas(), 24));
  // 16 of 24 rows are counted, none is left in the data.
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({8, 8, 1}, 8));
}

TEST(RectBands, NegativeLinesPassAnMcuRowAndLowerTheCount) {
  Twin twin(encode(staircase(16)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, -5));
  EXPECT_TRUE(twin.canvas().untouched());
  // 16 + 5 rows remain by the count: 8 of them come, then the data end.
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({8, 32, 1}, 32));
  EXPECT_EQ(Bytes(8, 20) + Bytes(24, Canvas::kGuard), column(twin.canvas(), 32));
}

TEST(RectBands, NoLinesBehindTheLastRowFail) {
  Twin twin(encode(staircase(16)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 8, 1}, 0));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 8, 1}, -3));
}

TEST(RectBands, TheMostNegativeLineCountStoresNothing) {
  const Reader reader = Reader::ofMemory(encode(staircase(32)));
  Canvas canvas(8, 40, 1);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, INT_MIN));
  EXPECT_TRUE(canvas.untouched());
}

TEST(RectBands, EveryBandHeightOfEveryMcuHeight) {
  for (const uint8_t sampling : Bytes{0x11, 0x22}) {
    const Bytes stream = encode(makePicture(17, 37, {sampling, 0x11, 0x11}, Fill::kSmooth, 12));
    for (int32_t band = -3; band <= 40; ++band) {
      SCOPED_TRACE(std::to_string(sampling) + ", band " + std::to_string(band));
      Twin twin(stream);
      for (int call = 0; call < 12; ++call) twin.decode({17, 56}, band);
    }
  }
}

TEST(RectBands, BandsOfUnequalHeight) {
  const Bytes stream = encode(makePicture(20, 100, {0x22, 0x11, 0x11}, Fill::kSmooth, 13));
  for (uint32_t seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Twin twin(stream);
    for (int call = 0; call < 10; ++call) twin.decode({20, 140}, random.between(-2, 50));
  }
}

TEST(RectBands, MultiplesOfSixteenGiveTheSamePictureAsOneCall) {
  for (const uint8_t sampling : Bytes{0x11, 0x12, 0x21, 0x22}) {
    const Bytes stream = encode(makePicture(20, 75, {sampling, 0x11, 0x11}, Fill::kSmooth, 14));
    const Bytes whole = pixelsOf(stream, {20, 75});
    for (const int32_t band : {16, 32, 48}) {
      const Reader reader = Reader::ofMemory(stream);
      Canvas canvas(20, 75, 3);
      for (int32_t y = 0; y < 75; y += band) {
        const JpgRect rect = canvas.rect(y);
        EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, band));
      }
      EXPECT_EQ(whole, canvas.pixels());
    }
  }
}

// Pictures whose frame header leaves the height to a DNL segment. It is met where the restart
// interval ends with the last MCU.
Picture unknownHeight(uint16_t height) {
  Picture picture = staircase(height);
  picture.heightByDnl = true;
  picture.restartInterval = 1;
  return picture;
}

uint32_t heightOf(const Twin &twin) {
  uint32_t width = 0;
  uint32_t height = 0;
  EXPECT_RESULT(JPG_OK, jpgReadGetImageSize(twin.handle(), &width, &height));
  return height;
}

TEST(RectUnknownHeight, TheHeightIsKnownOnceTheSegmentIsMet) {
  Twin twin(encode(unknownHeight(19)));
  EXPECT_EQ(0U, heightOf(twin));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_EQ(0U, heightOf(twin));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 3));
  EXPECT_EQ(19U, heightOf(twin));
  EXPECT_EQ(Bytes(3, 30) + Bytes(13, Canvas::kGuard), column(twin.canvas(), 16));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 16, 1}, 3));
}

TEST(RectUnknownHeight, RowsBeyondThoseAskedForAreNotStored) {
  Twin twin(encode(unknownHeight(64)));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 40, 1}, 20));
  EXPECT_EQ(repeated({10, 20}, 8) + Bytes(4, 30) + Bytes(20, Canvas::kGuard),
            column(twin.canvas(), 40));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(8, 40), column(twin.canvas(), 8));
}

TEST(RectUnknownHeight, AskingOnEndsAtTheEndOfTheImage) {
  Twin twin(encode(unknownHeight(16)));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({8, 64, 1}, 64));
  EXPECT_EQ(repeated({10, 20}, 8) + Bytes(48, Canvas::kGuard), column(twin.canvas(), 64));
  EXPECT_EQ(16U, heightOf(twin));
}

TEST(RectUnknownHeight, WithoutTheSegmentTheEndOfTheImageEndsIt) {
  Picture picture = unknownHeight(16);
  StreamBuilder stream = headersOf(picture);
  stream.raw(scanOf(picture)).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({8, 16, 1}, 16));
  EXPECT_EQ(0U, heightOf(twin));
}

TEST(RectUnknownHeight, EveryBandHeight) {
  for (const uint8_t sampling : Bytes{0x11, 0x22}) {
    Picture picture = makePicture(30, 37, {sampling, 0x11, 0x11}, Fill::kSmooth, 15);
    picture.heightByDnl = true;
    picture.restartInterval = static_cast<uint16_t>(picture.mcusPerRow());
    const Bytes stream = encode(picture);
    for (int32_t band = -3; band <= 56; ++band) {
      SCOPED_TRACE(std::to_string(sampling) + ", band " + std::to_string(band));
      Twin twin(stream);
      for (int call = 0; call < 8; ++call) twin.decode({30, 64}, band);
    }
  }
}

TEST(RectUnknownHeight, ASegmentAlthoughTheHeightIsKnownChangesNothing) {
  Picture picture = staircase(24);
  picture.restartInterval = 1;
  const std::vector<Bytes> rows = intervalsOf(picture);
  for (const uint16_t height : Words{8, 24, 99}) {
    StreamBuilder stream = headersOf(picture);
    stream.raw(rows[0]).rst(0).raw(rows[1]).dnl(height).rst(1).raw(rows[2]).dnl(height).eoi();
    Twin twin(stream.bytes());
    EXPECT_RESULT(JPG_OK, twin.decode({8, 24, 1}, 24));
    EXPECT_EQ(repeated({10, 20, 30}, 8), column(twin.canvas(), 24));
    EXPECT_EQ(24U, heightOf(twin));
  }
}

TEST(RectUnknownHeight, ASegmentOfAWrongLengthSaysNothing) {
  Picture picture = unknownHeight(24);
  const std::vector<Bytes> rows = intervalsOf(picture);
  for (const size_t size : {0U, 1U, 3U, 4U}) {
    StreamBuilder stream = headersOf(picture);
    stream.raw(rows[0]).segment(kDnl, Bytes(size, 8)).rst(0).raw(rows[1]).eoi();
    const Reader reader = Reader::ofMemory(stream.bytes());
    Canvas canvas(8, 8, 1);
    const JpgRect rect = canvas.rect();
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
    uint32_t width = 0;
    uint32_t height = 1;
    EXPECT_RESULT(JPG_OK, jpgReadGetImageSize(reader.handle(), &width, &height));
    EXPECT_EQ(0U, height);
  }
}

TEST(RectUnknownHeight, ASegmentInFrontOfMoreRowsCutsTheImage) {
  // DNL behind the first of three rows says 12: 12 rows are delivered.
  Picture picture = unknownHeight(24);
  const std::vector<Bytes> rows = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(rows[0]).dnl(12).rst(0).raw(rows[1]).rst(1).raw(rows[2]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(12U, heightOf(twin));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(4, 20) + Bytes(4, Canvas::kGuard), column(twin.canvas(), 8));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 8, 1}, 8));
}

}  // namespace
}  // namespace jpgtest
