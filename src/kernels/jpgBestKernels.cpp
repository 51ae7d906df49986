// SPDX-License-Identifier: MIT
// Which sets the processor can run. The build says by macros which ones it has made, and by which
// feature of the processor the vector set asks to be taken.
#include "kernels/jpgKernels.h"
#include "platform.h"

namespace jpg {

KernelSets kernelSets() {
  KernelSets s = {};
#ifdef JPG_AVX2_KERNELS
  if (IsProcessorFeaturePresent(PF_AVX2_INSTRUCTIONS_AVAILABLE) != 0) {
    s.set[s.count++] = &jpgAvx2Kernels;
  }
#endif
#ifdef JPG_VECTOR_KERNELS
  if (IsProcessorFeaturePresent(JPG_VECTOR_KERNELS) != 0) s.set[s.count++] = &jpgVectorKernels;
#endif
  s.set[s.count++] = &jpgPortableKernels;
  return s;
}

const Kernels *bestKernels() { return kernelSets().set[0]; }

}  // namespace jpg
