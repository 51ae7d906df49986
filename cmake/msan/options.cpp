// SPDX-License-Identifier: MIT
// How MemorySanitizer works in every program; programs.cmake says why.
#include <sanitizer/allocator_interface.h>
#include <sanitizer/msan_interface.h>
#include <stddef.h>

// Called behind every allocation: blocks of the C library are defined. The platform marks those
// that are the codec's.
extern "C" void __sanitizer_malloc_hook(const volatile void *block, size_t bytes);
extern "C" void __sanitizer_malloc_hook(const volatile void *block, size_t bytes) {
  __msan_unpoison(block, bytes);
}
