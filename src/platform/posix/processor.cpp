// SPDX-License-Identifier: MIT
// The processor's features, determined once when the program is loaded: cpuid takes microseconds
// on a virtual machine, and the library has no variables that could cache the result.
#include "posixFile.h"

#if defined(__x86_64__) && defined(__GLIBC__)
#include <cpuid.h>

namespace {

// XCR0 bits 1 and 2: the system saves the state of the AVX registers.
constexpr uint32_t kAvxState = 6;

// The dynamic linker calls the resolver before anything else is set up, so it must not call a
// sanitizer's or a profiler's runtime.
#if defined(__clang__)
#define JPG_BARE                                                                    \
  __attribute__((disable_sanitizer_instrumentation, no_profile_instrument_function, \
                 no_sanitize("coverage"), unused))
#else
#define JPG_BARE __attribute__((no_sanitize("address", "undefined", "thread"), unused))
#endif

JPG_BARE inline bool savesAvxState() {
  uint32_t low = 0, high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kAvxState) == kAvxState;
}

JPG_BARE inline bool hasAvx2() {
  uint32_t a = 0, b = 0, c = 0, d = 0;
  __cpuid(0, a, b, c, d);
  if (a < 7) return false;
  __cpuid(1, a, b, c, d);
  if ((c & bit_OSXSAVE) == 0 || !savesAvxState()) return false;
  __cpuid_count(7, 0, a, b, c, d);
  return (b & bit_AVX2) != 0;
}

int32_t answerAvx2(uint32_t feature) { return feature == jpg::PF_AVX2_INSTRUCTIONS_AVAILABLE; }
int32_t answerNone(uint32_t /*feature*/) { return 0; }

}  // namespace

// The ifunc attribute takes the resolver's assembler name. It is set explicitly, because compilers
// differ in how they mangle the name of a static function.
using Answer = int32_t (*)(uint32_t feature);
extern "C" {
static Answer jpgResolveFeature() __asm__("jpgResolveFeature");
JPG_BARE static Answer jpgResolveFeature() { return hasAvx2() ? answerAvx2 : answerNone; }
static int32_t jpgHasFeature(uint32_t feature) __attribute__((ifunc("jpgResolveFeature")));
}

namespace jpg {
namespace posix {
BOOL hasProcessorFeature(DWORD feature) { return jpgHasFeature(feature); }
}  // namespace posix
}  // namespace jpg

#else

namespace jpg {
namespace posix {
BOOL hasProcessorFeature(DWORD /*feature*/) { return 0; }
}  // namespace posix
}  // namespace jpg

#endif
