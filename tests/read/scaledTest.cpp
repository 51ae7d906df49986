// SPDX-License-Identifier: MIT
// Scaled output beside a plain model of it, and its order of checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "support/canvas.h"
#include "support/picture.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

// ---- The model: 64-bit sums reduced modulo 2^32, floors -------------------

int64_t wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }
int64_t low16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }
int clampTo(int64_t v, int low, int high) {
  return static_cast<int>(std::min<int64_t>(high, std::max<int64_t>(low, v)));
}

using Cell = std::array<std::array<int, 4>, 4>;

std::array<int64_t, 4> fourPoint(int64_t x0, int64_t x1, int64_t x2, int64_t x3) {
  const int64_t u = wrap(x1 * 5352 + x3 * 2217), t = wrap(x1 * 2217 - x3 * 5352);
  const int64_t e0 = wrap((x0 + x2) * 4096), e1 = wrap((x0 - x2) * 4096);
  return {wrap(e0 + u), wrap(e1 + t), wrap(e1 - t), wrap(e0 - u)};
}

// The samples of a block at scale 2 (4 x 4), 1 (2 x 2) or 0, from dequantised coefficients.
Cell cellOf(const Block &c, int scale) {
  Cell cell = {};
  if (scale == 0) {
    cell[0][0] = clampTo((low16(c[0]) + 4) >> 3, -128, 127);
  } else if (scale == 1) {
    const int64_t a = c[0], m = c[1], b = c[8], n = c[9];
    const int64_t sums[2][2] = {{a + b + m + n, a + b - m - n}, {a - b + m - n, a - b - m + n}};
    for (size_t y = 0; y < 2; y++) {
      for (size_t x = 0; x < 2; x++) cell[y][x] = clampTo(low16((sums[y][x] + 4) >> 3), -128, 127);
    }
  } else {
    int64_t work[4][4];
    for (size_t j = 0; j < 4; j++) {
      const auto column = fourPoint(c[j], c[8 + j], c[16 + j], c[24 + j]);
      for (size_t k = 0; k < 4; k++) work[k][j] = wrap(column[k] + 2048) >> 12;
    }
    for (size_t r = 0; r < 4; r++) {
      const auto row = fourPoint(work[r][0], work[r][1], work[r][2], work[r][3]);
      for (size_t k = 0; k < 4; k++) {
        cell[r][k] = clampTo(low16(wrap(row[k] + 16384) >> 15), -128, 127);
      }
    }
  }
  return cell;
}

int nearest(int64_t n) {  // hundred-thousandths, halves away from zero
  return static_cast<int>(n < 0 ? -((-n * 2 + 100000) / 200000) : (n * 2 + 100000) / 200000);
}

class ScaledModel {
 public:
  ScaledModel(const Picture &p, int scale) : picture_(p), scale_(scale) {
    for (size_t k = 0; k < p.components.size(); k++) {
      std::vector<Cell> cells;
      for (const Block &block : p.components[k].blocks)
        cells.push_back(cellOf(dequantised(block, k), scale));
      cells_.push_back(cells);
    }
  }

  uint32_t width() const { return scaled(picture_.width); }
  uint32_t height() const { return scaled(picture_.height); }

  Bytes pixels(bool ycc) const {
    Bytes out;
    const size_t n = picture_.components.size();
    for (uint32_t y = 0; y < height(); y++) {
      for (uint32_t x = 0; x < width(); x++) {
        if (n < 3) {
          out.push_back(static_cast<uint8_t>(sample(0, x, y) + 128));
          continue;
        }
        const int s0 = sample(0, x, y), s1 = sample(1, x, y), s2 = sample(2, x, y);
        const int blue = ycc ? s0 + nearest(int64_t{s1} * 177200) : s2;
        const int green =
            ycc ? s0 + nearest(int64_t{s1} * -34414) + nearest(int64_t{s2} * -71414) : s1;
        const int red = ycc ? s0 + nearest(int64_t{s2} * 140200) : s0;
        for (const int v : {blue, green, red}) {
          out.push_back(static_cast<uint8_t>(clampTo(v + 128, 0, 255)));
        }
      }
    }
    return out;
  }

 private:
  uint32_t scaled(uint32_t length) const {
    const uint32_t d = 8U >> scale_;
    return (length + d - 1) / d;
  }

  Block dequantised(const Block &block, size_t k) const {
    Block out = {};
    const QuantTable &quant = picture_.quant[picture_.components[k].tq];
    for (size_t i = 0; i < 64; i++) {
      out[kZigzag[i]] = static_cast<int32_t>(low16(int64_t{block[kZigzag[i]]} * quant[i]));
    }
    return out;
  }

  // A component's sample at a pixel of scaled output: the nearest above and to the left.
  int sample(size_t k, uint32_t x, uint32_t y) const {
    const bool alone = picture_.components.size() == 1;
    const uint32_t h = alone ? 1 : picture_.components[k].sampling >> 4;
    const uint32_t v = alone ? 1 : picture_.components[k].sampling & 15U;
    const uint32_t n = 1U << scale_;
    const uint32_t mcuWidth = n * picture_.hMax(), mcuHeight = n * picture_.vMax();
    const uint32_t mcu = y / mcuHeight * picture_.mcusPerRow() + x / mcuWidth;
    const uint32_t cx = x % mcuWidth * h / picture_.hMax(),
                   cy = y % mcuHeight * v / picture_.vMax();
    return cells_[k][mcu * h * v + cy / n * h + cx / n][cy % n][cx % n];
  }

  const Picture &picture_;
  int scale_;
  std::vector<std::vector<Cell>> cells_;
};

// ---- Tests ----------------------------------------------------------------

class Handle {
 public:
  explicit Handle(const Bytes &data) : data_(data) {
    EXPECT_RESULT(JPG_OK,
                  jpgReadPrologFromMemory(data_.data(), static_cast<int32_t>(data_.size()), 0, &h));
  }
  ~Handle() { EXPECT_EQ(jpgReadEpilog(h), JPG_OK); }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  uint32_t rows(Canvas *canvas, int32_t first, int32_t count, int32_t scale) {
    const JpgRect rect = canvas->rect(first);
    return jpgReadScaleOutputToRect(h, &rect, count, scale);
  }
  JPGHANDLE h = nullptr;

 private:
  Bytes data_;
};

int32_t pixelBytes(const Picture &p) { return p.components.size() < 3 ? 1 : 3; }

const std::vector<std::vector<uint8_t>> kLayouts = {{0x11},
                                                    {0x11, 0x11},
                                                    {0x11, 0x11, 0x11},
                                                    {0x21, 0x11, 0x11},
                                                    {0x12, 0x11, 0x11},
                                                    {0x22, 0x11, 0x11},
                                                    {0x22, 0x21, 0x12},
                                                    {0x11, 0x22, 0x21},
                                                    {0x21, 0x21, 0x11},
                                                    {0x22, 0x12, 0x11, 0x22},
                                                    {0x11, 0x11, 0x11, 0x11}};

void expectModel(const Picture &p, int32_t scale, bool ycc) {
  SCOPED_TRACE(testing::Message() << p.components.size() << " components, " << p.width << "x"
                                  << p.height << ", scale " << scale);
  const ScaledModel model(p, scale);
  Handle handle(encode(p));
  uint32_t width = 0, height = 0;
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputGetImageSize(handle.h, &width, &height, scale));
  EXPECT_EQ(width, model.width());
  EXPECT_EQ(height, model.height());
  Canvas canvas(static_cast<int32_t>(width), static_cast<int32_t>(height), pixelBytes(p));
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, static_cast<int32_t>(height), scale));
  EXPECT_EQ(canvas.pixels() == model.pixels(ycc), true);
  EXPECT_TRUE(canvas.guardsIntact());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, handle.rows(&canvas, 0, 1, scale));
}

TEST(Scaled, EveryLayoutScaleAndOddSizeEqualsTheModel) {
  uint32_t seed = 1;
  for (const auto &layout : kLayouts) {
    for (const uint16_t width : {uint16_t{1}, uint16_t{15}, uint16_t{33}}) {
      for (const uint16_t height : {uint16_t{1}, uint16_t{17}, uint16_t{31}}) {
        for (int32_t scale = 0; scale < 3; scale++) {
          expectModel(makePicture(width, height, layout, Fill::kSmooth, seed++), scale, true);
        }
      }
    }
  }
}

TEST(Scaled, DenseAndExtremeBlocksEqualTheModel) {
  for (const Fill fill : {Fill::kDense, Fill::kExtreme, Fill::kSparse}) {
    for (uint32_t seed = 1; seed <= 5; seed++) {
      for (int32_t scale = 0; scale < 3; scale++) {
        expectModel(makePicture(40, 24, {0x22, 0x11, 0x11}, fill, seed), scale, true);
      }
    }
  }
}

TEST(Scaled, RgbIsStoredReversed) {
  for (int32_t scale = 0; scale < 3; scale++) {
    Picture p = makePicture(20, 20, {0x11, 0x11, 0x11});
    p.components[0].id = 'R';
    p.components[1].id = 'G';
    p.components[2].id = 'B';
    expectModel(p, scale, false);
  }
}

TEST(Scaled, RestartIntervalsChangeNothing) {
  for (const uint16_t interval : std::vector<uint16_t>{1, 3, 4}) {
    Picture p = makePicture(50, 40, {0x22, 0x11, 0x11});
    p.restartInterval = interval;
    for (int32_t scale = 0; scale < 3; scale++) expectModel(p, scale, true);
  }
}

TEST(Scaled, SizesAreRoundedUp) {
  Handle handle(encode(makePicture(100, 75, {0x11})));
  const uint32_t kSizes[4][2] = {{13, 10}, {25, 19}, {50, 38}, {100, 75}};
  for (int32_t scale = 0; scale < 4; scale++) {
    uint32_t width = 0, height = 0;
    EXPECT_RESULT(JPG_OK, jpgReadScaleOutputGetImageSize(handle.h, &width, &height, scale));
    EXPECT_EQ(width, kSizes[scale][0]);
    EXPECT_EQ(height, kSizes[scale][1]);
  }
}

TEST(Scaled, SizeChecksComeInTheirOrder) {
  Picture p = makePicture(8, 8, {0x11});
  Handle handle(encode(p));
  uint32_t n = 0;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadScaleOutputGetImageSize(nullptr, &n, &n, 9));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadScaleOutputGetImageSize(handle.h, nullptr, &n, -1));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadScaleOutputGetImageSize(handle.h, &n, nullptr, 4));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadScaleOutputGetImageSize(handle.h, nullptr, &n, 0));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadScaleOutputGetImageSize(handle.h, &n, nullptr, 3));
}

TEST(Scaled, AnotherScaleStartsThePictureAgain) {
  const Picture p = makePicture(32, 64, {0x22, 0x11, 0x11});
  Handle handle(encode(p));
  const ScaledModel half(p, 2), quarter(p, 1);
  Canvas first(16, 32, 3), second(8, 16, 3), third(16, 32, 3);
  EXPECT_RESULT(JPG_OK, handle.rows(&first, 0, 16, 2));
  EXPECT_RESULT(JPG_OK, handle.rows(&second, 0, 16, 1));
  EXPECT_EQ(second.pixels() == quarter.pixels(true), true);
  EXPECT_RESULT(JPG_OK, handle.rows(&third, 0, 16, 2));
  EXPECT_RESULT(JPG_OK, handle.rows(&third, 16, 16, 2));
  EXPECT_EQ(third.pixels() == half.pixels(true), true);
}

TEST(Scaled, AnUnknownScaleIsRefusedButCountsAsAChange) {
  const Picture p = makePicture(16, 32, {0x11});
  Handle handle(encode(p));
  const ScaledModel half(p, 2);
  Canvas canvas(8, 16, 1);
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 8, 2));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, handle.rows(&canvas, 0, 8, 7));
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 16, 2));  // from the top again
  EXPECT_EQ(canvas.pixels() == half.pixels(true), true);
}

TEST(Scaled, FullSizeIsTheSequentialReader) {
  const Picture p = makePicture(20, 20, {0x11});
  Handle scaled(encode(p)), plain(encode(p));
  Canvas a(20, 20, 1), b(20, 20, 1);
  EXPECT_RESULT(JPG_OK, scaled.rows(&a, 0, 20, 3));
  const JpgRect rect = b.rect();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(plain.h, &rect, 20));
  EXPECT_EQ(a.pixels() == b.pixels(), true);
  EXPECT_RESULT(JPG_E_FAIL, scaled.rows(&a, 0, 20, 3));
}

TEST(Scaled, RefusesRawComponentsBehindItsOtherChecks) {
  Handle handle(encode(makePicture(8, 8, {0x11})));
  EXPECT_RESULT(JPG_OK, jpgReadSetNoColorConversion(handle.h));
  Canvas canvas(8, 8, 1);
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, handle.rows(&canvas, 0, 1, 0));
  JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadScaleOutputToRect(handle.h, nullptr, 1, 0));
  rect.bits = nullptr;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadScaleOutputToRect(handle.h, &rect, 1, 0));
}

TEST(Scaled, TheWholeScaledWidthIsStoredWhateverTheRectangleSays) {
  const Picture p = makePicture(32, 16, {0x11});
  Handle handle(encode(p));
  Canvas canvas(16, 8, 1);
  JpgRect rect = canvas.rect();
  rect.width = 1;
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(handle.h, &rect, 8, 2));
  EXPECT_EQ(canvas.pixels() == ScaledModel(p, 2).pixels(true), true);
}

TEST(Scaled, BandsGiveThePicture) {
  const Picture p = makePicture(40, 70, {0x22, 0x11, 0x11});
  for (int32_t scale = 0; scale < 3; scale++) {
    const ScaledModel model(p, scale);
    const auto height = static_cast<int32_t>(model.height());
    const int32_t band = 2 << scale;  // the scaled MCU's height
    Handle handle(encode(p));
    Canvas canvas(static_cast<int32_t>(model.width()), height, 3);
    for (int32_t y = 0; y < height; y += band) {
      EXPECT_RESULT(JPG_OK, handle.rows(&canvas, y, band, scale));
    }
    EXPECT_EQ(canvas.pixels() == model.pixels(true), true);
  }
}

// Of no size, small or large, and at no scale.
TEST(Scaled, WithoutAnAcTableThereAreNoCodes) {
  for (const uint16_t width : std::vector<uint16_t>{8, 512}) {
    StreamBuilder stream;
    stream.soi().dqt(0, flatQuant(1)).sof(kSof0, 8, 256, width, {{1, 0x11, 0}});
    stream.dht(0x00, annexKLumaDc()).sos({{1, 0x00}}).raw(Bytes(5000, 0)).eoi();
    for (const int32_t scale : {JPG_SCALE_EIGHTH, JPG_SCALE_QUARTER, JPG_SCALE_HALF}) {
      const Reader reader = Reader::ofMemory(stream.bytes());
      ASSERT_RESULT(JPG_OK, reader.result());
      Canvas canvas(256, 128, 1);
      const JpgRect rect = canvas.rect();
      EXPECT_RESULT(JPG_E_BAD_AC_CODE,
                    jpgReadScaleOutputToRect(reader.handle(), &rect, 128, scale));
      EXPECT_TRUE(canvas.untouched());
    }
  }
}

}  // namespace
