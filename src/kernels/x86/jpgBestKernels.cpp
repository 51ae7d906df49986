// SPDX-License-Identifier: MIT
#include "kernels/jpgKernels.h"
#include "kernels/x86/jpgAvx2.h"
#include "platform.h"

namespace jpg {

const Kernels *bestKernels() {
  const bool avx2 = IsProcessorFeaturePresent(PF_AVX2_INSTRUCTIONS_AVAILABLE) != 0;
  return avx2 ? &jpgAvx2Kernels : &jpgPortableKernels;
}

}  // namespace jpg
