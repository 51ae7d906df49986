#include "share/jpgHuff.h"

#include <string.h>

#include "jpg.h"
#include "share/jpgArith.h"
#include "share/jpgHeap.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// True when every length has room for its codes behind those of the shorter ones.
bool codesFit(const uint8_t *counts) {
  uint32_t code = 0;  // first code of the current length
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    code += counts[length - 1];
    if (code > uint32_t{1} << length) return false;
    code <<= 1;
  }
  return true;
}

// Lengths in ascending order, a final 0 (T.81 Figure C.1); returns the longest.
uint32_t listLengths(const uint8_t *counts, JpgHuffCode *codes) {
  uint32_t maxLength = 0;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    for (uint32_t i = 0; i < counts[length - 1]; i++) {
      (codes++)->length = static_cast<uint16_t>(length);
      maxLength = length;
    }
  }
  codes->length = 0;
  return maxLength;
}

// Codes and symbols in order (T.81 Figure C.2).
void assignCodes(const uint8_t *values, JpgHuffCode *codes) {
  uint32_t code = 0;
  uint32_t size = codes->length;
  while (codes->length != 0) {
    for (; codes->length == size; codes++) {
      codes->code = code++;
      codes->value = *values++;
    }
    code <<= 1;
    size++;
  }
}

// The words that begin with a code of `length` bits.
void fillShortcuts(const JpgHuffCode &code, HuffShortcut *shortcuts, HuffShortcut word) {
  const uint32_t free = kShortcutBits - code.length;
  HuffShortcut *at = shortcuts + (code.code << free);
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

void makeShortcuts(const JpgHuffTable &table, HuffUse use, HuffShortcut *shortcuts) {
  const JpgHuffCode *end = nullptr;
  for (uint32_t i = 0; i < uint32_t{1} << kShortcutBits; i++) shortcuts[i] = kSkipNone << 8;
  // The code that the lookup array can't tell from none has no shortcut either.
  for (uint32_t i = 0; i < table.count && i < kNoCode; i++) {
    if (table.codes[i].length > kShortcutBits) break;
    addShortcuts(table.codes[i], use, shortcuts);
    if (table.codes[i].value == 0) end = &table.codes[i];
  }
  shortcuts[1U << kShortcutBits] = end != nullptr ? end->length : 0;
  if (kShortcutsTakeEnds && end != nullptr && use == HuffUse::kAc) addEnds(*end, shortcuts);
}

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

HuffSkip makeSkip(const HuffShortcut *shortcuts, uint32_t bits) {
  const uint32_t endLength = endLengthOf(shortcuts);
  uint32_t skip = 0, used = 0;
  while (used < kSkipBits) {
    const uint32_t left = bits << used & ((1U << kSkipBits) - 1);
    const AcSymbol symbol = symbolOf(shortcuts[left >> (kSkipBits - kShortcutBits)], endLength);
    if (symbol.code == 0 || used + symbol.code > kSkipBits) break;
    if (skip + symbol.skip > kMostSkipped) break;
    skip += symbol.skip;
    used += symbol.code + symbol.size;
    if (symbol.skip != 0) continue;
    skip += kSkipEnd;
    break;
  }
  return static_cast<HuffSkip>((used != 0 ? skip : kSkipNone) << 8 | used);
}

}  // namespace

uint32_t countCodes(const uint8_t *counts) {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < kMaxCodeLength; i++) sum += counts[i];
  return sum;
}

uint32_t makeHuffCodes(const HuffSource &source, JpgHuffTable *table) {
  const uint32_t count = countCodes(source.counts);
  if (count > kMaxCodes || !codesFit(source.counts)) return JPG_E_UNSUPPORTED;
  auto *codes = static_cast<JpgHuffCode *>(heapAlloc((count + 1) * sizeof(JpgHuffCode)));
  if (codes == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(codes, 0, (count + 1) * sizeof(JpgHuffCode));
  table->maxLength = listLengths(source.counts, codes);
  assignCodes(source.values, codes);
  table->codes = codes;
  table->lookup = nullptr;
  table->count = count;
  return JPG_OK;
}

uint32_t makeHuffLookup(JpgHuffTable *table, HuffUse use) {
  if (table->codes == nullptr || table->lookup != nullptr) return JPG_OK;
  const size_t entries = size_t{1} << table->maxLength;
  const size_t head = entries < sizeof(HuffShortcut) ? sizeof(HuffShortcut) : entries;
  const size_t tail = ((size_t{1} << kShortcutBits) + 1) * sizeof(HuffShortcut);
  const bool skips = kHaveSkips && use == HuffUse::kAc;
  const size_t skipTail = skips ? ((size_t{1} << kSkipBits) + 1) * sizeof(HuffSkip) : 0;
  auto *lookup = static_cast<uint8_t *>(heapAlloc(head + tail + skipTail));
  if (lookup == nullptr) return JPG_E_OUT_OF_MEMORY;
  // Codes ascend without gaps, so that those that there are cover the beginning.
  size_t covered = 0;
  for (uint32_t i = 0; i < table->count; i++) {
    const size_t span = size_t{1} << (table->maxLength - table->codes[i].length);
    memset(lookup + covered, static_cast<int>(i), span);
    covered += span;
  }
  memset(lookup + covered, kNoCode, entries - covered);
  void *shortcuts = lookup + head;
  makeShortcuts(*table, use, static_cast<HuffShortcut *>(shortcuts));
  // The last one tells whether they have been made.
  if (skips) memset(lookup + head + tail + skipTail - sizeof(HuffSkip), 0, sizeof(HuffSkip));
  table->lookup = lookup;
  return JPG_OK;
}

void makeSkips(uint8_t *lookup, uint32_t maxLength) {
  if (!kHaveSkips || skipsOf(lookup, maxLength) != nullptr) return;
  const HuffShortcut *shortcuts = shortcutsOf(lookup, maxLength);
  const size_t entries = size_t{1} << kSkipBits;
  void *behind =
      lookup + (reinterpret_cast<const uint8_t *>(shortcuts + (1U << kShortcutBits) + 1) - lookup);
  auto *skips = static_cast<HuffSkip *>(behind);
  for (uint32_t bits = 0; bits < entries; bits++) skips[bits] = makeSkip(shortcuts, bits);
  skips[entries] = 1;
}

uint32_t freeHuffTable(JpgHuffTable *table) {
  uint32_t r = JPG_OK;
  if (table->codes != nullptr) r = heapFree(table->codes);
  if (table->lookup != nullptr) r = heapFree(table->lookup);
  table->codes = nullptr;
  table->lookup = nullptr;
  return r;
}

}  // namespace jpg
