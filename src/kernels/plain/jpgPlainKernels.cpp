#include "kernels/jpgKernels.h"
#include "kernels/plain/jpgPlainIdct.h"
#include "kernels/plain/jpgPlainLevels.h"
#include "kernels/plain/jpgPlainLoad.h"
#include "kernels/plain/jpgPlainPut.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

uint64_t present(const int16_t *block) {
  uint64_t mask = 0;
  for (uint32_t k = 0; k < kBlockSize; k++) {
    if (block[kZigZag.natural[k]] != 0) mask |= uint64_t{1} << k;
  }
  return mask;
}

}  // namespace

constexpr Kernels jpgPlainKernels = {
    plainMakeSamples,
    plainMakeHalfSamples,
    present,
    plainPutGray,
    {&plainPutYcc1, &plainPutYcc2, &plainPutYcc4, &plainPutYcc8},
    plainMakeLevels,
    plainLoadGray,
    &plainLoadYcc,
};

}  // namespace jpg
