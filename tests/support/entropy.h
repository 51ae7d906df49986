// SPDX-License-Identifier: MIT
// Entropy-coded data for tests: bits, codes and whole blocks, well-formed or not.
#ifndef JPG_TESTS_SUPPORT_ENTROPY_H
#define JPG_TESTS_SUPPORT_ENTROPY_H

#include <array>
#include <cstdint>

#include "support/bytes.h"
#include "support/huffman.h"

namespace jpgtest {

// Quantised coefficients in natural order: entry 8 v + u is vertical frequency v, horizontal u.
using Block = std::array<int32_t, 64>;

// Natural index of each place in coded order (T.81 figure A.6).
extern const std::array<uint8_t, 64> kZigzag;

// The category of a value (T.81 F.1.2.1): bits of its magnitude, 0 to 16.
unsigned categoryOf(int32_t value);

// Writes bits with byte stuffing. Progressive scans will be coded by further functions beside
// `block`; the bit level is common to both.
class EntropyWriter {
 public:
  // The low `count` bits of `value`, highest first; count 0 to 32.
  void bits(uint32_t value, unsigned count);
  // The code of a symbol. The symbol must have one.
  void symbol(const std::array<HuffCode, 256> &codes, uint8_t symbol);
  // The additional bits of a value of the category (T.81 F.1.2.1).
  void additional(int32_t value, unsigned category);
  // A difference of DC values, and the AC coefficients behind it (T.81 F.1.2).
  void dc(int32_t difference, const std::array<HuffCode, 256> &codes);
  void ac(const Block &block, const std::array<HuffCode, 256> &codes);
  // Fills the byte with ones.
  void pad();
  // A byte as it is, without stuffing. Call pad() first.
  void rawByte(uint8_t byte);
  // Pads and hands over what has been written.
  Bytes take();

 private:
  Bytes bytes_;
  uint32_t pending_ = 0;  // right-aligned
  unsigned count_ = 0;    // bits in pending_, 0 to 7
};

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_ENTROPY_H
