// SPDX-License-Identifier: MIT
// For processors without a set of their own, and for builds that ask for the portable set.
#include "kernels/jpgKernels.h"

namespace jpg {

const Kernels *bestKernels() { return &jpgPortableKernels; }

}  // namespace jpg
