// Kernels: the inner loops over samples, in the form that suits the processor.
//
// The routines of src/read and src/write are the definition of every result; the kernels of
// src/kernels/plain call them. Another set gives the same bits. A handle's set is chosen
// when it is made; a null entry means that the set has nothing better than the general
// routines.
#ifndef JPG_KERNELS_KERNELS_H
#define JPG_KERNELS_KERNELS_H

#include <stddef.h>
#include <stdint.h>

namespace jpg {

// The inverse transform of a block and the limit on its samples, in place: jpgIdct8x8 and
// limitBlock.
using SampleKernel = void (*)(int16_t *block);

// Which coefficients of a block aren't 0: bit k for the k-th of the zig-zag sequence.
using PresentKernel = uint64_t (*)(const int16_t *block);

// Stores an MCU's pixels: its limited sample blocks, component after component as coded,
// expanded by replication. At least one row and column; `columns` is at most the MCU's width
// and `rows` its height.
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

struct Kernels {
  SampleKernel makeSamples;
  PresentKernel present;
  McuKernel putGray;       // one component of one block
  McuKernel putYcc[2][2];  // Y, Cb, Cr as blue, green, red; [h - 1][v - 1] of Y, 1x1 the others
  LevelKernel makeLevels;
  LoadKernel loadGray;       // one component of one block
  LoadKernel loadYcc[2][2];  // blue, green, red as Y, Cb, Cr; as putYcc
};

// The set that any processor of the target runs.
extern const Kernels jpgPlainKernels;

// The best set for the processor that this runs on.
const Kernels *bestKernels();

}  // namespace jpg

#endif
