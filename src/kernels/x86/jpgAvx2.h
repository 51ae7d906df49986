// Kernels for x86 processors with AVX2. The files of this set are compiled for them; so
// that no code of theirs is taken for another's, they include no inline functions of ours.
#ifndef JPG_KERNELS_X86_AVX2_H
#define JPG_KERNELS_X86_AVX2_H

#include "kernels/jpgKernels.h"

namespace jpg {

extern const Kernels jpgAvx2Kernels;

void avx2MakeSamples(int16_t *block, uint32_t last);
void avx2MakeHalfSamples(int16_t *block, uint32_t last);
uint64_t avx2Present(const int16_t *block);
uint32_t avx2Dequantise(const int16_t *in, const int16_t *steps, int16_t *out);
void avx2PutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                 uint32_t columns);
void avx2PutYcc11(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns);
void avx2PutYcc12(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns);
void avx2PutYcc21(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns);
void avx2PutYcc22(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns);

void avx2PutYcc11Half(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                      uint32_t columns);
void avx2PutYcc12Half(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                      uint32_t columns);
void avx2PutYcc21Half(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                      uint32_t columns);
void avx2PutYcc22Half(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                      uint32_t columns);
void avx2PutYcc11Quarter(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                         uint32_t columns);
void avx2PutYcc12Quarter(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                         uint32_t columns);
void avx2PutYcc21Quarter(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                         uint32_t columns);
void avx2PutYcc22Quarter(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                         uint32_t columns);
void avx2MakeLevels(int16_t *blocks, uint32_t count, const QuantSteps &steps, uint64_t *present);
void avx2LoadGray(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
void avx2LoadYcc11(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
void avx2LoadYcc12(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
void avx2LoadYcc21(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);
void avx2LoadYcc22(const uint8_t *in, ptrdiff_t stride, int16_t *blocks);

}  // namespace jpg

#endif
