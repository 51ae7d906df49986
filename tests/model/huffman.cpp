// SPDX-License-Identifier: MIT
#include "model/huffman.h"

#include <jpg.h>

namespace jpgtest {
namespace {

// The zig-zag sequence, walked rather than listed: up and down the diagonals of the block.
std::array<unsigned, 64> walkZigzag() {
  std::array<unsigned, 64> natural;
  unsigned row = 0;
  unsigned column = 0;
  for (unsigned k = 0; k < 64; ++k) {
    natural[k] = row * 8 + column;
    const bool up = (row + column) % 2 == 0;
    if (up && column == 7) {
      ++row;
    } else if (up && row == 0) {
      ++column;
    } else if (!up && row == 7) {
      ++column;
    } else if (!up && column == 0) {
      ++row;
    } else {
      row += up ? -1U : 1U;
      column += up ? 1U : -1U;
    }
  }
  return natural;
}

unsigned zigzag(unsigned k) {
  static const std::array<unsigned, 64> natural = walkZigzag();
  return natural[k];
}

// RECEIVE and EXTEND (T.81 F.2.2.1, figures F.12 and F.17).
int32_t receive(ModelBits &bits, unsigned size) {
  if (size == 0) return 0;
  const int32_t value = static_cast<int32_t>(bits.bits(size));
  return value < 1 << (size - 1) ? value - (1 << size) + 1 : value;
}

int16_t store(uint32_t value, uint32_t quant) {
  return static_cast<int16_t>(static_cast<uint16_t>(value * quant));
}

uint32_t decodeAc(ModelBits &bits, const ModelTable &table, const std::array<uint32_t, 64> &quant,
                  ModelBlock &block) {
  for (uint64_t k = 0;;) {
    const int symbol = table.decode(bits);
    if (symbol < 0) return JPG_E_BAD_AC_CODE;
    const unsigned run = static_cast<unsigned>(symbol) >> 4;
    const unsigned size = static_cast<unsigned>(symbol) & 15U;
    if (symbol == 0) return JPG_OK;
    if (size == 0) {
      k += 16;
      // Ones for ever may be a code for a run, which would have no end.
      if (k >= 64 && bits.ended()) return JPG_E_COEF_OVERFLOW;
      continue;
    }
    k += run + 1;
    if (k >= 64) return JPG_E_COEF_OVERFLOW;
    const unsigned place = static_cast<unsigned>(k);
    block[zigzag(place)] = store(static_cast<uint32_t>(receive(bits, size)), quant[place]);
    if (k == 63) return JPG_OK;
  }
}

}  // namespace

bool ModelTable::define(const std::array<uint8_t, 16> &counts, const std::vector<uint8_t> &values) {
  counts_ = counts;
  values_ = values;
  uint32_t code = 0;
  uint32_t index = 0;
  for (unsigned i = 0; i < 16; ++i) {
    firstCode_[i] = code;
    firstIndex_[i] = index;
    code += counts[i];
    index += counts[i];
    if (code > 2U << i) return false;
    code *= 2;
  }
  return index <= 256;
}

int ModelTable::decode(ModelBits &bits) const {
  unsigned longest = 16;
  while (longest > 0 && counts_[longest - 1] == 0) --longest;
  if (longest > 0) bits.peekBit(longest - 1);  // the longest code is always asked for
  uint32_t code = 0;
  for (unsigned i = 0; i < longest; ++i) {
    code = code * 2 + bits.peekBit(i);
    if (code < firstCode_[i] || code - firstCode_[i] >= counts_[i]) continue;
    const uint32_t index = firstIndex_[i] + code - firstCode_[i];
    if (index == 255) return -1;
    bits.drop(i + 1);
    return values_[index];
  }
  return -1;
}

uint32_t decodeModelBlock(ModelBits &bits, const ModelTable &dc, const ModelTable &ac,
                          const std::array<uint32_t, 64> &quant, uint32_t &prediction,
                          ModelBlock &block) {
  block.fill(0);
  const int category = dc.decode(bits);
  if (category < 0 || category > 15) return JPG_E_BAD_DC_CODE;
  prediction += static_cast<uint32_t>(receive(bits, static_cast<unsigned>(category)));
  block[0] = store(prediction, quant[0]);
  return decodeAc(bits, ac, quant, block);
}

}  // namespace jpgtest
