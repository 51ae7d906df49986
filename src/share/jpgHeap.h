// SPDX-License-Identifier: MIT
// Memory of the library: three operations on the process heap.
#ifndef JPG_SHARE_HEAP_H
#define JPG_SHARE_HEAP_H

#include <stddef.h>
#include <stdint.h>

namespace jpg {

// Largest block that the library asks for: sizes must fit 31 bits on every target.
constexpr uint64_t kMaxHeapBlock = 0x7FFFFFFF;

// A block of `size` bytes, or null. Contents are undefined.
void *heapAlloc(size_t size);

// As heapAlloc, for a size computed from a stream: null above kMaxHeapBlock.
void *heapAllocChecked(uint64_t size);

// Grows or shrinks `block` (null: allocates). Null on failure; `block` stays valid then.
void *heapRealloc(void *block, size_t size);

// Frees `block`, not null. 0, or JPG_E_FAIL when the heap refuses it.
uint32_t heapFree(void *block);

// Frees `block` where non-null and clears the pointer.
template <typename T>
void heapRelease(T *&block) {
  if (block != nullptr) heapFree(block);
  block = nullptr;
}

// Compares two zero-terminated strings: the difference of the first unequal bytes, 0 if equal.
int compareText(const char *a, const char *b);

}  // namespace jpg

#endif
