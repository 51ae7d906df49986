// SPDX-License-Identifier: MIT
// Decoding of lossless streams that the writer doesn't make.
#include <gtest/gtest.h>

#include <cstring>

#include "model/losslessSource.h"
#include "read/spatialOutcome.h"
#include "support/bytes.h"
#include "support/entropy.h"

namespace {

using namespace jpgtest;

// The library gives the samples of the source, and so does the model.
void expectSamples(const Source &source, const char *what) {
  const Bytes stream = streamOf(source);
  const Bytes expected = packed(source.samples, source.precision);
  const Outcome o = readAll(stream);
  EXPECT_EQ(o.opened, JPG_OK) << what;
  EXPECT_EQ(o.result, JPG_OK) << what;
  EXPECT_TRUE(o.samples == expected) << what;
  EXPECT_TRUE(modelAll(stream).samples == expected) << what;
}

TEST(LosslessSources, EveryPointTransformLeavesTheSamplesAsCoded) {
  for (uint8_t precision = 2; precision <= 16; precision++) {
    for (uint8_t point = 0; point <= 15; point++) {
      Source s;
      s.precision = precision;
      s.point = point;
      s.predictor = static_cast<uint8_t>(1 + (precision + point) % 7);
      s.useTables({0, 1});
      s.fill(precision * 16U + point);
      expectSamples(s, ("P " + std::to_string(precision) + " Pt " + std::to_string(point)).c_str());
    }
  }
}

TEST(LosslessSources, EachComponentIsReadWithItsOwnTable) {
  Source s;
  std::vector<uint8_t> upward, downward;
  for (uint8_t v = 0; v <= 16; v++) {
    upward.push_back(v);
    downward.push_back(static_cast<uint8_t>(16 - v));
  }
  s.tables[1] = evenTable(downward, 5);
  s.tables[2] = longTailTable(downward);
  s.tables[3] = evenTable(upward, 16);
  for (const auto &selectors :
       {std::vector<unsigned>{3}, {0, 1}, {1, 2, 3}, {3, 2, 1, 0}, {2, 2, 1}, {3, 0, 0, 3}}) {
    for (const int precision : {8, 16}) {
      s.precision = static_cast<uint8_t>(precision);
      s.predictor = static_cast<uint8_t>(1 + selectors.size());
      s.useTables(selectors);
      s.fill(selectors[0] + 77);
      expectSamples(s, "tables");
    }
  }
}

TEST(LosslessSources, ComponentsAreFoundByTheirIdentifiers) {
  Source s;
  s.useTables({0, 1, 0});
  const uint8_t ids[] = {'R', 0, 255};
  for (size_t k = 0; k < 3; k++) s.frame[k].id = s.scan[k].id = ids[k];
  s.fill(5);
  expectSamples(s, "identifiers");
}

TEST(LosslessSources, SamplingFactorsAreNotLookedAt) {
  Source s;
  s.useTables({0, 0, 0});
  s.frame[0].sampling = 0x22;
  s.fill(6);
  expectSamples(s, "sampling");
}

TEST(LosslessSources, RestartNumbersAreNotChecked) {
  Source s;
  s.restart = s.width;
  s.predictor = 4;
  s.fill(7);
  for (const unsigned n : {0U, 3U, 7U}) {
    s.between = [n](unsigned) { return StreamBuilder().rst(n).bytes(); };
    expectSamples(s, "the same number each time");
  }
}

TEST(LosslessSources, OtherMarkersBetweenIntervalsArePassedOver) {
  Source s;
  s.restart = static_cast<uint16_t>(2 * s.width);
  s.predictor = 7;
  s.fill(8);
  for (const int code : {0xC0, 0xC4, 0xCC, 0xD8, 0xDA, 0xDC, 0xDD, 0xE1, 0xFE}) {
    s.between = [code](unsigned n) {
      return StreamBuilder().marker(static_cast<uint8_t>(code)).rst(n).bytes();
    };
    expectSamples(s, "in front");
    s.between = [code](unsigned n) {
      return StreamBuilder().rst(n).marker(static_cast<uint8_t>(code)).rst(n + 1).bytes();
    };
    expectSamples(s, "between two");
  }
}

// An interval ends and no RST follows: the rows go on by the first-row rule once, and the pixel
// count, not cleared, never meets the interval again.
void expectOneRestartOnly(Source s, const Bytes &between, const char *what) {
  s.between = [&between](unsigned n) { return n == 0 ? between : Bytes(); };
  Source plain = s;
  plain.restart = 0;
  plain.samples.assign(s.samples.begin() + s.width * 2, s.samples.end());
  plain.height = static_cast<uint16_t>(s.height - 2);
  const Bytes tail = streamOf(plain);
  Bytes stream = headersOf(s);
  Source head = s;
  head.restart = 0;
  head.height = 2;
  const Bytes top = streamOf(head);
  stream.insert(stream.end(), top.begin() + static_cast<long>(headersOf(head).size()),
                top.end() - 2);
  append(stream, between);
  stream.insert(stream.end(), tail.begin() + static_cast<long>(headersOf(plain).size()),
                tail.end());
  const Outcome o = readAll(stream);
  EXPECT_EQ(o.result, JPG_OK) << what;
  EXPECT_TRUE(o.samples == packed(s.samples, 8)) << what;
}

TEST(LosslessSources, WithoutRstTheFirstRowRuleAppliesOnceAndNeverAgain) {
  Source s;
  s.predictor = 2;
  s.restart = static_cast<uint16_t>(2 * s.width);
  s.fill(9);
  // A marker that is no RST is passed over; the count goes on all the same.
  expectOneRestartOnly(s, {0xFF, 0xC8}, "JPG");
  expectOneRestartOnly(s, {0xFF, 0xDC, 0xFF, 0xFE}, "two markers");
}

TEST(LosslessSources, EoiAheadOfTheEndIsLeftInPlaceAndReadAsBits) {
  Source s;
  s.restart = s.width;
  s.fill(10);
  s.between = [](unsigned n) {
    return n == 3 ? Bytes{0xFF, 0xD9} : StreamBuilder().rst(n).bytes();
  };
  const Bytes stream = streamOf(s);
  const Outcome o = readAll(stream), model = modelAll(stream);
  EXPECT_EQ(o.result, model.result);
  EXPECT_TRUE(o.samples == model.samples);
  const Bytes expected = packed(s.samples, 8);
  EXPECT_EQ(std::memcmp(o.samples.data(), expected.data(), size_t{4} * s.width), 0);
  EXPECT_FALSE(o.samples == expected);
}

TEST(LosslessSources, AStreamThatEndsEarlyFailsWhereItsOnesAreNoCode) {
  Source s;
  s.fill(11);
  s.end.clear();
  Bytes stream = streamOf(s);
  for (size_t cut = 1; cut <= 20; cut++) {
    stream.pop_back();
    const Outcome o = readAll(stream), model = modelAll(stream);
    EXPECT_EQ(o.result, JPG_E_FAIL);
    EXPECT_EQ(model.result, JPG_E_FAIL);
    EXPECT_TRUE(o.samples == model.samples) << cut;
  }
}

// A grey row of given categories and additional bits.
struct Coded {
  uint8_t category;
  uint32_t bits;
};
Outcome readCoded(uint8_t precision, const std::vector<Coded> &row, const HuffTable &table) {
  Source s;
  s.width = static_cast<uint16_t>(row.size());
  s.height = 1;
  s.precision = precision;
  s.tables[0] = table;
  EntropyWriter writer;
  for (const Coded &c : row) {
    writer.symbol(codesOf(table), c.category);
    writer.bits(c.bits, c.category <= 16 ? c.category : 0);
  }
  return readAll(headersOf(s) + writer.take() + s.end);
}

TEST(LosslessSources, CategorySixteenTakesItsBitsAsTheyStand) {
  const HuffTable t = wideTable();
  const Outcome words = readCoded(16, {{16, 0x8000}, {16, 0}, {16, 1}, {16, 0xFFFF}, {15, 0}}, t);
  EXPECT_EQ(words.result, JPG_OK);
  // 32768 + 32768 = 0 modulo 65536; + 0; + 1; - 1; - 32767.
  EXPECT_TRUE(words.samples == packed({0, 0, 1, 0, 32769}, 16));
  const Outcome twelve = readCoded(12, {{16, 0x8001}, {16, 0x0FFF}, {13, 0}}, t);
  // 2048 + 32769 = 34817 = 2049 modulo 4096; + 4095 = 2048; - 8191 = 2049 - ...
  EXPECT_TRUE(twelve.samples == packed({2049, 2048, 2049}, 12));
  const Outcome bytes = readCoded(8, {{16, 0x1234}, {9, 0}, {12, 4095}}, t);
  // 128 + 0x34 = 180; - 511 = 181 modulo 256; + 4095 = 180.
  EXPECT_TRUE(bytes.samples == packed({180, 181, 180}, 8));
}

TEST(LosslessSources, SamplesOfFewerThanEightBitsStillWrapAt256) {
  const Outcome o = readCoded(4, {{3, 7}, {1, 1}, {4, 0}, {2, 0}}, wideTable());
  // 8 + 7 = 15; 16 isn't brought back into 4 bits; - 15; - 3 wraps to 254.
  EXPECT_TRUE(o.samples == packed({15, 16, 1, 254}, 4));
}

TEST(LosslessSources, CategoriesAboveSixteenAreNone) {
  for (const int category : {17, 31, 128, 255}) {
    const HuffTable t = evenTable({0, 1, static_cast<uint8_t>(category)}, 2);
    const Outcome o = readCoded(8, {{1, 1}, {static_cast<uint8_t>(category), 0}, {0, 0}}, t);
    EXPECT_EQ(o.opened, JPG_OK);
    EXPECT_EQ(o.result, JPG_E_FAIL) << category;
    EXPECT_EQ(o.samples[0], 129);
    EXPECT_EQ(o.samples[1], 0xEE);
  }
}

TEST(LosslessSources, ATableNeverDefinedOrWithoutCodesHasNoCode) {
  Source s;
  s.fill(3);
  StreamBuilder none;
  none.soi().sof(kSof3, 8, 1, 4, s.frame).sos(s.scan, 1, 0, 0).raw({0, 0, 0, 0}).eoi();
  EXPECT_EQ(readAll(none.bytes()).result, JPG_E_FAIL);
  StreamBuilder empty;
  empty.soi().dht(0, HuffTable()).sof(kSof3, 8, 1, 4, s.frame).sos(s.scan, 1, 0, 0);
  EXPECT_EQ(readAll(empty.raw({0, 0, 0, 0}).eoi().bytes()).result, JPG_E_FAIL);
  StreamBuilder ac;  // an AC table of that number is another table
  ac.soi().dht(0x10, wideTable()).sof(kSof3, 8, 1, 4, s.frame).sos(s.scan, 1, 0, 0);
  EXPECT_EQ(readAll(ac.raw({0, 0, 0, 0}).eoi().bytes()).result, JPG_E_FAIL);
}

TEST(LosslessSources, AScanOfSomeComponentsOnlyIsUnsupported) {
  Source s;
  s.useTables({0, 0, 0});
  s.fill(12);
  const Bytes data = {0, 0, 0, 0};
  for (size_t left = 1; left <= 2; left++) {
    s.scan.resize(left);
    EXPECT_EQ(readAll(headersOf(s) + data + s.end).result, JPG_E_UNSUPPORTED) << left;
  }
}

}  // namespace
