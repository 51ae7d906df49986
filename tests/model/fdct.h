// SPDX-License-Identifier: MIT
// The model's forward DCT, in 64-bit integers.
#ifndef JPG_TESTS_MODEL_FDCT_H
#define JPG_TESTS_MODEL_FDCT_H

#include <cstdint>

namespace jpgtest {

// Transforms a block of samples in place, to 8 times the scale of T.81 A.3.3.
void modelForwardDct(int32_t (*block)[8]);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_FDCT_H
