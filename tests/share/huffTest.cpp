// SPDX-License-Identifier: MIT
// Code lists and lookup arrays.
#include "share/jpgHuffFast.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "faulty.h"
#include "jpg.h"
#include "share/jpgAnnexK.h"

namespace {

using namespace jpg;

class HuffmanTable : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
  void TearDown() override {
    freeHuffTable(&table_);
    EXPECT_EQ(faulty::liveBlocks(), 0u);
  }

  // A table with these counts and the symbols 0, 1, 2, ...
  uint32_t make(std::vector<uint8_t> counts) {
    counts.resize(16);
    std::vector<uint8_t> values(16 * 256);
    std::iota(values.begin(), values.end(), uint8_t{0});
    return makeHuffCodes({counts.data(), values.data()}, &table_);
  }

  // The index of the code that `bits`, as many as the longest code has, begin with; kNoCode for
  // none. (The symbols are 0, 1, 2, ... too.)
  uint32_t find(uint32_t bits) const {
    const uint32_t word = bits << (kMaxCodeLength - table_.maxLength);
    const HuffSymbol found = symbolAt(*table_.lookup, table_.codes, word);
    if (found.length == 0) return kNoCode;
    EXPECT_EQ(found.length, table_.codes[found.value].length);
    return found.value;
  }

  JpgHuffTable table_ = {};
};

TEST_F(HuffmanTable, CodesAreThoseOfTheStandardsTableK3) {
  ASSERT_EQ(makeHuffCodes({kDcLuminanceCounts, kDcValues}, &table_), JPG_OK);
  // T.81 Table K.3: length and code word of categories 0 to 11.
  constexpr uint32_t kLength[12] = {2, 3, 3, 3, 3, 3, 4, 5, 6, 7, 8, 9};
  constexpr uint32_t kCode[12] = {0b00,   0b010,   0b011,    0b100,     0b101,      0b110,
                                  0b1110, 0b11110, 0b111110, 0b1111110, 0b11111110, 0b111111110};
  EXPECT_EQ(table_.count, 12u);
  EXPECT_EQ(table_.maxLength, 9u);
  for (uint32_t i = 0; i < 12; i++) {
    EXPECT_EQ(table_.codes[i].length, kLength[i]);
    EXPECT_EQ(table_.codes[i].code, kCode[i]);
    EXPECT_EQ(table_.codes[i].value, i);
  }
  EXPECT_EQ(table_.codes[12].length, 0u);
}

TEST_F(HuffmanTable, LengthsWithoutCodesStillShiftTheNextOnes) {
  // By T.81 Figure C.2: 00 of two bits; 01 then 0 appended three times is 01000 of five.
  ASSERT_EQ(make({0, 1, 0, 0, 2}), JPG_OK);
  EXPECT_EQ(table_.count, 3u);
  EXPECT_EQ(table_.maxLength, 5u);
  EXPECT_EQ(table_.codes[0].code, 0b00u);
  EXPECT_EQ(table_.codes[1].code, 0b01000u);
  EXPECT_EQ(table_.codes[2].code, 0b01001u);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  for (uint32_t bits = 0; bits < 32; bits++) {
    const uint8_t expected = bits < 8 ? 0 : bits == 8 ? 1 : bits == 9 ? 2 : kNoCode;
    EXPECT_EQ(find(bits), expected) << bits;
  }
}

TEST_F(HuffmanTable, TheLookupHoldsACodesIndexAtAllItsContinuations) {
  ASSERT_EQ(make({1, 1, 1}), JPG_OK);  // 0, 10, 110; 111 is no code
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  constexpr uint8_t kExpected[8] = {0, 0, 0, 0, 1, 1, 2, kNoCode};
  for (uint32_t i = 0; i < 8; i++) EXPECT_EQ(find(i), kExpected[i]);
}

TEST_F(HuffmanTable, ATableWithoutCodesHasOneEntryForNone) {
  ASSERT_EQ(make({}), JPG_OK);
  EXPECT_EQ(table_.maxLength, 0u);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  EXPECT_EQ(find(0), kNoCode);
}

TEST_F(HuffmanTable, LengthsMayBeFullButNotFuller) {
  EXPECT_EQ(make({2}), JPG_OK);
  freeHuffTable(&table_);
  EXPECT_EQ(make({3}), JPG_E_UNSUPPORTED);
  EXPECT_EQ(make({1, 3}), JPG_E_UNSUPPORTED);
  EXPECT_EQ(make({1, 2, 1}), JPG_E_UNSUPPORTED);
  EXPECT_EQ(make({0, 0, 0, 0, 0, 0, 0, 255, 1}), JPG_OK);
}

TEST_F(HuffmanTable, MoreThan256CodesAreRefused) {
  EXPECT_EQ(make({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}), JPG_E_UNSUPPORTED);
  EXPECT_EQ(make({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255}), JPG_OK);
  EXPECT_EQ(table_.count, 256u);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  // Code 255 counts as none; the one before it doesn't.
  EXPECT_EQ(find(table_.codes[254].code), 254u);
  EXPECT_EQ(find(table_.codes[255].code), kNoCode);
}

TEST_F(HuffmanTable, Code255CountsAsNoneAmongTheShortOnesToo) {
  ASSERT_EQ(make({0, 0, 0, 0, 0, 0, 0, 255, 1}), JPG_OK);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  EXPECT_EQ(find(table_.codes[254].code << 1), 254u);
  EXPECT_EQ(find(table_.codes[255].code), kNoCode);
}

TEST_F(HuffmanTable, ALookupHasEntriesForLongCodesAlone) {
  // 255 codes of 11 bits and one of 16: by hand 255 * 32 + 1 bit patterns of 16 bits.
  ASSERT_EQ(make({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 1}), JPG_OK);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  EXPECT_EQ(table_.lookup->entries, 8161u);
  freeHuffTable(&table_);
  // One code of 1 bit, one of 10 and two of 12, on which nothing follows.
  ASSERT_EQ(make({1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2}), JPG_OK);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  EXPECT_EQ(table_.lookup->entries, 2u);
  EXPECT_EQ(find(0b100000000100), 2u);
  EXPECT_EQ(find(0b100000000101), 3u);
  EXPECT_EQ(find(0b100000000110), kNoCode);
  EXPECT_EQ(find(0b111111111111), kNoCode);
}

TEST_F(HuffmanTable, ALookupIsMadeOnce) {
  ASSERT_EQ(make({1}), JPG_OK);
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  const JpgHuffLookup *lookup = table_.lookup;
  ASSERT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_OK);
  EXPECT_EQ(table_.lookup, lookup);
}

TEST_F(HuffmanTable, OutOfMemoryIsTold) {
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFail, 1);
  EXPECT_EQ(make({1}), JPG_E_OUT_OF_MEMORY);
  faulty::reset();
  ASSERT_EQ(make({1}), JPG_OK);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFail, 2);
  EXPECT_EQ(makeHuffLookup(&table_, HuffUse::kAc), JPG_E_OUT_OF_MEMORY);
}

}  // namespace
