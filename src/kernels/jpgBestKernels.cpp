// SPDX-License-Identifier: MIT
// Which set the processor can run. The build says by macros which ones it has made, and by which
// feature of the processor the vector set asks to be taken.
#include "kernels/jpgKernels.h"
#include "platform.h"

namespace jpg {

const Kernels *bestKernels() {
#ifdef JPG_AVX2_KERNELS
  if (IsProcessorFeaturePresent(PF_AVX2_INSTRUCTIONS_AVAILABLE) != 0) return &jpgAvx2Kernels;
#endif
#ifdef JPG_VECTOR_KERNELS
  if (IsProcessorFeaturePresent(JPG_VECTOR_KERNELS) != 0) return &jpgVectorKernels;
#endif
  return &jpgPortableKernels;
}

}  // namespace jpg
