// SPDX-License-Identifier: MIT
// Huffman tables made for the symbols that occur: the shortest code with at most 16 bits a symbol
// and none of 1-bits alone (T.81 Annex K.2 has the purpose, and another procedure).
#ifndef JPG_WRITE_WOPTIMAL_H
#define JPG_WRITE_WOPTIMAL_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kSymbols = 256;

// How often each symbol occurs. As wide as the memory that the symbols come from.
struct SymbolCounts {
  size_t of[kSymbols];
};

// A table as DHT carries it.
struct OptimalTable {
  uint8_t counts[kMaxCodeLength];
  uint8_t values[kSymbols];
  uint32_t symbols;
};

// Room for making a table: on the heap, since frames are small.
struct OptimalWork {
  // An item is a symbol, or a package of two items of the level before. Lists ascend by weight.
  static constexpr uint32_t kMaxItems = 2 * (kSymbols + 1);
  uint64_t weight[2][kMaxItems];
  uint8_t isSymbol[kMaxCodeLength][kMaxItems];
  uint16_t order[kSymbols + 1];  // symbols that occur, by weight; the first one stands for all ones
  uint8_t length[kSymbols + 1];  // of the codes, in the same order
};

// Makes the table of `counts`. Equal counts are ordered by symbol, so that the table is the same on
// every target. A single symbol has the code 0; without symbols the table is empty.
void makeOptimalTable(const SymbolCounts &counts, OptimalWork *work, OptimalTable *table);

// Bits of the codes of all symbols counted.
uint64_t bitsByTable(const SymbolCounts &counts, const OptimalTable &table);

// Bytes of a DHT segment with the table.
uint32_t segmentBytes(const OptimalTable &table);

// The table's codes by symbol, kSymbols entries (T.81 Annex C); others have the length 0.
void listCodes(const OptimalTable &table, JpgHuffCode *codes);

}  // namespace jpg

#endif
