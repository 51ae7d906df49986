// SPDX-License-Identifier: MIT
// Reading into Windows bitmaps.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "jpg.h"
#include "model/bitmap.h"
#include "support/picture.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

// A bitmap description with its colour table, guarded behind.
struct Info {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  uint32_t guard = 0xA5A5A5A5;
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

class Handle {
 public:
  explicit Handle(const Bytes &data) : data_(data) {
    EXPECT_RESULT(JPG_OK,
                  jpgReadPrologFromMemory(data_.data(), static_cast<int32_t>(data_.size()), 0, &h));
  }
  ~Handle() { EXPECT_EQ(jpgReadEpilog(h), JPG_OK); }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  JPGHANDLE h = nullptr;

 private:
  Bytes data_;
};

const std::vector<uint8_t> kGray = {0x11};
const std::vector<uint8_t> kColor = {0x22, 0x11, 0x11};

Bytes colorStream() { return encode(makePicture(21, 18, kColor)); }

// The picture's rows from the top, blue first, by way of a rectangle.
Bytes pixelsOf(const Bytes &stream, int32_t width, int32_t height, int32_t bytes) {
  Handle handle(stream);
  Bytes out(static_cast<size_t>(width * height * bytes));
  JpgRect rect = {};
  rect.width = width;
  rect.stride = width * bytes;
  rect.bitsPerPixel = 8 * bytes;
  rect.bits = out.data();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(handle.h, &rect, height));
  return out;
}

TEST(DibHeader, DescribesTheImageForTheDepthAskedFor) {
  Handle handle(colorStream());
  for (uint16_t asked = 0; asked < 100; asked++) {
    Info info;
    info.header.biBitCount = asked;
    info.header.biClrUsed = 77;
    EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
    const bool served = asked == 8 || asked == 16 || asked == 24;
    EXPECT_EQ(info.header.biBitCount, served ? asked : 8) << asked;
    EXPECT_EQ(info.header.biSize, 40u);
    EXPECT_EQ(info.header.biWidth, 21);
    EXPECT_EQ(info.header.biHeight, 18);
    EXPECT_EQ(info.header.biPlanes, 1);
    EXPECT_EQ(info.header.biCompression, asked == 16 ? 3u : 0u);
    EXPECT_EQ(info.header.biSizeImage + info.header.biClrUsed + info.header.biClrImportant, 0u);
    EXPECT_EQ(info.guard, 0xA5A5A5A5u);
  }
}

TEST(DibHeader, HasTheMasksOf565) {
  Handle handle(colorStream());
  Info info;
  info.header.biBitCount = 16;
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
  uint32_t masks[3];
  std::memcpy(masks, info.colors, sizeof(masks));
  EXPECT_EQ(masks[0], 0xF800u);
  EXPECT_EQ(masks[1], 0x07E0u);
  EXPECT_EQ(masks[2], 0x001Fu);
}

TEST(DibHeader, HasAGreyRampOrTheCubeBetweenTheScreensColours) {
  Handle gray(encode(makePicture(8, 8, kGray)));
  Info ramp;
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(gray.h, 0, nullptr, ramp.bmi()));
  for (int i = 0; i < 256; i++) {
    const RGBQUAD c = ramp.colors[i];
    EXPECT_EQ(c.rgbBlue | c.rgbGreen << 8 | c.rgbRed << 16 | c.rgbReserved << 24, i * 0x010101);
  }
  Handle color(colorStream());
  Info cube;
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(color.h, 0, nullptr, cube.bmi()));
  for (int r = 0; r < 6; r++) {
    for (int g = 0; g < 6; g++) {
      for (int b = 0; b < 6; b++) {
        const RGBQUAD c = cube.colors[10 + 36 * r + 6 * g + b];
        EXPECT_EQ(c.rgbRed, 51 * r);
        EXPECT_EQ(c.rgbGreen, 51 * g);
        EXPECT_EQ(c.rgbBlue, 51 * b);
      }
    }
  }
  // Static colours: dark red, grey, cream, white; black in between.
  const struct {
    int index, red, green, blue;
  } kStatic[] = {{0, 0, 0, 0},     {1, 128, 0, 0},      {7, 192, 192, 192},   {9, 166, 202, 240},
                 {226, 0, 0, 0},   {245, 0, 0, 0},      {246, 255, 251, 240}, {248, 128, 128, 128},
                 {249, 255, 0, 0}, {255, 255, 255, 255}};
  for (const auto &s : kStatic) {
    EXPECT_EQ(cube.colors[s.index].rgbRed, s.red) << s.index;
    EXPECT_EQ(cube.colors[s.index].rgbGreen, s.green) << s.index;
    EXPECT_EQ(cube.colors[s.index].rgbBlue, s.blue) << s.index;
  }
}

TEST(DibHeader, TellsTheJfifDensityInPixelsPerMetre) {
  const struct {
    uint8_t units;
    uint16_t density;
    int32_t perMetre;
  } kCases[] = {{1, 72, 2835},   {1, 300, 11811}, {1, 1, 39},
                {2, 118, 11800}, {0, 72, 0},      {3, 72, 0}};
  for (const auto &c : kCases) {
    Picture p = makePicture(8, 8, kGray);
    StreamBuilder app0;
    app0.jfif(c.units, c.density, c.density);
    p.before = app0.bytes();
    Handle handle(encode(p));
    Info info;
    EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
    EXPECT_EQ(info.header.biXPelsPerMeter, c.perMetre);
    EXPECT_EQ(info.header.biYPelsPerMeter, c.perMetre);
  }
}

TEST(DibDecode, TakesColourDirectlyInto24BitsBottomUpAndTopDown) {
  const Bytes expected = pixelsOf(colorStream(), 21, 18, 3);
  for (const bool bottomUp : {true, false}) {
    Handle handle(colorStream());
    Info info;
    info.header.biBitCount = 24;
    EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
    if (!bottomUp) info.header.biHeight = -18;
    Bytes bits(64 * 18, 0xA5);
    EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 18, bits.data(), info.bmi()));
    EXPECT_EQ(rowsOf(bits, 21, 18, 3, bottomUp) == expected, true);
    EXPECT_EQ(bits[63], 0xA5);  // the padding isn't written
  }
}

TEST(DibDecode, TakesGreyDirectlyInto8Bits) {
  const Bytes stream = encode(makePicture(13, 10, kGray));
  Handle handle(stream);
  Info info;
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
  Bytes bits(16 * 10);
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 10, bits.data(), info.bmi()));
  EXPECT_EQ(rowsOf(bits, 13, 10, 1, true) == pixelsOf(stream, 13, 10, 1), true);
}

TEST(DibDecode, RefusalsComeInTheirOrder) {
  Handle gray(encode(makePicture(8, 8, kGray)));
  Handle color(colorStream());
  Info info;
  Bytes bits(4 * 64 * 64);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToWinDIBits(nullptr, 0, nullptr, info.bmi()));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadToWinDIBits(color.h, 0, bits.data(), nullptr));
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(color.h, 0, nullptr, info.bmi()));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadToWinDIBits(color.h, 0, bits.data(), info.bmi()));
  for (const int32_t width : {20, 0, -21}) {
    info.header.biWidth = width;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                  jpgReadToWinDIBits(color.h, 18, bits.data(), info.bmi()));
  }
  Info wide;
  wide.header.biBitCount = 24;
  wide.header.biWidth = 8;
  wide.header.biHeight = 8;
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadToWinDIBits(gray.h, 8, bits.data(), wide.bmi()));
  wide.header.biWidth = INT32_MAX;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadToWinDIBits(gray.h, 8, bits.data(), wide.bmi()));
  // A colour image into 32 bits fails behind the decoding: the rows are gone.
  info.header.biWidth = 21;
  info.header.biBitCount = 32;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadToWinDIBits(color.h, 18, bits.data(), info.bmi()));
  EXPECT_RESULT(JPG_E_FAIL, jpgReadToWinDIBits(color.h, 18, bits.data(), info.bmi()));
}

// Rows of less than whole bytes are none; colour is decoded ahead of that.
TEST(DibDecode, DepthsBelowAByteAreRefused) {
  for (const uint16_t depth : std::vector<uint16_t>{0, 1, 4}) {
    Handle gray(encode(makePicture(8, 8, kGray)));
    Handle color(encode(makePicture(8, 8, kColor)));
    Info info;
    info.header.biBitCount = depth;
    info.header.biWidth = 8;
    info.header.biHeight = 8;
    Bytes bits(4 * 8 * 8, 0x5A);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadToWinDIBits(gray.h, 8, bits.data(), info.bmi()));
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadToWinDIBits(color.h, 8, bits.data(), info.bmi()));
    EXPECT_RESULT(JPG_E_FAIL, jpgReadToWinDIBits(color.h, 8, bits.data(), info.bmi()));
    EXPECT_EQ(bits, Bytes(4 * 8 * 8, 0x5A));
  }
}

// A reduced bitmap goes by way of a buffer, for which a negative count has no size; only a pixel
// a row leaves a byte of it. Nothing is stored either way.
TEST(DibDecode, CountsBelowZeroStoreNothing) {
  for (const int32_t lines : {-1, -5, INT32_MIN}) {
    for (const uint16_t width : std::vector<uint16_t>{1, 21}) {
      Handle color(encode(makePicture(width, 18, kColor)));
      Info info;
      info.header.biBitCount = 8;
      info.header.biWidth = width;
      info.header.biHeight = -18;
      Bytes bits(size_t{24} * 18, 0x5A);
      const bool roomForNone = width == 1 && lines == -1;
      EXPECT_RESULT(roomForNone ? JPG_OK : JPG_E_OUT_OF_MEMORY,
                    jpgReadToWinDIBits(color.h, lines, bits.data(), info.bmi()));
      EXPECT_EQ(bits, Bytes(size_t{24} * 18, 0x5A));
    }
  }
}

TEST(DibDecode, ColourIsReducedByErrorDiffusion) {
  for (const Fill fill : {Fill::kSmooth, Fill::kDense, Fill::kDcOnly}) {
    for (const uint16_t width : std::vector<uint16_t>{1, 2, 21}) {
      const Picture p = makePicture(width, 19, kColor, fill, width);
      const Bytes stream = encode(p);
      const Bytes bgr = pixelsOf(stream, width, 19, 3);
      for (const uint16_t depth : std::vector<uint16_t>{8, 16}) {
        for (const bool bottomUp : {true, false}) {
          Handle handle(stream);
          Info info;
          info.header.biBitCount = depth;
          EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 0, nullptr, info.bmi()));
          if (!bottomUp) info.header.biHeight = -19;
          Bytes bits(64 * 19);
          EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(handle.h, 19, bits.data(), info.bmi()));
          const Bytes model = depth == 8 ? paletteModel(bgr, width, 19) : wordModel(bgr, width, 19);
          EXPECT_EQ(rowsOf(bits, width, 19, depth / 8, bottomUp) == model, true)
              << width << " pixels, " << depth << " bits";
        }
      }
    }
  }
}

TEST(DibDecode, ScaledOutputHasItsOwnSize) {
  Handle handle(colorStream());
  Info info;
  info.header.biBitCount = 24;
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToWinDIBits(handle.h, 0, nullptr, info.bmi(), 1));
  EXPECT_EQ(info.header.biWidth, 6);
  EXPECT_EQ(info.header.biHeight, 5);
  Bytes bits(20 * 5), rows(18 * 5);
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToWinDIBits(handle.h, 5, bits.data(), info.bmi(), 1));
  Handle plain(colorStream());
  JpgRect rect = {};
  rect.stride = 18;
  rect.bits = rows.data();
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(plain.h, &rect, 5, 1));
  EXPECT_EQ(rowsOf(bits, 6, 5, 3, true) == rows, true);
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                jpgReadScaleOutputToWinDIBits(handle.h, 5, bits.data(), info.bmi(), 4));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE,
                jpgReadScaleOutputToWinDIBits(nullptr, 5, bits.data(), nullptr, 3));
}

}  // namespace
