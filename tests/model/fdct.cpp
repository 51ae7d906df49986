// SPDX-License-Identifier: MIT
#include "model/fdct.h"

#include <array>
#include <cstddef>

namespace jpgtest {
namespace {

// floor(n / d), d above 0.
int32_t floorDiv(int64_t n, int64_t d) {
  return static_cast<int32_t>(n >= 0 ? n / d : -((-n + d - 1) / d));
}

// One line of the forward transform: the even outputs at the input's scale (0, 4), the others
// times 4096.
std::array<int64_t, 8> forwardLine(const std::array<int64_t, 8> &x) {
  const auto round12 = [](int64_t v) { return int64_t{floorDiv(v + 2048, 4096)}; };
  const int64_t s07 = x[0] + x[7], d07 = x[0] - x[7], s16 = x[1] + x[6], d16 = x[1] - x[6];
  const int64_t s25 = x[2] + x[5], d25 = x[2] - x[5], s34 = x[3] + x[4], d34 = x[3] - x[4];
  const int64_t e0 = s07 + s34, e1 = s07 - s34, e2 = s16 + s25, e3 = s16 - s25;
  const int64_t a = round12((d16 - d25) * 2896), b = round12((d16 + d25) * 2896);
  const int64_t p = d34 - a, q = d34 + a, r = d07 + b, t = d07 - b;
  return {
      e0 + e2, r * 4551 + (r + q) * 1130, e1 * 3135 + (e1 + e3) * 2217, (t + p) * 4816 - p * 8034,
      e0 - e2, (t + p) * 4816 - t * 1598, (e1 + e3) * 2217 - e3 * 7569, (r + q) * 1130 - q * 6811};
}

}  // namespace

void modelForwardDct(int32_t (*block)[8]) {
  for (std::size_t j = 0; j < 8; j++) {
    std::array<int64_t, 8> x;
    for (std::size_t i = 0; i < 8; i++) x[i] = block[i][j];
    const auto y = forwardLine(x);
    for (std::size_t i = 0; i < 8; i++) {
      block[i][j] = i % 4 == 0 ? static_cast<int32_t>(y[i] * 8) : floorDiv(y[i] + 256, 512);
    }
  }
  for (std::size_t i = 0; i < 8; i++) {
    std::array<int64_t, 8> x;
    for (std::size_t k = 0; k < 8; k++) x[k] = block[i][k];
    const auto y = forwardLine(x);
    for (std::size_t k = 0; k < 8; k++) {
      block[i][k] = k % 4 == 0 ? floorDiv(y[k] + 4, 8) : floorDiv(y[k] + 16384, 32768);
    }
  }
}

}  // namespace jpgtest
