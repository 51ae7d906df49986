// SPDX-License-Identifier: MIT
// What comes before the first header byte, and what the headers fix: a first call that fails has
// written nothing, and settings count as they are when the headers go out.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "faulty.h"
#include "libraryEncode.h"
#include "support/random.h"

namespace {

using namespace jpgtest;
using jpg::faulty::Fault;
using jpg::faulty::Operation;

constexpr int32_t kWidth = 35, kHeight = 37;
uint8_t pixels[kWidth * kHeight * 4 * 2];

void fillPixels() {
  jpgtest::Random random(1);
  for (uint8_t &p : pixels) p = random.byte();
}

JpgRect rectOf(int32_t channels, int32_t precision = 8, int32_t firstRow = 0) {
  const int32_t bytes = precision > 8 ? 2 : 1;
  JpgRect rect = {};
  rect.width = kWidth;
  rect.height = kHeight;
  rect.channels = channels;
  rect.bitsPerSample = precision;
  rect.stride = kWidth * channels * bytes;
  rect.bits = pixels + firstRow * rect.stride;
  return rect;
}

using Call = std::function<uint32_t(JPGHANDLE)>;

Call encodeCall(int32_t channels) {
  return [channels](JPGHANDLE h) {
    const JpgRect rect = rectOf(channels);
    return jpgWriteFromRect(h, &rect, kHeight);
  };
}

// The second half of the lines is another call, so that the first one keeps a line.
Call losslessCall(int32_t channels, int32_t precision) {
  return [channels, precision](JPGHANDLE h) {
    const JpgRect rect = rectOf(channels, precision);
    return jpgWriteSpatialFromRect(h, &rect, kHeight / 2);
  };
}

Call bitmapCall(uint16_t bits) {
  return [bits](JPGHANDLE h) {
    struct {
      BITMAPINFOHEADER header;
      RGBQUAD colors[256];
    } info = {};
    info.header.biSize = sizeof(info.header);
    info.header.biWidth = 16;
    info.header.biHeight = 20;
    info.header.biBitCount = bits;
    for (uint32_t i = 0; i < 256; i++) info.colors[i].rgbGreen = static_cast<uint8_t>(i);
    return jpgWriteFromWinDIBits(h, 20, pixels, reinterpret_cast<const BITMAPINFO *>(&info));
  };
}

Bytes finish(JPGHANDLE h) {
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  return take(data, size);
}

// The n-th allocation from now on, counted from 1.
void failAllocation(uint32_t n) {
  const uint32_t before = jpg::faulty::calls(Operation::kAlloc);
  jpg::faulty::arm(Operation::kAlloc, Fault::kFail, before + n);
}

Bytes streamOf(const Call &call) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(2, &h), JPG_OK);
  EXPECT_EQ(call(h), JPG_OK);
  return finish(h);
}

class FirstCall : public testing::Test {
 protected:
  void SetUp() override {
    fillPixels();
    jpg::faulty::reset();
    ASSERT_EQ(jpgWritePrologToMemory(2, &h_), JPG_OK);
  }
  JPGHANDLE h_ = nullptr;
};

TEST_F(FirstCall, ThatIsRefusedHasWrittenNothingAndMayBeFollowedByAnyOther) {
  const struct {
    const char *name;
    Call call;
    uint32_t code;
  } kRefused[] = {
      {"four channels, of which the first has 2 x 2", encodeCall(4), JPG_E_UNSUPPORTED},
      {"two channels", encodeCall(2), JPG_E_UNSUPPORTED},
      {"five channels", encodeCall(5), JPG_E_UNSUPPORTED},
      {"lossless, 17 bits", losslessCall(1, 17), JPG_E_INVALID_PARAMETER},
      {"lossless, five channels", losslessCall(5, 8), JPG_E_UNSUPPORTED},
  };
  const std::vector<Call> next = {encodeCall(1), encodeCall(3), losslessCall(2, 8),
                                  losslessCall(3, 16), bitmapCall(24)};
  for (const auto &refused : kRefused) {
    for (size_t i = 0; i < next.size(); i++) {
      SCOPED_TRACE(std::string(refused.name) + ", then call " + std::to_string(i));
      EXPECT_EQ(refused.call(h_), refused.code);
      uint32_t width = 1, height = 1;
      EXPECT_EQ(jpgReadGetImageSize(h_, &width, &height), JPG_OK);
      EXPECT_EQ(width + height, 0u);  // as the prolog left them
      EXPECT_EQ(next[i](h_), JPG_OK);
      EXPECT_EQ(finish(h_), streamOf(next[i]));
      ASSERT_EQ(jpgWritePrologToMemory(2, &h_), JPG_OK);
    }
  }
  finish(h_);
}

TEST_F(FirstCall, ThatIsRefusedTakesItsSamplingFromLaterSettings) {
  EXPECT_EQ(encodeCall(4)(h_), JPG_E_UNSUPPORTED);
  EXPECT_EQ(jpgWriteSetSubsamplingFactor(h_, 0x11111111), JPG_OK);
  EXPECT_EQ(encodeCall(4)(h_), JPG_OK);
  EXPECT_EQ(finish(h_), streamOf([](JPGHANDLE h) {
              EXPECT_EQ(jpgWriteSetSubsamplingFactor(h, 0x11111111), JPG_OK);
              return encodeCall(4)(h);
            }));
}

TEST_F(FirstCall, ThatFailsForWantOfMemoryHasWrittenNothingAndMayBeRepeated) {
  const struct {
    const char *name;
    Call call;
  } kCalls[] = {{"grey", encodeCall(1)},
                {"colour", encodeCall(3)},
                {"lossless, bytes", losslessCall(3, 8)},
                {"lossless, words", losslessCall(1, 12)},
                {"a bitmap that is converted", bitmapCall(8)}};
  finish(h_);
  for (const auto &c : kCalls) {
    constexpr uint32_t kEnough = 100;
    const Bytes expected = streamOf(c.call);
    bool failed = true;
    uint32_t n = 1;
    for (; failed && n < kEnough; n++) {
      SCOPED_TRACE(std::string(c.name) + ", allocation " + std::to_string(n));
      jpg::faulty::reset();
      JPGHANDLE h = nullptr;
      ASSERT_EQ(jpgWritePrologToMemory(2, &h), JPG_OK);
      failAllocation(n);
      const uint32_t r = c.call(h);
      failed = jpg::faulty::faultHappened();
      jpg::faulty::arm(Operation::kAlloc, Fault::kNone, 0);
      // Behind the headers only the sink's own memory can fail to be had, which is for good.
      if (failed && r == JPG_E_WRITE_FAULT) {
        EXPECT_EQ(jpgWriteEpilogToFile(h), JPG_E_WRITE_FAULT);
        continue;
      }
      EXPECT_EQ(r, failed ? JPG_E_OUT_OF_MEMORY : JPG_OK);
      if (failed) {
        EXPECT_EQ(c.call(h), JPG_OK);
      }
      EXPECT_EQ(finish(h), expected);
    }
    EXPECT_FALSE(failed);
    EXPECT_GT(n, 3u);  // the tables alone take more
  }
}

TEST_F(FirstCall, OfAPartialBitstreamThatFailsHasWrittenNothing) {
  EXPECT_EQ(jpgWriteSetNumberOfComponents(h_, 3), JPG_OK);
  EXPECT_EQ(jpgWriteSetImageSize(h_, kWidth, kHeight), JPG_OK);
  void *data = nullptr;
  uint32_t size = 0;
  for (uint32_t n = 1; n <= 8; n++) {  // four tables, two blocks each
    failAllocation(n);
    EXPECT_EQ(jpgWriteGetPartialBitstream(h_, &data, &size), JPG_E_OUT_OF_MEMORY) << n;
  }
  EXPECT_EQ(jpgWriteGetPartialBitstream(h_, &data, &size), JPG_OK);
  const Bytes headers = take(data, size);
  const Bytes whole = streamOf(encodeCall(3));
  // SOI to SOS, and the piece's EOI.
  ASSERT_GT(headers.size(), 600u);
  EXPECT_TRUE(std::equal(headers.begin(), headers.end() - 2, whole.begin()));
  EXPECT_EQ(headers[headers.size() - 1], 0xD9);
  EXPECT_EQ(encodeCall(3)(h_), JPG_OK);
  EXPECT_EQ(headers.size() - 2 + finish(h_).size(), whole.size());
}

void setEverything(JPGHANDLE h) {
  EXPECT_EQ(jpgWriteSetRestartInterval(h, 1), JPG_OK);
  EXPECT_EQ(jpgWriteSetNoColorConversion(h), JPG_OK);
  EXPECT_EQ(jpgWriteSetImageSize(h, 7, 9), JPG_OK);
  EXPECT_EQ(jpgWriteSetNumberOfComponents(h, 4), JPG_OK);
  EXPECT_EQ(jpgWriteSetQuantizationFactor(h, 3), JPG_OK);
  EXPECT_EQ(jpgWriteSetSpatialPredictor(h, 6), JPG_OK);
  EXPECT_EQ(jpgWriteSetSubsamplingFactor(h, 0x00111111), JPG_OK);
}

// Lines in two calls, with or without settings in between, and a height told by DNL.
Bytes inTwoBands(bool lossless, bool told, bool restarts, bool disturbed) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(2, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetRestartInterval(h, restarts ? kWidth : 0), JPG_OK);
  for (const int32_t first : {0, 16}) {
    JpgRect rect = rectOf(3, 8, first);
    if (!told) rect.height = 0;
    const uint32_t lines = first == 0 ? 16 : kHeight - 16;
    const auto encode = lossless ? jpgWriteSpatialFromRect : jpgWriteFromRect;
    EXPECT_EQ(encode(h, &rect, lines), JPG_OK);
    if (disturbed) setEverything(h);
  }
  return finish(h);
}

TEST(WriteSettings, BehindTheHeadersHaveNoEffectOnThePictureUnderWay) {
  fillPixels();
  for (const bool lossless : {false, true}) {
    for (const bool told : {false, true}) {
      for (const bool restarts : {false, true}) {
        SCOPED_TRACE(testing::Message() << lossless << told << restarts);
        EXPECT_EQ(inTwoBands(lossless, told, restarts, true),
                  inTwoBands(lossless, told, restarts, false));
      }
    }
  }
}

TEST(WriteSettings, BehindHeadersThatWentOutEarlyHaveNoEffectEither) {
  fillPixels();
  Bytes rest[2];
  for (const bool disturbed : {false, true}) {
    JPGHANDLE h = nullptr;
    EXPECT_EQ(jpgWritePrologToMemory(2, &h), JPG_OK);
    EXPECT_EQ(jpgWriteSetNumberOfComponents(h, 3), JPG_OK);
    EXPECT_EQ(jpgWriteSetImageSize(h, kWidth, kHeight), JPG_OK);
    void *data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(jpgWriteGetPartialBitstream(h, &data, &size), JPG_OK);
    take(data, size);
    if (disturbed) setEverything(h);
    EXPECT_EQ(encodeCall(3)(h), JPG_OK);
    rest[disturbed] = finish(h);
  }
  EXPECT_EQ(rest[0], rest[1]);
}

TEST(WriteSettings, AreStoredAllTheSame) {
  fillPixels();
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  EXPECT_EQ(encodeCall(3)(h), JPG_OK);
  EXPECT_EQ(jpgWriteSetImageSize(h, 7, 9), JPG_OK);
  uint32_t width = 0, height = 0;
  EXPECT_EQ(jpgReadGetImageSize(h, &width, &height), JPG_OK);
  EXPECT_EQ(width, 7u);
  EXPECT_EQ(height, 9u);
  finish(h);
}

}  // namespace
