// SPDX-License-Identifier: MIT
#include "kernels/vector/jpgVector.h"

#include "kernels/portable/jpgPortable.h"

namespace jpg {

constexpr Kernels jpgVectorKernels = {
    {{jpgIdct1x1, jpgIdct2x2, vectorInverseTransformHalf, vectorInverseTransform},
     {jpgIdct1x1, jpgIdct2x2, vectorInverseTransformHalf, vectorAccurateTransform},
     {jpgWideIdct1x1, jpgWideIdct2x2, jpgWideIdct4x4, jpgWideIdct8x8}},
    vectorNonZeroMask,
    vectorDequantise,
    vectorPutGray,
    {&portablePutYcc1, &vectorPutYcc2, &vectorPutYcc4, &vectorPutYcc8},
    vectorStoreBlock,
    &vectorPutYccRow,
    vectorTransformAndQuantise,
    1,
    vectorLoadGray,
    &vectorLoadYcc,
    &vectorAverageYcc,
    vectorLevelMask,
    &jpgPortableKernels,
};

}  // namespace jpg
