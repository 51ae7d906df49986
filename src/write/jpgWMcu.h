// SPDX-License-Identifier: MIT
// An MCU's way from the caller's pixels to blocks: colour conversion into a work area of
// 16 x 16 pixels, then gathering of each component's blocks from it.
//
// In: interleaved bytes. Out: level-shifted samples, block after block, as
// encodeMcu takes them. Chroma is decimated here; jpgWAverage has the averages that a caller may
// ask for. The routines are chosen once per call by the encode driver.
#ifndef JPG_WRITE_WMCU_H
#define JPG_WRITE_WMCU_H

#include <stdint.h>

#include "kernels/jpgKernels.h"
#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kAreaSize = 16;            // pixels, both ways, of the work area
constexpr uint32_t kMaxBlocksPerMcu = 3 * 4;  // three components at full 2x2 size

// Converts `pixels` pixels at `in` into one line of the work area, whose samples are
// interleaved like the pixels.
using ConvertRoutine = void (*)(const uint8_t *in, int16_t *out, uint32_t pixels);

// Writes a component's blocks of one MCU; `in` is the component's first sample in
// the area. Returns the position behind them.
using GatherRoutine = int16_t *(*)(const int16_t *in, int16_t *out);

// What an encode call has chosen.
struct McuSource {
  LoadKernel load;  // for whole MCUs; null: convert and gather
  ConvertRoutine convert;
  GatherRoutine gather[kMaxComponents];
};

// Chooses the routines by the frame's components and sampling and the colour
// conversion flag. 0, or JPG_E_UNSUPPORTED for a layout that isn't supported.
Result chooseMcuSource(const JpgContext &c, McuSource *source);

}  // namespace jpg

#endif
