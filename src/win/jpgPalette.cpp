// SPDX-License-Identifier: MIT
#include "win/jpgPalette.h"

#include "platform.h"

namespace jpg {
namespace {

constexpr uint32_t kAheadCount = 10;    // screen entries ahead of the cube
constexpr uint32_t kBehindFirst = 226;  // first of the screen entries behind the cube
constexpr uint32_t kBehindCount = 30;

// Copies screen palette entries to the same places of the table.
void copyScreenEntries(HDC screen, uint32_t first, uint32_t count, RGBQUAD *table) {
  PALETTEENTRY entries[kBehindCount] = {};
  GetSystemPaletteEntries(screen, first, count, entries);
  for (uint32_t i = 0; i < count; i++) {
    table[first + i] = {entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
  }
}

uint8_t valueOf(int32_t level) { return static_cast<uint8_t>(kLevelStep * level); }

}  // namespace

void fillGrayRamp(RGBQUAD *table) {
  for (uint32_t i = 0; i < 256; i++) {
    const auto v = static_cast<uint8_t>(i);
    table[i] = {v, v, v, 0};
  }
}

void fillReductionPalette(RGBQUAD *table) {
  for (int32_t r = 0; r < kCubeLevels; r++) {
    for (int32_t g = 0; g < kCubeLevels; g++) {
      for (int32_t b = 0; b < kCubeLevels; b++) {
        table[cubeIndex(r, g, b)] = {valueOf(b), valueOf(g), valueOf(r), 0};
      }
    }
  }
  HDC screen = GetDC(nullptr);
  copyScreenEntries(screen, 0, kAheadCount, table);
  copyScreenEntries(screen, kBehindFirst, kBehindCount, table);
  ReleaseDC(nullptr, screen);
}

}  // namespace jpg
