// SPDX-License-Identifier: MIT
// The processor's features. The library has no variables that could keep them, and cpuid takes
// microseconds on a virtual machine: AVX2 is asked for once, when the program is loaded, by the
// dynamic linker where it can do so, else by the compiler's runtime. The system's own word is
// taken for vectors of 128 bits.
#include "posixFile.h"

#if defined(__i386__) || defined(__arm__)
#include <sys/auxv.h>
#endif

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GLIBC__)
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

bool answerYes() { return true; }
bool answerNo() { return false; }

}  // namespace

// The ifunc attribute takes the resolver's assembler name. It is set explicitly, because compilers
// differ in how they mangle the name of a static function.
using Answer = bool (*)();
extern "C" {
static Answer jpgResolveAvx2() __asm__("jpgResolveAvx2");
JPG_BARE static Answer jpgResolveAvx2() { return hasAvx2() ? answerYes : answerNo; }
static bool jpgHasAvx2() __attribute__((ifunc("jpgResolveAvx2")));
}

#elif defined(__x86_64__) || defined(__i386__)

namespace {
bool jpgHasAvx2() { return __builtin_cpu_supports("avx2") != 0; }
}  // namespace

#else

namespace {
bool jpgHasAvx2() { return false; }
}  // namespace

#endif

namespace jpg {
namespace posix {
namespace {

// The unit with vectors of 128 bits: its feature, and whether it is there. Bits of AT_HWCAP are
// those that cpuid gives for SSE2, and the system's own for NEON.
#if defined(__x86_64__)
constexpr DWORD kVectorUnit = PF_XMMI64_INSTRUCTIONS_AVAILABLE;
bool hasVectors() { return true; }
#elif defined(__i386__)
constexpr DWORD kVectorUnit = PF_XMMI64_INSTRUCTIONS_AVAILABLE;
bool hasVectors() { return (getauxval(AT_HWCAP) >> 26 & 1) != 0; }
#elif defined(__ARM_NEON)
constexpr DWORD kVectorUnit = PF_ARM_NEON_INSTRUCTIONS_AVAILABLE;
bool hasVectors() { return true; }
#elif defined(__arm__)
constexpr DWORD kVectorUnit = PF_ARM_NEON_INSTRUCTIONS_AVAILABLE;
bool hasVectors() { return (getauxval(AT_HWCAP) >> 12 & 1) != 0; }
#else
constexpr DWORD kVectorUnit = 0;
bool hasVectors() { return false; }
#endif

}  // namespace

BOOL hasProcessorFeature(DWORD feature) {
  const bool has[] = {jpgHasAvx2(), hasVectors()};
  return (static_cast<int>(feature == PF_AVX2_INSTRUCTIONS_AVAILABLE) & static_cast<int>(has[0])) |
         (static_cast<int>(feature == kVectorUnit) & static_cast<int>(has[1]));
}

}  // namespace posix
}  // namespace jpg
