// SPDX-License-Identifier: MIT
// Kernels for x86 processors with AVX2. Only the files of this set are compiled for AVX2. They
// include none of our inline functions: the linker might keep their AVX2 copy for all callers.
//
// Each kernel clears the upper halves of the vector registers at its end (vzeroupper): otherwise
// the caller's SSE instructions would pay a transition penalty.
#ifndef JPG_KERNELS_X86_AVX2_H
#define JPG_KERNELS_X86_AVX2_H

#include "kernels/jpgKernels.h"

namespace jpg {

void avx2InverseTransform(int16_t *block, uint32_t last);
void avx2AccurateTransform(int16_t *block, uint32_t last);

uint64_t avx2NonZeroMask(const int16_t *block);

extern const YccKernels avx2PutYcc2, avx2PutYcc4, avx2PutYcc8;  // by samples of a cell

extern const YccRowKernels avx2PutYccRow;

void avx2TransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                              uint64_t *masks);
uint64_t avx2LevelMask(const int16_t *levels, uint32_t shift);

extern const LoadKernels avx2LoadYcc, avx2AverageYcc;

}  // namespace jpg

#endif
