// SPDX-License-Identifier: MIT
// The portable kernels: C++ for any processor. They define the result of every set.
#ifndef JPG_KERNELS_PORTABLE_PORTABLE_H
#define JPG_KERNELS_PORTABLE_PORTABLE_H

#include "kernels/jpgKernels.h"

namespace jpg {

// Inverse transforms to cells of 8 x 8, 4 x 4, 2 x 2 and 1 x 1 samples.
void jpgIdct8x8(int16_t *block, uint32_t last);
void jpgIdct4x4(int16_t *block, uint32_t last);
void jpgIdct2x2(int16_t *block, uint32_t last);
void jpgIdct1x1(int16_t *block, uint32_t last);

// The accurate one, and those to samples of 12 bits.
void jpgAccurateIdct8x8(int16_t *block, uint32_t last);
void jpgWideIdct8x8(int16_t *block, uint32_t last);
void jpgWideIdct4x4(int16_t *block, uint32_t last);
void jpgWideIdct2x2(int16_t *block, uint32_t last);
void jpgWideIdct1x1(int16_t *block, uint32_t last);

uint64_t portableNonZeroMask(const int16_t *block);
uint32_t portableDequantise(const int16_t *in, const int16_t *steps, int16_t *out);

void portablePutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                     uint32_t columns);
extern const YccKernels portablePutYcc1, portablePutYcc2, portablePutYcc4, portablePutYcc8;

void portableStoreBlock(const int16_t *block, uint8_t *out, ptrdiff_t stride);
extern const YccRowKernels portablePutYccRow;

void portableTransformAndQuantise(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                                  uint64_t *masks);
uint64_t portableLevelMask(const int16_t *levels, uint32_t shift);

void portableLoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
extern const LoadKernels portableLoadYcc, portableAverageYcc;

}  // namespace jpg

#endif
