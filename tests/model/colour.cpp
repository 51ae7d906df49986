// SPDX-License-Identifier: MIT
#include "model/colour.h"

#include <algorithm>

namespace jpgtest {
namespace {

// value * hundredThousandths / 100000, to the nearest integer, halves away from zero.
int scaled(int value, int hundredThousandths) {
  const int64_t product = int64_t{value} * hundredThousandths;
  const int64_t magnitude = ((product < 0 ? -product : product) * 2 + 100000) / 200000;
  return static_cast<int>(product < 0 ? -magnitude : magnitude);
}

uint8_t limited(int sample) { return static_cast<uint8_t>(std::clamp(sample + 128, 0, 255)); }

}  // namespace

std::array<uint8_t, 3> modelYccToBgr(int y, int cb, int cr) {
  return {limited(y + scaled(cb, 177200)), limited(y + scaled(cb, -34414) + scaled(cr, -71414)),
          limited(y + scaled(cr, 140200))};
}

}  // namespace jpgtest
