#include "kernels/plain/jpgPlainPut.h"
#include "kernels/x86/jpgAvx2.h"

namespace jpg {
namespace {

constexpr YccKernels kPutYcc2 = {{avx2PutYcc11Quarter, avx2PutYcc12Quarter},
                                 {avx2PutYcc21Quarter, avx2PutYcc22Quarter}};
constexpr YccKernels kPutYcc4 = {{avx2PutYcc11Half, avx2PutYcc12Half},
                                 {avx2PutYcc21Half, avx2PutYcc22Half}};
constexpr YccKernels kPutYcc8 = {{avx2PutYcc11, avx2PutYcc12}, {avx2PutYcc21, avx2PutYcc22}};
constexpr LoadKernels kLoadYcc = {{avx2LoadYcc11, avx2LoadYcc12}, {avx2LoadYcc21, avx2LoadYcc22}};

}  // namespace

constexpr Kernels jpgAvx2Kernels = {
    avx2MakeSamples, avx2MakeHalfSamples, avx2Present,
    avx2Dequantise,  avx2PutGray,         {&plainPutYcc1, &kPutYcc2, &kPutYcc4, &kPutYcc8},
    avx2MakeLevels,  avx2LoadGray,        &kLoadYcc,
};

}  // namespace jpg
