// SPDX-License-Identifier: MIT
// Huffman tables, quantisation tables and restart intervals as the prolog loads them.
#include <gtest/gtest.h>

#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

// The coded data of a flat block of DC value 80 with the tables fullDc() and fullAc().
Bytes codedBlock() {
  EntropyWriter writer;
  writer.dc(80, codesOf(fullDc()));
  writer.ac(Block{}, codesOf(fullAc()));
  return writer.take();
}

// A grey picture of one block behind these segments.
Bytes streamWith(const Bytes &segments, uint8_t tables = 0x00, uint8_t tq = 0) {
  StreamBuilder stream;
  stream.soi().raw(segments).sof(kSof0, 8, 8, 8, {{1, 0x11, tq}}).sos({{1, tables}});
  return stream.raw(codedBlock()).eoi().bytes();
}

const Bytes kQuant = StreamBuilder().dqt(0, flatQuant(1)).bytes();
const Bytes kHuffman = StreamBuilder().dht(0x00, fullDc()).dht(0x10, fullAc()).bytes();

struct Outcome {
  uint32_t prolog = JPG_OK;
  uint32_t decode = JPG_OK;
  uint8_t sample = 0;
};

Outcome outcomeOf(const Bytes &stream) {
  Twin twin(stream);
  Outcome outcome;
  outcome.prolog = twin.prologResult();
  if (outcome.prolog != JPG_OK) return outcome;
  outcome.decode = twin.decode({8, 8, 1}, 8);
  outcome.sample = twin.canvas().row(0)[0];
  return outcome;
}

void expectPicture(const Bytes &segments, uint8_t tables = 0x00, uint8_t tq = 0,
                   uint8_t sample = 138) {
  const Outcome outcome = outcomeOf(streamWith(segments, tables, tq));
  EXPECT_RESULT(JPG_OK, outcome.prolog);
  EXPECT_RESULT(JPG_OK, outcome.decode);
  EXPECT_EQ(sample, outcome.sample);
}

void expectRefused(uint32_t code, const Bytes &segments) {
  EXPECT_RESULT(code, outcomeOf(streamWith(segments)).prolog);
}

TEST(PrologHuffman, OneSegmentMayHoldSeveralTables) {
  const Bytes data = dhtData(0x00, fullDc()) + dhtData(0x10, fullAc());
  expectPicture(kQuant + StreamBuilder().segment(kDht, data).bytes());
}

TEST(PrologHuffman, ASegmentWithoutTablesDoesNothing) {
  expectPicture(kQuant + kHuffman + StreamBuilder().segment(kDht, {}).bytes());
}

TEST(PrologHuffman, EveryIdentifierOfEveryClass) {
  for (uint8_t dc = 0; dc < 4; ++dc) {
    for (uint8_t ac = 0; ac < 4; ++ac) {
      StreamBuilder stream;
      stream.dht(dc, fullDc()).dht(static_cast<uint8_t>(0x10 | ac), fullAc());
      expectPicture(kQuant + stream.bytes(), static_cast<uint8_t>(dc << 4 | ac));
    }
  }
}

TEST(PrologHuffman, EveryClassButZeroIsAc) {
  for (const uint8_t tcTh : Bytes{0x10, 0x20, 0x80, 0xF0}) {
    expectPicture(kQuant + StreamBuilder().dht(0x00, fullDc()).dht(tcTh, fullAc()).bytes());
  }
}

TEST(PrologHuffman, TheLastDefinitionCounts) {
  const Bytes other = StreamBuilder().dht(0x00, annexKLumaDc()).dht(0x10, annexKLumaAc()).bytes();
  expectPicture(kQuant + other + kHuffman);
}

TEST(PrologHuffman, IdentifiersAboveThreeAreUnsupported) {
  for (const uint8_t tcTh : Bytes{0x04, 0x0F, 0x14, 0x1F, 0xFF}) {
    expectRefused(JPG_E_UNSUPPORTED,
                  kQuant + kHuffman + StreamBuilder().dht(tcTh, fullDc()).bytes());
  }
}

TEST(PrologHuffman, EightTablesWaitForAScanAndNoMore) {
  StreamBuilder six;
  for (int i = 0; i < 6; ++i) six.dht(0x01, fullDc());
  expectPicture(kQuant + kHuffman + six.bytes());
  expectRefused(JPG_E_UNSUPPORTED, kQuant + kHuffman + six.dht(0x01, fullDc()).bytes());
  Bytes data;
  for (int i = 0; i < 9; ++i) append(data, dhtData(0x01, fullDc()));
  expectRefused(JPG_E_UNSUPPORTED, kQuant + StreamBuilder().segment(kDht, data).bytes());
}

TEST(PrologHuffman, MoreCodesThanALengthHoldsAreUnsupported) {
  for (unsigned length = 1; length <= 8; ++length) {
    SCOPED_TRACE(length);
    const auto fits = static_cast<size_t>(1U << length);
    if (fits < 256) {
      const HuffTable all = evenTable(std::vector<uint8_t>(fits, 0), length);
      expectPicture(kQuant + StreamBuilder().dht(0x01, all).bytes() + kHuffman);
    }
    HuffTable tooMany = evenTable(std::vector<uint8_t>(std::min<size_t>(fits, 255), 0), length);
    tooMany.counts[length] = fits == 256 ? 3 : 1;  // of the next length
    if (fits < 256) ++tooMany.counts[length - 1];
    size_t sum = 0;
    for (const uint8_t count : tooMany.counts) sum += count;
    tooMany.values.assign(sum, 0);
    expectRefused(JPG_E_UNSUPPORTED,
                  kQuant + StreamBuilder().dht(0x01, tooMany).bytes() + kHuffman);
  }
}

TEST(PrologHuffman, MoreThan256CodesAreUnsupported) {
  HuffTable table;
  table.counts[14] = 200;
  table.counts[15] = 56;
  table.values.assign(256, 0);
  expectPicture(kQuant + StreamBuilder().dht(0x01, table).bytes() + kHuffman);
  table.counts[15] = 57;
  table.values.assign(257, 0);
  expectRefused(JPG_E_UNSUPPORTED, kQuant + StreamBuilder().dht(0x01, table).bytes() + kHuffman);
}

TEST(PrologHuffman, ATableThatDoesNotFitEndsTheSegmentUnloaded) {
  // The table is cut at every place; the segments behind it are found, the table isn't there.
  const Bytes whole = dhtData(0x00, fullDc());
  const Bytes ac = StreamBuilder().dht(0x10, fullAc()).bytes();
  for (size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const Bytes segments = kQuant + StreamBuilder().segment(kDht, cut).bytes() + ac;
    const Outcome outcome = outcomeOf(streamWith(segments));
    EXPECT_RESULT(JPG_OK, outcome.prolog);
    EXPECT_RESULT(JPG_E_BAD_DC_CODE, outcome.decode);
  }
}

TEST(PrologHuffman, BytesBehindTheLastTableAreSkipped) {
  for (size_t extra = 1; extra < 17; ++extra) {
    StreamBuilder stream;
    stream.segment(kDht, dhtData(0x00, fullDc()) + Bytes(extra, 0)).dht(0x10, fullAc());
    expectPicture(kQuant + stream.bytes());
  }
}

TEST(PrologHuffman, ATableMayComeBehindTheFrameHeader) {
  StreamBuilder stream;
  stream.soi().raw(kQuant).sof(kSof0, 8, 8, 8, {{1, 0x11, 0}}).raw(kHuffman).sos({{1, 0}});
  const Outcome outcome = outcomeOf(stream.raw(codedBlock()).eoi().bytes());
  EXPECT_RESULT(JPG_OK, outcome.decode);
  EXPECT_EQ(138, outcome.sample);
}

TEST(PrologQuantisation, OneSegmentMayHoldTablesOfBothWidths) {
  const Bytes data = dqtData(0x11, flatQuant(300)) + dqtData(0x00, flatQuant(1)) +
                     dqtData(0x02, flatQuant(2)) + dqtData(0x13, flatQuant(3));
  const Bytes segments = StreamBuilder().segment(kDqt, data).bytes() + kHuffman;
  expectPicture(segments, 0, 0, 138);
  expectPicture(segments, 0, 1, 255);
  expectPicture(segments, 0, 2, 148);  // 160: a sample of 20
  expectPicture(segments, 0, 3, 158);  // 240: a sample of 30
}

TEST(PrologQuantisation, OnlyAPrecisionOfOneMeansSixteenBits) {
  for (const uint8_t pqTq : Bytes{0x00, 0x20, 0x30, 0x80, 0xF0}) {
    expectPicture(StreamBuilder().segment(kDqt, dqtData(pqTq, flatQuant(1))).bytes() + kHuffman);
  }
  expectPicture(StreamBuilder().segment(kDqt, dqtData(0x10, flatQuant(1))).bytes() + kHuffman);
}

TEST(PrologQuantisation, EntriesAreReadAsTheyStand) {
  // FF 00 is two entries, not a stuffed byte, and FF D8 no marker.
  QuantTable table = flatQuant(0);
  for (size_t k = 0; k < 64; k += 2) table[k] = 0xFF;
  table[63] = 0xD8;
  StreamBuilder stream;
  stream.segment(kDqt, dqtData(0x01, table) + dqtData(0x00, flatQuant(1)));
  expectPicture(stream.bytes() + kHuffman);
  Picture picture = makePicture(24, 24, {0x11}, Fill::kDense, 61);
  picture.quant[0] = table;
  expectSamePicture(encode(picture), {24, 24, 1});
}

TEST(PrologQuantisation, SelectorsAboveThreeAreUnsupported) {
  for (const uint8_t pqTq : Bytes{0x04, 0x0F, 0x14, 0x1F}) {
    const Bytes data = dqtData(pqTq, flatQuant(1));
    expectRefused(JPG_E_UNSUPPORTED,
                  kQuant + kHuffman + StreamBuilder().segment(kDqt, data).bytes());
  }
}

TEST(PrologQuantisation, TablesThatWereNeverDefinedHoldZeros) {
  expectPicture(kQuant + kHuffman, 0, 1, 128);
}

TEST(PrologQuantisation, ATableThatDoesNotFitEndsTheSegmentUnloaded) {
  for (const uint8_t pqTq : Bytes{0x00, 0x10}) {
    const Bytes whole = dqtData(pqTq, flatQuant(7));
    for (size_t size = 0; size < whole.size(); ++size) {
      SCOPED_TRACE(size);
      const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      expectPicture(StreamBuilder().segment(kDqt, cut).bytes() + kHuffman, 0, 0, 128);
      expectPicture(kQuant + StreamBuilder().segment(kDqt, cut).bytes() + kHuffman, 0, 0, 138);
    }
  }
}

TEST(PrologRestart, OtherLengthsThanTwoAreRefused) {
  for (const size_t size : {0U, 1U, 3U, 4U, 100U}) {
    const Bytes dri = StreamBuilder().segment(kDri, Bytes(size, 0)).bytes();
    expectRefused(JPG_E_BAD_SEGMENT_LENGTH, kQuant + kHuffman + dri);
  }
  expectPicture(kQuant + kHuffman + StreamBuilder().dri(0).bytes());
}

TEST(PrologRestart, TheLastIntervalCounts) {
  Picture picture = makePicture(40, 24, {0x11}, Fill::kSmooth, 62);
  picture.before = StreamBuilder().dri(2).bytes();
  picture.restartInterval = 3;
  expectSamePicture(encode(picture), {40, 24, 1});
}

}  // namespace
}  // namespace jpgtest
