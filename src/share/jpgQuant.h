// SPDX-License-Identifier: MIT
// Quantisation on the write side: division by a table's steps through reciprocals.
#ifndef JPG_SHARE_QUANT_H
#define JPG_SHARE_QUANT_H

#include <stdint.h>

namespace jpg {

constexpr uint32_t kForwardScale = 8;  // of the forward DCT's output, and so of the steps

// Replaces the division of a coefficient c by its quantisation step, 8 times the table entry, with
// two multiplications: p is the upper 16 bits of ((|c| + half) / 2 & ~3) * factor, and
// (|c| + half) / step is the upper 16 bits of p * shift. In natural order.
struct QuantReciprocals {
  uint16_t half[64];
  uint16_t factor[64];
  uint16_t shift[64];
};

// The reciprocals of 64 steps in zig-zag order, 8 times 1 to 255 each.
void makeReciprocals(const uint32_t *steps, QuantReciprocals *q);

}  // namespace jpg

#endif
