// SPDX-License-Identifier: MIT
// Package-merge: with n symbols, 16 lists are made, the first of the symbols alone, each further
// one of the symbols and of packages, which are neighbouring pairs of the list before. A symbol's
// code is as long as the number of times that it is in the first 2n - 2 items of the last list.
#include "write/jpgWOptimal.h"

#include <string.h>

namespace jpg {
namespace {

constexpr uint32_t kLevels = kMaxCodeLength;
constexpr uint32_t kSegmentHead = 2 + 2 + 1 + kMaxCodeLength;  // bytes of DHT ahead of the values

// Lists the symbols that occur behind one of weight 0, which will have the longest code, that of
// all ones. Returns their number, that one included.
uint32_t orderSymbols(const SymbolCounts &counts, uint16_t *order) {
  uint32_t n = 1;
  order[0] = kSymbols;
  for (uint32_t s = 0; s < kSymbols; s++) {
    if (counts.of[s] == 0) continue;
    uint32_t at = n++;
    // Insertion keeps equal counts in descending order of the symbol: the lower one is the shorter.
    for (; at > 1 && counts.of[order[at - 1]] >= counts.of[s]; at--) order[at] = order[at - 1];
    order[at] = static_cast<uint16_t>(s);
  }
  return n;
}

// The items of a level while it is made.
struct Level {
  const uint64_t *before;  // weights of the level before
  uint32_t packages;       // pairs in it
  uint64_t *weight;
  uint8_t *isSymbol;
};

// Merges the symbols, n of them, with the packages; symbols come first among equals, which keeps
// the longest codes short. Returns the number of items.
uint32_t mergeLevel(const SymbolCounts &counts, const uint16_t *order, uint32_t n,
                    const Level &level) {
  uint32_t symbol = 0, package = 0, items = 0;
  while (symbol < n || package < level.packages) {
    const uint64_t own = symbol == 0 ? 0 : symbol < n ? counts.of[order[symbol]] : UINT64_MAX;
    const uint64_t pair = package < level.packages
                              ? level.before[2 * package] + level.before[2 * package + 1]
                              : UINT64_MAX;
    const bool takeSymbol = own <= pair;
    level.weight[items] = takeSymbol ? own : pair;
    level.isSymbol[items++] = takeSymbol ? 1 : 0;
    symbol += takeSymbol ? 1 : 0;
    package += takeSymbol ? 0 : 1;
  }
  return items;
}

// Adds 1 to the length of each symbol for each level that takes it; from the last level back.
void addLengths(uint32_t n, OptimalWork *work) {
  uint32_t items = 2 * n - 2;
  for (uint32_t level = kLevels; level-- > 0 && items != 0;) {
    uint32_t symbols = 0;
    for (uint32_t i = 0; i < items; i++) symbols += work->isSymbol[level][i];
    for (uint32_t i = 0; i < symbols; i++) work->length[i]++;
    items = 2 * (items - symbols);
  }
}

}  // namespace

void makeOptimalTable(const SymbolCounts &counts, OptimalWork *work, OptimalTable *table) {
  memset(table, 0, sizeof(*table));
  const uint32_t n = orderSymbols(counts, work->order);
  uint32_t items = 0;
  for (uint32_t level = 0; level < kLevels; level++) {
    const Level next = {work->weight[(level + 1) % 2], items / 2, work->weight[level % 2],
                        work->isSymbol[level]};
    items = mergeLevel(counts, work->order, n, next);
  }
  memset(work->length, 0, sizeof(work->length));
  addLengths(n, work);
  for (uint32_t i = 1; i < n; i++) table->counts[work->length[i] - 1]++;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    for (uint32_t i = n; i-- > 1;) {
      if (work->length[i] != length) continue;
      table->values[table->symbols++] = static_cast<uint8_t>(work->order[i]);
    }
  }
}

uint64_t bitsByTable(const SymbolCounts &counts, const OptimalTable &table) {
  uint64_t bits = 0;
  const uint8_t *value = table.values;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    for (uint32_t i = 0; i < table.counts[length - 1]; i++) {
      bits += uint64_t{length} * counts.of[*value++];
    }
  }
  return bits;
}

uint32_t segmentBytes(const OptimalTable &table) { return kSegmentHead + table.symbols; }

void listCodes(const OptimalTable &table, JpgHuffCode *codes) {
  memset(codes, 0, kSymbols * sizeof(*codes));
  const uint8_t *value = table.values;
  uint32_t code = 0;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++, code <<= 1) {
    for (uint32_t i = 0; i < table.counts[length - 1]; i++, value++) {
      codes[*value] = {code++, *value, static_cast<uint16_t>(length)};
    }
  }
}

}  // namespace jpg
