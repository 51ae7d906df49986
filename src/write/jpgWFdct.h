// The forward DCT of the write side.
#ifndef JPG_WRITE_WFDCT_H
#define JPG_WRITE_WFDCT_H

#include <stdint.h>

namespace jpg {

// Transforms 64 level-shifted samples (-128..128, row-major) at `block` into DCT
// coefficients, in place, at 8 times the scale of T.81 A.3.3: the DC term is the
// plain sum of the samples.
void jpgFdct8x8(int16_t *block);

}  // namespace jpg

#endif
