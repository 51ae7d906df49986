// SPDX-License-Identifier: MIT
// The plainest form of each kernel, to compare all sets with.
#ifndef JPG_TESTS_KERNELS_DEFINITION_H
#define JPG_TESTS_KERNELS_DEFINITION_H

#include "kernels/jpgKernels.h"

namespace jpgtest {

// Without the routines over pixels, which are compared with those of src/read and src/write.
extern const jpg::Kernels kDefinition;

}  // namespace jpgtest

#endif
