// SPDX-License-Identifier: MIT
// Fast look-ups of a Huffman table: what the next bits of the data stand for, in one step.
//
// Three arrays in one block of memory, indexed by the next bits: `entry` gives the index of the
// code in the table's list; a shortcut also decodes the code's additional bits; a skip passes over
// several symbols at once. Made from the list of codes at the scan set-up.
#ifndef JPG_SHARE_HUFFFAST_H
#define JPG_SHARE_HUFFFAST_H

#include <stddef.h>
#include <stdint.h>

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

struct JpgHuffLookup {
  const uint8_t *entry;  // by maxLength bits: index of the code that begins with them, or kNoCode
  jpg::HuffSkip *skip;   // by kSkipBits bits; null where there is no room for them
  uint32_t skipsMade;    // 1 once `skip` is filled in
  uint32_t endLength;    // bits of the code for symbol 0, 0 without one
  jpg::HuffShortcut shortcut[1U << jpg::kShortcutBits];  // by kShortcutBits bits
};

namespace jpg {

// A coefficient's shortcut without the end of the block that it may take along.
inline HuffShortcut withoutEnd(HuffShortcut s, uint32_t endLength) {
  return shortcutSkip(s) > kSkipThenEnd ? s - (kSkipThenEnd << 8) - endLength : s;
}

// The skips of an AC table; null where there are none yet.
inline const HuffSkip *skipsOf(const JpgHuffLookup &lookup) {
  return kHaveSkips && lookup.skipsMade != 0 ? lookup.skip : nullptr;
}

// What a table is looked up for.
enum class HuffUse {
  kDc,  // also lossless of bytes
  kAc,
  kWide  // lossless of words: to the symbol alone, since differences are mostly long
};

// Makes the table's look-ups unless it has them; skips have only their room. 0 or
// JPG_E_OUT_OF_MEMORY.
uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use);

// Fills the skips in, unless that is done or there is no room for them.
void makeSkips(JpgHuffLookup *lookup);

}  // namespace jpg

#endif
