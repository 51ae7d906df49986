// SPDX-License-Identifier: MIT
// Lenient reading: scans, sampling factors and colours beyond those of the usual reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "read/lenient.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

using Samplings = std::vector<uint8_t>;
using Numbers = std::vector<uint8_t>;
using Scans = std::vector<std::vector<unsigned>>;

constexpr uint8_t kFactors[] = {0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24,
                                0x31, 0x32, 0x33, 0x34, 0x41, 0x42, 0x43, 0x44};

std::string nameOf(const Samplings &samplings) {
  std::string name;
  for (const uint8_t s : samplings)
    name += std::to_string(s >> 4) + "x" + std::to_string(s & 15) + " ";
  return name;
}

// ---- Scans ------------------------------------------------------------------

const Scans kGroupings[] = {{{0}, {1}, {2}}, {{2}, {1}, {0}}, {{1}, {0, 2}},
                            {{0, 1}, {2}},   {{1, 2}, {0}},   {{0, 1, 2}}};

TEST(LenientScans, SequentialComponentsInScansOfTheirOwnGiveTheInterleavedPicture) {
  uint32_t seed = 0;
  for (const Samplings &samplings :
       {Samplings{0x11, 0x11, 0x11}, Samplings{0x21, 0x11, 0x11}, Samplings{0x22, 0x11, 0x11},
        Samplings{0x12, 0x11, 0x11}, Samplings{0x11, 0x22, 0x21}}) {
    const Picture picture = makePicture(43, 37, samplings, Fill::kSmooth, ++seed);
    const Bytes expected = show(encode(picture), 3, 0).pixels;
    for (const Scans &scans : kGroupings) {
      SCOPED_TRACE(nameOf(samplings) + std::to_string(scans.size()));
      const Shown shown = show(encodeInScans(picture, scans), 3);
      ASSERT_RESULT(JPG_OK, shown.result);
      EXPECT_EQ(expected, shown.pixels);
    }
  }
}

TEST(LenientScans, RestartIntervalsHoldInEachScan) {
  Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 5);
  const Bytes expected = show(encode(picture), 3, 0).pixels;
  for (const uint16_t interval : Words{1, 2, 3, 5, 100}) {
    picture.restartInterval = interval;
    for (const Scans &scans : kGroupings) {
      const Shown shown = show(encodeInScans(picture, scans), 3);
      ASSERT_RESULT(JPG_OK, shown.result) << interval;
      EXPECT_EQ(expected, shown.pixels) << interval;
    }
  }
}

TEST(LenientScans, ComponentsThatShareAnIdentifierAreTakenInTheirOrder) {
  Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 64);
  const Bytes expected = show(encode(picture), 3, 0).pixels;
  for (PictureComponent &component : picture.components) component.id = 7;
  const Shown shown = show(encode(picture), 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(expected, shown.pixels);
}

TEST(LenientScans, TheLastScanOfAComponentCountsThoughOthersHaveAllComponents) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 62);
  const Bytes expected = show(encode(picture), 3, 0).pixels;
  const Shown shown = show(encodeInScans(picture, {{0}, {1}, {0, 1, 2}}), 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(expected, shown.pixels);
}

TEST(LenientScans, ProgressivePicturesAreReadByTheOneCall) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 6);
  const Bytes expected = show(encode(picture), 3, 0).pixels;
  for (const Script &script : {spectralScript(3), refiningScript(3), partedScript(3)}) {
    const Shown shown = show(encodeProgressive(picture, script), 3);
    ASSERT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(expected, shown.pixels);
  }
}

TEST(LenientScans, FourComponentsAreReadFromScansOfAllOfThem) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x21, 0x11}, Fill::kSmooth, 67);
  const Bytes expected = replicated(picture);
  for (const Bytes &stream :
       {encode(picture), encodeProgressive(picture, spectralScript(4)),
        encodeProgressive(picture, refiningScript(4)), encodeInScans(picture, {{0}, {1}, {2}, {3}}),
        encodeInScans(picture, {{0, 1}, {2, 3}})}) {
    const Shown shown = showRaw(stream, 4);
    ASSERT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(expected, shown.pixels);
  }
}

TEST(LenientScans, AQuantisationTableCountsAsItIsWhenItsComponentIsFirstCoded) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11}, Fill::kSmooth, 7);
  StreamBuilder s = headersOfScans(picture, kSof0);
  for (unsigned i = 0; i < 3; i++) {
    putScanHeader(s, picture, {{i}, 0, 63, 0, 0});
    s.raw(progressiveScan(picture, {{i}, 0, 63, 0, 0}));
    s.dqt(picture.components[i].tq == 0 ? 0 : 3, flatQuant(99));
  }
  const Shown shown = show(s.eoi().bytes(), 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(show(encode(picture), 3, 0).pixels, shown.pixels);
}

TEST(LenientScans, ComponentsInScansOfTheirOwnTakeAnyTables) {
  for (const Numbers &tables : {Numbers{1, 0, 0}, Numbers{2, 1, 0}, Numbers{3, 2, 1}}) {
    Picture picture = makePicture(43, 37, {0x11, 0x11, 0x11}, Fill::kDense, 65);
    for (uint16_t i = 0; i < 4; i++) picture.quant[i] = flatQuant(static_cast<uint16_t>(i + 2));
    for (size_t i = 0; i < 3; i++) picture.components[i].tq = tables[i];
    const Bytes expected = show(encode(picture), 3, 0).pixels;
    for (const Scans &scans : kGroupings) {
      const Shown shown = show(encodeInScans(picture, scans), 3);
      ASSERT_RESULT(JPG_OK, shown.result);
      EXPECT_EQ(expected, shown.pixels) << "table " << int{tables[0]} << " first";
    }
  }
}

TEST(LenientScans, HuffmanTablesMayComeBetweenScansAndBehindThem) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11}, Fill::kSmooth, 8);
  const Bytes tables = StreamBuilder().dht(0x00, picture.dc[0]).dqt(2, flatQuant(3)).bytes();
  StreamBuilder s = headersOfScans(picture, kSof0);
  const Bytes headers = s.bytes();
  const Bytes usual = encodeInScans(picture, {{0}, {1}, {2}});
  // The tables of the stream again, between the scans: they replace themselves.
  const Bytes again = [&] {
    StreamBuilder t;
    t.dht(0x00, picture.dc[0]);
    return t.bytes();
  }();
  for (unsigned i = 0; i < 3; i++) {
    putScanHeader(s, picture, {{i}, 0, 63, 0, 0});
    s.raw(progressiveScan(picture, {{i}, 0, 63, 0, 0}));
    s.dht(0x02, picture.dc[0]).dqt(2, flatQuant(3));
  }
  const Shown shown = show(s.raw(tables).eoi().bytes(), 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(show(usual, 3).pixels, shown.pixels);
}

TEST(LenientScans, NoMoreScansAreReadThanTheLimitSays) {
  const Picture picture = makePicture(8, 8, {0x11, 0x11}, Fill::kDcOnly, 9);
  const auto withScans = [&](unsigned count) {
    Scans scans(count, {0});
    scans.back() = {1};
    return show(encodeInScans(picture, scans), 1).result;
  };
  EXPECT_RESULT(JPG_OK, withScans(JPG_LENIENT_MAX_SCANS));
  EXPECT_RESULT(JPG_E_DAMAGED, withScans(JPG_LENIENT_MAX_SCANS + 1));
}

// ---- Sampling ---------------------------------------------------------------

TEST(LenientSampling, AnyFactorsOfAnyComponentAreReplicated) {
  uint32_t seed = 0;
  for (const uint8_t first : kFactors) {
    for (const uint8_t second : kFactors) {
      const Samplings samplings = {first, second, 0x11};
      SCOPED_TRACE(nameOf(samplings));
      const Picture picture = makePicture(35, 34, samplings, Fill::kSmooth, ++seed);
      const Bytes expected = replicated(picture);
      const Shown whole = showRaw(encode(picture), 3);
      ASSERT_RESULT(JPG_OK, whole.result);
      ASSERT_EQ(expected, whole.pixels);
      const Shown parted = showRaw(encodeInScans(picture, {{1}, {2}, {0}}), 3);
      ASSERT_RESULT(JPG_OK, parted.result);
      ASSERT_EQ(expected, parted.pixels);
    }
  }
}

TEST(LenientSampling, OneToFourComponents) {
  for (const Samplings &samplings :
       {Samplings{0x44}, Samplings{0x31, 0x12}, Samplings{0x11, 0x42, 0x22},
        Samplings{0x11, 0x22, 0x22, 0x21}, Samplings{0x32, 0x11, 0x11, 0x32}}) {
    SCOPED_TRACE(nameOf(samplings));
    const Picture picture = makePicture(40, 27, samplings, Fill::kSmooth, 11);
    const Shown shown = showRaw(encode(picture), static_cast<uint32_t>(samplings.size()));
    ASSERT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(replicated(picture), shown.pixels);
  }
}

TEST(LenientSampling, FactorsOfZeroOrAboveFourAreRefused) {
  for (const uint8_t factor : Bytes{0x01, 0x10, 0x51, 0x15}) {
    Picture picture = makePicture(8, 8, {0x11, 0x11}, Fill::kZero);
    const Bytes stream = encode(picture);
    Bytes odd = stream;
    for (size_t i = 0; i + 10 < odd.size(); i++) {
      if (odd[i] == 0xFF && odd[i + 1] == kSof0) odd[i + 11] = factor;
    }
    EXPECT_RESULT(JPG_E_UNSUPPORTED, show(odd, 1).result) << unsigned{factor};
  }
}

// ---- Colour -----------------------------------------------------------------

Picture rgbPicture(uint8_t sof) {
  Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11}, Fill::kSmooth, 12);
  picture.sof = sof;
  return picture;
}

Bytes reversed(const Bytes &pixels) {
  Bytes out = pixels;
  for (size_t i = 0; i + 2 < out.size(); i += 3) std::swap(out[i], out[i + 2]);
  return out;
}

TEST(LenientColour, TheAdobeSegmentDecidesAboutTheConversionInProgressivePicturesToo) {
  for (const uint8_t transform : Bytes{0, 1}) {
    Picture picture = rgbPicture(kSof0);
    const Bytes samples = replicated(picture);
    picture.before = StreamBuilder().adobe(transform).bytes();
    const Bytes expected = transform == 0 ? reversed(samples) : toBgr(samples);
    EXPECT_EQ(expected, show(encode(picture), 3).pixels);
    EXPECT_EQ(expected, show(encodeProgressive(picture, refiningScript(3)), 3).pixels);
    EXPECT_EQ(expected, show(encodeInScans(picture, {{0}, {1}, {2}}), 3).pixels);
  }
}

TEST(LenientColour, TheIdentifiersRGBDecideWithoutAnAdobeSegment) {
  Picture picture = rgbPicture(kSof0);
  for (size_t i = 0; i < 3; i++) picture.components[i].id = static_cast<uint8_t>("RGB"[i]);
  const Bytes expected = reversed(replicated(picture));
  EXPECT_EQ(expected, show(encode(picture), 3).pixels);
  EXPECT_EQ(expected, show(encodeProgressive(picture, refiningScript(3)), 3).pixels);
}

TEST(LenientColour, OfTwoComponentsTheFirstIsGrey) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11}, Fill::kSmooth, 13);
  const Shown shown = show(encode(picture), 1);
  ASSERT_RESULT(JPG_OK, shown.result);
  const Bytes both = replicated(picture);
  Bytes first;
  for (size_t i = 0; i < both.size(); i += 2) first.push_back(both[i]);
  EXPECT_EQ(first, shown.pixels);
}

// Ink over black: the product of two shares of 255, rounded.
uint8_t product(int a, int b) { return static_cast<uint8_t>((a * b + 127) / 255); }

TEST(LenientColour, FourComponentsAreInksTurnedRoundWhereTheAdobeSegmentStands) {
  Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11, 0x11}, Fill::kSmooth, 14);
  const Bytes inks = replicated(picture);
  Bytes plain, inverted, turned;
  for (size_t i = 0; i < inks.size(); i += 4) {
    for (const size_t k : {size_t{2}, size_t{1}, size_t{0}}) {
      plain.push_back(product(255 - inks[i + k], 255 - inks[i + 3]));
      inverted.push_back(product(inks[i + k], inks[i + 3]));
    }
    for (size_t k = 0; k < 4; k++) turned.push_back(static_cast<uint8_t>(255 - inks[i + k]));
  }
  EXPECT_EQ(plain, show(encode(picture), 3).pixels);
  EXPECT_EQ(inks, show(encode(picture), 4).pixels);
  picture.before = StreamBuilder().adobe(0).bytes();
  EXPECT_EQ(inverted, show(encode(picture), 3).pixels);
  EXPECT_EQ(turned, show(encode(picture), 4).pixels);
}

TEST(LenientColour, WithTransform2TheFirstThreeInksAreCodedAsYccOfTheirComplements) {
  Picture picture = makePicture(20, 20, {0x22, 0x11, 0x11, 0x22}, Fill::kSmooth, 15);
  picture.before = StreamBuilder().adobe(2).bytes();
  const Bytes coded = replicated(picture);
  Bytes expected, inks;
  for (size_t i = 0; i < coded.size(); i += 4) {
    // The conversion gives red, green and blue, the complements of the stored inks; those of an
    // Adobe file are complements themselves.
    const Bytes bgr = toBgr({coded[i], coded[i + 1], coded[i + 2]});
    const int stored[3] = {255 - bgr[2], 255 - bgr[1], 255 - bgr[0]};
    for (const int k : {2, 1, 0}) expected.push_back(product(stored[k], coded[i + 3]));
    for (const int ink : stored) inks.push_back(static_cast<uint8_t>(255 - ink));
    inks.push_back(static_cast<uint8_t>(255 - coded[i + 3]));
  }
  EXPECT_EQ(expected, show(encode(picture), 3).pixels);
  EXPECT_EQ(inks, show(encode(picture), 4).pixels);
}

}  // namespace
}  // namespace jpgtest
