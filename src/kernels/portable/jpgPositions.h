// SPDX-License-Identifier: MIT
// The zig-zag position of each coefficient by its natural index, and the same as a mask with that
// one bit set: a table, because 64-bit shifts are slow on 32-bit processors.
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

struct PositionBits {
  uint64_t of[kBlockSize];
};

constexpr PositionBits makePositionBits() {
  PositionBits bits{};
  for (uint32_t i = 0; i < kBlockSize; i++) bits.of[i] = uint64_t{1} << kPositions.of[i];
  return bits;
}

constexpr PositionBits kPositionBits = makePositionBits();

}  // namespace jpg

#endif
