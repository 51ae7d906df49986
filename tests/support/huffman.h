// SPDX-License-Identifier: MIT
// Huffman tables for tests: descriptions as they stand in a DHT segment, and their codes.
//
// A table is made here, written into a stream by StreamBuilder and used by EntropyWriter.
#ifndef JPG_TESTS_SUPPORT_HUFFMAN_H
#define JPG_TESTS_SUPPORT_HUFFMAN_H

#include <array>
#include <cstdint>
#include <vector>

namespace jpgtest {

// BITS and HUFFVAL of T.81 B.2.4.2.
struct HuffTable {
  std::array<uint8_t, 16> counts{};  // counts[i]: codes of i + 1 bits
  std::vector<uint8_t> values;       // symbols in order of their codes
};

struct HuffCode {
  uint32_t bits = 0;    // right-aligned
  unsigned length = 0;  // 1 to 16; 0: the symbol has no code
};

// The code of every symbol (T.81 Annex C). A symbol that stands twice has its first code.
std::array<HuffCode, 256> codesOf(const HuffTable &table);

// The typical tables of T.81 Annex K.3.
HuffTable annexKLumaDc();
HuffTable annexKLumaAc();
HuffTable annexKChromaDc();
HuffTable annexKChromaAc();

// All symbols with codes of the one length.
HuffTable evenTable(const std::vector<uint8_t> &values, unsigned length);
// One code of each length from 1 to 8 for the first eight symbols, 16 bits for the others.
HuffTable longTailTable(const std::vector<uint8_t> &values);
// The optimal table for how often each symbol occurs (T.81 K.2); no code is all ones.
HuffTable optimalTable(const std::array<uint32_t, 256> &occurrences);

// Every difference category, 0 to 15, and every run and size with the end of block and the
// run of sixteen: for coefficients of any size.
HuffTable fullDc();
HuffTable fullAc();
std::vector<uint8_t> fullAcSymbols();

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_HUFFMAN_H
