// SPDX-License-Identifier: MIT
// The zig-zag sequence (T.81 Figure 5) with NEON: by tables of 64 bytes on AArch64, through memory
// on ARMv7, whose tables have 32.
#ifndef JPG_KERNELS_VECTOR_ZIGZAGNEON_H
#define JPG_KERNELS_VECTOR_ZIGZAGNEON_H

#include "kernels/vector/jpgVecNeon.h"
#include "share/jpgTables.h"

namespace jpg {
namespace vec {

#if defined(__aarch64__)

// Where the bytes of the sequence lie among those of the block's upper half, and of its lower one;
// an index outside of a half gives 0, or leaves what is there.
struct ZigZagBytes {
  uint8_t upper[2 * kBlockSize], lower[2 * kBlockSize];
};
constexpr ZigZagBytes makeZigZagBytes() {
  ZigZagBytes z{};
  for (uint32_t k = 0; k < 2 * kBlockSize; k++) {
    z.upper[k] = static_cast<uint8_t>(2 * kZigZag.natural[k / 2] + k % 2);
    z.lower[k] = static_cast<uint8_t>(z.upper[k] - kBlockSize);
  }
  return z;
}
constexpr ZigZagBytes kZigZagBytes = makeZigZagBytes();

JPG_VEC void zigZag(const Words *rows, Words *out) {
  uint8_t natural[2 * kBlockSize];
  for (int k = 0; k < 8; k++) vst1q_u8(natural + 16 * k, vreinterpretq_u8_s16(rows[k].v));
  const ZigZagBytes *at = &kZigZagBytes;
  const uint8_t *block = natural;
  // Hides where both lie from the optimiser: it would find the address of each constant anew, and
  // keep the rows in registers that don't follow one another, as those of a table must.
  asm("" : "+r"(at), "+r"(block) : : "memory");
  const uint8x16x4_t upper = vld1q_u8_x4(block), lower = vld1q_u8_x4(block + kBlockSize);
  for (int k = 0; k < 8; k++) {
    const uint8x16_t found = vqtbl4q_u8(upper, loadVector(at->upper + 16 * k));
    out[k] = {vreinterpretq_s16_u8(vqtbx4q_u8(found, lower, loadVector(at->lower + 16 * k)))};
  }
}

#else

JPG_VEC void zigZag(const Words *rows, Words *out) {
  int16_t natural[kBlockSize], sequence[kBlockSize];
  for (int k = 0; k < 8; k++) store(natural + 8 * k, rows[k]);
  const int16_t *from = natural;
  int16_t *to = sequence;
  // Hides where both lie from the optimiser, which would prepare an address for each value.
  asm("" : "+r"(from), "+r"(to) : : "memory");
#pragma GCC unroll 64
  for (uint32_t k = 0; k < kBlockSize; k++) to[k] = from[kZigZag.natural[k]];
  for (int k = 0; k < 8; k++) out[k] = load(sequence + 8 * k);
}

#endif

}  // namespace vec
}  // namespace jpg

#endif
