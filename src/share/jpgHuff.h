// Huffman tables: the list of codes made from a table's counts and values, and
// the lookup array that decodes a symbol with one index. Shared by the reader
// (tables of the stream) and the writer (its own tables).
#ifndef JPG_SHARE_HUFF_H
#define JPG_SHARE_HUFF_H

#include <stddef.h>
#include <stdint.h>

// One code of a table; a list of them ends with an entry of length 0.
struct JpgHuffCode {
  uint32_t code;    // right-aligned
  uint16_t value;   // symbol, 0-255
  uint16_t length;  // bits, 1-16
};

struct JpgHuffTable {
  JpgHuffCode *codes;  // in order of code; null: never defined
  uint8_t *lookup;     // 2^maxLength entries: index of the code that begins with
                       // these bits, kNoCode for none; null until made
  uint32_t count;      // codes in the list
  uint32_t maxLength;  // longest length present, 0-16
  uint32_t spare;
};

namespace jpg {

constexpr uint32_t kMaxCodeLength = 16;
constexpr uint32_t kMaxCodes = 256;
constexpr uint8_t kNoCode = 0xFF;

// What a DHT segment says of one table: counts[i] codes of length i + 1, and the
// symbols in order of code.
struct HuffSource {
  const uint8_t *counts;  // 16
  const uint8_t *values;  // as many as the counts' sum
};

// Shortcuts: what the first kShortcutBits bits of the data stand for where they hold a whole
// code and the additional bits behind it (T.81 F.2.2.1, F.2.2.2). They lie behind the lookup
// array, in the same block. A category is a size without a run, so DC and lossless tables
// have the same ones as AC tables, which add the end of the block where its code follows.
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
// Whether shortcuts take ends along. Ahead of one the bit reader would look at the longest code,
// so that many bits must be there, more than a narrow bit window holds.
constexpr bool kShortcutsTakeEnds = sizeof(size_t) >= 8;

constexpr int32_t shortcutValue(HuffShortcut s) { return static_cast<int32_t>(s) >> 16; }
constexpr uint32_t shortcutSkip(HuffShortcut s) { return s >> 8 & 0xFF; }
constexpr uint32_t shortcutLength(HuffShortcut s) { return s & 0xFF; }

enum class HuffUse {
  kDc,  // also lossless of bytes
  kAc,
  kWide  // lossless of words: to the symbol alone, since differences are mostly long
};

// The shortcuts behind a lookup array of 2^maxLength entries.
inline const HuffShortcut *shortcutsOf(const uint8_t *lookup, uint32_t maxLength) {
  const uint32_t entries = maxLength < 2 ? 4 : uint32_t{1} << maxLength;  // aligned for them
  const void *shortcuts = lookup + entries;
  return static_cast<const HuffShortcut *>(shortcuts);
}
// Behind them stands the length of the code for symbol 0, 0 without one.
inline uint32_t endLengthOf(const HuffShortcut *shortcuts) {
  return shortcuts[1U << kShortcutBits];
}
// A coefficient's shortcut without the end of the block that it may take along.
inline HuffShortcut withoutEnd(HuffShortcut s, uint32_t endLength) {
  return shortcutSkip(s) > kSkipThenEnd ? s - (kSkipThenEnd << 8) - endLength : s;
}

// Skips: how far the first kSkipBits bits of AC data lead, for reduced decoding, which drops most
// coefficients. They lie behind the shortcuts of AC tables, for which makeHuffLookup() leaves room.
//
// A halfword each: skip << 8 | length. `skip` is the sum of the runs and coefficients of as many
// symbols as have their codes in those bits, plus kSkipEnd where the end of the block comes next
// and is taken along, or kSkipNone; `length` counts the bits of all, of which the last symbol's
// additional ones may lie behind the first kSkipBits.
constexpr uint32_t kSkipBits = 11;
constexpr uint32_t kMostSkipped = 62;       // coded positions, ends not among them
constexpr uint32_t kLongestSkip = 11 + 15;  // bits
using HuffSkip = uint16_t;
// Worth their room on wide registers only.
constexpr bool kHaveSkips = sizeof(size_t) >= 8;

constexpr uint32_t skipOf(HuffSkip s) { return s >> 8; }
constexpr uint32_t skippedBits(HuffSkip s) { return s & 0xFF; }

// The skips behind an AC table's lookup array; null where there are none yet.
inline const HuffSkip *skipsOf(const uint8_t *lookup, uint32_t maxLength) {
  if (!kHaveSkips) return nullptr;
  const void *behind = shortcutsOf(lookup, maxLength) + (1U << kShortcutBits) + 1;
  const HuffSkip *skips = static_cast<const HuffSkip *>(behind);
  return skips[1U << kSkipBits] != 0 ? skips : nullptr;
}

// Fills them in, unless that is done. For AC tables where kHaveSkips.
void makeSkips(uint8_t *lookup, uint32_t maxLength);

// Sum of the 16 counts.
uint32_t countCodes(const uint8_t *counts);

// Makes `table` (whatever it held is not freed) from `source` by the procedure of
// T.81 Annex C; the lookup array stays null. 0, JPG_E_OUT_OF_MEMORY, or
// JPG_E_UNSUPPORTED for more than 256 codes or more than a length has room for.
uint32_t makeHuffCodes(const HuffSource &source, JpgHuffTable *table);

// Makes the table's lookup array and shortcuts unless it has them. 0 or JPG_E_OUT_OF_MEMORY.
uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use);

// Frees list and lookup array where non-null. The result of the last heap free.
uint32_t freeHuffTable(JpgHuffTable *table);

}  // namespace jpg

#endif
