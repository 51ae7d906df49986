#include <string.h>

#include "kernels/jpgKernels.h"
#include "kernels/plain/jpgPlainIdct.h"
#include "kernels/plain/jpgPlainPut.h"
#include "share/jpgTables.h"
#include "write/jpgWFdct.h"

namespace jpg {
namespace {

uint64_t present(const int16_t *block) {
  uint64_t mask = 0;
  for (uint32_t k = 0; k < kBlockSize; k++) {
    if (block[kZigZag.natural[k]] != 0) mask |= uint64_t{1} << k;
  }
  return mask;
}

// Nearest multiple of the step, halves away from zero.
int32_t quantise(int32_t coefficient, uint32_t step) {
  const auto magnitude = static_cast<uint32_t>(coefficient < 0 ? -coefficient : coefficient);
  const auto level = static_cast<int32_t>((magnitude + step / 2) / step);
  return coefficient < 0 ? -level : level;
}

uint64_t makeBlockLevels(int16_t *block, const QuantSteps &steps) {
  int16_t levels[kBlockSize];
  uint64_t present = 0;
  jpgFdct8x8(block);
  for (uint32_t k = 0; k < kBlockSize; k++) {
    levels[k] = static_cast<int16_t>(quantise(block[kZigZag.natural[k]], steps.step[k]));
    if (levels[k] != 0) present |= uint64_t{1} << k;
  }
  memcpy(block, levels, sizeof(levels));
  return present;
}

void makeLevels(int16_t *blocks, uint32_t count, const QuantSteps &steps, uint64_t *present) {
  for (uint32_t i = 0; i < count; i++) present[i] = makeBlockLevels(blocks + kBlockSize * i, steps);
}

}  // namespace

constexpr Kernels jpgPlainKernels = {
    plainMakeSamples,
    plainMakeHalfSamples,
    present,
    plainPutGray,
    {&plainPutYcc1, &plainPutYcc2, &plainPutYcc4, &plainPutYcc8},
    makeLevels,
    nullptr,
    nullptr,
};

}  // namespace jpg
