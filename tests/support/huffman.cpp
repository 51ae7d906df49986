// SPDX-License-Identifier: MIT
#include "support/huffman.h"

#include <cstddef>

namespace jpgtest {

std::array<HuffCode, 256> codesOf(const HuffTable &table) {
  std::array<HuffCode, 256> codes{};
  uint32_t code = 0;
  size_t next = 0;
  for (unsigned length = 1; length <= 16; ++length) {
    for (unsigned i = 0; i < table.counts[length - 1] && next < table.values.size(); ++i) {
      HuffCode &slot = codes[table.values[next++]];
      if (slot.length == 0) slot = {code, length};
      ++code;
    }
    code <<= 1;
  }
  return codes;
}

HuffTable annexKLumaDc() {
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

HuffTable annexKChromaDc() {
  return {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

HuffTable annexKLumaAc() {
  return {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D},
          {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61,
           0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52,
           0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25,
           0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x43, 0x44, 0x45,
           0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x63, 0x64,
           0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
           0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
           0x9A, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6,
           0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3,
           0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8,
           0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA}};
}

HuffTable annexKChromaAc() {
  return {{0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
          {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61,
           0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xA1, 0xB1, 0xC1, 0x09, 0x23, 0x33,
           0x52, 0xF0, 0x15, 0x62, 0x72, 0xD1, 0x0A, 0x16, 0x24, 0x34, 0xE1, 0x25, 0xF1, 0x17, 0x18,
           0x19, 0x1A, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x43, 0x44,
           0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x63,
           0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A,
           0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97,
           0x98, 0x99, 0x9A, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4,
           0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA,
           0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7,
           0xE8, 0xE9, 0xEA, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA}};
}

HuffTable evenTable(const std::vector<uint8_t> &values, unsigned length) {
  HuffTable table;
  table.counts[length - 1] = static_cast<uint8_t>(values.size());
  table.values = values;
  return table;
}

HuffTable longTailTable(const std::vector<uint8_t> &values) {
  HuffTable table;
  table.values = values;
  for (size_t i = 0; i < values.size(); ++i) ++table.counts[i < 8 ? i : 15];
  return table;
}

namespace {

// The two symbols with the least weights above 0, later ones first where weights are equal.
struct Least {
  size_t first = kNone;
  size_t second = kNone;
  static constexpr size_t kNone = 257;
};

Least leastOf(const std::array<uint64_t, 257> &weight) {
  Least least;
  for (size_t i = 0; i < 257; ++i) {
    if (weight[i] == 0) continue;
    if (least.first == Least::kNone || weight[i] <= weight[least.first]) {
      least.second = least.first;
      least.first = i;
    } else if (least.second == Least::kNone || weight[i] <= weight[least.second]) {
      least.second = i;
    }
  }
  return least;
}

// Code size of every symbol by T.81 figure K.1. Symbol 256 is the reserved one that keeps the
// code of all ones free.
std::array<unsigned, 257> codeSizes(std::array<uint64_t, 257> weight) {
  std::array<unsigned, 257> size{};
  std::array<size_t, 257> others;
  others.fill(Least::kNone);
  for (;;) {
    const Least least = leastOf(weight);
    if (least.second == Least::kNone) return size;
    weight[least.first] += weight[least.second];
    weight[least.second] = 0;
    size_t tail = least.first;
    for (; others[tail] != Least::kNone; tail = others[tail]) ++size[tail];
    ++size[tail];
    others[tail] = least.second;
    for (size_t i = least.second; i != Least::kNone; i = others[i]) ++size[i];
  }
}

// T.81 figure K.3: no code longer than 16 bits.
void limitLengths(std::array<unsigned, 258> &bits) {
  for (unsigned i = 257; i > 16; --i) {
    while (bits[i] > 0) {
      unsigned j = i - 2;
      while (bits[j] == 0) --j;
      bits[i] -= 2;
      ++bits[i - 1];
      bits[j + 1] += 2;
      --bits[j];
    }
  }
}

}  // namespace

HuffTable optimalTable(const std::array<uint32_t, 256> &occurrences) {
  std::array<uint64_t, 257> weight{};
  for (unsigned i = 0; i < 256; ++i) weight[i] = occurrences[i];
  weight[256] = 1;
  const std::array<unsigned, 257> size = codeSizes(weight);
  std::array<unsigned, 258> bits{};
  for (const unsigned s : size) {
    if (s > 0) ++bits[s];
  }
  limitLengths(bits);
  unsigned longest = 16;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest > 0) --bits[longest];  // the reserved code
  HuffTable table;
  for (unsigned length = 1; length <= 16; ++length) {
    table.counts[length - 1] = static_cast<uint8_t>(bits[length]);
  }
  for (unsigned s = 1; s <= 256; ++s) {
    for (unsigned i = 0; i < 256; ++i) {
      if (size[i] == s) table.values.push_back(static_cast<uint8_t>(i));
    }
  }
  return table;
}

std::vector<uint8_t> fullAcSymbols() {
  std::vector<uint8_t> symbols = {0x00, 0xF0};
  for (unsigned run = 0; run < 16; ++run) {
    for (unsigned size = 1; size < 16; ++size) {
      symbols.push_back(static_cast<uint8_t>(run << 4 | size));
    }
  }
  return symbols;
}

HuffTable fullDc() {
  std::vector<uint8_t> categories;
  for (uint8_t i = 0; i < 16; ++i) categories.push_back(i);
  return evenTable(categories, 5);
}

HuffTable fullAc() { return evenTable(fullAcSymbols(), 8); }

}  // namespace jpgtest
