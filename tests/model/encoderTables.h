// SPDX-License-Identifier: MIT
// The encoder models' tables: T.81 Annex K, the zig-zag walk, steps and code words.
#ifndef JPG_TESTS_MODEL_ENCODERTABLES_H
#define JPG_TESTS_MODEL_ENCODERTABLES_H

#include <array>
#include <map>
#include <string>
#include <vector>

namespace jpgtest {

struct ZigZagPlace {
  int row, column;
};

// The zig-zag walk: along the diagonals, turning at the edges.
std::vector<ZigZagPlace> zigZag();

// The quantisation step of a place: table K.1 (0) or K.2 (1), scaled by the quality, 1 to 255.
int quantStep(int quality, int table, const ZigZagPlace &place);

// BITS and HUFFVAL of a table of Annex K.3; identifier 0 luminance, 1 chrominance.
struct AnnexKTable {
  std::array<int, 16> counts;
  std::vector<int> symbols;
};
const AnnexKTable &annexK(bool ac, int id);

// Code words by symbol, as text of bits (T.81 Annex C).
std::map<int, std::string> codeWords(const AnnexKTable &from);

// The category of a value and its additional bits, as text.
std::string additionalBits(int value, int *category);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_ENCODERTABLES_H
