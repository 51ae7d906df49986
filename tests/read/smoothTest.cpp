// SPDX-License-Identifier: MIT
// The option for interpolated chroma: values worked out by hand, every reader beside the model, and
// what becomes of bands, seeks and damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "model/reader.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

constexpr uint32_t kSmooth = JPG_READ_SMOOTH;
constexpr uint32_t kBoth = JPG_READ_SMOOTH | JPG_READ_ACCURATE;

// A picture whose second component has flat blocks of these levels, 0 to 255, in coded order.
Bytes flatChroma(uint16_t width, uint16_t height, uint8_t luma, const std::vector<int> &levels) {
  Picture p = makePicture(width, height, {luma, 0x11}, Fill::kZero);
  for (QuantTable &table : p.quant) table.fill(8);
  for (size_t i = 0; i < levels.size(); i++) p.components[1].blocks[i] = dcBlock(levels[i] - 128);
  return encode(p);
}

// The second component of a row of pixels, from column `first` on.
std::vector<int> chromaOf(const Bytes &stream, int32_t width, int32_t height, int32_t row,
                          int32_t first, int32_t count) {
  Twin twin(stream, kSmooth);
  EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
  EXPECT_RESULT(JPG_OK, twin.decode({width, height, 2}, height));
  const Bytes pixels = twin.canvas().row(row);
  std::vector<int> values;
  for (int32_t x = first; x < first + count; x++) {
    values.push_back(pixels[static_cast<size_t>(2 * x + 1)]);
  }
  return values;
}

using Values = std::vector<int>;

TEST(Smooth, AcrossAPixelIsThreeQuartersOfTheNearestSample) {
  // Samples 100 ... 100, 141 ... 141: 110.25 and 130.75 where they meet.
  const Bytes stream = flatChroma(32, 8, 0x21, {100, 141});
  EXPECT_EQ((Values{100, 100, 110, 131, 141, 141}), chromaOf(stream, 32, 8, 3, 13, 6));
}

TEST(Smooth, HalvesAreRoundedDownInEvenColumnsAndUpInOddOnes) {
  // 100 and 102: 100.5 in the odd column 15, 101.5 in the even column 16.
  EXPECT_EQ((Values{101, 101}), chromaOf(flatChroma(32, 8, 0x21, {100, 102}), 32, 8, 0, 15, 2));
  EXPECT_EQ((Values{102, 100}), chromaOf(flatChroma(32, 8, 0x21, {102, 100}), 32, 8, 0, 15, 2));
}

TEST(Smooth, DownAPixelIsThreeQuartersOfTheNearestSample) {
  const Bytes stream = flatChroma(8, 32, 0x12, {100, 141});
  const int expected[] = {100, 110, 131, 141};
  for (int32_t y = 14; y < 18; y++) {
    EXPECT_EQ(Values(8, expected[y - 14]), chromaOf(stream, 8, 32, y, 0, 8)) << y;
  }
}

TEST(Smooth, HalvesAreRoundedDownInEvenRowsAndUpInOddOnes) {
  const Bytes stream = flatChroma(8, 32, 0x12, {100, 102});
  EXPECT_EQ((Values{101}), chromaOf(stream, 8, 32, 15, 0, 1));
  EXPECT_EQ((Values{101}), chromaOf(stream, 8, 32, 16, 0, 1));
}

TEST(Smooth, BothWaysTheFourNearestSamplesCount) {
  // 9, 3, 3 and 1 sixteenths. In row 15 the upper samples are nearest: 16 * 100 + 3 * 16 + 1 * 16
  // sixteenths left of the middle, that is 104, and 112 right of it.
  const Bytes stream = flatChroma(32, 32, 0x22, {100, 116, 132, 148});
  EXPECT_EQ((Values{100 + 4 + 8, 100 + 12 + 8}), chromaOf(stream, 32, 32, 15, 15, 2));
  EXPECT_EQ((Values{100 + 4 + 24, 100 + 12 + 24}), chromaOf(stream, 32, 32, 16, 15, 2));
}

TEST(Smooth, HalvesOfBothWaysAreRoundedUpInEvenColumns) {
  // 100 and 108 beside each other, above and below: 108 - 2 = 106, and with 101 in place of the
  // first 100: 8 / 16 more or less.
  const Bytes stream = flatChroma(32, 32, 0x22, {100, 100, 100, 108});
  // Row 16, column 15: 3 / 16 of 8 = 1.5; column 16: 9 / 16 of 8 = 4.5.
  EXPECT_EQ((Values{101, 105}), chromaOf(stream, 32, 32, 16, 15, 2));
}

TEST(Smooth, TheLastSamplesOfThePictureCountBeyondItsEdges) {
  // 17 pixels have 9 samples; the one in column 16 has no neighbour to its right.
  const Bytes stream = flatChroma(17, 17, 0x22, {100, 140, 20, 60});
  EXPECT_EQ((Values{100, 100}), chromaOf(stream, 17, 17, 0, 0, 2));
  EXPECT_EQ((Values{130}), chromaOf(stream, 17, 17, 0, 16, 1));
  EXPECT_EQ((Values{40}), chromaOf(stream, 17, 17, 16, 0, 1));
}

const std::vector<std::vector<uint8_t>> kLayouts = {
    {0x21, 0x11, 0x11}, {0x12, 0x11, 0x11}, {0x22, 0x11, 0x11},       {0x22, 0x21, 0x12},
    {0x22, 0x12, 0x12}, {0x22, 0x21, 0x21}, {0x11, 0x22, 0x11},       {0x21, 0x12, 0x11},
    {0x22, 0x11},       {0x11, 0x22},       {0x22, 0x11, 0x11, 0x22}, {0x11, 0x11, 0x11, 0x21},
    {0x22, 0x22, 0x11}, {0x21, 0x21, 0x11}};

int32_t pixelBytesOf(const std::vector<uint8_t> &layout) { return layout.size() < 3 ? 1 : 3; }

TEST(Smooth, SequentialPicturesAreThoseOfTheModel) {
  uint32_t seed = 0;
  for (const auto &layout : kLayouts) {
    for (const Fill fill : {Fill::kSmooth, Fill::kDcOnly, Fill::kDense, Fill::kExtreme}) {
      for (const int32_t size : {1, 15, 33, 50}) {
        const auto side = static_cast<uint16_t>(size);
        const Picture p = makePicture(side, static_cast<uint16_t>(side + 4), layout, fill, ++seed);
        for (const uint32_t flags : {kSmooth, kBoth}) {
          Twin twin(encode(p), flags);
          EXPECT_RESULT(JPG_OK, twin.decode({size, size + 4, pixelBytesOf(layout)}, size + 4));
        }
      }
    }
  }
}

TEST(Smooth, WideRowsAreThoseOfTheModel) {
  // Beyond 32 pixels kernels go in steps; each rest of one.
  for (const auto &layout : {kLayouts[0], kLayouts[1], kLayouts[2]}) {
    for (int32_t width = 60; width < 97; width++) {
      const auto w = static_cast<uint16_t>(width);
      Twin twin(encode(makePicture(w, 18, layout, Fill::kDense, w)), kBoth);
      EXPECT_RESULT(JPG_OK, twin.decode({width, 18, 3}, 18));
    }
  }
}

TEST(Smooth, ComponentsAsDecodedAreInterpolatedToo) {
  for (const auto &layout : kLayouts) {
    Twin twin(encode(makePicture(45, 37, layout, Fill::kDense)), kSmooth);
    EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
    EXPECT_RESULT(JPG_OK, twin.decode({45, 37, static_cast<int32_t>(layout.size())}, 37));
  }
}

TEST(Smooth, RgbComponentsAreStoredBlueFirst) {
  Picture p = makePicture(45, 37, {0x22, 0x11, 0x21}, Fill::kDense);
  const uint8_t ids[] = {'R', 'G', 'B'};
  for (size_t i = 0; i < 3; i++) p.components[i].id = ids[i];
  Twin twin(encode(p), kSmooth);
  EXPECT_RESULT(JPG_OK, twin.decode({45, 37, 3}, 37));
}

TEST(Smooth, NarrowAndWideRectanglesAreThoseOfTheModel) {
  for (const auto &layout : kLayouts) {
    const Bytes stream = encode(makePicture(45, 37, layout, Fill::kDense));
    for (const int32_t width : {-3, 0, 1, 20, 47, 48, 60}) {
      Twin twin(stream, kSmooth);
      EXPECT_RESULT(JPG_OK, twin.decode({std::max(width, 1), 37, pixelBytesOf(layout)}, 37));
    }
  }
}

// ---- Bands ------------------------------------------------------------------

enum class Way { kSequential, kHalf, kQuarter, kEighth, kProgressive };

uint32_t readBand(JPGHANDLE h, Way way, const JpgRect &rect, int32_t rows) {
  switch (way) {
    case Way::kSequential:
      return jpgReadToRect(h, &rect, rows);
    case Way::kProgressive:
      return jpgReadProgressiveToRect(h, &rect, rows, JPG_PROGRESSIVE_ALL_SCANS);
    default:
      return jpgReadScaleOutputToRect(h, &rect, rows, 3 - static_cast<int32_t>(way));
  }
}

uint32_t readBand(Model *model, Way way, const JpgRect &rect, int32_t rows) {
  switch (way) {
    case Way::kSequential:
      return model->readToRect(rect, rows);
    case Way::kProgressive:
      return model->progressiveToRect(rect, rows, JPG_PROGRESSIVE_ALL_SCANS);
    default:
      return model->scaledToRect(rect, rows, 3 - static_cast<int32_t>(way));
  }
}

int32_t scaledBy(int32_t length, Way way) {
  const int32_t shift = way == Way::kProgressive ? 0 : static_cast<int32_t>(way);
  return (length + (1 << shift) - 1) >> shift;
}

constexpr Way kWays[] = {Way::kSequential, Way::kHalf, Way::kQuarter, Way::kEighth,
                         Way::kProgressive};

Bytes streamFor(Way way, const Picture &p) {
  return way == Way::kProgressive ? encodeProgressive(p, refiningScript(p.components.size()))
                                  : encode(p);
}

TEST(Smooth, AnyBandsGiveThePixelsOfOneCallAndOfTheModel) {
  Random random(7);
  for (const auto &layout : kLayouts) {
    const Picture p = makePicture(53, 75, layout, Fill::kDense, 3);
    for (const Way way : kWays) {
      const Bytes stream = streamFor(way, p);
      const int32_t width = scaledBy(53, way), height = scaledBy(75, way);
      Model model;
      ASSERT_RESULT(JPG_OK, model.openMemory(stream, kBoth));
      Canvas whole(width, height, pixelBytesOf(layout));
      ASSERT_RESULT(JPG_OK, readBand(&model, way, whole.rect(), height));
      for (const int32_t most : {height, 1, 3, 17, 40}) {
        const Reader reader = Reader::ofMemory(stream, kBoth);
        Canvas canvas(width, height, pixelBytesOf(layout));
        for (int32_t y = 0; y < height;) {
          const auto rows =
              std::min<int32_t>(static_cast<int32_t>(random.between(1, most)), height - y);
          const JpgRect rect = canvas.rect(y);
          ASSERT_RESULT(JPG_OK, readBand(reader.handle(), way, rect, most == height ? most : rows));
          y += most == height ? most : rows;
        }
        EXPECT_TRUE(whole.memory() == canvas.memory())
            << "way " << static_cast<int>(way) << ", bands of up to " << most;
        const JpgRect rect = canvas.rect();
        const bool scaled = way != Way::kSequential && way != Way::kProgressive;
        EXPECT_RESULT(scaled ? JPG_E_INVALID_PARAMETER : JPG_E_FAIL,
                      readBand(reader.handle(), way, rect, 1));
      }
    }
  }
}

TEST(Smooth, ACallForNoRowsDecodesAndCountsNothing) {
  for (const Way way : kWays) {
    if (way == Way::kProgressive) continue;  // there it decodes scans
    const Bytes stream = streamFor(way, makePicture(40, 40, {0x22, 0x11, 0x11}, Fill::kDense));
    const int32_t width = scaledBy(40, way), height = scaledBy(40, way);
    Canvas plain(width, height, 3), canvas(width, height, 3);
    const JpgRect rect = canvas.rect(), plainRect = plain.rect();
    const Reader first = Reader::ofMemory(stream, kSmooth);
    EXPECT_RESULT(JPG_OK, readBand(first.handle(), way, plainRect, height));
    const Reader reader = Reader::ofMemory(stream, kSmooth);
    for (const int32_t none : {0, -1, -100}) {
      EXPECT_RESULT(JPG_OK, readBand(reader.handle(), way, rect, none));
    }
    EXPECT_TRUE(canvas.untouched());
    EXPECT_RESULT(JPG_OK, readBand(reader.handle(), way, rect, height));
    EXPECT_TRUE(plain.memory() == canvas.memory());
  }
}

TEST(Smooth, ScanByScanAPictureGrowsAsTheModelSays) {
  const Picture p = makePicture(53, 45, {0x22, 0x11, 0x11}, Fill::kDense);
  const Bytes stream = encodeProgressive(p, refiningScript(3));
  const Reader reader = Reader::ofMemory(stream, kBoth);
  Model model;
  ASSERT_RESULT(JPG_OK, model.openMemory(stream, kBoth));
  const int32_t bands[] = {45, 10, 20, 15, 1, 44};
  uint32_t last = JPG_OK;
  for (size_t i = 0; last == JPG_OK; i++) {
    Canvas expected(53, 45, 3), made(53, 45, 3);
    last = model.progressiveToRect(expected.rect(), bands[i % 6], JPG_PROGRESSIVE_NEXT_SCAN);
    const JpgRect rect = made.rect();
    EXPECT_RESULT(last, jpgReadProgressiveToRect(reader.handle(), &rect, bands[i % 6],
                                                 JPG_PROGRESSIVE_NEXT_SCAN));
    EXPECT_TRUE(expected.memory() == made.memory()) << "call " << i;
  }
  EXPECT_RESULT(JPG_NO_DATA, last);
}

TEST(Smooth, AnotherScaleStartsThePictureAgain) {
  const Bytes stream = encode(makePicture(53, 45, {0x22, 0x11, 0x11}, Fill::kDense));
  const Reader reader = Reader::ofMemory(stream, kSmooth);
  Model model;
  ASSERT_RESULT(JPG_OK, model.openMemory(stream, kSmooth));
  for (const int32_t scale : {3, 2, 2, 0, 3, 1, 1, 1, 3}) {
    Canvas expected(53, 45, 3), made(53, 45, 3);
    const JpgRect rect = made.rect();
    EXPECT_RESULT(model.scaledToRect(expected.rect(), 5, scale),
                  jpgReadScaleOutputToRect(reader.handle(), &rect, 5, scale));
    EXPECT_TRUE(expected.memory() == made.memory()) << "scale code " << scale;
  }
}

// ---- Frames and handles that go today's way ---------------------------------

TEST(Smooth, FramesWithoutSubsampledComponentsAreReadAsWithoutTheOption) {
  for (const auto &layout : std::vector<std::vector<uint8_t>>{
           {0x11}, {0x22}, {0x11, 0x11}, {0x11, 0x11, 0x11}, {0x22, 0x22, 0x22}}) {
    const Bytes stream = encode(makePicture(45, 37, layout, Fill::kDense));
    const Twin::Shape shape = {45, 37, pixelBytesOf(layout)};
    EXPECT_EQ(pixelsOf(stream, shape), pixelsOf(stream, shape, kSmooth));
    // A band that ends inside a row of MCUs loses the rest of it, as ever.
    Twin twin(stream, kSmooth);
    EXPECT_RESULT(JPG_OK, twin.decode(shape, 5));
    EXPECT_RESULT(JPG_OK, twin.decode(shape, 5));
  }
}

// Whose pixels nobody defines, so that nothing may change.
TEST(Smooth, FramesWithASamplingFactorOfZeroAreReadAsWithoutTheOption) {
  for (const uint8_t factors : {uint8_t{0x01}, uint8_t{0x10}, uint8_t{0x00}}) {
    Picture p = makePicture(45, 37, {0x22, 0x11, 0x11}, Fill::kDense);
    p.components[1].sampling = factors;
    const Bytes stream = encode(p);
    Canvas plain(45, 37, 3), smooth(45, 37, 3);
    const Reader first = Reader::ofMemory(stream), second = Reader::ofMemory(stream, kSmooth);
    const JpgRect to = plain.rect(), also = smooth.rect();
    EXPECT_RESULT(jpgReadToRect(first.handle(), &to, 37),
                  jpgReadToRect(second.handle(), &also, 37));
    EXPECT_TRUE(plain.memory() == smooth.memory()) << int{factors};
  }
}

TEST(Smooth, FramesWithoutColumnsAreReadAsWithoutTheOption) {
  Picture p = makePicture(16, 32, {0x22, 0x11, 0x11});
  p.width = 0;
  const Bytes stream = headersOf(p).bytes();
  Canvas canvas(8, 32, 3);
  const JpgRect rect = canvas.rect();
  for (const uint32_t flags : {0U, kSmooth}) {
    const Reader reader = Reader::ofMemory(stream, flags | JPG_READ_COMPLETE);
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 5));
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 32));
    EXPECT_RESULT(JPG_E_FAIL, jpgReadToRect(reader.handle(), &rect, 1));
  }
  EXPECT_TRUE(canvas.untouched());
}

TEST(Smooth, ProgressivePicturesWithoutAHeightHaveNoRows) {
  Picture p = makePicture(45, 37, {0x22, 0x11, 0x11});
  p.height = 0;
  const Bytes stream = progressiveHeaders(p).bytes();
  Bytes whole = stream;
  append(whole, StreamBuilder().sos({{p.components[0].id, 0}}, 0, 0, 0).bytes());
  append(whole, {0xFF, kEoi});
  const Reader reader = Reader::ofMemory(whole, kSmooth);
  ASSERT_RESULT(JPG_OK, reader.result());
  Canvas canvas(45, 37, 3);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 37, 0));
  EXPECT_TRUE(canvas.untouched());
}

TEST(Smooth, PiecesAreReadWithReplicatedChroma) {
  const Bytes stream = encode(makePicture(45, 37, {0x22, 0x11, 0x11}, Fill::kDense));
  const Twin::Shape shape = {45, 37, 3};
  EXPECT_EQ(pixelsOf(stream, shape, JPG_READ_PARTIAL_BITSTREAM),
            pixelsOf(stream, shape, JPG_READ_PARTIAL_BITSTREAM | kSmooth));
  EXPECT_FALSE(pixelsOf(stream, shape) == pixelsOf(stream, shape, kSmooth));
}

TEST(Smooth, ARectangleThatDoesntFitTheComponentsIsRefused) {
  Twin twin(encode(makePicture(45, 37, {0x22, 0x11, 0x11})), kSmooth);
  EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
  EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.decode({45, 37, 4}, 37));
  EXPECT_RESULT(JPG_OK, twin.decode({45, 37, 3}, 37));
}

// ---- Segments, seeks, damage ------------------------------------------------

TEST(Smooth, SegmentsMayBeWalkedAheadOfTheFirstRows) {
  Twin twin(encode(makePicture(45, 37, {0x22, 0x11, 0x11}, Fill::kDense)), kSmooth);
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_FIRST));
  EXPECT_RESULT(JPG_OK, twin.seekSegment(JPG_SEGMENT_NEXT));
  EXPECT_RESULT(JPG_OK, twin.decode({45, 37, 3}, 20));
  EXPECT_RESULT(JPG_OK, twin.decode({45, 37, 3}, 17));
}

Picture withRestarts(uint16_t width, uint16_t height) {
  Picture p = makePicture(width, height, {0x22, 0x11, 0x11}, Fill::kDense);
  p.restartInterval = static_cast<uint16_t>(p.mcusPerRow());
  return p;
}

TEST(Smooth, RestartMarkersAreRunOverAsWithoutTheOption) {
  Twin twin(encode(withRestarts(45, 90)), kSmooth);
  for (int i = 0; i < 9; i++) EXPECT_RESULT(JPG_OK, twin.decode({45, 10, 3}, 10));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({45, 10, 3}, 10));
}

TEST(Smooth, BehindARestartSeekTheRowsBeginAsAtAnUpperEdge) {
  const Bytes stream = encode(withRestarts(45, 90));
  for (int32_t intervals = 0; intervals < 7; intervals++) {
    Twin twin(stream, kSmooth);
    EXPECT_RESULT(JPG_OK, twin.decode({45, 33, 3}, 33));
    twin.seekRestart(intervals, JPG_RESTART_FROM_START);
    twin.decode({45, 20, 3}, 20);
    twin.seekRestart(1, JPG_RESTART_FROM_CURRENT);
    twin.decode({45, 20, 3}, 20);
    twin.decode({45, 90, 3}, 90);
  }
}

TEST(Smooth, RowsAboveDamageAreStoredAndTheCodeComesWithTheRowsOfIt) {
  // The fourth row of MCUs has no data: what follows the third restart marker is an EOI.
  Picture p = withRestarts(45, 90);
  const std::vector<Bytes> intervals = intervalsOf(p);
  Bytes stream = headersOf(p).bytes();
  for (size_t i = 0; i < 3; i++) {
    append(stream, intervals[i]);
    append(stream, {0xFF, static_cast<uint8_t>(0xD0 + i)});
  }
  append(stream, {0xFF, kEoi});
  Twin whole(stream, kSmooth);
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, whole.decode({45, 90, 3}, 90));
  Twin bands(stream, kSmooth);
  for (int i = 0; i < 6; i++) EXPECT_RESULT(JPG_OK, bands.decode({45, 8, 3}, 8));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, bands.decode({45, 8, 3}, 8));
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, bands.decode({45, 8, 3}, 8));
}

TEST(Smooth, DamagedStreamsGiveTheCodesAndPixelsOfTheModel) {
  Random random(11);
  for (int n = 0; n < 400; n++) {
    const auto &layout = kLayouts[static_cast<size_t>(n) % kLayouts.size()];
    Bytes stream = encode(makePicture(45, 90, layout, Fill::kDense, static_cast<uint32_t>(n)));
    for (int i = 0; i < 3; i++) {
      const auto at = static_cast<size_t>(random.between(static_cast<int32_t>(stream.size() / 3),
                                                         static_cast<int32_t>(stream.size()) - 3));
      stream[at] = static_cast<uint8_t>(random.between(0, 255));
    }
    Twin twin(stream, kSmooth | JPG_READ_COMPLETE);
    if (twin.handle() == nullptr || !twin.modelKnowsPixels()) continue;
    for (int i = 0; i < 12; i++) {
      const auto rows = static_cast<int32_t>(random.between(0, 20));
      twin.decode({45, 20, pixelBytesOf(layout)}, rows);
    }
  }
}

TEST(Smooth, AHeightToldByDnlEndsThePictureWhereItSays) {
  Picture p = withRestarts(45, 61);
  p.heightByDnl = true;
  for (const int32_t band : {61, 16, 7, 100}) {
    Twin twin(encode(p), kSmooth);
    for (int32_t y = 0; y < 120; y += band) twin.decode({45, band, 3}, band);
  }
}

}  // namespace
}  // namespace jpgtest
