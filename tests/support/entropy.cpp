// SPDX-License-Identifier: MIT
#include "support/entropy.h"

#include <cassert>
#include <utility>

namespace jpgtest {

const std::array<uint8_t, 64> kZigzag = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

unsigned categoryOf(int32_t value) {
  uint32_t magnitude = static_cast<uint32_t>(value < 0 ? -static_cast<int64_t>(value) : value);
  unsigned category = 0;
  for (; magnitude != 0; magnitude >>= 1) ++category;
  return category;
}

void EntropyWriter::bits(uint32_t value, unsigned count) {
  for (unsigned i = count; i-- > 0;) {
    pending_ = pending_ << 1 | (value >> i & 1U);
    if (++count_ < 8) continue;
    bytes_.push_back(static_cast<uint8_t>(pending_));
    if (bytes_.back() == 0xFF) bytes_.push_back(0);
    pending_ = 0;
    count_ = 0;
  }
}

void EntropyWriter::symbol(const std::array<HuffCode, 256> &codes, uint8_t symbol) {
  assert(codes[symbol].length != 0);
  bits(codes[symbol].bits, codes[symbol].length);
}

void EntropyWriter::additional(int32_t value, unsigned category) {
  const int32_t coded = value < 0 ? value - 1 : value;
  bits(static_cast<uint32_t>(coded), category);
}

void EntropyWriter::dc(int32_t difference, const std::array<HuffCode, 256> &codes) {
  const unsigned category = categoryOf(difference);
  symbol(codes, static_cast<uint8_t>(category));
  additional(difference, category);
}

void EntropyWriter::ac(const Block &block, const std::array<HuffCode, 256> &codes) {
  unsigned run = 0;
  for (unsigned k = 1; k < 64; ++k) {
    const int32_t value = block[kZigzag[k]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) symbol(codes, 0xF0);
    const unsigned category = categoryOf(value);
    symbol(codes, static_cast<uint8_t>(run << 4 | category));
    additional(value, category);
    run = 0;
  }
  if (run > 0) symbol(codes, 0x00);
}

void EntropyWriter::pad() {
  while (count_ != 0) bits(1, 1);
}

void EntropyWriter::rawByte(uint8_t byte) {
  assert(count_ == 0);
  bytes_.push_back(byte);
}

Bytes EntropyWriter::take() {
  pad();
  return std::exchange(bytes_, {});
}

}  // namespace jpgtest
