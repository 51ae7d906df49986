// SPDX-License-Identifier: MIT
// The DLL's entry point, and a routine that the compiler's runtime expects from a C library.
#include <stdint.h>

extern "C" {

int32_t DllEntry(void *instance, uint32_t reason, void *reserved);
int32_t __aeabi_idiv0(int32_t result);

// The library has no state of its own, so there is nothing to set up for a process or a
// thread.
int32_t DllEntry(void * /*instance*/, uint32_t /*reason*/, void * /*reserved*/) { return 1; }

// Called by the compiler's division for a divisor of 0, which doesn't occur in the library.
int32_t __aeabi_idiv0(int32_t result) { return result; }

}  // extern "C"
