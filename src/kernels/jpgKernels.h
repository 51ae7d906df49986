// Kernels: the inner loops over samples and coefficients, in the form that suits the processor.
//
// In: blocks and pixels. Out: the same. Kernels know neither the context nor the stream. Each set
// gives the same bits: the portable one defines them, in C++ for any processor, and is compared
// with the plainest forms in tests/kernels. A handle's set is chosen when it is made.
#ifndef JPG_KERNELS_KERNELS_H
#define JPG_KERNELS_KERNELS_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgQuant.h"

namespace jpg {

// The inverse transform of a block and the limit on its samples, in place: a cell of 8, 4, 2 or 1
// samples both ways, in the block's top-left corner. Coefficients behind coded position `last`, 0
// to 63, are 0; only the full-size transform looks at `last`.
using InverseKernel = void (*)(int16_t *block, uint32_t last);

// Which coefficients of a block aren't 0: bit k for the k-th of the zig-zag sequence.
using MaskKernel = uint64_t (*)(const int16_t *block);

// Multiplies coefficients by quantisation steps, natural order both, to 16 bits. Returns a coded
// position behind which all products are 0: 0 for a block of a DC coefficient alone.
using DequantiseKernel = uint32_t (*)(const int16_t *in, const int16_t *steps, int16_t *out);

// Stores an MCU's pixels: its limited sample blocks, component after component as coded,
// expanded by replication. A block's samples are a cell of 8, 4, 2 or 1 of them both ways.
// At least one row and column; `columns` is at most the MCU's width and `rows` its height.
using McuKernel = void (*)(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                           uint32_t columns);

// How a block is quantised.
struct QuantSteps {
  const uint32_t *step;  // zig-zag order
  const QuantReciprocals *reciprocals;
};

// The forward transform of `count` blocks of samples and its quantisation: in place, the levels
// in zig-zag order. Samples are -128..127, as Y and bytes are, or -127..128, as chroma is: a
// block with both -128 and 128 isn't served. masks[i] receives which levels of block i aren't
// 0, bit k for level k.
using ForwardKernel = void (*)(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                               uint64_t *masks);

// Loads a whole MCU of pixels as level-shifted sample blocks, component after component.
using LoadKernel = void (*)(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

// For three components, of which the others have one block: [h - 1][v - 1] of the first.
using YccKernels = McuKernel[2][2];
using LoadKernels = LoadKernel[2][2];

constexpr uint32_t kScales = 4;  // scale codes: cells of 1, 2, 4, 8 samples

struct Kernels {
  InverseKernel inverseTransform[kScales];  // by scale code
  MaskKernel nonZeroMask;
  DequantiseKernel dequantise;
  McuKernel putGray;                  // one component of one block, cells of any size
  const YccKernels *putYcc[kScales];  // by scale code: Y, Cb, Cr as blue, green, red
  ForwardKernel transformAndQuantise;
  LoadKernel loadGray;         // one component of one block
  const LoadKernels *loadYcc;  // blue, green, red as Y, Cb, Cr
};

// The set that any processor of the target runs.
extern const Kernels jpgPortableKernels;

// The best set for the processor that this runs on, or the portable one where the build asks for
// that.
const Kernels *bestKernels();

}  // namespace jpg

#endif
