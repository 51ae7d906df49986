// Quantisation on the write side: division by a table's steps as multiplication.
#ifndef JPG_SHARE_QUANT_H
#define JPG_SHARE_QUANT_H

#include <stdint.h>

namespace jpg {

constexpr uint32_t kForwardScale = 8;  // of the forward DCT's output, and so of the steps

// Division of coefficients by quantisation steps, a table entry times 8 each, as products:
// (|c| + half) / step is the upper half of ((|c| + half) / 2 & ~3) * factor, times `shift`,
// upper half. In natural order.
struct QuantReciprocals {
  uint16_t half[64];
  uint16_t factor[64];
  uint16_t shift[64];
};

// The reciprocals of 64 steps in zig-zag order, 8 times 1 to 255 each.
void makeReciprocals(const uint32_t *steps, QuantReciprocals *q);

}  // namespace jpg

#endif
