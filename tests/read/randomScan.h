// SPDX-License-Identifier: MIT
// Scan components with tables of all kinds, and entropy-coded data for them.
#ifndef JPG_TESTS_READ_RANDOMSCAN_H
#define JPG_TESTS_READ_RANDOMSCAN_H

#include <algorithm>
#include <array>
#include <vector>

#include "read/randomTable.h"
#include "share/jpgShare.h"
#include "support/random.h"

namespace jpgtest {

// A scan component with tables and quantisation steps, for both.
class RandomComponent {
 public:
  explicit RandomComponent(Random *r)
      : dc_(r, jpg::HuffUse::kDc), ac_(r, jpg::HuffUse::kAc), quant_() {
    const uint32_t steps = 1U << r->below(17);
    for (uint32_t &q : quant_) q = r->below(steps);
    component_.quantTable = quant_.data();
    if (r->below(64) != 0) {
      component_.dcLookup = dc_.get().lookup;
      component_.dcCodes = dc_.get().codes;
      component_.dcMaxLength = dc_.get().maxLength;
    }
    if (r->below(64) != 0) {
      component_.acLookup = ac_.get().lookup;
      component_.acCodes = ac_.get().codes;
      component_.acMaxLength = ac_.get().maxLength;
    }
    component_.dcPredictor = r->between(-3000, 3000);
  }
  const JpgScanComponent &get() const { return component_; }
  const JpgHuffTable &dc() const { return dc_.get(); }
  const JpgHuffTable &ac() const { return ac_.get(); }

 private:
  RandomTable dc_, ac_;
  std::array<uint32_t, 64> quant_;
  JpgScanComponent component_ = {};
};

// Bits as bytes, FF with a stuffed zero.
class BitSink {
 public:
  void put(uint32_t value, uint32_t length) {
    for (uint32_t i = length; i-- > 0;) {
      byte_ = byte_ << 1 | (value >> i & 1);
      if (++count_ % 8 != 0) continue;
      bytes_.push_back(static_cast<uint8_t>(byte_));
      if ((byte_ & 0xFF) == 0xFF) bytes_.push_back(0);
    }
  }
  const std::vector<uint8_t> &bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  uint32_t byte_ = 0, count_ = 0;
};

// A code at random, of a symbol up to `mostSymbol` if there are many, with random additional
// bits; its symbol. 0 without a code.
inline uint32_t putAnyCode(Random *r, const JpgHuffTable &table, uint32_t mostSymbol,
                           uint32_t mostBits, BitSink *sink) {
  if (table.count == 0) return 0;
  const JpgHuffCode *code = nullptr;
  for (uint32_t i = 0; i < 16 && (code == nullptr || code->value > mostSymbol); i++) {
    code = &table.codes[r->below(table.count)];
  }
  const uint32_t bits = std::min(code->value & 15U, mostBits);
  sink->put(code->code, code->length);
  sink->put(r->below(1U << bits), bits);
  return code->value;
}

// A block of a sequential scan, mostly one that has no more than 64 coefficients.
inline void putBlock(Random *r, const RandomComponent &component, BitSink *sink) {
  putAnyCode(r, component.dc(), 15, 15, sink);
  const JpgHuffCode *end = component.ac().codes;
  for (; end != nullptr && end->length != 0 && end->value != 0; end++) {
  }
  const uint32_t most = r->below(16) == 0 ? 90 : 1 + r->below(40);
  for (uint32_t k = 0; k < most;) {
    const uint32_t symbol = putAnyCode(r, component.ac(), 255, 15, sink);
    if (symbol == 0) return;
    k += (symbol >> 4) + 1;
  }
  if (end != nullptr) sink->put(end->code, end->length);
}

enum class Coding { kBlocks, kDcCodes, kAcCodes, kRefinements };

// Codes of a scan of this kind.
inline std::vector<uint8_t> encodedData(Random *r, const RandomComponent &component,
                                        Coding coding) {
  BitSink sink;
  const uint32_t size = r->below(8) == 0 ? 3000 + r->below(6000) : 1 + r->below(300);
  for (uint32_t i = 0; sink.bytes().size() < size && i < 8 * size; i++) {
    if (coding == Coding::kBlocks) putBlock(r, component, &sink);
    if (coding == Coding::kDcCodes) putAnyCode(r, component.dc(), 15, 15, &sink);
    if (coding == Coding::kAcCodes) putAnyCode(r, component.ac(), 255, 15, &sink);
    if (coding == Coding::kRefinements) {
      putAnyCode(r, component.ac(), 255, 1, &sink);
      sink.put(r->below(16), r->below(5));
    }
  }
  return sink.bytes();
}

// Random bytes with stuffed zeros.
inline std::vector<uint8_t> randomBytes(Random *r) {
  std::vector<uint8_t> data;
  const uint32_t size = r->below(8) == 0 ? 3000 + r->below(6000) : r->below(300);
  const uint32_t ffs = r->below(3) == 0 ? 0 : 1 + r->below(200);  // of 256
  const uint32_t bias = r->below(4);                              // to zeros, to ones, to neither
  while (data.size() < size) {
    uint32_t byte = r->below(255);
    if (bias == 0) byte &= r->below(256);
    if (bias == 1) byte = (byte | r->below(256)) & 0xFE;
    const bool ff = r->below(256) < ffs;
    data.push_back(static_cast<uint8_t>(ff ? 0xFF : byte));
    if (ff) data.push_back(0);
  }
  return data;
}

// Data for a scan, mostly such that it can be decoded, with markers at times and an end anywhere.
inline std::vector<uint8_t> randomData(Random *r, const RandomComponent &component, Coding coding) {
  std::vector<uint8_t> data = r->below(4) == 0 ? randomBytes(r) : encodedData(r, component, coding);
  const uint32_t markers = r->below(3) != 0 || data.size() < 2 ? 0 : 1 + r->below(6);
  for (uint32_t i = 0; i < markers; i++) {
    const uint32_t at = r->below(static_cast<uint32_t>(data.size()) - 1);
    data[at] = 0xFF;
    if (r->below(2) == 0) data[at + 1] = static_cast<uint8_t>(r->below(256));
  }
  if (r->below(16) == 0) data.push_back(0xFF);
  return data;
}

}  // namespace jpgtest

#endif
