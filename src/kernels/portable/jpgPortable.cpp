#include "kernels/portable/jpgPortable.h"

namespace jpg {

constexpr Kernels jpgPortableKernels = {
    {jpgIdct1x1, jpgIdct2x2, jpgIdct4x4, jpgIdct8x8},
    portableNonZeroMask,
    portableDequantise,
    portablePutGray,
    {&portablePutYcc1, &portablePutYcc2, &portablePutYcc4, &portablePutYcc8},
    portableTransformAndQuantise,
    portableLoadGray,
    &portableLoadYcc,
    &portableAverageYcc,
    portableLevelMask,
};

}  // namespace jpg
