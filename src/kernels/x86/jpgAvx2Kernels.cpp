#include "kernels/x86/jpgAvx2.h"

namespace jpg {

constexpr Kernels jpgAvx2Kernels = {
    avx2MakeSamples,
    avx2Present,
    avx2PutGray,
    {{avx2PutYcc11, avx2PutYcc12}, {avx2PutYcc21, avx2PutYcc22}},
    avx2MakeLevels,
    avx2LoadGray,
    {{avx2LoadYcc11, avx2LoadYcc12}, {avx2LoadYcc21, avx2LoadYcc22}},
};

}  // namespace jpg
