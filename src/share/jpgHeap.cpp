// SPDX-License-Identifier: MIT
#include "share/jpgHeap.h"

#include "jpg.h"
#include "platform.h"
#include "share/jpgAssert.h"

namespace jpg {

void *heapAlloc(size_t size) {
  JPG_ASSERT(size <= kMaxHeapBlock);
  return HeapAlloc(GetProcessHeap(), 0, size);
}

void *heapAllocChecked(uint64_t size) {
  return size > kMaxHeapBlock ? nullptr : heapAlloc(static_cast<size_t>(size));
}

void *heapRealloc(void *block, size_t size) {
  JPG_ASSERT(size <= kMaxHeapBlock);
  if (block == nullptr) return heapAlloc(size);
  return HeapReAlloc(GetProcessHeap(), 0, block, size);
}

uint32_t heapFree(void *block) {
  JPG_ASSERT(block != nullptr);
  return HeapFree(GetProcessHeap(), 0, block) != 0 ? JPG_OK : JPG_E_FAIL;
}

int compareText(const char *a, const char *b) {
  while (*a != '\0' && *a == *b) {
    a++;
    b++;
  }
  return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

}  // namespace jpg
