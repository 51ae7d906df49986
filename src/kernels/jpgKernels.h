// Kernels: the inner loops over samples, in the form that suits the processor.
//
// The routines of src/read and src/write are the definition of every result; each set gives the
// same bits, that of src/kernels/plain in C++ for any processor. A handle's set is chosen when it
// is made.
#ifndef JPG_KERNELS_KERNELS_H
#define JPG_KERNELS_KERNELS_H

#include <stddef.h>
#include <stdint.h>

namespace jpg {

// The inverse transform of a block and the limit on its samples, in place: jpgIdct8x8 and
// limitBlock, or jpgIdct4x4 and limitCorner. Coefficients behind coded position `last`, 1 to 63,
// are 0.
using SampleKernel = void (*)(int16_t *block, uint32_t last);

// Which coefficients of a block aren't 0: bit k for the k-th of the zig-zag sequence.
using PresentKernel = uint64_t (*)(const int16_t *block);

// Multiplies coefficients by quantisation steps, natural order both, to 16 bits. Returns a coded
// position behind which all products are 0: 0 for a block of a DC coefficient alone.
using DequantiseKernel = uint32_t (*)(const int16_t *in, const int16_t *steps, int16_t *out);

// Stores an MCU's pixels: its limited sample blocks, component after component as coded,
// expanded by replication. A block's samples are a cell of 8, 4, 2 or 1 of them both ways.
// At least one row and column; `columns` is at most the MCU's width and `rows` its height.
using McuKernel = void (*)(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                           uint32_t columns);

// Division of coefficients by quantisation steps, a table entry times 8 each, as products:
// (|c| + half) / step is the upper half of ((|c| + half) / 2 & ~3) * factor, times `shift`,
// upper half. In natural order.
struct QuantReciprocals {
  uint16_t half[64];
  uint16_t factor[64];
  uint16_t shift[64];
};

// How a block is quantised.
struct QuantSteps {
  const uint32_t *step;  // zig-zag order
  const QuantReciprocals *reciprocals;
};

// The forward transform of `count` blocks of samples and its quantisation: in place, the levels
// in zig-zag order. Samples are -128..127, as Y and bytes are, or -127..128, as chroma is: a
// block with both -128 and 128 isn't served. present[i] receives which levels of block i aren't
// 0, bit k for level k.
using LevelKernel = void (*)(int16_t *blocks, uint32_t count, const QuantSteps &steps,
                             uint64_t *present);

// Loads a whole MCU of pixels as level-shifted sample blocks, component after component.
using LoadKernel = void (*)(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

// For three components, of which the others have one block: [h - 1][v - 1] of the first.
using YccKernels = McuKernel[2][2];
using LoadKernels = LoadKernel[2][2];

struct Kernels {
  SampleKernel makeSamples;
  SampleKernel makeHalfSamples;  // jpgIdct4x4 and the limit on its samples
  PresentKernel present;
  DequantiseKernel dequantise;
  McuKernel putGray;            // one component of one block, cells of any size
  const YccKernels *putYcc[4];  // Y, Cb, Cr as blue, green, red; cells of 1, 2, 4, 8
  LevelKernel makeLevels;
  LoadKernel loadGray;         // one component of one block
  const LoadKernels *loadYcc;  // blue, green, red as Y, Cb, Cr
};

// The set that any processor of the target runs.
extern const Kernels jpgPlainKernels;

// The best set for the processor that this runs on.
const Kernels *bestKernels();

}  // namespace jpg

#endif
