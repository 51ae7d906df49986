// SPDX-License-Identifier: MIT
// Kernels for vectors of 128 bits, SSE2 or NEON: one source, over the layer of jpgVec.h.
#ifndef JPG_KERNELS_VECTOR_VECTOR_H
#define JPG_KERNELS_VECTOR_VECTOR_H

#include "kernels/jpgKernels.h"

namespace jpg {

void vectorInverseTransform(int16_t *block, uint32_t last);
void vectorAccurateTransform(int16_t *block, uint32_t last);
void vectorInverseTransformHalf(int16_t *block, uint32_t last);

uint64_t vectorNonZeroMask(const int16_t *block);
uint32_t vectorDequantise(const int16_t *in, const int16_t *steps, int16_t *out);
uint64_t vectorLevelMask(const int16_t *levels, uint32_t shift);

void vectorPutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                   uint32_t columns);
extern const YccKernels vectorPutYcc2, vectorPutYcc4, vectorPutYcc8;  // by samples of a cell

void vectorStoreBlock(const int16_t *block, uint8_t *out, ptrdiff_t stride);
extern const YccRowKernels vectorPutYccRow;

void vectorTransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                                uint64_t *masks);

void vectorLoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
extern const LoadKernels vectorLoadYcc, vectorAverageYcc;

}  // namespace jpg

#endif
