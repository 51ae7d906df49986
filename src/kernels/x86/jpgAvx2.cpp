// SPDX-License-Identifier: MIT
#include "kernels/x86/jpgAvx2.h"

#include "kernels/portable/jpgPortable.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {

constexpr Kernels jpgAvx2Kernels = {
    {{jpgIdct1x1, jpgIdct2x2, vectorInverseTransformHalf, avx2InverseTransform},
     {jpgIdct1x1, jpgIdct2x2, vectorInverseTransformHalf, avx2AccurateTransform},
     {jpgWideIdct1x1, jpgWideIdct2x2, jpgWideIdct4x4, jpgWideIdct8x8}},
    avx2NonZeroMask,
    vectorDequantise,
    vectorPutGray,
    {&portablePutYcc1, &avx2PutYcc2, &avx2PutYcc4, &avx2PutYcc8},
    vectorStoreBlock,
    &avx2PutYccRow,
    avx2TransformAndQuantise,
    2,
    vectorLoadGray,
    &avx2LoadYcc,
    &avx2AverageYcc,
    avx2LevelMask,
    &jpgVectorKernels,
};

}  // namespace jpg
