// SPDX-License-Identifier: MIT
// Writing from Windows bitmaps: the stream is that of the same pixels in a rectangle.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "jpg.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Info {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  const BITMAPINFO *bmi() const { return reinterpret_cast<const BITMAPINFO *>(this); }
};

Info describe(int32_t width, int32_t height, uint16_t bits) {
  Info info;
  info.header.biSize = 40;
  info.header.biWidth = width;
  info.header.biHeight = height;
  info.header.biPlanes = 1;
  info.header.biBitCount = bits;
  for (int i = 0; i < 256; i++) {
    info.colors[i] = {static_cast<uint8_t>(i * 7), static_cast<uint8_t>(i * 13 + 5),
                      static_cast<uint8_t>(255 - i), 0};
  }
  return info;
}

Bytes finish(JPGHANDLE h) {
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes out(bytes, bytes + size);
  jpgWriteFreeBitstream(data);
  return out;
}

// The stream of a whole bitmap, written with `components` (0: not told).
Bytes writeDib(const Info &info, const Bytes &bits, int32_t components = 0) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  if (components != 0) {
    EXPECT_EQ(jpgWriteSetNumberOfComponents(h, components), JPG_OK);
  }
  const int32_t rows = info.header.biHeight < 0 ? -info.header.biHeight : info.header.biHeight;
  EXPECT_EQ(jpgWriteFromWinDIBits(h, rows, bits.data(), info.bmi()), JPG_OK);
  return finish(h);
}

// The stream of rows from the top, without padding.
Bytes writeRows(Bytes pixels, int32_t width, int32_t height, int32_t channels) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  JpgRect rect = {};
  rect.width = width;
  rect.height = height;
  rect.channels = channels;
  rect.bitsPerSample = 8;
  rect.stride = width * channels;
  rect.bits = pixels.data();
  EXPECT_EQ(jpgWriteFromRect(h, &rect, static_cast<uint32_t>(height)), JPG_OK);
  return finish(h);
}

constexpr int32_t kWidth = 13, kHeight = 5;

// A bitmap's bytes by rule.
Bytes fillBits(uint32_t bits) {
  Bytes out((kWidth * bits + 31) / 32 * 4 * kHeight);
  jpgtest::Random random(bits);
  for (uint8_t &b : out) b = random.byte();
  return out;
}

// The pixel of a bitmap: blue, green, red.
RGBQUAD pixelAt(const Info &info, const Bytes &bits, int32_t x, int32_t memoryRow, bool is565) {
  const uint32_t depth = info.header.biBitCount;
  const size_t row = (static_cast<size_t>(kWidth) * depth + 31) / 32 * 4;
  const uint8_t *p = bits.data() + static_cast<size_t>(memoryRow) * row;
  const auto ux = static_cast<uint32_t>(x);
  if (depth == 1) return info.colors[p[ux / 8] >> (7 - ux % 8) & 1];
  if (depth == 4) return info.colors[ux % 2 == 0 ? p[ux / 2] >> 4 : p[ux / 2] & 15];
  if (depth == 8) return info.colors[p[ux]];
  if (depth == 16) {
    const uint32_t w = p[2 * ux] | static_cast<uint32_t>(p[2 * ux + 1]) << 8;
    const uint32_t red = is565 ? w >> 11 : w >> 10 & 31;
    const uint32_t green = is565 ? w >> 5 & 63 : w >> 5 & 31;
    return {static_cast<uint8_t>((w & 31) << 3), static_cast<uint8_t>(green << (is565 ? 2 : 3)),
            static_cast<uint8_t>(red << 3), 0};
  }
  const uint32_t bytes = depth / 8;
  return {p[bytes * ux], p[bytes * ux + 1], p[bytes * ux + 2], 0};
}

// Rows from the top of a bitmap taken as bottom-up; grey is the green byte.
Bytes converted(const Info &info, const Bytes &bits, int32_t channels, bool is565 = false) {
  Bytes out;
  for (int32_t y = kHeight - 1; y >= 0; y--) {
    for (int32_t x = 0; x < kWidth; x++) {
      const RGBQUAD c = pixelAt(info, bits, x, y, is565);
      if (channels == 3) out.push_back(c.rgbBlue);
      out.push_back(c.rgbGreen);
      if (channels == 3) out.push_back(c.rgbRed);
    }
  }
  return out;
}

TEST(DibWrite, EveryDepthIsConvertedToColourAndToGreen) {
  for (const uint16_t depth : std::vector<uint16_t>{1, 4, 8, 16, 24, 32}) {
    const Info info = describe(kWidth, kHeight, depth);
    const Bytes bits = fillBits(depth);
    for (const int32_t channels : {1, 3}) {
      const Bytes expected = writeRows(converted(info, bits, channels), kWidth, kHeight, channels);
      EXPECT_EQ(writeDib(info, bits, channels) == expected, true) << depth << " bits, " << channels;
    }
  }
}

TEST(DibWrite, EightBitsSuggestGreyAndOtherDepthsColour) {
  for (const uint16_t depth : std::vector<uint16_t>{1, 4, 8, 16, 24, 32}) {
    const Info info = describe(kWidth, kHeight, depth);
    const Bytes bits = fillBits(depth);
    EXPECT_EQ(writeDib(info, bits) == writeDib(info, bits, depth == 8 ? 1 : 3), true) << depth;
  }
}

TEST(DibWrite, SixteenBitsAre565OnlyWithMasksThatSaySo) {
  const struct {
    uint32_t compression, redMask;
    bool is565;
  } kCases[] = {{0, 0xF800, false}, {3, 0x7C00, false}, {3, 0xF800, true}};
  for (const auto &c : kCases) {
    Info info = describe(kWidth, kHeight, 16);
    info.header.biCompression = c.compression;
    std::memcpy(info.colors, &c.redMask, 4);
    const Bytes bits = fillBits(16);
    const Bytes expected = writeRows(converted(info, bits, 3, c.is565), kWidth, kHeight, 3);
    EXPECT_EQ(writeDib(info, bits) == expected, true) << std::hex << c.redMask;
  }
}

TEST(DibWrite, TopDownColourIsUprightAndConvertedDepthsAreUpsideDown) {
  Info direct = describe(kWidth, -kHeight, 24);
  const Bytes bits = fillBits(24);
  const size_t row = 40;
  Bytes upright;
  for (size_t y = 0; y < kHeight; y++) {
    upright.insert(upright.end(), bits.begin() + static_cast<long>(y * row),
                   bits.begin() + static_cast<long>(y * row) + 3 * kWidth);
  }
  EXPECT_EQ(writeDib(direct, bits) == writeRows(upright, kWidth, kHeight, 3), true);
  Info indexed = describe(kWidth, -kHeight, 8);
  const Bytes indices = fillBits(8);
  EXPECT_EQ(
      writeDib(indexed, indices) == writeRows(converted(indexed, indices, 1), kWidth, kHeight, 1),
      true);
}

TEST(DibWrite, APaletteShorterThanItsIndicesIsBlackBehindItsEnd) {
  Info info = describe(kWidth, kHeight, 8);
  info.header.biClrUsed = 100;
  const Bytes bits = fillBits(8);
  Info black = describe(kWidth, kHeight, 8);
  for (int i = 100; i < 256; i++) black.colors[i] = {0, 0, 0, 0};
  for (const int32_t channels : {1, 3}) {
    EXPECT_EQ(writeDib(info, bits, channels) == writeDib(black, bits, channels), true);
  }
}

TEST(DibWrite, PiecesOfABitmapTellItsWholeSize) {
  const Info info = describe(16, 32, 24);
  Bytes bits(48 * 32);
  for (size_t i = 0; i < bits.size(); i++) bits[i] = static_cast<uint8_t>(i * 31 / 7);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  // Image rows from the top: the upper half is behind the lower one in memory.
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 16, bits.data() + 48 * 16, info.bmi()), JPG_OK);
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 16, bits.data(), info.bmi()), JPG_OK);
  EXPECT_EQ(finish(h) == writeDib(info, bits), true);
}

TEST(DibWrite, RunLengthsAreExpanded) {
  Info info = describe(8, 4, 8);
  info.header.biCompression = BI_RLE8;
  // Row 0: 3 x 10, 5 literals; row 1: jump 2 right; row 3 by a jump down; the rest is 0.
  const Bytes rle = {3, 10, 0, 5, 1, 2, 3, 4, 5, 0, 0, 0, 0, 2, 2, 0, 4, 7, 0, 2, 0, 2, 1, 9, 0, 1};
  info.header.biSizeImage = static_cast<uint32_t>(rle.size());
  const Bytes plain = {10, 10, 10, 1, 2, 3, 4, 5,  //
                       0,  0,  7,  7, 7, 7, 0, 0,  //
                       0,  0,  0,  0, 0, 0, 0, 0,  //
                       0,  0,  0,  0, 0, 0, 9, 0};
  Info same = describe(8, 4, 8);
  EXPECT_EQ(writeDib(info, rle, 3) == writeDib(same, plain, 3), true);
  // Four bits: a run alternates its nibbles, literals are packed and padded to a word.
  Info narrow = describe(8, 2, 4);
  narrow.header.biCompression = BI_RLE4;
  const Bytes rle4 = {5, 0x12, 0, 3, 0x34, 0x50, 0, 0, 8, 0xAB, 0, 1};
  narrow.header.biSizeImage = static_cast<uint32_t>(rle4.size());
  const Bytes plain4 = {0x12, 0x12, 0x13, 0x45, 0xAB, 0xAB, 0xAB, 0xAB};
  EXPECT_EQ(writeDib(narrow, rle4, 3) == writeDib(describe(8, 2, 4), plain4, 3), true);
}

uint32_t writeRle(const Bytes &rle, int32_t width, int32_t height) {
  Info info = describe(width, height, 8);
  info.header.biCompression = BI_RLE8;
  info.header.biSizeImage = static_cast<uint32_t>(rle.size());
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  const uint32_t r =
      jpgWriteFromWinDIBits(h, height < 0 ? -height : height, rle.data(), info.bmi());
  finish(h);
  return r;
}

TEST(DibWrite, DamagedRunLengthsFailOrEndTheBitmap) {
  EXPECT_EQ(writeRle({9, 1, 0, 1}, 8, 2), JPG_E_FAIL);                // past the row
  EXPECT_EQ(writeRle({0, 2, 200, 0, 1, 1, 0, 1}, 8, 2), JPG_E_FAIL);  // from beyond it
  EXPECT_EQ(writeRle({0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0}, 8, 2), JPG_E_FAIL);
  EXPECT_EQ(writeRle({8, 1}, 8, 2), JPG_OK);  // the data end
  EXPECT_EQ(writeRle({0, 5, 1, 2}, 8, 2), JPG_OK);
  EXPECT_EQ(writeRle({0, 2, 0, 250, 8, 1}, 8, 2), JPG_OK);  // below the last row
  EXPECT_EQ(writeRle({8, 1, 0, 1}, 8, -2), JPG_E_FAIL);     // never top-down
}

TEST(DibWrite, RefusalsComeInTheirOrder) {
  const Bytes bits(4096);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  Info info = describe(8, 8, 24);
  EXPECT_EQ(jpgWriteFromWinDIBits(nullptr, 8, bits.data(), info.bmi()), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 0, nullptr, info.bmi()), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 0, bits.data(), nullptr), JPG_E_INVALID_HANDLE);
  for (const int32_t lines : {0, -1, 9, INT32_MAX}) {
    EXPECT_EQ(jpgWriteFromWinDIBits(h, lines, bits.data(), info.bmi()), JPG_E_INVALID_PARAMETER);
  }
  for (const int32_t width : {0, -8, INT32_MAX / 4 + 1, INT32_MAX}) {
    for (const uint16_t depth : std::vector<uint16_t>{8, 16, 24, 32}) {
      const Info odd = describe(width, 8, depth);
      EXPECT_EQ(jpgWriteFromWinDIBits(h, 8, bits.data(), odd.bmi()), JPG_E_INVALID_PARAMETER)
          << width << " " << depth;
    }
  }
  for (const uint16_t depth : std::vector<uint16_t>{0, 2, 12, 48}) {
    const Info odd = describe(8, 8, depth);
    EXPECT_EQ(jpgWriteFromWinDIBits(h, 8, bits.data(), odd.bmi()), JPG_E_FAIL) << depth;
  }
  Info packed = describe(8, 8, 8);
  packed.header.biCompression = BI_BITFIELDS;
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 8, bits.data(), packed.bmi()), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(jpgWriteSetNumberOfComponents(h, 4), JPG_OK);
  const Info good = describe(8, 8, 24);
  EXPECT_EQ(jpgWriteFromWinDIBits(h, 8, bits.data(), good.bmi()), JPG_E_INVALID_FUNCTION);
  finish(h);
}

}  // namespace
