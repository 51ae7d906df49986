// SPDX-License-Identifier: MIT
// The coding of bands of levels, symbol by symbol, as T.81 G.1.2 has it; worked out by hand.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "write/jpgWBand.h"

namespace {

using namespace jpg;

// Writes down what is put: symbols as "run/size", their additional bits, and bits alone.
struct Notes {
  std::string *text;

  static std::string binary(uint32_t value, uint32_t length) {
    std::string out;
    for (uint32_t i = length; i-- > 0;) out += (value >> i & 1) != 0 ? '1' : '0';
    return out;
  }
  void put(uint32_t table, uint32_t symbol, uint32_t value, uint32_t length) {
    std::ostringstream out;
    out << (text->empty() ? "" : " ") << (symbol >> 4) << "/" << (symbol & 15);
    if (table != 0) out << "@" << table;
    if (length != 0) out << ":" << binary(value, length);
    *text += out.str();
  }
  void putBits(uint32_t value, uint32_t length) {
    if (length != 0) *text += "+" + binary(value, length);
  }
};

struct Block {
  int16_t levels[64] = {};
  uint64_t after(uint32_t shift) const {
    uint64_t mask = 0;
    for (uint32_t k = 0; k < 64; k++) {
      if (levels[k] / (1 << shift) != 0) mask |= uint64_t{1} << k;
    }
    return mask;
  }
};

Block blockOf(const std::vector<std::pair<uint32_t, int32_t>> &levels) {
  Block b;
  for (const auto &l : levels) b.levels[l.first] = static_cast<int16_t>(l.second);
  return b;
}

// A scan of blocks: what is put for them, a flush at the end.
std::string scan(uint32_t start, uint32_t end, uint32_t Ah, uint32_t Al,
                 const std::vector<Block> &blocks) {
  std::string text;
  BandCoder<Notes> coder = {};
  coder.out.text = &text;
  coder.start = start;
  coder.end = end;
  coder.Ah = Ah;
  coder.Al = Al;
  for (uint32_t k = start; k <= end; k++) coder.band |= uint64_t{1} << k;
  for (const Block &b : blocks) {
    if (Ah == 0) {
      coder.putFirst(b.levels, b.after(Al));
    } else {
      coder.putRefined(b.levels, b.after(Al), b.after(Ah));
    }
  }
  coder.flush();
  return text;
}

TEST(FirstScans, PutRunsOfZerosWithTheLevels) {
  // 5 is 101, -5 the complement 010; one zero ahead of each.
  EXPECT_EQ(scan(1, 63, 0, 0, {blockOf({{2, 5}, {4, -5}})}), "1/3:101 1/3:010 0/0");
  // 16 zeros ahead of position 17 are one ZRL and no run; 33 are two and a run of one.
  EXPECT_EQ(scan(1, 63, 0, 0, {blockOf({{17, 1}})}), "15/0 0/1:1 0/0");
  EXPECT_EQ(scan(1, 63, 0, 0, {blockOf({{34, -1}})}), "15/0 15/0 1/1:0 0/0");
}

TEST(FirstScans, DivideMagnitudesTowardZero) {
  EXPECT_EQ(scan(1, 63, 0, 1, {blockOf({{1, -3}, {2, 1}, {3, 2}})}), "0/1:0 1/1:1 0/0");
}

TEST(FirstScans, PutOnlyTheirBand) {
  const Block b = blockOf({{0, 100}, {1, 7}, {5, 1}, {6, 1}, {9, 1}});
  EXPECT_EQ(scan(5, 6, 0, 0, {b}), "0/1:1 0/1:1");  // the last level is that of the band: no end
  EXPECT_EQ(scan(7, 8, 0, 0, {b}), "0/0");
}

TEST(FirstScans, JoinEndsOfBandsToRuns) {
  const Block empty, one = blockOf({{1, 1}});
  EXPECT_EQ(scan(1, 63, 0, 0, {empty, empty}), "1/0:0");         // 2: 1 and one bit
  EXPECT_EQ(scan(1, 63, 0, 0, {empty, empty, empty}), "1/0:1");  // 3
  EXPECT_EQ(scan(1, 63, 0, 0, {one, empty, one}), "0/1:1 1/0:0 0/1:1 0/0");
  EXPECT_EQ(scan(1, 63, 0, 0, std::vector<Block>(32767)), "14/0:11111111111111");
  EXPECT_EQ(scan(1, 63, 0, 0, std::vector<Block>(32768)), "14/0:11111111111111 0/0");
}

TEST(Refinements, PutACorrectionBitForEveryLevelOfBefore) {
  // 3 and -2, of which 1 has come before; 0 beside them. Their lower bits are 1 and 0.
  EXPECT_EQ(scan(1, 63, 1, 0, {blockOf({{1, 3}, {4, -2}})}), "0/0+10");
}

TEST(Refinements, PutNewLevelsByTheirSignAndTheCorrectionsBehind) {
  // Position 1 is corrected by 1, position 3 is new and positive, with one zero ahead of it that
  // was 0 before; position 1 doesn't count. Position 5 is new and negative. Then the end.
  EXPECT_EQ(scan(1, 63, 1, 0, {blockOf({{1, 3}, {3, 1}, {5, -1}})}), "1/1:1+1 1/1:0 0/0");
  // Corrections behind the last new level go with the end of the band.
  EXPECT_EQ(scan(1, 63, 1, 0, {blockOf({{1, -1}, {2, 2}, {3, 3}})}), "0/1:0 0/0+01");
}

TEST(Refinements, PutNoEndWhereTheLastPositionIsNew) {
  EXPECT_EQ(scan(1, 5, 1, 0, {blockOf({{5, 1}})}), "4/1:1");
  EXPECT_EQ(scan(1, 5, 1, 0, {blockOf({{4, 1}, {5, 2}})}), "3/1:1 0/0+0");
}

TEST(Refinements, PutSixteenZerosOnlyAheadOfANewLevel) {
  // Positions 1 to 16 are 0, 17 is corrected, 18 to 33 are 0, 34 is new: 32 zeros. The first ZRL
  // comes with position 17, which has 16 zeros ahead; its correction goes with the second.
  EXPECT_EQ(scan(1, 63, 1, 0, {blockOf({{17, 3}, {34, 1}})}), "15/0 15/0+1 0/1:1 0/0");
  // Nothing new: an end with a correction, without any ZRL.
  EXPECT_EQ(scan(1, 63, 1, 0, {blockOf({{40, 3}})}), "0/0+1");
}

TEST(Refinements, KeepCorrectionsForTheRunOfEnds) {
  const Block two = blockOf({{1, 3}, {2, 2}}), one = blockOf({{1, 2}}), fresh = blockOf({{1, 1}});
  EXPECT_EQ(scan(1, 63, 1, 0, {two, Block(), one}), "1/0:1+100");
  // A new level ends the run: its bits come first.
  EXPECT_EQ(scan(1, 63, 1, 0, {two, fresh}), "0/0+10 0/1:1 0/0");
}

// 63 corrections a block. After 15 blocks there are 945, more than 936: the run ends, so that the
// room for 1000 is never left. 945 bits are 29 words and 17 bits.
TEST(Refinements, EndARunWhenItsCorrectionsAreMany) {
  Block full;
  for (int16_t &l : full.levels) l = 3;
  const std::vector<Block> blocks(16, full);
  std::string expected = "3/0:111";
  for (int i = 0; i < 29; i++) expected += "+" + std::string(32, '1');
  expected +=
      "+" + std::string(17, '1') + " 0/0+" + std::string(32, '1') + "+" + std::string(31, '1');
  EXPECT_EQ(scan(1, 63, 1, 0, blocks), expected);
}

// 62 corrections ahead of a new level, put at once.
TEST(Refinements, PutManyCorrectionsOfOneBlock) {
  Block full;
  for (uint32_t k = 1; k < 63; k++) full.levels[k] = k % 2 == 0 ? 2 : 3;
  full.levels[63] = -1;
  std::string bits;
  for (uint32_t k = 1; k < 63; k++) bits += k % 2 == 0 ? '0' : '1';
  EXPECT_EQ(scan(1, 63, 1, 0, {full}), "0/1:0+" + bits.substr(0, 30) + "+" + bits.substr(30));
}

TEST(Refinements, EndARunOf32767) {
  EXPECT_EQ(scan(1, 63, 1, 0, std::vector<Block>(32768)), "14/0:11111111111111 0/0");
}

TEST(Differences, HaveTheCategoryOfTheirMagnitude) {
  std::string text;
  Notes notes = {&text};
  for (const int32_t d : {0, 1, -1, 2, -2, -3, 2047, -2047}) putDifferenceTo(&notes, 1, d);
  EXPECT_EQ(text,
            "0/0@1 0/1@1:1 0/1@1:0 0/2@1:10 0/2@1:01 0/2@1:00 0/11@1:11111111111 "
            "0/11@1:00000000000");
}

}  // namespace
