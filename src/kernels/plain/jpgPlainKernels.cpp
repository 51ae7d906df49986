#include "kernels/jpgKernels.h"
#include "read/jpgRIdct.h"
#include "share/jpgTables.h"
#include "write/jpgWFdct.h"

namespace jpg {
namespace {

void makeSamples(int16_t *block) {
  jpgIdct8x8(block);
  limitBlock(block);
}

// Nearest multiple of the step, halves away from zero.
int32_t quantise(int32_t coefficient, uint32_t step) {
  const auto magnitude = static_cast<uint32_t>(coefficient < 0 ? -coefficient : coefficient);
  const auto level = static_cast<int32_t>((magnitude + step / 2) / step);
  return coefficient < 0 ? -level : level;
}

uint64_t makeLevels(int16_t *block, const QuantSteps &steps, int16_t *levels) {
  jpgFdct8x8(block);
  uint64_t present = 0;
  for (uint32_t k = 0; k < kBlockSize; k++) {
    levels[k] = static_cast<int16_t>(quantise(block[kZigZag.natural[k]], steps.step[k]));
    if (levels[k] != 0) present |= uint64_t{1} << k;
  }
  return present;
}

}  // namespace

constexpr Kernels jpgPlainKernels = {makeSamples, nullptr, {}, makeLevels, nullptr, {}};

}  // namespace jpg
