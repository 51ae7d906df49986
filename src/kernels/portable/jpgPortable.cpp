// SPDX-License-Identifier: MIT
#include "kernels/portable/jpgPortable.h"

namespace jpg {

constexpr Kernels jpgPortableKernels = {
    {{jpgIdct1x1, jpgIdct2x2, jpgIdct4x4, jpgIdct8x8},
     {jpgIdct1x1, jpgIdct2x2, jpgIdct4x4, jpgAccurateIdct8x8},
     {jpgWideIdct1x1, jpgWideIdct2x2, jpgWideIdct4x4, jpgWideIdct8x8}},
    portableNonZeroMask,
    portableDequantise,
    portablePutGray,
    {&portablePutYcc1, &portablePutYcc2, &portablePutYcc4, &portablePutYcc8},
    portableStoreBlock,
    &portablePutYccRow,
    portableTransformAndQuantise,
    1,
    portableLoadGray,
    &portableLoadYcc,
    &portableAverageYcc,
    portableLevelMask,
    nullptr,
};

}  // namespace jpg
