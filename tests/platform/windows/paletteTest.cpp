// SPDX-License-Identifier: MIT
// 8-bit bitmaps take the places that their colour cube leaves from the screen's palette.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/windows/picture.h"

namespace {

using windows_test::Bytes;
using windows_test::kHeight;

constexpr uint32_t kAhead = 10, kBehind = 226, kEntries = 256;  // the cube lies between

struct Info {
  BITMAPINFOHEADER header;
  RGBQUAD colors[kEntries];
};

// Entries of the screen's palette; black where it has none.
void screenPalette(PALETTEENTRY (&entries)[kEntries]) {
  std::memset(entries, 0, sizeof(entries));
  const HDC screen = GetDC(nullptr);
  GetSystemPaletteEntries(screen, 0, kAhead, entries);
  GetSystemPaletteEntries(screen, kBehind, kEntries - kBehind, entries + kBehind);
  ReleaseDC(nullptr, screen);
}

void expectColor(const RGBQUAD &got, int red, int green, int blue, uint32_t entry) {
  EXPECT_EQ(got.rgbRed, red) << entry;
  EXPECT_EQ(got.rgbGreen, green) << entry;
  EXPECT_EQ(got.rgbBlue, blue) << entry;
  EXPECT_EQ(got.rgbReserved, 0) << entry;
}

TEST(WindowsPalette, AnEightBitBitmapHasTheCubeBetweenTheScreensColours) {
  Bytes stream;
  ASSERT_EQ(windows_test::writeMemory(&stream), JPG_OK);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  Info info;
  std::memset(&info, 0x55, sizeof(info));
  info.header.biBitCount = 8;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&info);
  ASSERT_EQ(jpgReadToWinDIBits(h, kHeight, nullptr, bmi), JPG_OK);
  Bytes bits(40 * kHeight);
  ASSERT_EQ(jpgReadToWinDIBits(h, kHeight, bits.data(), bmi), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);

  PALETTEENTRY screen[kEntries];
  screenPalette(screen);
  for (uint32_t i = 0; i < kEntries; i++) {
    if (i >= kAhead && i < kBehind) continue;
    expectColor(info.colors[i], screen[i].peRed, screen[i].peGreen, screen[i].peBlue, i);
  }
  // Red, green, blue in six steps of 51, blue the fastest.
  for (uint32_t i = kAhead; i < kBehind; i++) {
    const auto place = static_cast<int>(i - kAhead);
    expectColor(info.colors[i], 51 * (place / 36), 51 * (place / 6 % 6), 51 * (place % 6), i);
  }
}

}  // namespace
