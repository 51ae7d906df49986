// SPDX-License-Identifier: MIT
#include "share/jpgHuffFast.h"

#include <string.h>

#include "jpg.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// Values of kMaxCodeLength bits that begin with one of the table's first codes. Codes ascend
// without gaps from 0 on.
uint32_t coveredBy(const JpgHuffTable &table, uint32_t codes) {
  if (codes == 0) return 0;
  const JpgHuffCode &last = table.codes[codes - 1];
  return (last.code + 1) << (kMaxCodeLength - last.length);
}

// ---- Shortcuts --------------------------------------------------------------

// What the shortcuts of a table are made for.
struct ShortcutMaker {
  HuffShortcut *shortcuts;
  HuffUse use;
  JpgHuffCode end;  // the last code for symbol 0 that is short enough; length 0 without one
};

// Stores `word` for all values of the next bits that begin with the code.
void fillShortcuts(const ShortcutMaker &m, const JpgHuffCode &code, HuffShortcut word) {
  const uint32_t free = kShortcutBits - code.length;
  HuffShortcut *at = m.shortcuts + (code.code << free);
  JPG_ASSERT((code.code + 1) << free <= 1U << kShortcutBits);
  for (uint32_t i = 0; i < uint32_t{1} << free; i++) at[i] = word;
}

// Stores the words of the additional bits from `value` on, `steps` of them; each word stands for
// 1 << free values of the bits behind.
void fillValues(HuffShortcut *at, HuffShortcut word, int32_t value, uint32_t steps, uint32_t free) {
  for (uint32_t i = 0; i < steps << free; i++)
    at[i] = word + ((asUnsigned(value) + (i >> free)) << 16);
}

// Takes the code for the end along behind coefficients, where all of it is in the `free` bits left.
void addEnds(const ShortcutMaker &m, HuffShortcut *at, uint32_t steps, uint32_t free) {
  if (m.end.length == 0 || m.end.length > free) return;
  const uint32_t left = free - m.end.length;
  for (at += m.end.code << left; steps > 0; steps--, at += size_t{1} << free) {
    for (uint32_t i = 0; i < 1U << left; i++) at[i] += (kSkipThenEnd << 8) + m.end.length;
  }
}

// Shortcuts of a code of at most kShortcutBits: with its additional bits where they fit, else to
// the symbol.
void addShortcuts(const ShortcutMaker &m, const JpgHuffCode &code) {
  const uint32_t size = code.value & 15;
  const uint32_t used = code.length + size;
  if (code.value == 0 && m.use != HuffUse::kWide) {
    fillShortcuts(m, code, kSkipEnd << 8 | code.length);
    return;
  }
  if (used > kShortcutBits || size == 0 || m.use == HuffUse::kWide) {
    fillShortcuts(m, code, uint32_t{code.value} << 16 | kSkipNone << 8 | code.length);
    return;
  }
  const uint32_t free = kShortcutBits - used, half = uint32_t{1} << (size - 1);
  HuffShortcut *at = m.shortcuts + (code.code << (kShortcutBits - code.length));
  const HuffShortcut word = ((code.value >> 4) + 1U) << 8 | used;
  fillValues(at, word, extend(0, size), half, free);
  fillValues(at + (half << free), word, asSigned(half), half, free);
  addEnds(m, at, 2 * half, free);
}

// `count`: the table's first codes, which have at most kShortcutBits bits.
void makeShortcuts(const JpgHuffTable &table, uint32_t count, HuffUse use, JpgHuffLookup *lookup) {
  ShortcutMaker m = {lookup->shortcut, use, {}};
  // Code 255 has none: as an entry it is kNoCode, so that it never decodes.
  if (count > kNoCode) count = kNoCode;
  for (uint32_t i = 0; i < count; i++) {
    if (table.codes[i].value == 0) m.end = table.codes[i];
  }
  lookup->endLength = m.end.length;
  if (!kShortcutsTakeEnds || use != HuffUse::kAc) m.end.length = 0;
  for (uint32_t i = 0; i < count; i++) addShortcuts(m, table.codes[i]);
  const uint32_t covered = coveredBy(table, count) >> (kMaxCodeLength - kShortcutBits);
  for (uint32_t i = covered; i < uint32_t{1} << kShortcutBits; i++) {
    lookup->shortcut[i] = kSkipNone << 8;
  }
}

// ---- Skips ------------------------------------------------------------------

HuffSkip makeSkip(const JpgHuffLookup &lookup, uint32_t bits) {
  uint32_t skip = 0, used = 0;
  while (used < kSkipBits) {
    const uint32_t left = bits << used & ((1U << kSkipBits) - 1);
    const HuffShortcut s = lookup.shortcut[left >> (kSkipBits - kShortcutBits)];
    const HuffSymbol symbol = symbolOf(s, lookup.endLength);
    if (symbol.length == 0 || used + symbol.length > kSkipBits) break;
    const uint32_t size = symbol.value & 15;
    if (symbol.value == 0 && symbol.length == lookup.endLength) {
      skip += kSkipEnd;
      used += symbol.length;
      break;
    }
    const uint32_t run = symbol.value >> 4;
    if (size == 0 || skip + run + 1 > kMostSkipped) break;
    skip += run + 1;
    used += symbol.length + size;
  }
  JPG_ASSERT(used <= kLongestSkip);
  return static_cast<HuffSkip>((used != 0 ? skip : kSkipNone) << 8 | used);
}

// ---- Entries ----------------------------------------------------------------

// The entries of the codes beyond kShortcutBits, which are those from the `first` on.
void fillEntries(const JpgHuffTable &table, uint32_t first, uint8_t *entry) {
  for (uint32_t i = first; i < table.count; i++) {
    *entry++ = static_cast<uint8_t>(i);
    if (table.codes[i].length == table.maxLength) continue;  // most are of that length
    const size_t more = (size_t{1} << (table.maxLength - table.codes[i].length)) - 1;
    memset(entry, static_cast<int>(i), more);
    entry += more;
  }
}

}  // namespace

uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use) {
  if (table->codes == nullptr || table->lookup != nullptr) return JPG_OK;
  uint32_t shortCodes = 0;
  while (shortCodes < table->count && table->codes[shortCodes].length <= kShortcutBits) {
    shortCodes++;
  }
  const uint32_t firstLong = coveredBy(*table, shortCodes);
  const uint32_t longShift = kMaxCodeLength - table->maxLength;
  const uint32_t entries = (coveredBy(*table, table->count) - firstLong) >> longShift;
  JPG_ASSERT(coveredBy(*table, table->count) <= 1U << kMaxCodeLength && entries <= 8192);
  auto *block = static_cast<uint8_t *>(heapAlloc(sizeof(JpgHuffLookup) + entries));
  if (block == nullptr) return JPG_E_OUT_OF_MEMORY;
  void *at = block;
  auto *lookup = static_cast<JpgHuffLookup *>(at);
  uint8_t *entry = block + sizeof(JpgHuffLookup);
  lookup->entry = entry;
  lookup->entries = entries;
  lookup->firstLong = firstLong;
  lookup->longShift = longShift;
  lookup->skip = nullptr;
  fillEntries(*table, shortCodes, entry);
  makeShortcuts(*table, shortCodes, use, lookup);
  table->lookup = lookup;
  return JPG_OK;
}

void makeSkips(JpgHuffLookup *lookup) {
  if (!kHaveSkips || lookup->skip != nullptr) return;
  auto *skip = static_cast<HuffSkip *>(heapAlloc(sizeof(HuffSkip) << kSkipBits));
  if (skip == nullptr) return;
  for (uint32_t bits = 0; bits < 1U << kSkipBits; bits++) skip[bits] = makeSkip(*lookup, bits);
  lookup->skip = skip;
}

uint32_t freeHuffLookup(JpgHuffLookup *lookup) {
  if (lookup->skip != nullptr) heapFree(const_cast<HuffSkip *>(lookup->skip));
  return heapFree(lookup);
}

}  // namespace jpg
