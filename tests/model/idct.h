// The model's inverse DCT: a matter of 32-bit integers that wrap.
#ifndef JPG_TESTS_MODEL_IDCT_H
#define JPG_TESTS_MODEL_IDCT_H

#include "model/huffman.h"

namespace jpgtest {

// How the first pass treats the coefficients of vertical frequency 1.
enum class FirstPass {
  kSquared,   // with the product x1 * x1 in the odd part, which is what the library delivers
  kTextbook,  // with x1 * S1 as the transform is defined
};

// Transforms a block in place and clamps the samples to -128..127.
void modelInverseDct(ModelBlock &block, FirstPass firstPass);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_IDCT_H
