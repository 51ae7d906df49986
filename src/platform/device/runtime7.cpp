// What clang calls on ARMv7 for Windows: division, with the divisor ahead of the dividend,
// quotient and remainder side by side in registers.
#include "divide.h"

namespace {

template <typename Word>
struct Operands {
  Word first;   // in: divisor; out: quotient
  Word second;  // in: dividend; out: remainder
};

}  // namespace

extern "C" {

uint64_t __rt_udiv(uint32_t divisor, uint32_t dividend);
void jpgDivide64(Operands<uint64_t> *operands);
void __rt_udiv64();

// r0 / r1: the low word of the result comes back in r0, the high one in r1.
uint64_t __rt_udiv(uint32_t divisor, uint32_t dividend) {
  const jpg::Divided<uint32_t> d = jpg::divide(dividend, divisor);
  return uint64_t{d.remainder} << 32 | d.quotient;
}

void jpgDivide64(Operands<uint64_t> *operands) {
  const jpg::Divided<uint64_t> d = jpg::divide(operands->second, operands->first);
  *operands = {d.quotient, d.remainder};
}

// r0:r1 and r2:r3 both ways, which C can't say: they go by the stack.
__attribute__((naked)) void __rt_udiv64() {
  __asm__(
      "push {r0-r4, lr}\n"
      "mov r0, sp\n"
      "bl jpgDivide64\n"
      "pop {r0-r4, pc}\n");
}

}  // extern "C"
