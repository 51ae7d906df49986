// SPDX-License-Identifier: MIT
// Heap blocks and sanitizers: tells MemorySanitizer which bytes are new (in other builds these
// functions do nothing), and says whether a sanitizer watches the heap.
#ifndef JPG_PLATFORM_UNDEFINED_H
#define JPG_PLATFORM_UNDEFINED_H

#include <stddef.h>
#include <stdint.h>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#include <sanitizer/allocator_interface.h>
#include <sanitizer/msan_interface.h>
#define JPG_MEMORY_SANITIZER 1
#endif
#if __has_feature(address_sanitizer)
#define JPG_ADDRESS_SANITIZER 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define JPG_ADDRESS_SANITIZER 1
#endif

namespace jpg {

// True where a sanitizer compares accesses with the sizes of blocks.
#if defined(JPG_MEMORY_SANITIZER) || defined(JPG_ADDRESS_SANITIZER)
constexpr bool kIsWatched = true;
#else
constexpr bool kIsWatched = false;
#endif

// Marks bytes as uninitialised. Does nothing for null.
inline void markUndefined(void *bytes, size_t count) {
#ifdef JPG_MEMORY_SANITIZER
  if (bytes != nullptr) __msan_allocated_memory(bytes, count);
#else
  (void)bytes;
  (void)count;
#endif
}

// Size of a block of the C library's heap, so that the bytes that realloc adds can be marked.
inline size_t lengthOf(void *block) {
#ifdef JPG_MEMORY_SANITIZER
  return __sanitizer_get_allocated_size(block);
#else
  (void)block;
  return SIZE_MAX;
#endif
}

// A block has grown: its bytes from `before` on are new. Null is none.
inline void markGrown(void *block, size_t before, size_t bytes) {
#ifdef JPG_MEMORY_SANITIZER
  if (block == nullptr || bytes <= before) return;
  markUndefined(static_cast<uint8_t *>(block) + before, bytes - before);
#else
  (void)block;
  (void)before;
  (void)bytes;
#endif
}

}  // namespace jpg

#endif
