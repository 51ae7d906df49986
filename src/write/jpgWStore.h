// SPDX-License-Identifier: MIT
// Store of a held picture's values: levels, block after block and MCU after MCU, or lossless
// differences, line after line.
//
// Filled by the encode calls, read by the epilog. It lies in pieces, so that it grows without being
// copied. An encode call reserves what it will store before it stores anything: after that it can't
// fail.
#ifndef JPG_WRITE_WSTORE_H
#define JPG_WRITE_WSTORE_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgAssert.h"
#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kPieceBits = 13;
constexpr size_t kPieceValues = size_t{1} << kPieceBits;  // 128 blocks, 16 KiB
static_assert(kPieceValues % kBlockSize == 0, "a block lies in one piece");

// True for a handle whose pictures are held until the epilog.
inline bool isHeld(const JpgContext &c) {
  return (c.options & (kOptionOptimize | kOptionProgressive)) != 0;
}

// Makes room for `values` more. 0 or JPG_E_OUT_OF_MEMORY; what is stored stays.
Result reserveValues(ValueStore *store, uint64_t values);

// Frees all pieces.
void releaseStore(ValueStore *store);

// The place of value i, at which its piece has room for kPieceValues - i % kPieceValues values.
inline int16_t *valueAt(const ValueStore &store, size_t i) {
  JPG_ASSERT(i >> kPieceBits < store.count);
  return store.pieces[i >> kPieceBits] + (i & (kPieceValues - 1));
}

// The levels of block i, in zig-zag order.
inline const int16_t *blockAt(const ValueStore &store, size_t i) {
  return valueAt(store, i * kBlockSize);
}

// Appends `count` blocks, for which there is room.
void storeBlocks(ValueStore *store, const int16_t *blocks, uint32_t count);

}  // namespace jpg

#endif
