// SPDX-License-Identifier: MIT
#include "model/bitmap.h"

#include <algorithm>

namespace jpgtest {
namespace {

int floor16(int v) { return v >= 0 ? v / 16 : -((15 - v) / 16); }
int clampByte(int v) { return std::min(255, std::max(0, v)); }

}  // namespace

Bytes paletteModel(const Bytes &bgr, int width, int height) {
  constexpr int kBounds[] = {42, 84, 127, 169, 212, 255};
  std::vector<int> work(bgr.begin(), bgr.end());
  Bytes out;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      int level[3];
      for (int k = 0; k < 3; k++) {
        const auto at = [&](int dx, int dy) -> int & {
          return work[static_cast<size_t>(((y + dy) * width + x + dx) * 3 + k)];
        };
        const int value = clampByte(at(0, 0));
        level[k] = 0;
        while (value > kBounds[level[k]]) level[k]++;
        const int error = value - 51 * level[k];
        if (x + 1 < width) at(1, 0) += floor16(error * 7);
        if (y + 1 == height) continue;
        if (x + 1 < width) at(1, 1) += floor16(error);
        at(0, 1) += floor16(error * 5);
        if (x > 0) at(-1, 1) += floor16(error * 3);
      }
      out.push_back(static_cast<uint8_t>(10 + 36 * level[2] + 6 * level[1] + level[0]));
    }
  }
  return out;
}

Bytes wordModel(const Bytes &bgr, int width, int height) {
  std::vector<int> work(bgr.begin(), bgr.end());
  Bytes out;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      int kept[3];
      for (int k = 0; k < 3; k++) {
        const size_t i = static_cast<size_t>((y * width + x) * 3 + k);
        const int value = clampByte(work[i]);
        kept[k] = value & (k == 1 ? 0xFC : 0xF8);
        const int error = value - kept[k];
        if (y + 1 < height) work[i + static_cast<size_t>(3 * width)] += error / 2;
        if (x + 1 < width) work[i + 3] += error - error / 2;
      }
      const int word = kept[2] << 8 | kept[1] << 3 | kept[0] >> 3;
      out.push_back(static_cast<uint8_t>(word));
      out.push_back(static_cast<uint8_t>(word >> 8));
    }
  }
  return out;
}

Bytes rowsOf(const Bytes &bits, int32_t width, int32_t height, int32_t bytes, bool bottomUp) {
  const size_t row = static_cast<size_t>(width * bytes + 3) / 4 * 4;
  Bytes out;
  for (int32_t y = 0; y < height; y++) {
    const size_t at = static_cast<size_t>(bottomUp ? height - 1 - y : y) * row;
    out.insert(out.end(), bits.begin() + static_cast<long>(at),
               bits.begin() + static_cast<long>(at) + width * bytes);
  }
  return out;
}

}  // namespace jpgtest
