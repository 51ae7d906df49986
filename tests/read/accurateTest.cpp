// SPDX-License-Identifier: MIT
// The option for the accurate transform: every reader of the handle has it, and no other bits of
// the flags ask for it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "model/reader.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/reader.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

// A grey picture of one block of vertical frequency 1, where the usual transform departs.
Bytes departingStream() {
  Block block{};
  block[8] = 100;
  return encode(grayPicture({block}));
}

Bytes decodeWith(uint32_t flags) { return pixelsOf(departingStream(), {8, 8, 1}, flags); }

TEST(Accurate, VerticalFrequencyOneIsThatOfTheTextbook) {
  // 100 / 8 * sqrt(2) * cos((2 y + 1) pi / 16), to the nearest integer.
  const Bytes samples = decodeWith(JPG_READ_ACCURATE);
  for (int y = 0; y < 8; y++) {
    const double exact = 12.5 * std::sqrt(2.0) * std::cos((2 * y + 1) * std::acos(-1.0) / 16);
    for (int x = 0; x < 8; x++) {
      EXPECT_EQ(samples[static_cast<size_t>(8 * y + x)], 128 + std::lround(exact))
          << x << ", " << y;
    }
  }
}

TEST(Accurate, IsAskedForWithTheMarkInTheUpperHalfAlone) {
  const Bytes usual = decodeWith(0), accurate = decodeWith(JPG_READ_ACCURATE);
  EXPECT_FALSE(usual == accurate);
  for (const uint32_t flags : {0x100U, 0xFFFFFFFFU, 0x4A500000U, 0x4A510100U, 0xCA500100U}) {
    EXPECT_EQ(usual, decodeWith(flags)) << std::hex << flags;
  }
  for (const uint32_t flags : {0x4A500100U | JPG_READ_COMPLETE, 0x4A501100U, 0x4A5001FCU}) {
    EXPECT_EQ(accurate, decodeWith(flags)) << std::hex << flags;
  }
}

const std::vector<std::vector<uint8_t>> kLayouts = {
    {0x11},
    {0x11, 0x11},
    {0x11, 0x11, 0x11},
    {0x21, 0x11, 0x11},
    {0x12, 0x11, 0x11},
    {0x22, 0x11, 0x11},
    {0x22, 0x21, 0x12},
    {0x11, 0x22, 0x11},
    {0x22, 0x11, 0x11, 0x22},
};

TEST(Accurate, SequentialPicturesAreThoseOfTheModel) {
  uint32_t seed = 0;
  for (const auto &layout : kLayouts) {
    for (const Fill fill : {Fill::kSmooth, Fill::kSparse, Fill::kDense, Fill::kExtreme}) {
      const Picture p = makePicture(45, 37, layout, fill, ++seed);
      Twin twin(encode(p), JPG_READ_ACCURATE);
      EXPECT_RESULT(JPG_OK, twin.decode({45, 37, layout.size() < 3 ? 1 : 3}, 37));
    }
  }
}

// The first band of a scaled picture, by the library and by the model.
void expectScaledModel(const Bytes &stream, int32_t scale, int32_t pixelBytes) {
  const Reader reader = Reader::ofMemory(stream, JPG_READ_ACCURATE);
  Model model;
  ASSERT_RESULT(JPG_OK, model.openMemory(stream, JPG_READ_ACCURATE));
  Canvas expected(45, 37, pixelBytes), made(45, 37, pixelBytes);
  ASSERT_RESULT(JPG_OK, model.scaledToRect(expected.rect(), 37, scale));
  const JpgRect rect = made.rect();
  ASSERT_RESULT(JPG_OK, jpgReadScaleOutputToRect(reader.handle(), &rect, 37, scale));
  EXPECT_TRUE(expected.memory() == made.memory()) << "scale code " << scale;
}

TEST(Accurate, ScaledPicturesAreThoseOfTheModel) {
  for (const auto &layout : kLayouts) {
    const Bytes stream = encode(makePicture(45, 37, layout, Fill::kDense));
    for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
      expectScaledModel(stream, scale, layout.size() < 3 ? 1 : 3);
    }
  }
}

TEST(Accurate, ProgressivePicturesAreThoseOfTheModel) {
  for (const auto &layout : kLayouts) {
    const Picture p = makePicture(45, 37, layout, Fill::kDense);
    const Bytes stream = encodeProgressive(p, refiningScript(layout.size()));
    const Reader reader = Reader::ofMemory(stream, JPG_READ_ACCURATE);
    Model model;
    ASSERT_RESULT(JPG_OK, model.openMemory(stream, JPG_READ_ACCURATE));
    const int32_t pixelBytes = layout.size() < 3 ? 1 : 3;
    Canvas expected(45, 37, pixelBytes), made(45, 37, pixelBytes);
    ASSERT_RESULT(JPG_OK, model.progressiveToRect(expected.rect(), 37, 0));
    const JpgRect rect = made.rect();
    ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 37, 0));
    EXPECT_TRUE(expected.memory() == made.memory());
  }
}

}  // namespace
}  // namespace jpgtest
