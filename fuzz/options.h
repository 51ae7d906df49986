// SPDX-License-Identifier: MIT
// Reading options by bits of an input.
#ifndef JPG_FUZZ_OPTIONS_H
#define JPG_FUZZ_OPTIONS_H

#include <cstdint>

#include "jpg.h"

// Flags of a prolog for two bits: accurate, smooth. Others are ignored.
inline uint32_t optionsBy(uint32_t bits) {
  uint32_t flags = 0;
  if ((bits & 1) != 0) flags |= JPG_READ_ACCURATE;
  if ((bits & 2) != 0) flags |= JPG_READ_SMOOTH;
  return flags;
}

// The same for three bits, the third of which is lenient.
inline uint32_t allOptionsBy(uint32_t bits) {
  return optionsBy(bits) | ((bits & 4) != 0 ? JPG_READ_LENIENT : 0);
}

#endif
