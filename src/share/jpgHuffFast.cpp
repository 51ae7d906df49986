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

// ---- Shortcuts --------------------------------------------------------------

// The words that begin with a code of `length` bits.
void fillShortcuts(const JpgHuffCode &code, HuffShortcut *shortcuts, HuffShortcut word) {
  const uint32_t free = kShortcutBits - code.length;
  HuffShortcut *at = shortcuts + (code.code << free);
  JPG_ASSERT((code.code + 1) << free <= 1U << kShortcutBits);
  for (uint32_t i = 0; i < uint32_t{1} << free; i++) at[i] = word;
}

// Shortcuts of a code of at most kShortcutBits: with its additional bits where they fit, one
// for each of their values, else to the symbol.
void addShortcuts(const JpgHuffCode &code, HuffUse use, HuffShortcut *shortcuts) {
  const uint32_t size = code.value & 15;
  const uint32_t used = code.length + size;
  const bool end = code.value == 0;
  if (used > kShortcutBits || (size == 0 && !end) || use == HuffUse::kWide) {
    fillShortcuts(code, shortcuts, uint32_t{code.value} << 16 | kSkipNone << 8 | code.length);
    return;
  }
  const uint32_t skip = end ? kSkipEnd : (code.value >> 4) + 1U;
  for (uint32_t bits = 0; bits < uint32_t{1} << size; bits++) {
    const auto v = static_cast<int32_t>(bits);
    const int32_t value = extend(v, size);
    const JpgHuffCode longer = {code.code << size | bits, 0, static_cast<uint16_t>(used)};
    fillShortcuts(longer, shortcuts, static_cast<uint32_t>(value) << 16 | skip << 8 | used);
  }
}

// Takes the code `end` along where it is all in the bits behind a coefficient.
void addEnds(const JpgHuffCode &end, HuffShortcut *shortcuts) {
  for (uint32_t bits = 0; bits < uint32_t{1} << kShortcutBits; bits++) {
    const uint32_t length = shortcutLength(shortcuts[bits]) + end.length;
    if (shortcutSkip(shortcuts[bits]) >= kSkipEnd || length > kShortcutBits) continue;
    const uint32_t behind = bits >> (kShortcutBits - length) & ((1U << end.length) - 1);
    if (behind == end.code) shortcuts[bits] += (kSkipThenEnd << 8) + end.length;
  }
}

void makeShortcuts(const JpgHuffTable &table, HuffUse use, JpgHuffLookup *lookup) {
  const JpgHuffCode *end = nullptr;
  for (HuffShortcut &s : lookup->shortcut) s = kSkipNone << 8;
  // Code 255 has no shortcut: its index in `entry` is kNoCode, so that it never decodes.
  for (uint32_t i = 0; i < table.count && i < kNoCode; i++) {
    if (table.codes[i].length > kShortcutBits) break;
    addShortcuts(table.codes[i], use, lookup->shortcut);
    if (table.codes[i].value == 0) end = &table.codes[i];
  }
  lookup->endLength = end != nullptr ? end->length : 0;
  if (kShortcutsTakeEnds && end != nullptr && use == HuffUse::kAc) addEnds(*end, lookup->shortcut);
}

// ---- Skips ------------------------------------------------------------------

// Bits of a magnitude above 0.
uint32_t bitLength(int32_t v) {
  return 32 - static_cast<uint32_t>(__builtin_clz(asUnsigned(v < 0 ? -v : v)));
}

// An AC symbol at the beginning of some bits.
struct AcSymbol {
  uint32_t code;  // bits of the code; 0: none of its kind
  uint32_t size;  // additional bits
  uint32_t skip;  // run + 1; 0 for the end of the block
};

AcSymbol symbolOf(HuffShortcut s, uint32_t endLength) {
  if (shortcutSkip(s) == kSkipEnd) {
    return {shortcutLength(s) == endLength ? endLength : 0, 0, 0};
  }
  const int32_t value = shortcutValue(s);
  if (shortcutSkip(s) != kSkipNone) {
    const HuffShortcut alone = withoutEnd(s, endLength);
    const uint32_t size = bitLength(value);
    return {shortcutLength(alone) - size, size, shortcutSkip(alone)};
  }
  const uint32_t size = asUnsigned(value) & 15;
  return {size != 0 ? shortcutLength(s) : 0, size, (asUnsigned(value) >> 4) + 1};
}

HuffSkip makeSkip(const JpgHuffLookup &lookup, uint32_t bits) {
  uint32_t skip = 0, used = 0;
  while (used < kSkipBits) {
    const uint32_t left = bits << used & ((1U << kSkipBits) - 1);
    const HuffShortcut s = lookup.shortcut[left >> (kSkipBits - kShortcutBits)];
    const AcSymbol symbol = symbolOf(s, lookup.endLength);
    if (symbol.code == 0 || used + symbol.code > kSkipBits) break;
    if (skip + symbol.skip > kMostSkipped) break;
    skip += symbol.skip;
    used += symbol.code + symbol.size;
    if (symbol.skip != 0) continue;
    skip += kSkipEnd;
    break;
  }
  JPG_ASSERT(used <= kLongestSkip);
  return static_cast<HuffSkip>((used != 0 ? skip : kSkipNone) << 8 | used);
}

// ---- Entries ----------------------------------------------------------------

// Codes ascend without gaps, so that those that there are cover the beginning.
void fillEntries(const JpgHuffTable &table, uint8_t *entry) {
  size_t covered = 0;
  for (uint32_t i = 0; i < table.count; i++) {
    const size_t span = size_t{1} << (table.maxLength - table.codes[i].length);
    memset(entry + covered, static_cast<int>(i), span);
    covered += span;
  }
  JPG_ASSERT(covered <= size_t{1} << table.maxLength);
  memset(entry + covered, kNoCode, (size_t{1} << table.maxLength) - covered);
}

}  // namespace

uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use) {
  if (table->codes == nullptr || table->lookup != nullptr) return JPG_OK;
  const bool skips = kHaveSkips && use == HuffUse::kAc;
  const size_t skipBytes = skips ? sizeof(HuffSkip) << kSkipBits : 0;
  const size_t entries = size_t{1} << table->maxLength;
  auto *block = static_cast<uint8_t *>(heapAlloc(sizeof(JpgHuffLookup) + skipBytes + entries));
  if (block == nullptr) return JPG_E_OUT_OF_MEMORY;
  void *at = block;
  auto *lookup = static_cast<JpgHuffLookup *>(at);
  void *behind = block + sizeof(JpgHuffLookup);
  uint8_t *entry = block + sizeof(JpgHuffLookup) + skipBytes;
  lookup->skip = skips ? static_cast<HuffSkip *>(behind) : nullptr;
  lookup->skipsMade = 0;
  lookup->entry = entry;
  fillEntries(*table, entry);
  makeShortcuts(*table, use, lookup);
  table->lookup = lookup;
  return JPG_OK;
}

void makeSkips(JpgHuffLookup *lookup) {
  if (lookup->skip == nullptr || lookup->skipsMade != 0) return;
  for (uint32_t bits = 0; bits < 1U << kSkipBits; bits++) {
    lookup->skip[bits] = makeSkip(*lookup, bits);
  }
  lookup->skipsMade = 1;
}

}  // namespace jpg
