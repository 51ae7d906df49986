// SPDX-License-Identifier: MIT
// The shortcuts behind a lookup array, against decoding bit by bit.
#include <gtest/gtest.h>

#include "faulty.h"
#include "jpg.h"
#include "read/randomTable.h"
#include "share/jpgHuffFast.h"

namespace {

using namespace jpg;
using jpgtest::Random;
using jpgtest::RandomTable;

// A code met in a string of bits.
struct Met {
  uint32_t length;  // 0: none within the string
  uint32_t symbol;
  uint32_t index;
};

// Reads codes bit by bit as T.81 Figure F.16 does, out of the `n` low bits of `bits`.
Met meet(const RandomTable &table, uint32_t bits, uint32_t n) {
  uint32_t code = 0, first = 0, index = 0;  // first: smallest code of the length
  for (uint32_t length = 1; length <= n && length <= 16; length++) {
    code = code << 1 | (bits >> (n - length) & 1);
    first <<= 1;
    const uint32_t count = table.counts()[length - 1];
    if (code >= first && code - first < count) {
      const uint32_t at = index + code - first;
      return {length, table.values()[at], at};
    }
    first += count;
    index += count;
  }
  return {0, 0, 0};
}

// EXTEND of T.81 Figure F.12, as printed.
int32_t extend(int32_t v, uint32_t size) {
  const int32_t vt = 1 << (size - 1);
  return v < vt ? v + static_cast<int32_t>(~0U << size) + 1 : v;
}

// The code for the end that is looked for: the last one of those that fit. kNoCode for none.
uint32_t endCode(const RandomTable &table) {
  uint32_t end = kNoCode;
  for (uint32_t i = 0; i < table.get().count && i < kNoCode; i++) {
    const JpgHuffCode &code = table.get().codes[i];
    if (code.value == 0 && code.length <= kShortcutBits) end = i;
  }
  return end;
}

// Behind a coefficient of `used` bits, and where bit windows are wide, the end of the block is
// taken along where its code is there.
void checkEnd(const RandomTable &table, HuffUse use, uint32_t bits, uint32_t used) {
  const HuffShortcut s = table.get().lookup->shortcut[bits];
  const uint32_t left = kShortcutBits - used, end = endCode(table);
  const Met met = meet(table, bits & ((1U << left) - 1), left);
  const bool taken = use == HuffUse::kAc && sizeof(size_t) >= 8;
  const bool there = taken && met.length != 0 && end != kNoCode && met.index == end;
  ASSERT_EQ(shortcutSkip(s) > kSkipThenEnd, there);
  ASSERT_EQ(shortcutLength(s), used + (there ? met.length : 0));
}

void checkShortcut(const RandomTable &table, HuffUse use, uint32_t bits) {
  const HuffShortcut s = table.get().lookup->shortcut[bits];
  const Met met = meet(table, bits, kShortcutBits);
  if (met.length == 0 || met.index == kNoCode) {
    ASSERT_EQ(shortcutSkip(s), kSkipNone);
    ASSERT_EQ(shortcutLength(s), 0U);
    return;
  }
  const uint32_t size = met.symbol & 15, used = met.length + size;
  if (met.symbol == 0) {
    ASSERT_EQ(shortcutSkip(s), kSkipEnd);
    ASSERT_EQ(shortcutLength(s), met.length);
    ASSERT_EQ(shortcutValue(s), 0);
    return;
  }
  if (size == 0 || used > kShortcutBits) {
    ASSERT_EQ(shortcutSkip(s), kSkipNone);
    ASSERT_EQ(shortcutLength(s), met.length);
    ASSERT_EQ(shortcutValue(s), static_cast<int32_t>(met.symbol));
    return;
  }
  const uint32_t additional = bits >> (kShortcutBits - used) & ((1U << size) - 1);
  ASSERT_EQ(shortcutSkip(s) % kSkipThenEnd, (met.symbol >> 4) + 1);
  ASSERT_EQ(shortcutValue(s), extend(static_cast<int32_t>(additional), size));
  checkEnd(table, use, bits, used);
}

void checkAllShortcuts(HuffUse use) {
  Random r(1);
  uint32_t withEnds = 0;
  for (uint32_t round = 0; round < 2000; round++) {
    const RandomTable table(&r, use);
    ASSERT_NE(table.get().lookup, nullptr);
    const uint32_t *shortcuts = table.get().lookup->shortcut;
    const uint32_t end = endCode(table);
    ASSERT_EQ(table.get().lookup->endLength, end == kNoCode ? 0 : table.get().codes[end].length);
    for (uint32_t bits = 0; bits < 1U << kShortcutBits; bits++) {
      checkShortcut(table, use, bits);
      ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "table " << round << ", bits " << bits;
      const uint32_t skip = shortcutSkip(shortcuts[bits]);
      withEnds += skip > kSkipThenEnd && skip != kSkipNone ? 1 : 0;
    }
  }
  EXPECT_EQ(withEnds > 1000, use == HuffUse::kAc && sizeof(size_t) >= 8);
}

TEST(Shortcuts, OfAcTablesStandForTheBitsOneByOne) { checkAllShortcuts(HuffUse::kAc); }

TEST(Shortcuts, OfDcTablesStandForTheBitsOneByOneWithoutEnds) { checkAllShortcuts(HuffUse::kDc); }

// Where bits lead, symbol by symbol: as far as whole codes of at most kShortcutBits go.
uint32_t skipByHand(const RandomTable &table, uint32_t bits) {
  const uint32_t end = endCode(table);
  const uint32_t endLength = end != kNoCode ? table.get().codes[end].length : 0;
  uint32_t skip = 0, used = 0;
  while (used < kSkipBits) {
    const uint32_t left = kSkipBits - used;
    const Met met = meet(table, bits & ((1U << left) - 1), left);
    if (met.length == 0 || met.length > kShortcutBits || met.index == kNoCode) break;
    const uint32_t run = met.symbol >> 4, size = met.symbol & 15;
    if (met.symbol == 0 && met.length == endLength) {
      skip += kSkipEnd;
      used += met.length;
      break;
    }
    if (size == 0 || skip + run + 1 > kMostSkipped) break;
    skip += run + 1;
    used += met.length + size;
  }
  return (used != 0 ? skip : kSkipNone) << 8 | used;
}

TEST(Skips, LeadAsFarAsTheSymbolsOneByOne) {
  if (!kHaveSkips) GTEST_SKIP() << "narrow registers have no skips";
  Random r(4);
  uint32_t several = 0;
  for (uint32_t round = 0; round < 2000; round++) {
    const RandomTable table(&r, HuffUse::kAc);
    ASSERT_EQ(skipsOf(*table.get().lookup), nullptr) << "ahead of their making";
    makeSkips(table.get().lookup);
    const HuffSkip *skips = skipsOf(*table.get().lookup);
    ASSERT_NE(skips, nullptr);
    for (uint32_t bits = 0; bits < 1U << kSkipBits; bits++) {
      ASSERT_EQ(skips[bits], skipByHand(table, bits)) << "table " << round << ", bits " << bits;
      several += skippedBits(skips[bits]) > 1 + kShortcutBits ? 1U : 0U;
    }
  }
  EXPECT_GT(several, 1000U);
}

// Nothing but time is lost.
TEST(Skips, AreLeftOutWhereMemoryIsRefused) {
  if (!kHaveSkips) GTEST_SKIP() << "narrow registers have no skips";
  Random r(6);
  faulty::reset();
  const RandomTable table(&r, HuffUse::kAc);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFail,
              faulty::calls(faulty::Operation::kAlloc) + 1);
  makeSkips(table.get().lookup);
  EXPECT_EQ(skipsOf(*table.get().lookup), nullptr);
  makeSkips(table.get().lookup);
  EXPECT_NE(skipsOf(*table.get().lookup), nullptr);
}

TEST(Lookups, GiveTheSymbolsOfTheBitsOneByOne) {
  Random r(2);
  for (uint32_t round = 0; round < 200; round++) {
    const RandomTable table(&r, HuffUse::kAc);
    const uint32_t n = table.get().maxLength;
    for (uint32_t bits = 0; bits < 1U << n; bits++) {
      const Met met = meet(table, bits, n);
      const uint32_t word = bits << (kMaxCodeLength - n);
      const HuffSymbol found = symbolAt(*table.get().lookup, table.get().codes, word);
      // Code 255 counts as none.
      ASSERT_EQ(found.length, met.index != kNoCode ? met.length : 0);
      if (found.length != 0) {
        ASSERT_EQ(found.value, met.symbol);
      }
    }
  }
}

// Counts that a length has no room for never become a table.
TEST(Shortcuts, AreNotMadeForOversubscribedTables) {
  Random r(3);
  for (uint32_t length = 1; length <= 7; length++) {
    uint8_t counts[16] = {};
    uint8_t values[256] = {};
    counts[length - 1] = static_cast<uint8_t>((1U << length) + 1 + r.below(2));
    JpgHuffTable table = {};
    EXPECT_EQ(makeHuffCodes({counts, values}, &table), uint32_t{JPG_E_UNSUPPORTED});
    EXPECT_EQ(table.codes, nullptr);
    EXPECT_EQ(makeHuffLookup(&table, HuffUse::kAc), uint32_t{JPG_OK});
    EXPECT_EQ(table.lookup, nullptr);
  }
}

}  // namespace
