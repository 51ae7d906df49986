// SPDX-License-Identifier: MIT
// The model's inverse DCT: a matter of 32-bit integers that wrap.
#ifndef JPG_TESTS_MODEL_IDCT_H
#define JPG_TESTS_MODEL_IDCT_H

#include "model/huffman.h"

namespace jpgtest {

// How the first pass treats the coefficients of vertical frequency 1.
enum class FirstPass {
  kSquared,   // with the product x1 * x1 in the odd part, which is what the library delivers
  kTextbook,  // with x1 * S1 as the transform is defined
  kFine,      // the same, with 4 more fraction bits ahead of the odd part's products by c4
};

// Transforms a block in place and clamps the samples to -most - 1 .. most.
void modelInverseDct(ModelBlock &block, FirstPass firstPass, int16_t most = 127);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_IDCT_H
