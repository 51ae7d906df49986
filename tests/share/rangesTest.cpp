// SPDX-License-Identifier: MIT
// Small arithmetic over all of its range, against the same in 64 bits or by the standard's words.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "jpg.h"
#include "share/jpgShare.h"
#include "share/jpgTables.h"
#include "support/streamBuilder.h"
#include "win/jpgDib.h"

namespace {

using namespace jpg;

// T.81 Figure F.12, for all bits of all categories.
TEST(Ranges, ExtendOverAllBitsOfAllCategories) {
  for (uint32_t t = 0; t <= kMaxDctCategory; t++) {
    for (int32_t v = 0; v < 1 << t; v++) {
      const int32_t vt = t == 0 ? 0 : 1 << (t - 1);
      ASSERT_EQ(extend(v, t), v < vt ? v - (1 << t) + 1 : v) << t;
    }
  }
}

// The least n with n * d >= v.
uint64_t up(uint64_t v, uint64_t d) {
  const uint64_t n = v / d;
  return n * d >= v ? n : n + 1;
}

TEST(Ranges, BitmapRowsOverAllWidthsOfPicturesAndAtTheEndOf31Bits) {
  for (const uint32_t bits : {1U, 4U, 8U, 16U, 24U, 32U}) {
    for (uint32_t width = 1; width <= 65536; width++) {
      ASSERT_EQ(dibRowBytes(static_cast<int32_t>(width), bits), 4 * up(uint64_t{width} * bits, 32));
    }
    // Widths about the one whose row has 2^31 bytes, and the ends of int32_t.
    const auto edge = static_cast<int64_t>((uint64_t{1} << 34) / bits);
    for (int64_t width = edge - 70; width <= edge + 70; width++) {
      if (width > INT32_MAX) continue;
      const uint64_t bytes = 4 * up(static_cast<uint64_t>(width) * bits, 32);
      ASSERT_EQ(dibRowBytes(static_cast<int32_t>(width), bits), bytes <= 0x7FFFFFFF ? bytes : 0);
    }
    const uint64_t widest = 4 * up(uint64_t{INT32_MAX} * bits, 32);
    EXPECT_EQ(dibRowBytes(INT32_MAX, bits), widest <= 0x7FFFFFFF ? widest : 0);
    for (const int32_t width : {0, -1, -65536, INT32_MIN}) EXPECT_EQ(dibRowBytes(width, bits), 0U);
  }
}

// An open handle without coded data.
class Handle {
 public:
  explicit Handle(uint8_t sampling) {
    jpgtest::StreamBuilder s;
    s.soi().sof(jpgtest::kSof0, 8, 8, 8, {{1, sampling, 0}, {2, 0x11, 0}});
    bytes_ = s.sos({{1, 0}, {2, 0}}).bytes();
  }
  ~Handle() { close(); }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;

  JPGHANDLE open(uint32_t width, uint32_t height) {
    constexpr size_t kHeight = 7;  // behind SOI, the marker, its length and the precision
    close();
    for (size_t i = 0; i < 2; i++) {
      bytes_[kHeight + i] = static_cast<uint8_t>(height >> (8 - 8 * i));
      bytes_[kHeight + 2 + i] = static_cast<uint8_t>(width >> (8 - 8 * i));
    }
    const auto size = static_cast<int32_t>(bytes_.size());
    EXPECT_EQ(jpgReadPrologFromMemory(bytes_.data(), size, JPG_READ_COMPLETE, &handle_), JPG_OK);
    return handle_;
  }

 private:
  void close() {
    if (handle_ == nullptr) return;
    EXPECT_EQ(jpgReadEpilog(handle_), JPG_OK);
    handle_ = nullptr;
  }

  std::vector<uint8_t> bytes_;
  JPGHANDLE handle_ = nullptr;
};

void checkGeometry(Handle &handle, uint32_t factor, uint32_t width, uint32_t height) {
  JPGHANDLE h = handle.open(width, height);
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(h->mcusPerRow, up(width, 8 * factor));
  ASSERT_EQ(h->mcuRows, up(height, 8 * factor));
  ASSERT_EQ(h->mcuCount, up(width, 8 * factor) * up(height, 8 * factor));
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    uint32_t w = 0, v = 0;
    ASSERT_EQ(jpgReadScaleOutputGetImageSize(h, &w, &v, scale), JPG_OK);
    ASSERT_EQ(w, up(width, uint64_t{8} >> scale));
    ASSERT_EQ(v, up(height, uint64_t{8} >> scale));
  }
}

TEST(Ranges, GeometryOverAllWidthsAndHeights) {
  for (const uint32_t factor : {1U, 2U}) {
    Handle handle(static_cast<uint8_t>(factor << 4 | factor));
    for (uint32_t n = 0; n <= 65535 && !HasFatalFailure(); n++) {
      // Every width, and every height at the largest width.
      checkGeometry(handle, factor, n, n * 7 % 65536);
      checkGeometry(handle, factor, 65535, n);
    }
  }
}

// 254 dots per inch are 10000 per metre; the nearest integer.
TEST(Ranges, ResolutionsOverAllDensities) {
  const auto c = std::make_unique<JpgContext>();
  BITMAPINFO bmi = {};
  for (uint32_t density = 0; density <= 65535; density++) {
    c->jfifXDensity = static_cast<uint16_t>(density);
    c->jfifYDensity = static_cast<uint16_t>(65535 - density);
    c->jfifUnits = 1;
    setDibResolution(*c, &bmi);
    ASSERT_LE(std::abs(int64_t{bmi.bmiHeader.biXPelsPerMeter} * 254 - int64_t{density} * 10000),
              127);
    ASSERT_LE(
        std::abs(int64_t{bmi.bmiHeader.biYPelsPerMeter} * 254 - int64_t{65535 - density} * 10000),
        127);
    c->jfifUnits = 2;
    setDibResolution(*c, &bmi);
    ASSERT_EQ(bmi.bmiHeader.biXPelsPerMeter, static_cast<int32_t>(100 * density));
  }
}

}  // namespace
