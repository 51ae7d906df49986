// SPDX-License-Identifier: MIT
// Constant tables of the coding process, built by rule at compile time.
#ifndef JPG_SHARE_TABLES_H
#define JPG_SHARE_TABLES_H

#include <stdint.h>

#include "share/jpgArith.h"
#include "share/jpgAssert.h"

namespace jpg {

// Coefficients of a block.
constexpr uint32_t kBlockSize = 64;

// Zig-zag sequence (T.81 Figure 5): natural (row-major) index of the k-th
// coefficient in coded order.
struct ZigZag {
  uint8_t natural[kBlockSize];
};

// Walks the diagonals row + column = d, odd ones downward, even ones upward.
constexpr ZigZag makeZigZag() {
  ZigZag z{};
  uint32_t k = 0;
  for (int d = 0; d <= 14; d++) {
    const int low = d > 7 ? d - 7 : 0;
    const int high = d > 7 ? 7 : d;
    for (int i = low; i <= high; i++) {
      const int row = d % 2 != 0 ? i : d - i;
      z.natural[k++] = static_cast<uint8_t>(8 * row + (d - row));
    }
  }
  return z;
}

constexpr ZigZag kZigZag = makeZigZag();

// The sequence's address for a loop to keep. On 32-bit processors it is hidden from the optimiser,
// which would otherwise add the table's distance from its neighbours again for each coefficient.
inline const uint8_t *naturalOrder() {
  const uint8_t *natural = kZigZag.natural;
  if (sizeof(natural) == 4) asm("" : "+r"(natural));
  return natural;
}

// EXTEND (T.81 F.2.2.1): a received value v of s bits, 0 <= s <= 15, stands for
// v when v >= threshold[s], else for v + offset[s].
constexpr uint32_t kMaxDctCategory = 15;

struct ExtendTable {
  int32_t threshold[kMaxDctCategory + 1];
  int32_t offset[kMaxDctCategory + 1];
};

constexpr ExtendTable makeExtendTable() {
  ExtendTable t{};
  for (uint32_t s = 1; s <= kMaxDctCategory; s++) {
    t.threshold[s] = 1 << (s - 1);
    t.offset[s] = 1 - (1 << s);
  }
  return t;
}

constexpr ExtendTable kExtend = makeExtendTable();

// The value of the additional bits `v` of a category. Branch-free: the sign is unpredictable.
constexpr int32_t extend(int32_t v, uint32_t category) {
  JPG_ASSERT(category <= kMaxDctCategory);
  return v + (kExtend.offset[category] & asr(v - kExtend.threshold[category], 31));
}

}  // namespace jpg

#endif
