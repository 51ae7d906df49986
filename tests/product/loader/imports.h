// SPDX-License-Identifier: MIT
// What the loader gives to an image that asks for its system: the platform's operations
// over the provider with faults on demand (faulty.h), and the memory functions.
#ifndef JPG_TESTS_PRODUCT_LOADER_IMPORTS_H
#define JPG_TESTS_PRODUCT_LOADER_IMPORTS_H

#include <stddef.h>

namespace loader {

// The address of a function in the image's calling convention, or null.
const void *findImport(const char *library, const char *function);

// Screen device contexts taken and not given back.
size_t openContexts();

}  // namespace loader

#endif
