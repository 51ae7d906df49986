// Blocks from pixels for any processor.
#ifndef JPG_KERNELS_PLAIN_LOAD_H
#define JPG_KERNELS_PLAIN_LOAD_H

#include "kernels/jpgKernels.h"

namespace jpg {

void plainLoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

extern const LoadKernels plainLoadYcc;

}  // namespace jpg

#endif
