// SPDX-License-Identifier: MIT
// Huffman tables: the list of codes made from a table's counts and values. Shared by the reader
// (tables of the stream, with the look-ups of jpgHuffFast.h) and the writer (its own tables).
#ifndef JPG_SHARE_HUFF_H
#define JPG_SHARE_HUFF_H

#include <stdint.h>

// One code of a table; a list of them ends with an entry of length 0.
struct JpgHuffCode {
  uint32_t code;    // right-aligned
  uint16_t value;   // symbol, 0-255
  uint16_t length;  // bits, 1-16
};

struct JpgHuffLookup;

struct JpgHuffTable {
  JpgHuffCode *codes;     // in order of code; null: never defined
  JpgHuffLookup *lookup;  // for decoding; null until made
  uint32_t count;         // codes in the list
  uint32_t maxLength;     // longest length present, 0-16
  uint32_t spare;
};

namespace jpg {

constexpr uint32_t kMaxCodeLength = 16;
constexpr uint32_t kMaxCodes = 256;

// What a DHT segment says of one table: counts[i] codes of length i + 1, and the
// symbols in order of code.
struct HuffSource {
  const uint8_t *counts;  // 16
  const uint8_t *values;  // as many as the counts' sum
};

// Sum of the 16 counts.
uint32_t countCodes(const uint8_t *counts);

// Makes `table` (whatever it held is not freed) from `source` by the procedure of
// T.81 Annex C; the look-ups stay null. 0, JPG_E_OUT_OF_MEMORY, or
// JPG_E_UNSUPPORTED for more than 256 codes or more than a length has room for.
uint32_t makeHuffCodes(const HuffSource &source, JpgHuffTable *table);

// Frees list and look-ups where non-null. The result of the last heap free.
uint32_t freeHuffTable(JpgHuffTable *table);

}  // namespace jpg

#endif
