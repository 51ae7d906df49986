// The forward transform with its quantisation for any processor.
#ifndef JPG_KERNELS_PLAIN_LEVELS_H
#define JPG_KERNELS_PLAIN_LEVELS_H

#include "kernels/jpgKernels.h"

namespace jpg {

void plainMakeLevels(int16_t *blocks, uint32_t count, const QuantSteps &steps, uint64_t *present);

}  // namespace jpg

#endif
