// SPDX-License-Identifier: MIT
// Bits, stuffing, stage and markers below the interface.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "faulty.h"
#include "share/jpgAnnexK.h"
#include "share/jpgHeap.h"
#include "write/jpgWBits.h"
#include "write/jpgWHead.h"
#include "write/jpgWVLC.h"

namespace {

using namespace jpg;

// A context that writes to memory.
class Output : public testing::Test {
 protected:
  void SetUp() override {
    faulty::reset();
    c_ = std::make_unique<JpgContext>();
    c_->stream.mode = kModeMemory;
    ASSERT_EQ(streamOpenWrite(&c_->stream), JPG_OK);
  }
  void TearDown() override {
    if (c_->stream.current != nullptr) heapFree(c_->stream.current);
    for (JpgHuffTable &t : c_->dcTables) freeHuffTable(&t);
    EXPECT_EQ(faulty::liveBlocks(), 0u);
  }
  std::vector<uint8_t> bytes() {
    EXPECT_EQ(flushStage(c_.get()), JPG_OK);
    return {c_->stream.current, c_->stream.current + c_->stream.size};
  }
  std::unique_ptr<JpgContext> c_;
};

using Bytes = std::vector<uint8_t>;

// A run of one code.
template <typename Put>
Result inRun(JpgContext *c, Put put) {
  uint8_t apart[kMaxRunBytes];
  BitRun run = beginRun(c, apart);
  put(&run);
  return endRun(c, run);
}

Result putBits(JpgContext *c, uint32_t value, uint32_t length) {
  return inRun(c, [=](BitRun *run) { putRunBits(run, value, length); });
}

Result putDifference(JpgContext *c, const JpgHuffCode *table, int32_t d) {
  return inRun(c, [=](BitRun *run) { jpg::putDifference(run, table, d); });
}

Result putLosslessDifference(JpgContext *c, const JpgHuffCode *table, int32_t d) {
  return inRun(c, [=](BitRun *run) { jpg::putLosslessDifference(run, table, d); });
}

TEST_F(Output, BitsLeaveByWordsMostSignificantFirst) {
  EXPECT_EQ(putBits(c_.get(), 0x1, 4), JPG_OK);
  EXPECT_EQ(putBits(c_.get(), 0x2345678, 27), JPG_OK);
  EXPECT_EQ(c_->stream.bufIndex, 0u);
  EXPECT_EQ(putBits(c_.get(), 0x1, 1), JPG_OK);  // the word is full
  EXPECT_EQ(c_->stream.bufIndex, 4u);
  EXPECT_EQ(c_->stream.bitCount, 32u);
  EXPECT_EQ(putBits(c_.get(), 0xDEADBEEF, 32), JPG_OK);
  // 0001 then 27 bits of 0x2345678, then 1
  EXPECT_EQ(bytes(), (Bytes{0x14, 0x68, 0xAC, 0xF1, 0xDE, 0xAD, 0xBE, 0xEF}));
}

TEST_F(Output, AMarkerPadsWithOnesAndNothingWhenEmpty) {
  EXPECT_EQ(putBits(c_.get(), 0b010, 3), JPG_OK);
  EXPECT_EQ(writeMarker(c_.get(), 0xFFD0), JPG_OK);
  EXPECT_EQ(writeMarker(c_.get(), 0xFFD9), JPG_OK);
  EXPECT_EQ(bytes(), (Bytes{0b01011111, 0xFF, 0xD0, 0xFF, 0xD9}));
}

TEST_F(Output, DataFfIsStuffedMarkersAndRawBytesAreNot) {
  EXPECT_EQ(putBits(c_.get(), 0xFFFF00FF, 32), JPG_OK);
  EXPECT_EQ(putBits(c_.get(), 0xFF, 8), JPG_OK);
  EXPECT_EQ(writeMarker(c_.get(), 0xFFDA), JPG_OK);
  const uint8_t raw[] = {0xFF, 0x00};
  EXPECT_EQ(writeBytes(c_.get(), raw, 2), JPG_OK);
  EXPECT_EQ(bytes(), (Bytes{0xFF, 0, 0xFF, 0, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0xDA, 0xFF, 0}));
}

TEST_F(Output, AStuffedFfAtTheStagesEndIsSplitBetweenTwoSinkWrites) {
  const std::vector<uint8_t> fill(4095, 0x11);
  EXPECT_EQ(writeBytes(c_.get(), fill.data(), 4095), JPG_OK);
  EXPECT_EQ(putBits(c_.get(), 0xFF223344, 32), JPG_OK);
  EXPECT_EQ(c_->stream.size, 4096u);  // up to the FF
  EXPECT_EQ(c_->stream.bufIndex, 4u);
  const Bytes out = bytes();
  EXPECT_EQ(Bytes(out.begin() + 4095, out.end()), (Bytes{0xFF, 0x00, 0x22, 0x33, 0x44}));
}

TEST_F(Output, AShortSinkStopsEverything) {
  const std::vector<uint8_t> fill(4095, 0x11);
  EXPECT_EQ(writeBytes(c_.get(), fill.data(), 4095), JPG_OK);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter, 1);
  EXPECT_EQ(writeBytes(c_.get(), fill.data(), 1), JPG_E_WRITE_FAULT);
  EXPECT_EQ(c_->write.outputFailed, 2u);
  faulty::reset();
  EXPECT_EQ(writeBytes(c_.get(), fill.data(), 1), JPG_E_WRITE_FAULT);
  EXPECT_EQ(putBits(c_.get(), 0, 32), JPG_E_WRITE_FAULT);
  EXPECT_EQ(flushStage(c_.get()), JPG_E_WRITE_FAULT);
}

TEST_F(Output, TablesOfBlocksHaveCodesWithThePlaceOfTheirBits) {
  ASSERT_EQ(
      makeEncodingTable({kDcLuminanceCounts, kDcValues, 12}, CodeUse::kWithBits, &c_->dcTables[0]),
      JPG_OK);
  const JpgHuffCode *table = c_->dcTables[0].codes;
  // Table K.3: category 0 00, 3 100, 11 111111110.
  EXPECT_EQ(table[0].code, 0b00u);
  EXPECT_EQ(table[0].length, 2u);
  EXPECT_EQ(table[3].code, 0b100'000u);
  EXPECT_EQ(table[3].length, 6u);
  EXPECT_EQ(table[11].code, 0b111111110'00000000000u);
  EXPECT_EQ(table[11].length, 20u);
}

TEST_F(Output, DifferencesTakeTheirCategoryAndBits) {
  ASSERT_EQ(
      makeEncodingTable({kDcLuminanceCounts, kDcValues, 12}, CodeUse::kAlone, &c_->dcTables[0]),
      JPG_OK);
  const JpgHuffCode *table = c_->dcTables[0].codes;
  // Table K.3: category 0 00, 1 010, 2 011, 11 111111110.
  EXPECT_EQ(putDifference(c_.get(), table, 0), JPG_OK);     // 00
  EXPECT_EQ(putDifference(c_.get(), table, -1), JPG_OK);    // 010 0
  EXPECT_EQ(putDifference(c_.get(), table, -3), JPG_OK);    // 011 00
  EXPECT_EQ(putDifference(c_.get(), table, -2), JPG_OK);    // 011 01
  EXPECT_EQ(putDifference(c_.get(), table, 2047), JPG_OK);  // 111111110 11111111111
  EXPECT_EQ(writeMarker(c_.get(), 0xFFD9), JPG_OK);
  EXPECT_EQ(bytes(),
            (Bytes{0b00010001, 0b10001101, 0xFF, 0, 0b01111111, 0b11111111, 0, 0xFF, 0xD9}));
}

TEST_F(Output, LosslessDifferencesWrapInto16Bits) {
  // Seventeen categories: lengths 2, 3 x 5, 4, 5, ... as the wide table has them.
  constexpr uint8_t kCounts[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
  constexpr uint8_t kValues[17] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  ASSERT_EQ(makeEncodingTable({kCounts, kValues, 17}, CodeUse::kAlone, &c_->dcTables[0]), JPG_OK);
  const JpgHuffCode *table = c_->dcTables[0].codes;
  // Category 16 is 14 bits, 11111111111110, then 1000000000000000: for +-32768 alike.
  for (const int32_t d : {32768, -32768, 32768 + 65536}) {
    EXPECT_EQ(putLosslessDifference(c_.get(), table, d), JPG_OK);
    EXPECT_EQ(writeMarker(c_.get(), 0xFFD9), JPG_OK);
  }
  const Bytes out = bytes();
  const Bytes one = {0xFF, 0, 0b11111010, 0, 0b00000011, 0xFF, 0xD9};
  ASSERT_EQ(out.size(), 3 * one.size());
  for (size_t i = 0; i < out.size(); i++) EXPECT_EQ(out[i], one[i % one.size()]) << i;
}

}  // namespace
