// SPDX-License-Identifier: MIT
// Kernels: the inner loops over samples and coefficients, one set of routines per instruction set.
//
// In: blocks and pixels. Out: the same. Kernels know neither the context nor the stream. All sets
// give bit-identical results: the portable set, in C++ for any processor, defines them, and
// tests/kernels compares it with the plain models. A handle's set is chosen at its creation.
#ifndef JPG_KERNELS_KERNELS_H
#define JPG_KERNELS_KERNELS_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgQuant.h"

namespace jpg {

// Which inverse transform. They differ at full size, and kWide at all sizes by its samples' range.
enum class Transform : uint32_t {
  kUsual,     // departs from the textbook in its first pass
  kAccurate,  // doesn't
  kWide       // accurate, samples of 12 bits
};
constexpr uint32_t kTransforms = 3;

// The inverse transform of a block, in place, with its samples saturated to -128..127, or to
// -2048..2047 for samples of 12 bits. The output
// is a cell of 8 x 8, 4 x 4, 2 x 2 or 1 x 1 samples in the block's top-left corner. Coefficients
// after zig-zag position `last`, 0 to 63, are 0; only the full-size transform uses `last`.
using InverseKernel = void (*)(int16_t *block, uint32_t last);

// The mask of a block's non-zero coefficients: bit k for zig-zag position k.
using MaskKernel = uint64_t (*)(const int16_t *block);

// Multiplies coefficients by quantisation steps, both in natural order, keeping the low 16 bits.
// Returns a zig-zag position after which all products are 0: 0 for a block with DC alone.
using DequantiseKernel = uint32_t (*)(const int16_t *in, const int16_t *steps, int16_t *out);

// Stores an MCU's pixels from its saturated sample blocks, component after component as coded;
// chroma is replicated. A block holds a cell of 8 x 8, 4 x 4, 2 x 2 or 1 x 1 samples.
// At least one row and column; `columns` is at most the MCU's width and `rows` its height.
using McuKernel = void (*)(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                           uint32_t columns);

// Stores the 64 saturated samples of a block as bytes, in rows that begin `stride` apart.
using StoreKernel = void (*)(const int16_t *block, uint8_t *out, ptrdiff_t stride);

// What a row of pixels is made from: rows of samples as bytes, of Y and of Cb and Cr. Where rows
// are interpolated, the first one counts three times as much as the second; elsewhere the second
// one isn't used, but is a row too. As many as 64 samples behind the last one that is needed, and
// one ahead of the first, are read.
struct YccRow {
  const uint8_t *y;
  const uint8_t *first[2];
  const uint8_t *second[2];
  bool odd;  // row of pixels of an odd number
};

// Stores a row of pixels as blue, green, red.
using YccRowKernel = void (*)(const YccRow &row, uint8_t *out, uint32_t columns);

// By whether chroma is interpolated (else it is replicated), and by the pixels to its samples:
// [interpolates][across - 1][down - 1].
using YccRowKernels = YccRowKernel[2][2][2];

// How a block is quantised.
struct QuantSteps {
  const uint32_t *step;  // zig-zag order
  const QuantReciprocals *reciprocals;
};

// The forward transform and quantisation of `count` blocks of samples, in place; levels come out
// in zig-zag order. A block's samples must lie in -128..127 (Y and plain bytes) or in -127..128
// (chroma); a block with both -128 and 128 isn't supported. masks[i] receives the mask of block
// i's non-zero levels, bit k for level k.
using ForwardKernel = void (*)(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                               uint64_t *masks);

// The mask of those levels of a block, each -2047..2047, whose magnitude shifted right by `shift`
// isn't 0: bit k for the k-th level in memory.
using LevelMaskKernel = uint64_t (*)(const int16_t *levels, uint32_t shift);

// Loads a whole MCU of pixels as level-shifted sample blocks, component after component.
using LoadKernel = void (*)(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

// For three components, the second and third with one block each: by the first one's sampling
// factors, [h - 1][v - 1].
using YccKernels = McuKernel[2][2];
using LoadKernels = LoadKernel[2][2];

constexpr uint32_t kScales = 4;  // scale codes: cells of 1, 2, 4, 8 samples

struct Kernels {
  InverseKernel inverseTransform[kTransforms][kScales];  // by Transform and scale code
  MaskKernel nonZeroMask;
  DequantiseKernel dequantise;
  McuKernel putGray;                  // one component of one block, cells of any size
  const YccKernels *putYcc[kScales];  // by scale code: Y, Cb, Cr as blue, green, red
  StoreKernel storeBlock;
  const YccRowKernels *putYccRow;
  ForwardKernel transformAndQuantise;
  uint32_t forwardBlocks;         // blocks that it works on at a time, 1 or 2
  LoadKernel loadGray;            // one component of one block
  const LoadKernels *loadYcc;     // blue, green, red as Y, Cb, Cr; chroma is decimated
  const LoadKernels *averageYcc;  // the same with the averages of chroma
  LevelMaskKernel levelMask;
  const Kernels *next;  // the next best set, which the same processors have; null for the portable
};

// The set that runs on every processor of the target, and those for vector units, where the build
// has them: of 128 bits, SSE2 or NEON, and AVX2.
extern const Kernels jpgPortableKernels, jpgVectorKernels, jpgAvx2Kernels;

// The fastest set that this processor supports, of those that the build has.
const Kernels *bestKernels();

}  // namespace jpg

#endif
