// SPDX-License-Identifier: MIT
// Result codes of the sequential decoder, in the order of its checks, and damaged data.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

Bytes grayStream(uint16_t height = 16) { return encode(makePicture(8, height, {0x11})); }

// Headers of a grey picture with these tables, 8 pixels wide, one block per row.
StreamBuilder headersWith(const HuffTable &dc, const HuffTable &ac, uint16_t height = 8) {
  StreamBuilder stream;
  stream.soi().dqt(0, flatQuant(8)).dht(0x00, dc).dht(0x10, ac);
  return stream.sof(kSof0, 8, height, 8, {{1, 0x11, 0}}).sos({{1, 0}});
}

// Coded data from symbols and bits: {code, length} pairs.
struct Bits {
  uint32_t value;
  unsigned count;
};
Bytes coded(const std::vector<Bits> &bits) {
  EntropyWriter writer;
  for (const Bits &b : bits) writer.bits(b.value, b.count);
  return writer.take();
}

uint32_t decodeAlone(const Bytes &stream) {
  Twin twin(stream);
  EXPECT_RESULT(JPG_OK, twin.prologResult());
  return twin.decode({8, 8, 1}, 8);
}

TEST(RectCodes, TheHandleComesFirst) {
  Canvas canvas(8, 8, 1);
  JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToRect(nullptr, &rect, 8));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToRect(nullptr, nullptr, 8));
}

TEST(RectCodes, ThenTheRectangleAndItsBits) {
  // Also where the frame isn't one for this function, and where no rows remain.
  StreamBuilder progressive;
  progressive.soi().sof(kSof2, 8, 8, 8, {{1, 0x11, 0}}).sos({{1, 0}}, 0, 0).eoi();
  for (const Bytes &stream : {grayStream(), progressive.bytes()}) {
    const Reader reader = Reader::ofMemory(stream);
    ASSERT_RESULT(JPG_OK, reader.result());
    Canvas canvas(8, 16, 1);
    JpgRect rect = canvas.rect();
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToRect(reader.handle(), nullptr, 8));
    rect.bits = nullptr;
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToRect(reader.handle(), &rect, 8));
    rect.width = 0;
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToRect(reader.handle(), &rect, 8));
  }
}

TEST(RectCodes, FramesThatAreNotSequentialAreUnsupported) {
  for (const uint8_t sof : Bytes{kSof2, kSof3}) {
    StreamBuilder stream;
    stream.soi().sof(sof, 8, 8, 8, {{1, 0x11, 0}}).sos({{1, 0}}, 1, 1).eoi();
    Twin twin(stream.bytes());
    EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.decode({8, 8, 1}, 8));
    EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.decode({8, 8, 1}, -1));
  }
}

TEST(RectCodes, ExtendedSequentialFramesAreServed) {
  Picture picture = makePicture(20, 20, {0x22, 0x11, 0x11});
  picture.sof = kSof1;
  expectSamePicture(picture);
}

TEST(RectCodes, NoRowsLeftComesBeforeARectangleThatDoesNotFit) {
  Twin twin(grayStream(8));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  EXPECT_RESULT(JPG_OK, twin.setNoColorConversion());
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 8, 3}, 8));
}

TEST(RectCodes, ARefusedRectangleCostsNoRows) {
  Twin twin(grayStream());
  twin.setNoColorConversion();
  EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.decode({8, 16, 3}, 16));
  EXPECT_TRUE(twin.canvas().untouched());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
}

TEST(RectCodes, AScanThatDoesNotHoldTheComponentsOfTheFrameIsUnsupported) {
  const std::vector<std::vector<ScanComponent>> scans = {
      {{1, 0}}, {{2, 0}}, {{1, 0}, {2, 0}}, {{1, 0}, {2, 0}, {3, 0}, {3, 0}}};
  for (const std::vector<ScanComponent> &scan : scans) {
    StreamBuilder stream;
    stream.soi().dqt(0, flatQuant(1)).dht(0x00, fullDc()).dht(0x10, fullAc());
    stream.sof(kSof0, 8, 8, 8, {{1, 0x11, 0}, {2, 0x11, 0}, {3, 0x11, 0}});
    stream.sos(scan).raw(Bytes(40, 0)).eoi();
    Twin twin(stream.bytes());
    ASSERT_RESULT(JPG_OK, twin.prologResult());
    EXPECT_RESULT(JPG_E_UNSUPPORTED, twin.decode({8, 8}, 8));
    EXPECT_TRUE(twin.canvas().untouched());
  }
}

TEST(RectCodes, AScanMayNameTheComponentsInAnotherOrder) {
  // The tables go with the place in the scan, the quantisation with the place in the frame.
  Picture picture = makePicture(16, 8, {0x11, 0x11, 0x11}, Fill::kSmooth, 21);
  picture.dc[1] = annexKChromaDc();
  picture.ac[1] = annexKChromaAc();
  const Bytes in = encode(picture);
  const Bytes before = sosData({{1, 0x00}, {2, 0x11}, {3, 0x11}}, 0, 63, 0);
  const Bytes after = sosData({{3, 0x00}, {1, 0x11}, {2, 0x11}}, 0, 63, 0);
  Bytes permuted = in;
  const auto place = std::search(permuted.begin(), permuted.end(), before.begin(), before.end());
  ASSERT_NE(permuted.end(), place);
  std::copy(after.begin(), after.end(), place);
  Twin twin(permuted);
  EXPECT_RESULT(JPG_OK, twin.decode({16, 8}, 8));
  EXPECT_EQ(pixelsOf(in, {16, 8}), twin.canvas().pixels());
}

TEST(RectCodes, AScanThatNamesAComponentTwiceDoesNoHarm) {
  for (const uint8_t first : Bytes{0x11, 0x22}) {
    StreamBuilder stream;
    stream.soi().dqt(0, flatQuant(1)).dht(0x00, fullDc()).dht(0x10, fullAc());
    stream.sof(kSof0, 8, 32, 32, {{1, first, 0}, {2, 0x11, 0}, {3, 0x22, 0}});
    stream.sos({{1, 0}, {1, 0}, {1, 0}}).raw(Bytes(400, 0x08)).eoi();
    const Reader reader = Reader::ofMemory(stream.bytes());
    ASSERT_RESULT(JPG_OK, reader.result());
    Canvas canvas(32, 32, 3);
    const JpgRect rect = canvas.rect();
    jpgReadToRect(reader.handle(), &rect, 32);
    EXPECT_TRUE(canvas.guardsIntact());
  }
}

// Codes of one bit: 0 is a symbol, 1 is none.
const HuffTable kOnlyZero = evenTable({0}, 1);

// AC codes of these lengths for the end of block, for values of one bit and of two, and one of
// 16 bits, which nothing uses: a decoder looks that far ahead.
HuffTable codesOfLengths(unsigned end, unsigned one, unsigned two) {
  HuffTable table;
  const std::pair<unsigned, uint8_t> codes[] = {{end, 0x00}, {one, 0x01}, {two, 0x02}, {16, 0x11}};
  for (const auto &code : codes) {
    table.counts[code.first - 1]++;
    table.values.push_back(code.second);
  }
  return table;
}

// One block a row, so that rows end behind every block: `twos` values of two bits, one of one.
Picture rowsOfValues(size_t twos, const HuffTable &ac) {
  Picture picture = makePicture(8, 32, {0x11}, Fill::kZero);
  picture.quant[0] = flatQuant(8);
  picture.ac[0] = ac;
  for (Block &block : picture.components[0].blocks) {
    for (size_t k = 1; k <= twos; k++) block[kZigzag[k]] = k % 2 != 0 ? 3 : -2;
    block[kZigzag[twos + 1]] = -1;
  }
  return picture;
}

TEST(RectCodes, RowsMayEndBehindCodesOfAnyLength) {
  for (unsigned end = 1; end <= 4; end++) {
    for (unsigned one = end + 2; one <= 10; one++) {
      for (const unsigned two : {one, one + 1, 14U}) {
        const HuffTable ac = codesOfLengths(end, one, two);
        for (size_t twos = 0; twos <= 9; twos++) {
          SCOPED_TRACE(testing::Message() << end << " " << one << " " << two << " " << twos);
          expectSamePicture(encode(rowsOfValues(twos, ac)), {8, 32, 1});
        }
      }
    }
  }
}

TEST(RectDamage, ADcCodeThatIsNotInTheTable) {
  const StreamBuilder headers = headersWith(kOnlyZero, kOnlyZero);
  EXPECT_RESULT(JPG_OK, decodeAlone((StreamBuilder(headers).raw({0x3F}).eoi()).bytes()));
  EXPECT_RESULT(JPG_E_BAD_DC_CODE, decodeAlone((StreamBuilder(headers).raw({0x80}).eoi()).bytes()));
}

TEST(RectDamage, AnAcCodeThatIsNotInTheTable) {
  StreamBuilder stream = headersWith(kOnlyZero, kOnlyZero);
  EXPECT_RESULT(JPG_E_BAD_AC_CODE, decodeAlone(stream.raw({0x40}).eoi().bytes()));
}

TEST(RectDamage, TablesThatWereNeverDefinedHoldNoCodes) {
  StreamBuilder none;
  none.soi().dqt(0, flatQuant(1)).sof(kSof0, 8, 8, 8, {{1, 0x11, 0}}).sos({{1, 0}});
  EXPECT_RESULT(JPG_E_BAD_DC_CODE, decodeAlone(none.raw({0}).eoi().bytes()));
  StreamBuilder noAc;
  noAc.soi().dqt(0, flatQuant(1)).dht(0, fullDc());
  noAc.sof(kSof0, 8, 8, 8, {{1, 0x11, 0}}).sos({{1, 0}});
  EXPECT_RESULT(JPG_E_BAD_AC_CODE, decodeAlone(noAc.raw({0}).eoi().bytes()));
}

TEST(RectDamage, TablesWithoutCodesHoldNoCodes) {
  const HuffTable empty;
  EXPECT_RESULT(JPG_E_BAD_DC_CODE,
                decodeAlone(headersWith(empty, fullAc()).raw({0}).eoi().bytes()));
  EXPECT_RESULT(JPG_E_BAD_AC_CODE,
                decodeAlone(headersWith(fullDc(), empty).raw({0}).eoi().bytes()));
}

TEST(RectDamage, TheLastOf256CodesIsNeverFound) {
  HuffTable dc;
  dc.counts[8] = 255;
  dc.counts[15] = 1;
  dc.values.assign(256, 0);
  // The 256th code: 255 of nine bits go before it, so it is 255 << 7 in 16 bits.
  StreamBuilder stream = headersWith(dc, kOnlyZero);
  EXPECT_RESULT(JPG_OK,
                decodeAlone(StreamBuilder(stream).raw(coded({{254, 9}, {0, 1}})).eoi().bytes()));
  EXPECT_RESULT(
      JPG_E_BAD_DC_CODE,
      decodeAlone(StreamBuilder(stream).raw(coded({{255 << 7, 16}, {0, 1}})).eoi().bytes()));
}

TEST(RectDamage, DcCategoriesAboveFifteenAreNotInTheTable) {
  const HuffTable dc = evenTable({15, 16, 0x20, 0xFF}, 2);
  const auto withCode = [&](uint32_t code) {
    return headersWith(dc, kOnlyZero).raw(coded({{code, 2}, {0x4000, 15}, {0, 1}})).eoi().bytes();
  };
  EXPECT_RESULT(JPG_OK, decodeAlone(withCode(0)));
  for (const uint32_t code : {1U, 2U, 3U}) {
    EXPECT_RESULT(JPG_E_BAD_DC_CODE, decodeAlone(withCode(code)));
  }
}

// DC: 0. AC codes of three bits by index.
const HuffTable kRuns = evenTable({0x00, 0xF0, 0x01, 0x51, 0xF1, 0x50, 0xE1}, 3);
enum : uint32_t { kEob, kZrl, kRun0, kRun5, kRun15, kRun5Zero, kRun14 };

Bytes runStream(const std::vector<Bits> &bits) {
  std::vector<Bits> all = {{0, 1}};
  all.insert(all.end(), bits.begin(), bits.end());
  return headersWith(kOnlyZero, kRuns).raw(coded(all)).eoi().bytes();
}

TEST(RectDamage, ARunThatEndsAt63EndsTheBlockWithoutAnEndOfBlock) {
  // 16 + 16 + 16 + 15: the coefficient at 63 and the picture behind it.
  EXPECT_RESULT(JPG_OK,
                decodeAlone(runStream({{kZrl, 3}, {kZrl, 3}, {kZrl, 3}, {kRun14, 3}, {1, 1}})));
}

TEST(RectDamage, ARunBeyond63Overflows) {
  EXPECT_RESULT(JPG_E_COEF_OVERFLOW,
                decodeAlone(runStream({{kZrl, 3}, {kZrl, 3}, {kZrl, 3}, {kRun15, 3}, {1, 1}})));
  EXPECT_RESULT(JPG_E_COEF_OVERFLOW,
                decodeAlone(runStream({{kZrl, 3}, {kZrl, 3}, {kZrl, 3}, {kZrl, 3}, {kRun0, 3}})));
}

TEST(RectDamage, RunsOfZerosBeyond63AreNoErrorBeforeAnEndOfBlock) {
  for (size_t count = 1; count < 12; ++count) {
    std::vector<Bits> bits(count, {kZrl, 3});
    bits.push_back({kEob, 3});
    EXPECT_RESULT(JPG_OK, decodeAlone(runStream(bits))) << count;
  }
}

TEST(RectDamage, EverySizelessCodeButTheEndOfBlockIsARunOfSixteen) {
  const std::vector<Bits> tail = {{kRun5, 3}, {1, 1}, {kEob, 3}};
  std::vector<Bits> sixteen = {{kZrl, 3}};
  std::vector<Bits> five = {{kRun5Zero, 3}};
  sixteen.insert(sixteen.end(), tail.begin(), tail.end());
  five.insert(five.end(), tail.begin(), tail.end());
  const Bytes expected = pixelsOf(runStream(sixteen), {8, 8, 1});
  EXPECT_EQ(expected, pixelsOf(runStream(five), {8, 8, 1}));
  EXPECT_NE(Bytes(64, 128), expected);
}

TEST(RectDamage, AnEndlessRunOfZerosAtTheEndOfTheDataEnds) {
  // The code of all ones is the run of sixteen, and past the end there are ones for ever.
  StreamBuilder stream = headersWith(kOnlyZero, evenTable({0x00, 0xF0}, 1));
  const Reader reader = Reader::ofMemory(stream.raw({0x7F}).bytes(), JPG_READ_COMPLETE);
  ASSERT_RESULT(JPG_OK, reader.result());
  Canvas canvas(8, 8, 1);
  const JpgRect rect = canvas.rect();
  EXPECT_NE(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
}

TEST(RectDamage, RowsInFrontOfTheDamageStayAndAreCounted) {
  // Three rows of flat blocks, the third one damaged: DC 0, end of block, twice; then a bad code.
  StreamBuilder stream = headersWith(evenTable({0, 4}, 2), kOnlyZero, 24);
  stream.raw(coded({{1, 2}, {10, 4}, {0, 1}, {0, 2}, {0, 1}, {3, 2}})).eoi();
  Twin twin(stream.bytes());
  EXPECT_RESULT(JPG_E_BAD_DC_CODE, twin.decode({8, 24, 1}, 24));
  EXPECT_EQ(Bytes(128, 138) + Bytes(64, Canvas::kGuard), twin.canvas().pixels());
  // Nothing is rolled back: the same bits are met again.
  EXPECT_RESULT(JPG_E_BAD_DC_CODE, twin.decode({8, 24, 1}, 24));
  EXPECT_TRUE(twin.canvas().untouched());
}

TEST(RectDamage, DecodingGoesOnBehindAnOverflow) {
  // The code that overflowed is consumed, its value bits are not.
  StreamBuilder stream = headersWith(kOnlyZero, kRuns, 16);
  std::vector<Bits> bits = {{0, 1}, {kZrl, 3}, {kZrl, 3}, {kZrl, 3}, {kRun15, 3}};
  for (int i = 0; i < 3; ++i) {
    bits.push_back({0, 1});
    bits.push_back({kEob, 3});
  }
  Twin twin(stream.raw(coded(bits)).eoi().bytes());
  EXPECT_RESULT(JPG_E_COEF_OVERFLOW, twin.decode({8, 16, 1}, 16));
  EXPECT_RESULT(JPG_OK, twin.decode({8, 16, 1}, 16));
  EXPECT_RESULT(JPG_E_FAIL, twin.decode({8, 16, 1}, 16));
}

TEST(RectDamage, PicturesCutAnywhereEndWithTheSameCodeAndTheSamePixels) {
  Picture picture = makePicture(40, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 31);
  useOptimalTables(picture);
  const Bytes stream = encode(picture);
  const size_t headers = headersOf(picture).size();
  for (size_t size = headers; size < stream.size(); size += 7) {
    SCOPED_TRACE(size);
    Twin twin(Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size)),
              JPG_READ_COMPLETE);
    twin.decode({40, 40}, 40);
    twin.decode({40, 40}, 40);
  }
}

TEST(RectDamage, FlippedBitsInTheCodedDataLeadToTheSameEnd) {
  Picture picture = makePicture(40, 40, {0x21, 0x11, 0x11}, Fill::kSmooth, 32);
  useAnnexKTables(picture);
  picture.restartInterval = 4;
  const Bytes stream = encode(picture);
  const auto headers = static_cast<int32_t>(headersOf(picture).size());
  Random random(33);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    Bytes damaged = stream;
    for (int i = random.between(1, 4); i > 0; --i) {
      const int32_t at = random.between(headers, static_cast<int32_t>(stream.size()) - 3);
      damaged[static_cast<size_t>(at)] ^= static_cast<uint8_t>(1 << random.between(0, 7));
    }
    Twin twin(damaged);
    twin.decode({40, 40}, 16);
    twin.decode({40, 40}, 40);
  }
}

}  // namespace
}  // namespace jpgtest
