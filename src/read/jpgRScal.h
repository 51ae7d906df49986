// Reduced transforms of scaled output.
//
// In: the low-frequency corner of a block's dequantised coefficients. Out: the
// samples of a smaller cell, in the block's top-left corner, not limited; limitCorner does
// that.
#ifndef JPG_READ_RSCAL_H
#define JPG_READ_RSCAL_H

#include <stdint.h>

namespace jpg {

// Half size: coefficients of rows and columns 0 to 3 into 4 x 4 samples.
void jpgIdct4x4(int16_t *block);

// Quarter size: coefficients of rows and columns 0 and 1 into 2 x 2 samples.
void jpgIdct2x2(int16_t *block);

// Limits the n x n samples in the block's top-left corner.
void limitCorner(int16_t *block, uint32_t n);

}  // namespace jpg

#endif
