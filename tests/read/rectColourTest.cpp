// SPDX-License-Identifier: MIT
// Colours: who decides what three components are, and how they become blue, green, red.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

// One MCU of flat components: these level-shifted samples, -128 to 127. A DC value of 8 s with a
// quantisation step of 1 gives samples of s.
Picture flatPicture(const std::vector<int> &samples) {
  Picture picture = makePicture(8, 8, std::vector<uint8_t>(samples.size(), 0x11), Fill::kZero);
  picture.quant.fill(flatQuant(1));
  for (size_t c = 0; c < samples.size(); ++c) {
    picture.components[c].blocks = {dcBlock(8 * samples[c])};
  }
  return picture;
}

Bytes firstPixel(const Picture &picture, int32_t pixelBytes) {
  Bytes pixels = pixelsOf(encode(picture), {8, 8, pixelBytes});
  pixels.resize(static_cast<size_t>(pixelBytes));
  return pixels;
}

TEST(RectColour, FlatBlocksHaveTheSampleOfAnEighthOfTheirDcValue) {
  for (int s = -128; s <= 127; ++s) {
    EXPECT_EQ(Bytes{static_cast<uint8_t>(s + 128)}, firstPixel(flatPicture({s}), 1)) << s;
  }
}

TEST(RectColour, OffsetsAreRoundedOneByOneWithHalvesAwayFromZero) {
  // Blue: Y + 1.772 Cb. Green: Y - 0.34414 Cb - 0.71414 Cr, each product rounded by itself.
  // Red: Y + 1.402 Cr. All plus 128, limited to 0..255.
  const struct {
    std::vector<int> ycc;
    Bytes bgr;
  } kCases[] = {
      {{0, 0, 0}, {128, 128, 128}},
      {{127, -125, 0}, {33, 255, 255}},   // 1.772 * -125 = -221.5 -> -222
      {{-100, 125, 0}, {250, 0, 28}},     // 221.5 -> 222; -43.02 -> -43
      {{0, -125, 0}, {0, 171, 128}},      // 43.02 -> 43
      {{-100, 0, 125}, {28, 0, 203}},     // 175.25 -> 175
      {{0, 0, 125}, {128, 39, 255}},      // -89.27 -> -89
      {{50, 127, 127}, {255, 43, 255}},   // -43.71 -> -44 and -90.70 -> -91
      {{100, -128, -128}, {1, 255, 49}},  // -226.82 -> -227; -179.46 -> -179
      {{0, 1, 2}, {130, 127, 131}},       // -0.34 -> 0 and -1.43 -> -1; the sum would be -2
      {{0, 2, 2}, {132, 126, 131}},       // -0.69 -> -1 and -1.43 -> -1; 3.54 -> 4
      {{0, -1, -1}, {126, 129, 127}},
      {{-128, -128, 127}, {0, 0, 178}},  // 44.05 -> 44, -90.70 -> -91
  };
  for (const auto &c : kCases) {
    EXPECT_EQ(c.bgr, firstPixel(flatPicture(c.ycc), 3))
        << c.ycc[0] << ' ' << c.ycc[1] << ' ' << c.ycc[2];
  }
}

TEST(RectColour, EveryChromaValueConvertsAsTheExactFractionsSay) {
  // A row of 256 blocks: Cb rises while Cr falls.
  Picture picture = makePicture(2048, 8, {0x11, 0x11, 0x11}, Fill::kZero);
  picture.quant.fill(flatQuant(1));
  for (int i = 0; i < 256; ++i) {
    const auto at = static_cast<size_t>(i);
    picture.components[0].blocks[at] = dcBlock(8 * (i / 4 - 32));
    picture.components[1].blocks[at] = dcBlock(8 * (i - 128));
    picture.components[2].blocks[at] = dcBlock(8 * (127 - i));
  }
  expectSamePicture(encode(picture), {2048, 8});
}

struct Decision {
  const char *what;
  std::array<uint8_t, 3> ids;
  Bytes before;
  bool ycc;
};

class ColourDecision : public testing::TestWithParam<Decision> {};

TEST_P(ColourDecision, SaysWhatThreeComponentsAre) {
  Picture picture = flatPicture({0, 50, -60});
  for (size_t c = 0; c < 3; ++c) picture.components[c].id = GetParam().ids[c];
  picture.before = GetParam().before;
  // As YCbCr: 0 + 88.6 -> 89; 0 - 17.2 -> -17, + 42.8 -> 43; -84.1 -> -84. As red, green, blue:
  // the components from the last to the first.
  const Bytes expected = GetParam().ycc ? Bytes{217, 154, 44} : Bytes{68, 178, 128};
  EXPECT_EQ(expected, firstPixel(picture, 3));
}

Bytes jfif() { return StreamBuilder().jfif().bytes(); }
Bytes adobe(uint8_t transform) { return StreamBuilder().adobe(transform).bytes(); }
Bytes app(uint8_t n, const std::string &text, size_t size) {
  Bytes data(text.begin(), text.end());
  data.resize(size);
  return StreamBuilder().segment(static_cast<uint8_t>(kApp0 + n), data).bytes();
}

const Decision kDecisions[] = {
    {"PlainIds", {1, 2, 3}, {}, true},
    {"OtherIds", {0, 1, 2}, {}, true},
    {"RgbIds", {'R', 'G', 'B'}, {}, false},
    {"SmallRgbIds", {'r', 'g', 'b'}, {}, true},
    {"BgrIds", {'B', 'G', 'R'}, {}, true},
    {"JfifWinsOverRgbIds", {'R', 'G', 'B'}, jfif(), true},
    {"JfifWinsOverAdobe", {1, 2, 3}, jfif() + adobe(0), true},
    {"JfifBehindAdobeWins", {1, 2, 3}, adobe(0) + jfif(), true},
    {"AdobeWithoutTransform", {1, 2, 3}, adobe(0), false},
    {"AdobeTransformOne", {'R', 'G', 'B'}, adobe(1), true},
    {"AdobeTransformTwo", {'R', 'G', 'B'}, adobe(2), true},
    {"TheLastAdobeCounts", {1, 2, 3}, adobe(1) + adobe(0), false},
    {"JfifOfThirteenBytesIsNone", {'R', 'G', 'B'}, app(0, "JFIF", 13), false},
    {"JfifOfFourteenBytesIsOne", {'R', 'G', 'B'}, app(0, "JFIF", 14), true},
    {"JfifOfFortyBytesIsOne", {'R', 'G', 'B'}, app(0, "JFIF", 40), true},
    {"JfxxIsNone", {'R', 'G', 'B'}, app(0, "JFXX", 14), false},
    {"JfifWithoutZeroIsNone", {'R', 'G', 'B'}, app(0, "JFIFX", 14), false},
    {"JfifInApp1IsNone", {'R', 'G', 'B'}, app(1, "JFIF", 14), false},
    {"AdobeOfElevenBytesIsNone", {1, 2, 3}, app(14, "Adobe", 11), true},
    {"AdobeOfTwelveBytesIsOne", {1, 2, 3}, app(14, "Adobe", 12), false},
    {"AdobeOfFortyBytesIsOne", {1, 2, 3}, app(14, "Adobe", 40), false},
    {"AdobeWithoutZeroIsNone", {1, 2, 3}, app(14, "AdobeX", 12), true},
    {"AdobeInApp13IsNone", {1, 2, 3}, app(13, "Adobe", 12), true},
};

INSTANTIATE_TEST_SUITE_P(RectColour, ColourDecision, testing::ValuesIn(kDecisions),
                         [](const auto &test) { return std::string(test.param.what); });

TEST(RectColour, FourComponentsAreTakenForYccWithoutTheFourth) {
  for (const Bytes &before : {Bytes{}, adobe(0), adobe(2), jfif()}) {
    Picture picture = flatPicture({0, 50, -60, 99});
    picture.before = before;
    EXPECT_EQ((Bytes{217, 154, 44}), firstPixel(picture, 3));
  }
}

TEST(RectColour, WithoutConversionComponentsAreStoredInTheirOrder) {
  const Bytes expected = {128, 178, 68, 227};
  for (size_t count = 1; count <= 4; ++count) {
    std::vector<int> samples = {0, 50, -60, 99};
    samples.resize(count);
    Twin twin(encode(flatPicture(samples)));
    EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
    ASSERT_RESULT(JPG_OK, twin.decode({8, 8, static_cast<int32_t>(count)}, 8));
    const Bytes pixels = twin.canvas().pixels();
    for (size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(expected[i % count], pixels[i]);
  }
}

TEST(RectColour, WithoutConversionTheRectangleMustFitTheComponents) {
  for (int32_t count = 1; count <= 4; ++count) {
    const Bytes stream = encode(flatPicture(std::vector<int>(static_cast<size_t>(count), 7)));
    for (int32_t bits = 0; bits <= 48; ++bits) {
      SCOPED_TRACE(std::to_string(count) + " components, bits a pixel " + std::to_string(bits));
      const Reader reader = Reader::ofMemory(stream);
      ASSERT_RESULT(JPG_OK, jpgReadSetNoColorConversion(reader.handle()));
      Canvas canvas(8, 8, 6);
      JpgRect rect = canvas.rect();
      rect.bitsPerPixel = bits;
      const uint32_t expected = bits / 8 == count ? JPG_OK : JPG_E_UNSUPPORTED;
      EXPECT_RESULT(expected, jpgReadToRect(reader.handle(), &rect, 8));
      EXPECT_EQ(expected != JPG_OK, canvas.untouched());
    }
  }
}

TEST(RectColour, WithConversionTheRectanglesDepthIsNotLookedAt) {
  for (const int32_t bits : {-24, 0, 1, 8, 16, 32}) {
    const Reader reader = Reader::ofMemory(encode(flatPicture({0, 50, -60})));
    Canvas canvas(8, 8, 3);
    JpgRect rect = canvas.rect();
    rect.bitsPerPixel = bits;
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
    const Bytes row = canvas.row(7);
    EXPECT_EQ((Bytes{217, 154, 44}), Bytes(row.end() - 3, row.end()));
  }
}

TEST(RectColour, ConversionCanBeSwitchedOffBetweenBands) {
  Twin twin(encode(makePicture(20, 32, {0x22, 0x11, 0x11})));
  EXPECT_RESULT(JPG_OK, twin.decode({20, 16}, 16));
  EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
  EXPECT_RESULT(JPG_OK, twin.decode({20, 16}, 16));
}

}  // namespace
}  // namespace jpgtest
