// SPDX-License-Identifier: MIT
#include "write/jpgWStore.h"

#include <string.h>

#include "share/jpgHeap.h"

namespace jpg {
namespace {

constexpr uint32_t kFirstRoom = 64;  // pieces of a new list

// Doubles the list's room. It needs no check of its size: the pieces of a list of 2^31 bytes have
// 4 TiB.
Result growList(ValueStore *store) {
  const uint32_t room = store->room == 0 ? kFirstRoom : store->room * 2;
  void *list = heapRealloc(static_cast<void *>(store->pieces), room * sizeof(int16_t *));
  if (list == nullptr) return JPG_E_OUT_OF_MEMORY;
  store->pieces = static_cast<int16_t **>(list);
  store->room = room;
  return JPG_OK;
}

Result addPiece(ValueStore *store) {
  if (store->count == store->room) {
    if (const Result r = growList(store); r != JPG_OK) return r;
  }
  auto *piece = static_cast<int16_t *>(heapAlloc(kPieceValues * sizeof(int16_t)));
  if (piece == nullptr) return JPG_E_OUT_OF_MEMORY;
  store->pieces[store->count++] = piece;
  return JPG_OK;
}

}  // namespace

Result reserveValues(ValueStore *store, uint64_t values) {
  const uint64_t end = store->used + values;
  while ((uint64_t{store->count} << kPieceBits) < end) {
    if (const Result r = addPiece(store); r != JPG_OK) return r;
  }
  return JPG_OK;
}

void releaseStore(ValueStore *store) {
  for (uint32_t i = 0; i < store->count; i++) heapFree(store->pieces[i]);
  if (store->pieces != nullptr) heapFree(static_cast<void *>(store->pieces));
  *store = {};
}

void storeBlocks(ValueStore *store, const int16_t *blocks, uint32_t count) {
  for (; count != 0; count--, blocks += kBlockSize, store->used += kBlockSize) {
    memcpy(valueAt(*store, store->used), blocks, kBlockSize * sizeof(int16_t));
  }
}

}  // namespace jpg
