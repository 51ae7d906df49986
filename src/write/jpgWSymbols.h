// SPDX-License-Identifier: MIT
// Where the symbols of a held picture's scans go: first they are counted, then, once the tables are
// made from the counts, written. Both have the same operations, so that the coding of blocks
// (jpgWBand.h) is written once.
#ifndef JPG_WRITE_WSYMBOLS_H
#define JPG_WRITE_WSYMBOLS_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgShare.h"
#include "write/jpgWBits.h"
#include "write/jpgWOptimal.h"

namespace jpg {

// Counts symbols by table, and the bits that stand beside them.
struct SymbolCounter {
  SymbolCounts *tables;
  uint64_t bits;

  void put(uint32_t table, uint32_t symbol, uint32_t /*value*/, uint32_t length) {
    tables[table].of[symbol]++;
    bits += length;
  }
  void putBits(uint32_t /*value*/, uint32_t length) { bits += length; }
  Result endMcu() { return JPG_OK; }
  Result restart() { return JPG_OK; }
};

// Bytes that a writer gathers before it passes them on, and room for what an MCU may add: its
// blocks of at most kMaxRunBytes, and the correction bits of a run of blocks.
constexpr uint32_t kGatheredBytes = 4096;
constexpr uint32_t kGatherRoom = kGatheredBytes + 20 * kMaxRunBytes;

// Writes symbols by the codes of the tables, kSymbols codes each.
struct SymbolWriter {
  JpgContext *c;
  const JpgHuffCode *codes;
  BitRun run;

  // Appends a symbol's code and the low `length` bits of value, at most 16.
  void put(uint32_t table, uint32_t symbol, uint32_t value, uint32_t length) {
    const JpgHuffCode &code = codes[table * kSymbols + symbol];
    putRunBits(&run, code.code << length | value, code.length + length);
  }
  // Appends at most 32 bits.
  void putBits(uint32_t value, uint32_t length) { putRunBits(&run, value, length); }
  // Passes the bytes on where there are enough.
  Result endMcu();
  // Writes the next RSTn.
  Result restart();
};

// A writer that gathers in `room`, kGatherRoom bytes; finishSymbols() passes on what is left, but
// for bits that don't fill a byte, which the next marker pads.
SymbolWriter beginSymbols(JpgContext *c, const JpgHuffCode *codes, uint8_t *room);
Result finishSymbols(SymbolWriter *writer);

}  // namespace jpg

#endif
