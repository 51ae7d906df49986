// SPDX-License-Identifier: MIT
// The upper halves of the processor's 256-bit registers: code that leaves something in them
// makes older vector instructions of its caller slow, and the system saves more at every
// switch of threads. The processor tells whether they are in use.
#ifndef JPG_TESTS_WHOLE_VECTORS_VECTORSTATE_H
#define JPG_TESTS_WHOLE_VECTORS_VECTORSTATE_H

#include <cstdint>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace jpgtest {

#if defined(__x86_64__)

// The processor and the system have AVX2, and XGETBV with 1 in ECX tells which state is in use:
// leaf 0xD, sub-leaf 1, EAX bit 2.
inline bool tellsVectorState() {
  uint32_t a = 0, b = 0, c = 0, d = 0;
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0 || (b & bit_AVX2) == 0) return false;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return false;
  return __get_cpuid_count(0xD, 1, &a, &b, &c, &d) != 0 && (a & 4) != 0;
}

inline void clearUpperHalves() { __asm__ volatile("vzeroupper" ::: "memory"); }

inline void useUpperHalves() {
  __asm__ volatile("vpcmpeqd %%ymm0, %%ymm0, %%ymm0" ::: "xmm0", "memory");
}

// Bit 2: the AVX state isn't as it was when the processor started.
inline bool upperHalvesInUse() {
  uint32_t low = 0, high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1) : "memory");
  return (low & 4) != 0;
}

#else

inline bool tellsVectorState() { return false; }
inline void clearUpperHalves() {}
inline void useUpperHalves() {}
inline bool upperHalvesInUse() { return false; }

#endif

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_VECTORS_VECTORSTATE_H
