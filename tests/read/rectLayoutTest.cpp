// SPDX-License-Identifier: MIT
// Pictures of every layout and size: what is stored, pixel for pixel.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

using Samplings = std::vector<uint8_t>;

constexpr uint8_t kFactors[] = {0x11, 0x12, 0x21, 0x22};

// All choices of sampling bytes for this many components.
std::vector<Samplings> allSamplings(int components) {
  std::vector<Samplings> all = {{}};
  for (int i = 0; i < components; ++i) {
    std::vector<Samplings> longer;
    for (const Samplings &s : all) {
      for (const uint8_t factor : kFactors) {
        longer.push_back(s);
        longer.back().push_back(factor);
      }
    }
    all = longer;
  }
  return all;
}

std::string nameOfSamplings(const Samplings &samplings) {
  std::string name;
  for (const uint8_t s : samplings) {
    char text[4];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(s));
    name += text;
  }
  return name;
}

TEST(RectLayout, EveryMixOfSamplingFactorsIsReplicatedToFullResolution) {
  uint32_t seed = 0;
  for (int components = 1; components <= 4; ++components) {
    for (const Samplings &samplings : allSamplings(components)) {
      SCOPED_TRACE(nameOfSamplings(samplings));
      expectSamePicture(makePicture(19, 18, samplings, Fill::kSmooth, ++seed));
    }
  }
}

TEST(RectLayout, OneComponentHasMcusOfOneBlockWhateverItsSamplingSays) {
  const Bytes plain = encode(makePicture(21, 19, {0x11}));
  const Bytes pixels = pixelsOf(plain, {21, 19, 1});
  for (const uint8_t sampling : Bytes{0x22, 0x44, 0x13, 0x00, 0xFF}) {
    SCOPED_TRACE(sampling);
    Picture picture = makePicture(21, 19, {0x11});
    picture.components[0].sampling = sampling;
    const Bytes stream = encode(picture);
    expectSamePicture(stream, {21, 19, 1});
    EXPECT_EQ(pixels, pixelsOf(stream, {21, 19, 1}));
  }
}

TEST(RectLayout, GrayPicturesOfEverySizeUpToTwoBlocksAndABit) {
  for (uint16_t height = 1; height <= 17; ++height) {
    for (uint16_t width = 1; width <= 17; ++width) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      const Picture picture =
          makePicture(width, height, {0x11}, Fill::kSmooth, width * 20u + height);
      expectSamePicture(encode(picture), {width, height, 1});
    }
  }
}

TEST(RectLayout, ColourPicturesOfOddSizes) {
  const std::vector<Samplings> layouts = {
      {0x11, 0x11, 0x11}, {0x21, 0x11, 0x11}, {0x12, 0x11, 0x11}, {0x22, 0x11, 0x11}};
  for (const Samplings &samplings : layouts) {
    for (const uint16_t height : Words{1, 7, 8, 9, 15, 16, 17, 33}) {
      for (const uint16_t width : Words{1, 7, 8, 9, 15, 16, 17, 33}) {
        SCOPED_TRACE(nameOfSamplings(samplings) + " " + std::to_string(width) + " x " +
                     std::to_string(height));
        const Picture picture = makePicture(width, height, samplings, Fill::kSmooth, width);
        expectSamePicture(encode(picture), {width, height, 3});
      }
    }
  }
}

TEST(RectLayout, EveryFillOfCoefficientsDecodesToTheBit) {
  for (const Fill fill : {Fill::kZero, Fill::kDcOnly, Fill::kSmooth, Fill::kNoFirstVertical,
                          Fill::kSparse, Fill::kDense, Fill::kExtreme}) {
    SCOPED_TRACE(static_cast<int>(fill));
    expectSamePicture(makePicture(50, 42, {0x22, 0x21, 0x12}, fill, 77));
    expectSamePicture(makePicture(40, 40, {0x11}, fill, 78));
  }
}

TEST(RectLayout, EveryKindOfHuffmanTableGivesTheSamePicture) {
  const Picture picture = makePicture(61, 47, {0x22, 0x11, 0x11}, Fill::kSmooth, 5);
  const Bytes pixels = pixelsOf(encode(picture), {61, 47});
  for (void (*const use)(Picture &) : {useOptimalTables, useLongTables, useAnnexKTables}) {
    Picture other = picture;
    use(other);
    expectSamePicture(encode(other), {61, 47});
    EXPECT_EQ(pixels, pixelsOf(encode(other), {61, 47}));
  }
}

TEST(RectLayout, SixteenBitQuantisationTablesGoBeyondEightBits) {
  Picture picture = makePicture(24, 16, {0x11}, Fill::kSparse, 9);
  for (size_t k = 0; k < 64; ++k) picture.quant[0][k] = static_cast<uint16_t>(1 + 1021 * k);
  picture.wideQuant = true;
  expectSamePicture(encode(picture), {24, 16, 1});
  // The first step is the same in both widths: a picture of DC values alone can't tell them apart.
  Picture flat = makePicture(24, 16, {0x11}, Fill::kDcOnly, 9);
  const Bytes narrow = pixelsOf(encode(flat), {24, 16, 1});
  flat.wideQuant = true;
  EXPECT_EQ(narrow, pixelsOf(encode(flat), {24, 16, 1}));
}

TEST(RectLayout, TwelveBitFramesDecodeWithSamplesClampedToEightBits) {
  Picture picture = makePicture(33, 17, {0x21, 0x11, 0x11}, Fill::kSmooth, 3);
  const Bytes eight = pixelsOf(encode(picture), {33, 17});
  picture.precision = 12;
  picture.sof = kSof1;
  expectSamePicture(encode(picture), {33, 17});
  EXPECT_EQ(eight, pixelsOf(encode(picture), {33, 17}));
}

TEST(RectLayout, CoefficientsWrapToSixteenBits) {
  // 4096 * 16 is 0 modulo 65536, 4097 * 16 is 16, 2048 * 16 is -32768.
  const struct {
    int32_t level;
    uint8_t sample;
  } kCases[] = {{4096, 128}, {4097, 130}, {2048, 0}, {2047, 255}};
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.level);
    Picture picture = grayPicture({dcBlock(c.level)});
    picture.quant[0] = flatQuant(16);
    EXPECT_EQ(Bytes(64, c.sample), pixelsOf(encode(picture), {8, 8, 1}));
  }
}

TEST(RectLayout, TheFrameWidthAloneSaysHowManyMcusARowHas) {
  // The decoder knows no columns beyond the last MCU, however wide the rectangle is.
  Picture picture = makePicture(9, 8, {0x11}, Fill::kDense, 4);
  Twin twin(encode(picture));
  EXPECT_RESULT(JPG_OK, twin.decode({30, 8, 1}, 8));
  const Bytes row = twin.canvas().row(0);
  EXPECT_EQ(Bytes(14, Canvas::kGuard), Bytes(row.begin() + 16, row.end()));
}

TEST(RectLayout, ARectangleWiderThanTheImageGetsThePaddingOfTheLastMcu) {
  Picture picture = grayPicture({dcBlock(80), dcBlock(-80)});
  picture.width = 9;
  const Bytes row(pixelsOf(encode(picture), {18, 1, 1}));
  Bytes expected(8, 138);
  append(expected, Bytes(8, 118));
  append(expected, Bytes(2, Canvas::kGuard));
  EXPECT_EQ(expected, row);
}

TEST(RectLayout, NarrowRectanglesGetTheLeftColumns) {
  const Picture picture = makePicture(40, 24, {0x22, 0x11, 0x11}, Fill::kSmooth, 8);
  const Bytes stream = encode(picture);
  const Bytes all = pixelsOf(stream, {40, 24});
  for (int32_t width = 1; width < 40; ++width) {
    SCOPED_TRACE(width);
    Twin twin(stream);
    EXPECT_RESULT(JPG_OK, twin.decode({width, 24}, 24));
    for (int32_t y = 0; y < 24; ++y) {
      const auto first = all.begin() + y * 120;
      EXPECT_EQ(Bytes(first, first + width * 3), twin.canvas().row(y));
    }
  }
}

TEST(RectLayout, RectanglesWithoutWidthAreDecodedAndStoreNothing) {
  const Bytes stream = encode(makePicture(20, 20, {0x22, 0x11, 0x11}));
  for (const int32_t width : {0, -1, -40}) {
    SCOPED_TRACE(width);
    const Reader reader = Reader::ofMemory(stream);
    Canvas canvas(20, 20, 3);
    JpgRect rect = canvas.rect();
    rect.width = width;
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 20));
    EXPECT_TRUE(canvas.untouched());
    EXPECT_RESULT(JPG_E_FAIL, jpgReadToRect(reader.handle(), &rect, 20));
  }
}

TEST(RectLayout, ANegativeStrideStoresTheImageBottomUp) {
  for (const Samplings &samplings : {Samplings{0x11}, Samplings{0x22, 0x11, 0x11}}) {
    const int32_t pixelBytes = samplings.size() == 1 ? 1 : 3;
    const Bytes stream = encode(makePicture(21, 37, samplings, Fill::kSmooth, 6));
    const Bytes topDown = pixelsOf(stream, {21, 37, pixelBytes});
    Twin twin(stream);
    EXPECT_RESULT(JPG_OK, twin.decode({21, 37, pixelBytes, RowOrder::kBottomUp}, 37));
    EXPECT_EQ(topDown, twin.canvas().pixels());
  }
}

TEST(RectLayout, TheCallersRectangleIsLeftAsItWas) {
  const Reader reader = Reader::ofMemory(encode(makePicture(20, 20, {0x11})));
  Canvas canvas(20, 20, 1);
  JpgRect rect = canvas.rect();
  const JpgRect before = rect;
  ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 20));
  EXPECT_EQ(before.width, rect.width);
  EXPECT_EQ(before.height, rect.height);
  EXPECT_EQ(before.stride, rect.stride);
  EXPECT_EQ(before.bitsPerPixel, rect.bitsPerPixel);
  EXPECT_EQ(before.channels, rect.channels);
  EXPECT_EQ(before.bitsPerSample, rect.bitsPerSample);
  EXPECT_EQ(before.bits, rect.bits);
  EXPECT_EQ(before.size, rect.size);
  EXPECT_EQ(before.reserved, rect.reserved);
}

TEST(RectLayout, AnImageWithoutColumnsPassesRowsWithoutTouchingTheBuffer) {
  StreamBuilder stream = StreamBuilder().soi().dqt(0, flatQuant(1)).dht(0, fullDc());
  stream.dht(0x10, fullAc()).sof(kSof0, 8, 20, 0, {{1, 0x11, 0}}).sos({{1, 0}}).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_OK, twin.decode({10, 20, 1}, 20));
  EXPECT_TRUE(twin.canvas().untouched());
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({10, 20, 1}, 20));
}

// Four-component and two-component pictures have no colour of their own.
TEST(RectLayout, TwoComponentsGiveTheFirstOne) {
  Picture picture = makePicture(8, 8, {0x11, 0x11}, Fill::kZero);
  picture.components[0].blocks = {dcBlock(40)};  // 40 times the step of 2 is a sample of 10
  picture.components[1].blocks = {dcBlock(-16)};
  Twin twin(encode(picture));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_EQ(Bytes(64, 138), twin.canvas().pixels());
}

TEST(RectLayout, PicturesWithSeveralBlocksOfStuffedBytesCrossTheInputBuffer) {
  // Coded data full of FF 00 pairs, laid across the ends of the 4096-byte input buffer at every
  // distance.
  Picture picture = makePicture(16, 16, {0x11}, Fill::kZero);
  for (Block &block : picture.components[0].blocks) block.fill(32767);
  for (Block &block : picture.components[0].blocks) block[0] = 16383;
  for (int length = 4070; length < 4140; ++length) {
    SCOPED_TRACE(length);
    picture.before =
        StreamBuilder().com(std::string(static_cast<size_t>(length - 400), 'x')).bytes();
    expectSamePicture(encode(picture), {16, 16, 1});
  }
}

}  // namespace
}  // namespace jpgtest
