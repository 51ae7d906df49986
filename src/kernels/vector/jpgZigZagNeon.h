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

// Where the bytes of the sequence lie among those of the block.
struct ZigZagBytes {
  uint8_t at[2 * kBlockSize];
};
constexpr ZigZagBytes makeZigZagBytes() {
  ZigZagBytes z{};
  for (uint32_t k = 0; k < 2 * kBlockSize; k++) {
    z.at[k] = static_cast<uint8_t>(2 * kZigZag.natural[k / 2] + k % 2);
  }
  return z;
}
constexpr ZigZagBytes kZigZagBytes = makeZigZagBytes();

JPG_VEC void zigZag(const Words *rows, Words *out) {
  const auto bytes = [rows](int k) { return vreinterpretq_u8_s16(rows[k].v); };
  const uint8x16x4_t upper = {{bytes(0), bytes(1), bytes(2), bytes(3)}};
  const uint8x16x4_t lower = {{bytes(4), bytes(5), bytes(6), bytes(7)}};
  for (int k = 0; k < 8; k++) {
    // An index outside of a table gives 0, or leaves what is there.
    const uint8x16_t at = vld1q_u8(kZigZagBytes.at + 16 * k);
    const uint8x16_t found = vqtbl4q_u8(upper, at);
    out[k] = {vreinterpretq_s16_u8(vqtbx4q_u8(found, lower, vsubq_u8(at, vdupq_n_u8(64))))};
  }
}

#else

JPG_VEC void zigZag(const Words *rows, Words *out) {
  int16_t natural[kBlockSize], sequence[kBlockSize];
  for (int k = 0; k < 8; k++) store(natural + 8 * k, rows[k]);
#pragma GCC unroll 64
  for (uint32_t k = 0; k < kBlockSize; k++) sequence[k] = natural[kZigZag.natural[k]];
  for (int k = 0; k < 8; k++) out[k] = load(sequence + 8 * k);
}

#endif

}  // namespace vec
}  // namespace jpg

#endif
