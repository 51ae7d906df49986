#include "kernels/jpgKernels.h"
#include "read/jpgRIdct.h"

namespace jpg {
namespace {

void makeSamples(int16_t *block) {
  jpgIdct8x8(block);
  limitBlock(block);
}

}  // namespace

constexpr Kernels jpgPlainKernels = {
    makeSamples, nullptr, {{nullptr, nullptr}, {nullptr, nullptr}}};

}  // namespace jpg
