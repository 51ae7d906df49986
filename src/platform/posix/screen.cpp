// SPDX-License-Identifier: MIT
#include "platform.h"

namespace jpg {
namespace {

constexpr DWORD kEntries = 256;
constexpr DWORD kStaticHalf = 10;  // static colours at either end

// Red, green, blue of the static colours, in order of their entries.
constexpr uint8_t kStatic[2 * kStaticHalf][3] = {
    {0x00, 0x00, 0x00}, {0x80, 0x00, 0x00}, {0x00, 0x80, 0x00}, {0x80, 0x80, 0x00},
    {0x00, 0x00, 0x80}, {0x80, 0x00, 0x80}, {0x00, 0x80, 0x80}, {0xC0, 0xC0, 0xC0},
    {0xC0, 0xDC, 0xC0}, {0xA6, 0xCA, 0xF0}, {0xFF, 0xFB, 0xF0}, {0xA0, 0xA0, 0xA4},
    {0x80, 0x80, 0x80}, {0xFF, 0x00, 0x00}, {0x00, 0xFF, 0x00}, {0xFF, 0xFF, 0x00},
    {0x00, 0x00, 0xFF}, {0xFF, 0x00, 0xFF}, {0x00, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF}};

PALETTEENTRY entryAt(DWORD i) {
  const bool low = i < kStaticHalf;
  if (!low && i < kEntries - kStaticHalf) return {0, 0, 0, 0};
  const uint8_t *color = kStatic[low ? i : i - (kEntries - 2 * kStaticHalf)];
  return {color[0], color[1], color[2], 0};
}

}  // namespace

HDC GetDC(void * /*window*/) { return nullptr; }

DWORD GetSystemPaletteEntries(HDC /*context*/, DWORD first, DWORD count, PALETTEENTRY *entries) {
  DWORD n = 0;
  for (; n < count && first + n < kEntries; n++) entries[n] = entryAt(first + n);
  return n;
}

LONG ReleaseDC(void * /*window*/, HDC /*context*/) { return 1; }

}  // namespace jpg
