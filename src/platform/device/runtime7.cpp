// SPDX-License-Identifier: MIT
// The division routines that clang calls on ARMv7 for Windows: the divisor is the first argument,
// the dividend the second; quotient and remainder are returned in registers.
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

// Divides r1 by r0. The 64-bit result puts the quotient into r0 and the remainder into r1.
uint64_t __rt_udiv(uint32_t divisor, uint32_t dividend) {
  const jpg::Divided<uint32_t> d = jpg::divide(dividend, divisor);
  return uint64_t{d.remainder} << 32 | d.quotient;
}

void jpgDivide64(Operands<uint64_t> *operands) {
  const jpg::Divided<uint64_t> d = jpg::divide(operands->second, operands->first);
  *operands = {d.quotient, d.remainder};
}

// Arguments and results are in r0:r1 and r2:r3, which C can't express: pass them on the stack.
__attribute__((naked)) void __rt_udiv64() {
  __asm__(
      "push {r0-r4, lr}\n"
      "mov r0, sp\n"
      "bl jpgDivide64\n"
      "pop {r0-r4, pc}\n");
}

}  // extern "C"
