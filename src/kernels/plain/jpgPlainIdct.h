// Inverse transforms for any processor.
#ifndef JPG_KERNELS_PLAIN_IDCT_H
#define JPG_KERNELS_PLAIN_IDCT_H

#include <stdint.h>

namespace jpg {

void plainMakeSamples(int16_t *block, uint32_t last);
void plainMakeHalfSamples(int16_t *block, uint32_t last);

}  // namespace jpg

#endif
