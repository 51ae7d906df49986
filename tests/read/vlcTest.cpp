// SPDX-License-Identifier: MIT
// The block decoders, on bit strings made by hand.
#include "read/jpgRVLC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "bitStream.h"
#include "read/jpgRScan.h"

namespace {

using namespace jpg;

// A whole block, from zeros on.
Result decodeWhole(JpgStream *stream, int16_t *block, JpgScanComponent *component) {
  std::fill_n(block, kBlockSize, int16_t{0});
  return decodeBlock(stream, block, component, kBlockSize - 1);
}
using jpgtest::BitStream;

// A table of codes of one length: symbol i has the code i.
class FlatTable {
 public:
  FlatTable(uint32_t length, std::vector<uint8_t> symbols) {
    std::array<uint8_t, 16> counts = {};
    counts[length - 1] = static_cast<uint8_t>(symbols.size());
    makeHuffCodes({counts.data(), symbols.data()}, &table_);
    makeHuffLookup(&table_, HuffUse::kAc);
  }
  ~FlatTable() { freeHuffTable(&table_); }
  FlatTable(const FlatTable &) = delete;
  FlatTable &operator=(const FlatTable &) = delete;
  JpgHuffTable *get() { return &table_; }

 private:
  JpgHuffTable table_ = {};
};

// A component with tables, and quantisation steps k + 1 at zig-zag position k.
class Component {
 public:
  Component(JpgHuffTable *dc, JpgHuffTable *ac) {
    for (uint32_t k = 0; k < 64; k++) steps_[k] = k + 1;
    component_.quantTable = steps_;
    if (dc != nullptr) {
      component_.dcLookup = dc->lookup;
      component_.dcCodes = dc->codes;
      component_.dcMaxLength = dc->maxLength;
    }
    if (ac != nullptr) {
      component_.acLookup = ac->lookup;
      component_.acCodes = ac->codes;
      component_.acMaxLength = ac->maxLength;
    }
  }
  JpgScanComponent *get() { return &component_; }
  uint32_t *steps() { return steps_; }

 private:
  uint32_t steps_[64];
  JpgScanComponent component_ = {};
};

using Block = std::array<int16_t, 64>;

// Three-bit DC categories 0 to 7 but the last code; two-bit AC symbols as given.
struct Coder {
  explicit Coder(std::vector<uint8_t> acSymbols)
      : dc(3, {0, 1, 2, 3, 4, 5, 6}), ac(3, std::move(acSymbols)), component(dc.get(), ac.get()) {}
  FlatTable dc, ac;
  Component component;

  uint32_t decode(const std::string &bits, Block *block) {
    BitStream b(BitStream::pack(bits));
    return decodeWhole(b.stream(), block->data(), component.get());
  }
};

TEST(SequentialBlock, AccumulatesDcAndDequantises) {
  Coder coder({0x00});
  Block block;
  block.fill(99);
  EXPECT_EQ(coder.decode("010 11 000", &block), JPG_OK);  // category 2, 3; EOB
  EXPECT_EQ(block[0], 3);
  for (size_t i = 1; i < 64; i++) EXPECT_EQ(block[i], 0);
  coder.component.steps()[0] = 10;
  EXPECT_EQ(coder.decode("010 00 000", &block), JPG_OK);  // -3
  EXPECT_EQ(block[0], 0);
  EXPECT_EQ(coder.decode("001 0 000", &block), JPG_OK);  // -1
  EXPECT_EQ(block[0], -10);
  EXPECT_EQ(coder.decode("000 000", &block), JPG_OK);  // category 0 keeps the prediction
  EXPECT_EQ(block[0], -10);
}

TEST(SequentialBlock, PlacesRunsAtZigZagPositions) {
  Coder coder({0x00, 0x02, 0x31});
  Block block;
  // DC 0; (0,2) 2 at k 1; (3,1) -1 at k 5; EOB
  EXPECT_EQ(coder.decode("000 001 10 010 0 000", &block), JPG_OK);
  EXPECT_EQ(block[1], 2 * 2);   // k 1 is natural 1, step 2
  EXPECT_EQ(block[2], -1 * 6);  // k 5 is natural 2, step 6
}

TEST(SequentialBlock, EndsAtPosition63WithoutEob) {
  Coder coder({0xF1, 0xE1});
  Block block;
  // (15,1) reaches 16, 32, 48; (14,1) 63.
  EXPECT_EQ(coder.decode("000 000 1 000 1 000 1 001 1", &block), JPG_OK);
  EXPECT_EQ(block[63], 64);
}

TEST(SequentialBlock, ARunPast63Overflows) {
  Coder coder({0xF1});
  Block block;
  EXPECT_EQ(coder.decode("000 000 1 000 1 000 1 000 1", &block), JPG_E_COEF_OVERFLOW);
}

TEST(SequentialBlock, EveryZeroSizeCodeButEobIsARunOfSixteen) {
  for (const uint8_t symbol : std::vector<uint8_t>{0xF0, 0x10, 0x70}) {
    Coder coder({symbol, 0x01, 0x00});
    Block block;
    EXPECT_EQ(coder.decode("000 000 001 1 010", &block), JPG_OK);
    EXPECT_EQ(block[kZigZag.natural[17]], 18) << int{symbol};
  }
}

TEST(SequentialBlock, ZeroRunsPastTheBlockMayEndInEob) {
  Coder coder({0xF0, 0x01, 0x00});
  Block block;
  EXPECT_EQ(coder.decode("000 000 000 000 000 000 010", &block), JPG_OK);
  EXPECT_EQ(coder.decode("000 000 000 000 000 000 001 1", &block), JPG_E_COEF_OVERFLOW);
}

TEST(SequentialBlock, EndlessZeroRunsBehindTheDataEnd) {
  // All codes of length 1: the 1-bits behind the data are zero runs for ever.
  FlatTable dc(1, {0});
  FlatTable ac(1, {0x01, 0xF0});
  Component component(dc.get(), ac.get());
  BitStream b({0x7F});
  Block block;
  EXPECT_EQ(decodeWhole(b.stream(), block.data(), component.get()), JPG_E_COEF_OVERFLOW);
}

TEST(SequentialBlock, CodesThatAreNotThereAreTold) {
  Coder coder({0x00});
  Block block;
  EXPECT_EQ(coder.decode("111", &block), JPG_E_BAD_DC_CODE);
  EXPECT_EQ(coder.decode("000 111", &block), JPG_E_BAD_AC_CODE);
  FlatTable dc(3, {0, 16});
  Component noAc(dc.get(), nullptr);
  BitStream missing(BitStream::pack("000"));
  EXPECT_EQ(decodeWhole(missing.stream(), block.data(), noAc.get()), JPG_E_BAD_AC_CODE);
  BitStream tooWide(BitStream::pack("001"));
  EXPECT_EQ(decodeWhole(tooWide.stream(), block.data(), noAc.get()), JPG_E_BAD_DC_CODE);
  Component none(nullptr, nullptr);
  BitStream any(BitStream::pack("000"));
  EXPECT_EQ(decodeWhole(any.stream(), block.data(), none.get()), JPG_E_BAD_DC_CODE);
}

TEST(SequentialBlock, ProductsKeepTheirLow16Bits) {
  Coder coder({0x00});
  coder.component.steps()[0] = 65535;
  Block block;
  EXPECT_EQ(coder.decode("010 11 000", &block), JPG_OK);
  EXPECT_EQ(block[0], static_cast<int16_t>(3 * 65535));
  coder.component.get()->dcPredictor = INT32_MAX;
  EXPECT_EQ(coder.decode("001 1 000", &block), JPG_OK);  // the prediction wraps
  EXPECT_EQ(coder.component.get()->dcPredictor, INT32_MIN);
}

TEST(CornerBlock, DropsWhatLiesBehindTheLastPosition) {
  Coder coder({0x00, 0x01, 0x31});
  Block block = {};
  BitStream b(BitStream::pack("001 1 001 1 010 1 001 1 000"));  // k 1, 5, 6
  EXPECT_EQ(decodeBlock(b.stream(), block.data(), coder.component.get(), 5), JPG_OK);
  EXPECT_EQ(block[kZigZag.natural[1]], 2);
  EXPECT_EQ(block[kZigZag.natural[5]], 6);
  EXPECT_EQ(block[kZigZag.natural[6]], 0);
}

// ---- Progressive ----------------------------------------------------------

// A scan of one component with a two-bit table of symbols.
struct Scan {
  Scan(const std::string &bits, std::vector<uint8_t> symbols, uint8_t ss, uint8_t se, uint8_t al)
      : table(2, std::move(symbols)),
        component(table.get(), table.get()),
        stream(BitStream::pack(bits)) {
    useBand(c(), ss, se);
    c()->Al = al;
  }
  JpgContext *c() { return stream.context(); }
  FlatTable table;
  Component component;
  BitStream stream;
  Block block = {};

  uint32_t run(BlockDecoder decoder) { return decoder(c(), block.data(), component.get()); }
};

TEST(DcFirst, ShiftsThePrediction) {
  Scan scan("10 11 01 0", {0, 1, 2}, 0, 0, 3);
  scan.block[5] = 7;
  EXPECT_EQ(scan.run(decodeDcFirst), JPG_OK);  // 3
  EXPECT_EQ(scan.block[0], 3 << 3);
  EXPECT_EQ(scan.block[5], 0);                 // a first scan begins an empty block
  EXPECT_EQ(scan.run(decodeDcFirst), JPG_OK);  // 3 - 1
  EXPECT_EQ(scan.block[0], 2 << 3);
  EXPECT_EQ(scan.component.get()->dcPredictor, 2);
}

TEST(DcRefine, AddsOneBit) {
  Scan scan("10", {0}, 0, 0, 2);
  scan.block[0] = 8;
  EXPECT_EQ(scan.run(decodeDcRefine), JPG_OK);
  EXPECT_EQ(scan.block[0], 12);
  EXPECT_EQ(scan.run(decodeDcRefine), JPG_OK);
  EXPECT_EQ(scan.block[0], 12);
}

TEST(AcFirst, PlacesShiftedValuesWithinTheBand) {
  // (1,2) 2 at k 2; (0,1) -1 at k 3; then EOB
  Scan scan("01 10 10 0 00", {0x00, 0x12, 0x01}, 1, 10, 1);
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[2]], 4);
  EXPECT_EQ(scan.block[kZigZag.natural[3]], -2);
  EXPECT_EQ(scan.c()->eobRun, 0u);  // r 0 ends the band of this block only
}

TEST(AcFirst, AnEndOfBandRunCoversTheBlocksBehind) {
  Scan scan("00 10 01 1", {0x20, 0x01}, 1, 1, 0);  // r 2: 4 + 2 blocks
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.c()->eobRun, 5u);
  for (uint32_t left = 5; left > 0; left--) {
    EXPECT_EQ(scan.c()->eobRun, left);
    EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  }
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.block[1], 1);
}

TEST(AcFirst, SixteenZerosAndTheEndOfTheBand) {
  Scan scan("00 01 1", {0xF0, 0x01}, 1, 17, 0);
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[17]], 1);
}

TEST(AcFirst, TheLongestEndOfBandRunHas32767Blocks) {
  Scan scan("00 11111111111111", {0xE0}, 1, 63, 0);  // r 14: 2^14 + 14 bits
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.c()->eobRun, 32766u);  // and this block
}

TEST(AcFirst, ARunMayEndBehindTheBandButInTheBlock) {
  Scan scan("00 1", {0x51}, 3, 5, 0);  // 3 + 5 lies behind Se 5
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[8]], 1);
  EXPECT_EQ(scan.c()->eobRun, 0u);
}

TEST(AcFirst, ValuesKeepTheirLow16Bits) {
  // Category 15, value 2^15 - 1, shifted by 13: only its lowest three bits are left.
  Scan scan("00 111111111111111", {0x0F}, 1, 1, 13);
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_OK);
  EXPECT_EQ(scan.block[1], -8192);  // 7 << 13 is E000
}

TEST(AcFirst, NeverLeavesTheBlock) {
  Scan scan("00 00 00 01 1", {0xF0, 0xF1}, 8, 63, 0);  // 8 + 48 + 15
  EXPECT_EQ(scan.run(decodeAcFirst), JPG_E_COEF_OVERFLOW);
  Scan missing("11", {0xF0}, 1, 63, 0);
  EXPECT_EQ(missing.run(decodeAcFirst), JPG_E_BAD_AC_CODE);
}

TEST(AcRefine, CorrectsAndPlaces) {
  // Coefficients 4 at k 1 and -4 at k 3, both refined by bit 1 << 1. (1,1): new value with
  // sign bit 1, one zero to pass: correction of k 1 (1), zero k 2 passed, correction of k 3
  // (1), new at k 4. Then EOB for this block: corrections behind it: none are left.
  Scan scan("01 1 1 1 00", {0x00, 0x11}, 1, 5, 1);
  scan.block[kZigZag.natural[1]] = 4;
  scan.block[kZigZag.natural[3]] = -4;
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[1]], 6);
  EXPECT_EQ(scan.block[kZigZag.natural[2]], 0);
  EXPECT_EQ(scan.block[kZigZag.natural[3]], -6);
  EXPECT_EQ(scan.block[kZigZag.natural[4]], 2);
  EXPECT_EQ(scan.c()->eobRun, 0u);
}

TEST(AcRefine, SixteenZerosArePassedWithTheirCorrections) {
  // From k 1: non-zero at k 5 (corrected, bit 1) and k 9 (bit 0); the sixteenth zero is k 18,
  // so that the next code, run 0, sets k 19 to -1.
  Scan scan("00 1 0 01 0 10", {0xF0, 0x01, 0x00}, 1, 20, 0);
  scan.block[kZigZag.natural[5]] = 2;
  scan.block[kZigZag.natural[9]] = -2;
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[5]], 3);
  EXPECT_EQ(scan.block[kZigZag.natural[9]], -2);
  for (const size_t k : {18u, 20u}) EXPECT_EQ(scan.block[kZigZag.natural[k]], 0) << k;
  EXPECT_EQ(scan.block[kZigZag.natural[19]], -1);
  EXPECT_EQ(scan.c()->eobRun, 0u);
}

TEST(AcRefine, CorrectionsGoAwayFromZero) {
  // Bit 1 << 2 of 8 and -8 is clear in 8 and in -8 (FFF8): both grow; of 12 it is set: stays.
  Scan scan("00 1 1 1", {0x00}, 1, 3, 2);
  scan.block[kZigZag.natural[1]] = 8;
  scan.block[kZigZag.natural[2]] = -8;
  scan.block[kZigZag.natural[3]] = 12;
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[1]], 12);
  EXPECT_EQ(scan.block[kZigZag.natural[2]], -12);
  EXPECT_EQ(scan.block[kZigZag.natural[3]], 12);
}

TEST(AcRefine, AnEndOfBandRunStillCorrects) {
  Scan scan("00 1 0 1", {0x10}, 1, 3, 0);  // r 1: 2 + 1 blocks
  scan.block[kZigZag.natural[2]] = 2;
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.c()->eobRun, 2u);
  EXPECT_EQ(scan.block[kZigZag.natural[2]], 2);  // correction bit 0
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.block[kZigZag.natural[2]], 3);
  EXPECT_EQ(scan.c()->eobRun, 1u);
}

TEST(AcRefine, ABitThatIsThereIsNotAddedTwice) {
  Scan scan("00 1", {0x00}, 1, 1, 0);
  scan.block[1] = 3;
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_OK);
  EXPECT_EQ(scan.block[1], 3);
}

TEST(AcRefine, RefusesMoreThanOneBitAndMissingCodes) {
  Scan wide("00", {0x02}, 1, 5, 0);
  EXPECT_EQ(wide.run(decodeAcRefine), JPG_NO_DATA);
  Scan missing("11", {0x01}, 1, 5, 0);
  EXPECT_EQ(missing.run(decodeAcRefine), JPG_E_BAD_AC_CODE);
}

TEST(AcRefine, ANewValueNeverLeavesTheBlock) {
  Scan scan("00 1", {0xE1}, 60, 63, 0);
  EXPECT_EQ(scan.run(decodeAcRefine), JPG_E_COEF_OVERFLOW);
}

// ---- Lossless -------------------------------------------------------------

TEST(Difference, ExtendsUpToCategory15AndTakes16AsItStands) {
  FlatTable table(3, {0, 1, 15, 16, 17});
  const HuffDecoder decoder = {table.get()->lookup, table.get()->codes, 3};
  BitStream b(BitStream::pack("000 001 0 010 000000000000000 011 1000000000000000 100"));
  int32_t d = 99;
  EXPECT_EQ(decodeDifference(b.stream(), decoder, &d), JPG_OK);
  EXPECT_EQ(d, 0);
  EXPECT_EQ(decodeDifference(b.stream(), decoder, &d), JPG_OK);
  EXPECT_EQ(d, -1);
  EXPECT_EQ(decodeDifference(b.stream(), decoder, &d), JPG_OK);
  EXPECT_EQ(d, -32767);
  EXPECT_EQ(decodeDifference(b.stream(), decoder, &d), JPG_OK);
  EXPECT_EQ(d, 32768);
  EXPECT_EQ(decodeDifference(b.stream(), decoder, &d), JPG_E_FAIL);  // category 17
  BitStream bad(BitStream::pack("111"));
  EXPECT_EQ(decodeDifference(bad.stream(), decoder, &d), JPG_E_FAIL);
}

}  // namespace
