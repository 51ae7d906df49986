// SPDX-License-Identifier: MIT
// A Thumb-2 pair movw/movt, which together load a 32-bit constant: four half-words. Each
// instruction holds 16 bits of it, in four fields (Thumb encodings T3 and T1).
#ifndef JPG_TESTS_PRODUCT_LOADER_THUMB_H
#define JPG_TESTS_PRODUCT_LOADER_THUMB_H

#include <stdint.h>

namespace loader {

inline bool isMovePair(const uint16_t *code) {
  constexpr uint32_t kOpcode = 0xFBF0, kMovw = 0xF240, kMovt = 0xF2C0;
  return (code[0] & kOpcode) == kMovw && (code[2] & kOpcode) == kMovt;
}

inline uint32_t moveValue(const uint16_t *code) {
  const uint32_t first = code[0], second = code[1];
  return (first & 0xFU) << 12 | (first >> 10 & 1U) << 11 | (second >> 12 & 7U) << 8 |
         (second & 0xFFU);
}

inline void setMoveValue(uint16_t *code, uint32_t value) {
  const uint32_t first = code[0] & ~0x40FU, second = code[1] & ~0x70FFU;
  code[0] = static_cast<uint16_t>(first | (value >> 12 & 0xFU) | (value >> 11 & 1U) << 10);
  code[1] = static_cast<uint16_t>(second | (value >> 8 & 7U) << 12 | (value & 0xFFU));
}

inline uint32_t movePairValue(const uint16_t *code) {
  return moveValue(code) | moveValue(code + 2) << 16;
}

inline void setMovePair(uint16_t *code, uint32_t value) {
  setMoveValue(code, value & 0xFFFFU);
  setMoveValue(code + 2, value >> 16);
}

}  // namespace loader

#endif
