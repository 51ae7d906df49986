// SPDX-License-Identifier: MIT
// Huffman tables of all kinds that a DHT segment may define, at random.
#ifndef JPG_TESTS_READ_RANDOMTABLE_H
#define JPG_TESTS_READ_RANDOMTABLE_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "share/jpgAnnexK.h"
#include "share/jpgHuffFast.h"
#include "support/random.h"

namespace jpgtest {

class RandomTable {
 public:
  enum Symbols { kAny, kFewBits, kCategories, kZeros, kOneValue, kRefinement, kSymbolKinds };

  RandomTable(Random *r, jpg::HuffUse use) {
    if (r->below(6) == 0) {
      useStandard();
    } else {
      makeCounts(r);
      makeValues(r);
    }
    jpg::makeHuffCodes({counts_.data(), values_.data()}, &table_);
    jpg::makeHuffLookup(&table_, use);
  }
  ~RandomTable() { jpg::freeHuffTable(&table_); }
  RandomTable(const RandomTable &) = delete;
  RandomTable &operator=(const RandomTable &) = delete;

  const JpgHuffTable &get() const { return table_; }
  const std::array<uint8_t, 16> &counts() const { return counts_; }
  const std::vector<uint8_t> &values() const { return values_; }

 private:
  // T.81 Table K.5.
  void useStandard() {
    std::copy(jpg::kAcLuminanceCounts, jpg::kAcLuminanceCounts + 16, counts_.begin());
    values_.assign(jpg::kAcLuminanceValues,
                   jpg::kAcLuminanceValues + sizeof(jpg::kAcLuminanceValues));
  }

  // Codes of each length take some, none or all of the room that the shorter ones leave; at
  // times a table without a code is left, at times one of 256.
  void makeCounts(Random *r) {
    const uint32_t longest = 1 + r->below(16), eagerness = 1 + r->below(4);
    uint32_t room = 1, sum = 0;
    for (uint32_t length = 1; length <= longest; length++) {
      room *= 2;
      const uint32_t most = std::min({room, 256 - sum, 255U});
      uint32_t n = r->below(eagerness) == 0 ? r->below(most + 1) : std::min(r->below(4), most);
      if (length == longest && r->below(2) == 0) n = most;
      counts_[length - 1] = static_cast<uint8_t>(n);
      room -= n;
      sum += n;
    }
    values_.resize(sum);
  }

  void makeValues(Random *r) {
    const uint32_t kind = r->below(kSymbolKinds), one = r->below(256);
    for (uint8_t &v : values_) {
      const uint32_t any = r->below(256);
      uint32_t value = any;
      if (kind == kFewBits) value = (any & 0x30) | any % 5;
      if (kind == kCategories) value = any % 17;
      if (kind == kZeros) value = any % 3 == 0 ? 0 : any & 0xF3;
      if (kind == kOneValue) value = any % 8 == 0 ? 0 : one;
      if (kind == kRefinement) value = any % 16 == 0 ? any : any & 0xF1;
      v = static_cast<uint8_t>(value);
    }
    // Most tables have an end of the block.
    const auto count = static_cast<uint32_t>(values_.size());
    if (count != 0 && r->below(4) != 0) values_[r->below(count)] = 0;
  }

  std::array<uint8_t, 16> counts_ = {};
  std::vector<uint8_t> values_;
  JpgHuffTable table_ = {};
};

}  // namespace jpgtest

#endif
