// SPDX-License-Identifier: MIT
// Huffman decoding by the procedures of T.81: codes made by Annex C, symbols found by walking
// the code lengths (F.2.2.3), with no table of prefixes.
#ifndef JPG_TESTS_MODEL_HUFFMAN_H
#define JPG_TESTS_MODEL_HUFFMAN_H

#include <array>
#include <cstdint>
#include <vector>

#include "model/bits.h"

namespace jpgtest {

class ModelTable {
 public:
  ModelTable() = default;
  // False when there are more than 256 codes, or more of a length than it has room for.
  bool define(const std::array<uint8_t, 16> &counts, const std::vector<uint8_t> &values);
  // The next symbol, or -1 when no code stands there (nothing is consumed then). The last of
  // 256 codes can't be found: its index is the mark for "no code".
  int decode(ModelBits &bits) const;

 private:
  std::array<uint8_t, 16> counts_{};
  std::array<uint32_t, 16> firstCode_{};   // of each length
  std::array<uint32_t, 16> firstIndex_{};  // of each length, into values_
  std::vector<uint8_t> values_;
};

// A block of a sequential scan: dequantised coefficients in natural order.
using ModelBlock = std::array<int16_t, 64>;

// Decodes a block. `prediction` is the DC predictor, `quant` in coded order.
uint32_t decodeModelBlock(ModelBits &bits, const ModelTable &dc, const ModelTable &ac,
                          const std::array<uint32_t, 64> &quant, uint32_t &prediction,
                          ModelBlock &block);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_HUFFMAN_H
