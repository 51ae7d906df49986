// SPDX-License-Identifier: MIT
#include "share/jpgQuant.h"

#include "share/jpgTables.h"

namespace jpg {

// The reciprocals of steps 8 t, t = 1 to 255. With f = floor(log2 t), floor(n / 8 / t) is computed
// as floor(n / 8) * ceil(2^(15 + f) / t) / 2^(15 + f), rounded down, which is exact for n < 2^15
// (a test tries all). n / 2 & ~3 is 4 floor(n / 8); `shift` is 2^(15 - f), and the two shifts by
// 16 bits divide by the rest.
void makeReciprocals(const uint32_t *steps, QuantReciprocals *q) {
  for (uint32_t k = 0; k < kBlockSize; k++) {
    const uint32_t at = kZigZag.natural[k];
    const uint32_t t = steps[k] / kForwardScale;
    uint32_t f = 0;
    while (t >> (f + 1) != 0) f++;
    q->half[at] = static_cast<uint16_t>(steps[k] / 2);
    q->factor[at] = static_cast<uint16_t>(((1U << (15 + f)) + t - 1) / t);
    q->shift[at] = static_cast<uint16_t>(1U << (15 - f));
  }
}

}  // namespace jpg
