#include <cpuid.h>

#include "kernels/jpgKernels.h"
#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

// State that the system saves for the AVX registers: XCR0 bits 1 and 2.
constexpr uint32_t kAvxState = 6;

uint32_t savedState() {
  uint32_t low = 0, high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

bool hasAvx2() {
  uint32_t a = 0, b = 0, c = 0, d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
  if ((c & bit_OSXSAVE) == 0 || (savedState() & kAvxState) != kAvxState) return false;
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return false;
  return (b & bit_AVX2) != 0;
}

}  // namespace

const Kernels *bestKernels() { return hasAvx2() ? &jpgAvx2Kernels : &jpgPlainKernels; }

}  // namespace jpg
