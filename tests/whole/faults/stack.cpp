// SPDX-License-Identifier: MIT
#include "stack.h"

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define JPG_INSTRUMENTED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || \
    __has_feature(thread_sanitizer)
#define JPG_INSTRUMENTED
#endif
#endif

namespace faults {

#ifdef JPG_INSTRUMENTED

void paintStack() {}
size_t usedStack() { return 0; }

#else

namespace {

constexpr uint8_t kPattern = 0xA5;
constexpr size_t kPainted = 32768;  // bytes, several times what a call is allowed

uintptr_t painted = 0;  // address of the lowest byte

}  // namespace

[[gnu::noinline]] void paintStack() {
  volatile uint8_t area[kPainted];
  for (size_t i = 0; i < kPainted; i++) area[i] = kPattern;
  painted = reinterpret_cast<uintptr_t>(area);
}

// The place is dead by now, but nobody else has this stack.
[[gnu::noinline]] size_t usedStack() {
  const auto *area = reinterpret_cast<const volatile uint8_t *>(painted);
  size_t untouched = 0;
  while (untouched < kPainted && area[untouched] == kPattern) untouched++;
  return kPainted - untouched;
}

#endif

}  // namespace faults
