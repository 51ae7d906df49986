// SPDX-License-Identifier: MIT
// Fast look-ups of a Huffman table: what the next bits of the data stand for, in one step.
//
// Three arrays, indexed by the next bits: a shortcut decodes a code of usual length with its
// additional bits; `entry` gives the index of a longer code in the table's list; a skip passes over
// several symbols at once. Made from the list of codes at the scan set-up, skips where they are
// first of use.
#ifndef JPG_SHARE_HUFFFAST_H
#define JPG_SHARE_HUFFFAST_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgArith.h"
#include "share/jpgHuff.h"

namespace jpg {

constexpr uint8_t kNoCode = 0xFF;  // of `entry`: no code begins with these bits

// Shortcuts: what the first kShortcutBits bits of the data stand for where they hold a whole
// code and the additional bits behind it (T.81 F.2.2.1, F.2.2.2). A category is a size without a
// run, so DC and lossless tables have the same ones as AC tables, which add the end of the block
// where its code follows.
//
// A word each: value << 16 | skip << 8 | length. `value` are the extended additional bits, 16
// with a sign; `skip` is the run + 1 of a code with a size, plus kSkipThenEnd where the code
// for the end of the block follows, or kSkipEnd or kSkipNone; `length` counts the bits of all.
// With kSkipNone, a `length` other than 0 is that of a code without its additional bits, and
// `value` its symbol.
constexpr uint32_t kShortcutBits = 10;
using HuffShortcut = uint32_t;
constexpr uint32_t kSkipEnd = 64;       // symbol 0: end of block, or category 0
constexpr uint32_t kSkipThenEnd = 128;  // the last coefficient
constexpr uint32_t kSkipNone = 255;     // no shortcut, or to the symbol alone
// Whether a shortcut may include the end of block behind its coefficient. The bit reader would peek
// maxLength bits for that code, which may be more than a 32-bit window holds.
constexpr bool kShortcutsTakeEnds = sizeof(size_t) >= 8;

constexpr int32_t shortcutValue(HuffShortcut s) { return static_cast<int32_t>(s) >> 16; }
constexpr uint32_t shortcutSkip(HuffShortcut s) { return s >> 8 & 0xFF; }
constexpr uint32_t shortcutLength(HuffShortcut s) { return s & 0xFF; }

// Skips: how far the first kSkipBits bits of AC data lead, for reduced decoding, which drops most
// coefficients. A halfword each: skip << 8 | length. `skip` is the sum of the runs and
// coefficients of as many symbols as have their codes in those bits, plus kSkipEnd where the end
// of the block comes next and is taken along, or kSkipNone; `length` counts the bits of all, of
// which the last symbol's additional ones may lie behind the first kSkipBits.
constexpr uint32_t kSkipBits = 11;
constexpr uint32_t kMostSkipped = 62;       // zig-zag positions, ends not among them
constexpr uint32_t kLongestSkip = 11 + 15;  // bits
using HuffSkip = uint16_t;
// Worth their room on wide registers only.
constexpr bool kHaveSkips = sizeof(size_t) >= 8;

constexpr uint32_t skipOf(HuffSkip s) { return s >> 8; }
constexpr uint32_t skippedBits(HuffSkip s) { return s & 0xFF; }

}  // namespace jpg

// Codes ascend without gaps, so that those beyond kShortcutBits stand for the last part of all bit
// patterns, and `entry` begins there. With 256 codes at most, it has at most 8192 entries, for the
// tables in use a few hundred.
struct JpgHuffLookup {
  const uint8_t *entry;       // index of the code that the next bits begin with, or kNoCode
  uint32_t entries;           // how many
  uint32_t firstLong;         // kMaxCodeLength bits of data for which the first entry stands
  uint32_t longShift;         // an entry stands for 2 to the power of this of their values
  uint32_t endLength;         // bits of the code for symbol 0, 0 without one
  const jpg::HuffSkip *skip;  // by kSkipBits bits; owned; null until made
  jpg::HuffShortcut shortcut[1U << jpg::kShortcutBits];  // by kShortcutBits bits
};

namespace jpg {

// A coefficient's shortcut without the end of the block that it may take along.
inline HuffShortcut withoutEnd(HuffShortcut s, uint32_t endLength) {
  return shortcutSkip(s) > kSkipThenEnd ? s - (kSkipThenEnd << 8) - endLength : s;
}

// The skips of an AC table; null where there are none.
inline const HuffSkip *skipsOf(const JpgHuffLookup &lookup) {
  return kHaveSkips ? lookup.skip : nullptr;
}

// Bits of a magnitude above 0.
inline uint32_t bitLength(int32_t v) {
  return 32 - static_cast<uint32_t>(__builtin_clz(asUnsigned(v < 0 ? -v : v)));
}

// A symbol and the bits of its code.
struct HuffSymbol {
  uint32_t value;
  uint32_t length;  // 0: no code
};

// The symbol whose code a shortcut, other than one of length 0, begins with.
inline HuffSymbol symbolOf(HuffShortcut s, uint32_t endLength) {
  if (shortcutSkip(s) == kSkipNone) return {s >> 16, shortcutLength(s)};
  if (shortcutSkip(s) == kSkipEnd) return {0, shortcutLength(s)};
  const HuffShortcut alone = withoutEnd(s, endLength);
  const uint32_t size = bitLength(shortcutValue(s));
  return {(shortcutSkip(alone) - 1) << 4 | size, shortcutLength(alone) - size};
}

// The symbol whose code the next kMaxCodeLength bits of data begin with.
inline HuffSymbol symbolAt(const JpgHuffLookup &lookup, const JpgHuffCode *codes, uint32_t bits) {
  const HuffShortcut s = lookup.shortcut[bits >> (kMaxCodeLength - kShortcutBits)];
  if (shortcutLength(s) != 0) return symbolOf(s, lookup.endLength);
  const uint32_t i = (bits - lookup.firstLong) >> lookup.longShift;
  if (i >= lookup.entries || lookup.entry[i] == kNoCode) return {0, 0};
  const JpgHuffCode &code = codes[lookup.entry[i]];
  return {code.value, code.length};
}

// What a table is looked up for.
enum class HuffUse {
  kDc,  // also lossless of bytes
  kAc,
  kWide  // lossless of words: to the symbol alone, since differences are mostly long
};

// Makes the table's look-ups unless it has them, all but the skips. 0 or JPG_E_OUT_OF_MEMORY.
uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use);

// Makes the skips of an AC table unless it has them. Where there is no room for them, decoding does
// without.
void makeSkips(JpgHuffLookup *lookup);

// Frees look-ups. The result of the last heap free.
uint32_t freeHuffLookup(JpgHuffLookup *lookup);

}  // namespace jpg

#endif
