// SPDX-License-Identifier: MIT
#include "kernels/definition.h"

#include <algorithm>
#include <cstring>

#include "model/fdct.h"
#include "model/idct.h"
#include "share/jpgTables.h"

namespace jpgtest {
namespace {

template <FirstPass kFirstPass, int16_t kMost>
void inverse8x8(int16_t *block, uint32_t /*last*/) {
  ModelBlock b;
  std::copy_n(block, 64, b.begin());
  modelInverseDct(b, kFirstPass, kMost);
  std::copy_n(b.begin(), 64, block);
}

// floor((v + half) / 2^n) of what is left modulo 2^32, as a sample.
int32_t shifted(int64_t v, unsigned n) {
  const int64_t wrapped = static_cast<int32_t>(static_cast<uint32_t>(v + (int64_t{1} << (n - 1))));
  return static_cast<int32_t>(wrapped >> n);
}

template <int16_t kMost>
int16_t limited(int32_t v) {
  const auto low = static_cast<int16_t>(static_cast<uint16_t>(v));
  return std::clamp<int16_t>(low, -kMost - 1, kMost);
}

// Four values of a line, scaled by 4096: 5352 and 2217 are 4096 sqrt(2) times the cosine and the
// sine of pi/8.
struct Four {
  int64_t y[4];
};

Four line4(int64_t x0, int64_t x1, int64_t x2, int64_t x3) {
  const int64_t e0 = (x0 + x2) * 4096, e1 = (x0 - x2) * 4096;
  const int64_t u = x1 * 5352 + x3 * 2217, t = x1 * 2217 - x3 * 5352;
  return {{e0 + u, e1 + t, e1 - t, e0 - u}};
}

template <int16_t kMost>
void inverse4x4(int16_t *block, uint32_t /*last*/) {
  int32_t work[4][4];
  for (int j = 0; j < 4; j++) {
    const Four f = line4(block[j], block[8 + j], block[16 + j], block[24 + j]);
    for (int k = 0; k < 4; k++) work[k][j] = shifted(f.y[k], 12);
  }
  for (int r = 0; r < 4; r++) {
    const Four f = line4(work[r][0], work[r][1], work[r][2], work[r][3]);
    for (int k = 0; k < 4; k++) block[8 * r + k] = limited<kMost>(shifted(f.y[k], 15));
  }
}

template <int16_t kMost>
void inverse2x2(int16_t *block, uint32_t /*last*/) {
  const int32_t a = block[0], m = block[1], b = block[8], n = block[9];
  block[0] = limited<kMost>(shifted(a + b + m + n, 3));
  block[1] = limited<kMost>(shifted(a + b - m - n, 3));
  block[8] = limited<kMost>(shifted(a - b + m - n, 3));
  block[9] = limited<kMost>(shifted(a - b - m + n, 3));
}

template <int16_t kMost>
void inverse1x1(int16_t *block, uint32_t /*last*/) {
  block[0] = limited<kMost>(shifted(block[0], 3));
}

uint64_t nonZeroMask(const int16_t *block) {
  uint64_t mask = 0;
  for (uint32_t k = 0; k < 64; k++) {
    if (block[jpg::kZigZag.natural[k]] != 0) mask |= uint64_t{1} << k;
  }
  return mask;
}

// Products to 16 bits.
uint32_t dequantise(const int16_t *in, const int16_t *steps, int16_t *out) {
  uint32_t last = 0;
  for (uint32_t k = 0; k < 64; k++) {
    const uint32_t n = jpg::kZigZag.natural[k];
    out[n] = static_cast<int16_t>(static_cast<uint32_t>(in[n] * steps[n]) & 0xFFFF);
    if (out[n] != 0) last = k;
  }
  return last;
}

// Of each coefficient the nearest multiple of the step, halves away from zero.
void transformAndQuantise(int16_t *blocks, uint32_t count, const jpg::QuantSteps &steps,
                          uint64_t *masks) {
  for (uint32_t i = 0; i < count; i++, blocks += 64) {
    int32_t transformed[8][8];
    for (int k = 0; k < 64; k++) transformed[k / 8][k % 8] = blocks[k];
    modelForwardDct(transformed);
    masks[i] = 0;
    for (uint32_t k = 0; k < 64; k++) {
      const uint32_t n = jpg::kZigZag.natural[k];
      const int32_t c = transformed[n / 8][n % 8];
      const auto step = static_cast<int32_t>(steps.step[k]);
      const int32_t magnitude = ((c < 0 ? -c : c) + step / 2) / step;
      blocks[k] = static_cast<int16_t>(c < 0 ? -magnitude : magnitude);
      if (magnitude != 0) masks[i] |= uint64_t{1} << k;
    }
  }
}

uint64_t levelMask(const int16_t *levels, uint32_t shift) {
  uint64_t mask = 0;
  for (uint32_t k = 0; k < 64; k++) {
    // Division by 2^shift toward zero.
    if (levels[k] / (1 << shift) != 0) mask |= uint64_t{1} << k;
  }
  return mask;
}

}  // namespace

constexpr int16_t kByte = 127, kWide = 2047;

const jpg::Kernels kDefinition = {
    {{inverse1x1<kByte>, inverse2x2<kByte>, inverse4x4<kByte>,
      inverse8x8<FirstPass::kSquared, kByte>},
     {inverse1x1<kByte>, inverse2x2<kByte>, inverse4x4<kByte>, inverse8x8<FirstPass::kFine, kByte>},
     {inverse1x1<kWide>, inverse2x2<kWide>, inverse4x4<kWide>,
      inverse8x8<FirstPass::kFine, kWide>}},
    nonZeroMask,
    dequantise,
    nullptr,
    {},
    nullptr,
    nullptr,
    transformAndQuantise,
    1,
    nullptr,
    nullptr,
    nullptr,
    levelMask,
    nullptr};

}  // namespace jpgtest
