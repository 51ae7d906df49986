// SPDX-License-Identifier: MIT
// Zig-zag positions by natural index: the inverse of the zig-zag sequence.
#ifndef JPG_KERNELS_PORTABLE_POSITIONS_H
#define JPG_KERNELS_PORTABLE_POSITIONS_H

#include "share/jpgTables.h"

namespace jpg {

struct Positions {
  uint8_t of[kBlockSize];
};

constexpr Positions makePositions() {
  Positions p{};
  for (uint32_t k = 0; k < kBlockSize; k++) p.of[kZigZag.natural[k]] = static_cast<uint8_t>(k);
  return p;
}

constexpr Positions kPositions = makePositions();

}  // namespace jpg

#endif
