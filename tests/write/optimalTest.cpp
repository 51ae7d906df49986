// SPDX-License-Identifier: MIT
// Huffman tables made for counts, against codes worked out by hand and against a plain search for
// the shortest ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

#include "support/random.h"
#include "write/jpgWOptimal.h"

namespace {

using namespace jpg;

OptimalTable tableOf(const SymbolCounts &counts) {
  const auto work = std::make_unique<OptimalWork>();
  OptimalTable table;
  makeOptimalTable(counts, work.get(), &table);
  return table;
}

std::vector<JpgHuffCode> codesOf(const OptimalTable &table) {
  std::vector<JpgHuffCode> codes(kSymbols);
  listCodes(table, codes.data());
  return codes;
}

// Lengths by symbol, 0 for those that don't occur.
std::vector<uint32_t> lengthsOf(const SymbolCounts &counts, uint32_t symbols) {
  std::vector<uint32_t> lengths;
  const std::vector<JpgHuffCode> codes = codesOf(tableOf(counts));
  for (uint32_t s = 0; s < symbols; s++) lengths.push_back(codes[s].length);
  return lengths;
}

TEST(OptimalTables, OfNoSymbolsAreEmpty) {
  const OptimalTable table = tableOf({});
  EXPECT_EQ(table.symbols, 0U);
  EXPECT_EQ(std::accumulate(table.counts, table.counts + kMaxCodeLength, 0), 0);
  EXPECT_EQ(segmentBytes(table), 2U + 2 + 1 + 16);
}

TEST(OptimalTables, OfOneSymbolHaveTheCodeZero) {
  SymbolCounts counts = {};
  counts.of[0xF0] = 7;
  const OptimalTable table = tableOf(counts);
  EXPECT_EQ(table.counts[0], 1);
  EXPECT_EQ(table.values[0], 0xF0);
  const std::vector<JpgHuffCode> codes = codesOf(table);
  EXPECT_EQ(codes[0xF0].code, 0U);
  EXPECT_EQ(codes[0xF0].length, 1);
  EXPECT_EQ(codes[0].length, 0);
  EXPECT_EQ(bitsByTable(counts, table), 7U);
}

// Counts 1, 1, 2, 4 and the code that stays free: 1 + 0 (free), 1 + 1, 2 + 2, 4 + 4, so lengths 4,
// 3, 2, 1, and 4 for the free one, which is the last. Of the two that occur once, symbol 0 comes
// first.
TEST(OptimalTables, AreThoseWorkedOutByHand) {
  SymbolCounts counts = {};
  counts.of[0] = 1;
  counts.of[1] = 1;
  counts.of[2] = 2;
  counts.of[3] = 4;
  EXPECT_EQ(lengthsOf(counts, 5), (std::vector<uint32_t>{3, 4, 2, 1, 0}));
  const std::vector<JpgHuffCode> codes = codesOf(tableOf(counts));
  EXPECT_EQ(codes[3].code, 0U);   // 0
  EXPECT_EQ(codes[2].code, 2U);   // 10
  EXPECT_EQ(codes[0].code, 6U);   // 110
  EXPECT_EQ(codes[1].code, 14U);  // 1110
  EXPECT_EQ(bitsByTable(counts, tableOf(counts)), 4U * 1 + 2 * 2 + 3 + 4);
}

// Three symbols that occur once each: with the free code four of two bits.
TEST(OptimalTables, GiveEqualCountsEqualLengthsWhereThatFits) {
  SymbolCounts counts = {};
  for (uint32_t s = 0; s < 3; s++) counts.of[s] = 1;
  EXPECT_EQ(lengthsOf(counts, 3), (std::vector<uint32_t>{2, 2, 2}));
}

// The sum of 2^-length in units of 2^-16, the free code's included.
uint32_t roomTaken(const OptimalTable &table) {
  uint32_t sum = 0, longest = 1;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    sum += uint32_t{table.counts[length - 1]} << (16 - length);
    if (table.counts[length - 1] != 0) longest = length;
  }
  return sum + (1U << (16 - longest));
}

// Counts of the Fibonacci sequence give the longest codes: with 30 of them up to 30 bits. With a
// limit of 16 the codes still fill their room exactly.
TEST(OptimalTables, NeverHaveMoreThanSixteenBits) {
  for (uint32_t symbols = 2; symbols <= 40; symbols++) {
    SymbolCounts counts = {};
    size_t a = 1, b = 1;
    for (uint32_t s = 0; s < symbols; s++) {
      counts.of[s] = a;
      std::swap(a, b);
      b += a;
    }
    const OptimalTable table = tableOf(counts);
    EXPECT_EQ(table.symbols, symbols);
    EXPECT_EQ(roomTaken(table), 65536U) << symbols;
  }
}

TEST(OptimalTables, HoldAllSymbolsAtOnce) {
  SymbolCounts counts = {};
  for (uint32_t s = 0; s < kSymbols; s++) counts.of[s] = 1;
  const OptimalTable table = tableOf(counts);
  // 256 symbols and the free code: 255 codes of 8 bits, and two of 9.
  EXPECT_EQ(table.counts[7], 255);
  EXPECT_EQ(table.counts[8], 1);
  EXPECT_EQ(table.symbols, 256U);
  for (uint32_t s = 0; s < kSymbols; s++) counts.of[s] = SIZE_MAX / 512;
  EXPECT_EQ(tableOf(counts).symbols, 256U);
}

// The fewest bits with a free code, by Huffman's procedure: the two lightest are joined, until one
// is left. Good for codes that stay below 16 bits.
uint64_t fewestBits(std::vector<uint64_t> weights) {
  weights.push_back(0);
  uint64_t bits = 0;
  while (weights.size() > 1) {
    std::sort(weights.begin(), weights.end(), std::greater<>());
    const uint64_t joined = weights.back() + weights[weights.size() - 2];
    weights.resize(weights.size() - 2);
    weights.push_back(joined);
    bits += joined;
  }
  return bits;
}

TEST(OptimalTables, TakeTheFewestBits) {
  jpgtest::Random random(11);
  for (uint32_t i = 0; i < 500; i++) {
    SymbolCounts counts = {};
    std::vector<uint64_t> weights;
    const uint32_t symbols = 1 + random.below(i % 5 == 0 ? 200 : 12);
    for (uint32_t k = 0; k < symbols; k++) {
      const uint32_t s = random.below(kSymbols);
      if (counts.of[s] != 0) continue;
      counts.of[s] = 1 + random.below(1 + random.below(900));
      weights.push_back(counts.of[s]);
    }
    const OptimalTable table = tableOf(counts);
    ASSERT_EQ(bitsByTable(counts, table), fewestBits(weights)) << "try " << i;
    ASSERT_EQ(roomTaken(table), 65536U);
  }
}

TEST(OptimalTables, DependOnNothingButTheCounts) {
  jpgtest::Random random(5);
  SymbolCounts counts = {};
  for (size_t &c : counts.of) c = random.below(4);
  const auto work = std::make_unique<OptimalWork>();
  OptimalTable tables[2];
  for (int i = 0; i < 2; i++) {
    memset(static_cast<void *>(work.get()), i == 0 ? 0 : 0xA5, sizeof(*work));
    memset(static_cast<void *>(&tables[i]), i == 0 ? 0 : 0xA5, sizeof(tables[i]));
    makeOptimalTable(counts, work.get(), &tables[i]);
  }
  EXPECT_EQ(memcmp(&tables[0], &tables[1], sizeof(tables[0])), 0);
}

}  // namespace
