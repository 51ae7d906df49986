// Pixel output for any processor.
#ifndef JPG_KERNELS_PLAIN_PUT_H
#define JPG_KERNELS_PLAIN_PUT_H

#include "kernels/jpgKernels.h"

namespace jpg {

void plainPutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns);

extern const YccKernels plainPutYcc1, plainPutYcc2, plainPutYcc4, plainPutYcc8;

}  // namespace jpg

#endif
