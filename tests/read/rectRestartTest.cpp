// SPDX-License-Identifier: MIT
// Restart intervals: what happens between rows and intervals of MCUs, with markers in their place,
// missing, doubled or foreign.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

Picture colourPicture(uint16_t restartInterval) {
  Picture picture = makePicture(50, 40, {0x21, 0x11, 0x11}, Fill::kSmooth, 41);
  picture.restartInterval = restartInterval;
  return picture;  // 4 MCUs a row, 5 rows
}

// A grey picture of one block per MCU, one MCU per interval, with the samples 10, 20, 30, ...
Picture grayIntervals(size_t count) {
  std::vector<Block> blocks;
  for (size_t i = 1; i <= count; ++i) blocks.push_back(dcBlock(static_cast<int32_t>(10 * i) - 128));
  Picture picture = grayPicture(blocks);
  picture.quant[0] = flatQuant(8);
  picture.restartInterval = 1;
  return picture;
}

// The samples of the first row, one of each block.
Bytes blocksOf(const Canvas &canvas) {
  const Bytes row = canvas.row(0);
  Bytes samples;
  for (size_t x = 0; x < row.size(); x += 8) samples.push_back(row[x]);
  return samples;
}

TEST(RectRestart, EveryIntervalGivesTheSamePicture) {
  const Bytes pixels = pixelsOf(encode(colourPicture(0)), {50, 40});
  for (const uint16_t interval : Words{1, 2, 3, 4, 5, 7, 8, 12, 19, 20, 21, 1000, 65535}) {
    SCOPED_TRACE(interval);
    const Bytes stream = encode(colourPicture(interval));
    expectSamePicture(stream, {50, 40});
    EXPECT_EQ(pixels, pixelsOf(stream, {50, 40}));
  }
}

TEST(RectRestart, TheLastIntervalMayEndWithTheImage) {
  // With an interval that divides the image, EOI is met in the place of a restart marker; with
  // any other the count of MCUs since the last marker never reaches that of the image. Either
  // way no row remains.
  for (const uint16_t interval : Words{0, 4, 20, 6, 50}) {
    Twin twin(encode(colourPicture(interval)));
    EXPECT_RESULT(JPG_OK, twin.decode({50, 40}, 40));
    EXPECT_RESULT(JPG_E_FAIL, twin.decode({50, 40}, 8));
  }
}

TEST(RectRestart, TheIntervalMayBeSaidBehindTheFrameHeaderOrBeforeIt) {
  Picture picture = colourPicture(0);
  picture.before = StreamBuilder().dri(3).bytes();
  const Bytes headers = headersOf(picture).bytes();
  picture.restartInterval = 3;
  const Bytes stream = headers + scanOf(picture) + StreamBuilder().eoi().bytes();
  expectSamePicture(stream, {50, 40});
  EXPECT_EQ(pixelsOf(encode(colourPicture(0)), {50, 40}), pixelsOf(stream, {50, 40}));
}

TEST(RectRestart, MarkersOutOfTheirSequenceAreTakenAllTheSame) {
  const Picture picture = grayIntervals(4);
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).rst(5).raw(parts[1]).rst(5).raw(parts[2]).rst(0).raw(parts[3]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30, 40}), blocksOf(twin.canvas()));
}

TEST(RectRestart, TwoMarkersInARowAreBothTaken) {
  const Picture picture = grayIntervals(3);
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).rst(0).rst(1).raw(parts[1]).rst(1).rst(1).rst(2).raw(parts[2]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({24, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30}), blocksOf(twin.canvas()));
}

// Blocks of whole bytes: DC codes and AC codes of four bits, so that no padding is needed. The
// DC code of all ones stands for a difference of four bits.
StreamBuilder nibbleHeaders(uint16_t width, uint16_t interval) {
  std::vector<uint8_t> dc(16, 0);
  dc[15] = 4;
  StreamBuilder stream;
  stream.soi().dqt(0, flatQuant(8)).dht(0x00, evenTable(dc, 4));
  stream.dht(0x10, evenTable(std::vector<uint8_t>(16, 0), 4));
  stream.sof(kSof0, 8, 8, width, {{1, 0x11, 0}});
  return stream.dri(interval).sos({{1, 0}});
}

TEST(RectRestart, WithoutAMarkerThePredictionsGoOn) {
  // Block 1: F F 0, the FF stuffed. Blocks 2 and 3: 0 0. The last nibble pads.
  StreamBuilder stream = nibbleHeaders(24, 1).raw({0xFF, 0x00, 0x00, 0x00, 0x00, 0x0F});
  Twin twin(stream.eoi().bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({24, 8, 1}, 8));
  EXPECT_EQ((Bytes{143, 143, 143}), blocksOf(twin.canvas()));
}

TEST(RectRestart, StartOfImageInAMarkersPlaceLeavesThePredictions) {
  // SOI is the marker above RST7. Block 1: F F 0, the FF stuffed, and padding. Block 2: 0 0.
  StreamBuilder stream = nibbleHeaders(16, 1).raw({0xFF, 0x00, 0x0F}).soi().raw({0x00});
  Twin twin(stream.eoi().bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8, 1}, 8));
  EXPECT_EQ((Bytes{143, 143}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AStuffedByteIsNotTheFirstByteOfAMarker) {
  // Block 1: 0 D. Block 2: F F D, where the FF is stuffed: FF 00 D. Block 3: 0 D. At the end of
  // the first interval the bytes FF D0 stand in the data, and they are data.
  StreamBuilder stream = nibbleHeaders(24, 1).raw({0x0D, 0xFF, 0x00, 0xD0, 0xDF});
  Twin twin(stream.eoi().bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({24, 8, 1}, 8));
  EXPECT_EQ((Bytes{128, 143, 143}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AStuffedByteIsNotTheFirstByteOfTheEndOfTheImage) {
  StreamBuilder stream = nibbleHeaders(24, 1).raw({0x0D, 0xFF, 0x00, 0xD9, 0x0D});
  Twin twin(stream.eoi().bytes());
  // Block 2: F F D; block 3: 9 0.
  EXPECT_RESULT(JPG_OK, twin.decode({24, 8, 1}, 8));
  EXPECT_EQ((Bytes{128, 143, 143}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AMarkerMissingAtOneIntervalIsNotLookedForAgain) {
  // The count since the last marker goes on, so that it never equals the interval again: the
  // marker behind the second block is data (FF: a difference of 15; D1, 0D: end of block ...).
  StreamBuilder stream = nibbleHeaders(32, 1).raw({0x0D, 0x0D}).rst(1).raw({0x00, 0x0D, 0x0D});
  Twin twin(stream.eoi().bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{128, 128, 143, 143}), blocksOf(twin.canvas()));
}

TEST(RectRestart, FillBytesInFrontOfAMarkerHideIt) {
  // FF FF D0: the two bytes are FF FF, which is no marker.
  Picture picture = grayIntervals(2);
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).raw({0xFF}).rst(0).raw(parts[1]).eoi();
  Twin twin(stream.bytes());
  twin.decode({16, 8, 1}, 8);
  EXPECT_NE((Bytes{10, 20}), blocksOf(twin.canvas()));
}

TEST(RectRestart, EndOfImageInTheMiddleEndsTheDecoding) {
  const Picture picture = grayIntervals(4);
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).rst(0).raw(parts[1]).eoi().raw(parts[2]).rst(2).raw(parts[3]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, Canvas::kGuard, Canvas::kGuard}), blocksOf(twin.canvas()));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({32, 8, 1}, 8));
}

TEST(RectRestart, EndOfImageInAMarkersPlaceBehindOtherMarkers) {
  const Picture picture = grayIntervals(3);
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).rst(0).rst(1).eoi().raw(parts[1]);
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, twin.decode({24, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, Canvas::kGuard, Canvas::kGuard}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AScanHeaderBetweenIntervalsBringsNewTables) {
  // The second interval has other Huffman tables, defined between the two, and a scan header.
  Picture first = grayIntervals(4);
  first.restartInterval = 2;
  Picture second = first;
  useLongTables(second);
  StreamBuilder stream = headersOf(first);
  stream.raw(intervalsOf(first)[0]).com("between");
  stream.dht(0x00, second.dc[0]).dht(0x10, second.ac[0]).sos({{1, 0}});
  stream.raw(intervalsOf(second)[1]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30, 40}), blocksOf(twin.canvas()));
}

TEST(RectRestart, EightTablesMayWaitForEveryScanHeader) {
  Picture picture = grayIntervals(4);
  picture.restartInterval = 2;
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]);
  for (int i = 0; i < 4; ++i) stream.dht(0x01, fullDc()).dht(0x11, fullAc());
  Twin twin(stream.sos({{1, 0x11}}).raw(parts[1]).eoi().bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30, 40}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AScanHeaderMayFollowARestartMarker) {
  Picture picture = grayIntervals(4);
  picture.restartInterval = 2;
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).rst(0).sos({{1, 0}}).raw(parts[1]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30, 40}), blocksOf(twin.canvas()));
}

TEST(RectRestart, AScanHeaderBeginsTheCountOfTheIntervalAnew) {
  // Two blocks, a scan header, two blocks, a marker, two blocks.
  Picture picture = grayIntervals(6);
  picture.restartInterval = 2;
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).sos({{1, 0}}).raw(parts[1]).rst(1).raw(parts[2]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({48, 8, 1}, 8));
  EXPECT_EQ((Bytes{10, 20, 30, 40, 50, 60}), blocksOf(twin.canvas()));
}

TEST(RectRestart, TablesWithoutAScanHeaderLeaveThoseOfTheScan) {
  // Behind the second block a DC table without the difference of four bits, and no scan header:
  // coded data go on, with the tables and the predictions of the scan. F F D, 0 D.
  StreamBuilder stream = nibbleHeaders(32, 2).raw({0xFF, 0x00, 0xD0, 0xDF});
  stream.dht(0x00, evenTable(Bytes(16, 0), 4)).raw({0xFF, 0x00, 0xD0, 0xDF}).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  EXPECT_EQ((Bytes{143, 143, 158, 158}), blocksOf(twin.canvas()));
}

TEST(RectRestart, ARefusedScanHeaderLeavesTheScanAsItWas) {
  // A scan of an unknown component: its header ends the search for markers.
  StreamBuilder stream = nibbleHeaders(16, 1).raw({0x0D}).sos({{9, 0}}).raw({0xFF, 0x00, 0xD0});
  Twin twin(stream.eoi().bytes());
  twin.decode({16, 8, 1}, 8);
  EXPECT_EQ(128, twin.canvas().row(0)[0]);
}

TEST(RectRestart, NewQuantisationBetweenIntervalsCountsAtOnce) {
  Picture picture = grayIntervals(4);
  picture.restartInterval = 2;
  const std::vector<Bytes> parts = intervalsOf(picture);
  StreamBuilder stream = headersOf(picture);
  stream.raw(parts[0]).dqt(0, flatQuant(4)).sos({{1, 0}}).raw(parts[1]).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({32, 8, 1}, 8));
  // (30 - 128) / 2 + 128 and (40 - 128) / 2 + 128
  EXPECT_EQ((Bytes{10, 20, 79, 84}), blocksOf(twin.canvas()));
}

TEST(RectRestart, EveryTamperingWithMarkersIsMetAlike) {
  const Picture picture = colourPicture(3);
  const std::vector<Bytes> parts = intervalsOf(picture);
  const Bytes headers = headersOf(picture).bytes();
  for (uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    StreamBuilder stream;
    stream.raw(headers);
    for (size_t i = 0; i < parts.size(); ++i) {
      stream.raw(parts[i]);
      switch (random.between(0, 9)) {
        case 0:
          break;
        case 1:
          stream.rst(1).rst(2);
          break;
        case 2:
          stream.raw({0xFF, 0x00, 0xD1});
          break;
        case 3:
          stream.raw({0xFF, 0xFF}).rst(0);
          break;
        case 4:
          stream.raw({0x00}).rst(0);
          break;
        case 5:
          if (random.oneIn(3)) stream.eoi();
          break;
        default:
          stream.rst(static_cast<unsigned>(i));
      }
    }
    Twin twin(stream.eoi().bytes());
    twin.decode({50, 24}, 24);
    twin.decode({50, 24}, 24);
    twin.decode({50, 24}, 24);
  }
}

}  // namespace
}  // namespace jpgtest
