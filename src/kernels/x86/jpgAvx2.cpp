// SPDX-License-Identifier: MIT
#include "kernels/x86/jpgAvx2.h"

#include "kernels/portable/jpgPortable.h"

namespace jpg {

constexpr Kernels jpgAvx2Kernels = {
    {{jpgIdct1x1, jpgIdct2x2, avx2InverseTransformHalf, avx2InverseTransform},
     {jpgIdct1x1, jpgIdct2x2, avx2InverseTransformHalf, avx2AccurateTransform},
     {jpgWideIdct1x1, jpgWideIdct2x2, jpgWideIdct4x4, jpgWideIdct8x8}},
    avx2NonZeroMask,
    avx2Dequantise,
    avx2PutGray,
    {&portablePutYcc1, &avx2PutYcc2, &avx2PutYcc4, &avx2PutYcc8},
    avx2StoreBlock,
    &avx2PutYccRow,
    avx2TransformAndQuantise,
    2,
    avx2LoadGray,
    &avx2LoadYcc,
    &avx2AverageYcc,
    avx2LevelMask,
};

}  // namespace jpg
