// SPDX-License-Identifier: MIT
// A bitmap that the header mode describes is handed straight to the decode mode, for every
// process, depth and count of components.
#include <gtest/gtest.h>
#include <jpg.h>

#include <functional>
#include <string>
#include <vector>

#include "model/bitmap.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

// A way to read: into a bitmap, or with no bits its description; and into a rectangle.
struct Way {
  std::string name;
  uint8_t sof;
  std::function<uint32_t(JPGHANDLE, int32_t, void *, BITMAPINFO *)> toBitmap;
  std::function<uint32_t(JPGHANDLE, const JpgRect &, int32_t)> toRect;
};

std::vector<Way> ways() {
  std::vector<Way> all;
  const auto plain = [](JPGHANDLE h, const JpgRect &rect, int32_t lines) {
    return jpgReadToRect(h, &rect, lines);
  };
  all.push_back({"baseline", kSof0, jpgReadToWinDIBits, plain});
  all.push_back({"extended", kSof1, jpgReadToWinDIBits, plain});
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    all.push_back({"scale " + std::to_string(scale), kSof0,
                   [scale](JPGHANDLE h, int32_t lines, void *bits, BITMAPINFO *bmi) {
                     return jpgReadScaleOutputToWinDIBits(h, lines, bits, bmi, scale);
                   },
                   [scale](JPGHANDLE h, const JpgRect &rect, int32_t lines) {
                     return jpgReadScaleOutputToRect(h, &rect, lines, scale);
                   }});
  }
  for (const int32_t mode : {JPG_PROGRESSIVE_ALL_SCANS, JPG_PROGRESSIVE_NEXT_SCAN}) {
    all.push_back({"progressive " + std::to_string(mode), kSof2,
                   [mode](JPGHANDLE h, int32_t lines, void *bits, BITMAPINFO *bmi) {
                     return jpgReadProgressiveToWinDIBits(h, lines, bits, bmi, mode);
                   },
                   [mode](JPGHANDLE h, const JpgRect &rect, int32_t lines) {
                     return jpgReadProgressiveToRect(h, &rect, lines, mode);
                   }});
  }
  return all;
}

Bytes streamFor(const Way &way, const std::vector<uint8_t> &samplings) {
  Picture picture = makePicture(37, 29, samplings);
  picture.before = StreamBuilder().jfif(2, 50, 60).bytes();
  picture.sof = way.sof;
  if (way.sof != kSof2) return encode(picture);
  return encodeProgressive(picture, refiningScript(samplings.size()));
}

struct Info {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

// What a rectangle of that size holds after reading, rows without padding.
Bytes rectPixels(const Way &way, const Bytes &stream, int32_t width, int32_t height,
                 int32_t bytes) {
  const Reader reader = Reader::ofMemory(stream);
  Bytes pixels(static_cast<size_t>(width * height * bytes));
  JpgRect rect = {};
  rect.width = width;
  rect.stride = width * bytes;
  rect.bits = pixels.data();
  EXPECT_RESULT(JPG_OK, way.toRect(reader.handle(), rect, height)) << way.name;
  return pixels;
}

// Bits for what has been described and no byte more, so that AddressSanitizer sees any other.
Bytes bitsFor(const BITMAPINFOHEADER &header) {
  const int32_t row = (header.biWidth * header.biBitCount + 31) / 32 * 4;
  return Bytes(static_cast<size_t>(row * header.biHeight), 0xA5);
}

TEST(DibProcess, AColourBitmapIsFilledAsItIsDescribed) {
  for (const Way &way : ways()) {
    const Bytes stream = streamFor(way, {0x22, 0x11, 0x11});
    for (const uint32_t asked : {0U, 1U, 4U, 8U, 16U, 24U, 32U}) {
      SCOPED_TRACE(way.name + ", " + std::to_string(asked) + " bits");
      const Reader reader = Reader::ofMemory(stream);
      Info info;
      info.header.biBitCount = static_cast<uint16_t>(asked);
      ASSERT_RESULT(JPG_OK, way.toBitmap(reader.handle(), 0, nullptr, info.bmi()));
      EXPECT_EQ(info.header.biXPelsPerMeter, 5000);
      EXPECT_EQ(info.header.biYPelsPerMeter, 6000);
      Bytes bits = bitsFor(info.header);
      const int32_t width = info.header.biWidth, height = info.header.biHeight;
      ASSERT_RESULT(JPG_OK, way.toBitmap(reader.handle(), height, bits.data(), info.bmi()));
      Bytes expected = rectPixels(way, stream, width, height, 3);
      const uint32_t depth = info.header.biBitCount;
      if (depth == 8) expected = paletteModel(expected, width, height);
      if (depth == 16) expected = wordModel(expected, width, height);
      const auto bytes = static_cast<int32_t>(depth / 8);
      EXPECT_EQ(rowsOf(bits, width, height, bytes, true) == expected, true);
    }
  }
}

TEST(DibProcess, AGreyBitmapIsFilledWith8BitsAndRefusedWithMore) {
  for (const Way &way : ways()) {
    const Bytes stream = streamFor(way, {0x11});
    for (const uint32_t asked : {0U, 1U, 4U, 8U, 16U, 24U, 32U}) {
      SCOPED_TRACE(way.name + ", " + std::to_string(asked) + " bits");
      const Reader reader = Reader::ofMemory(stream);
      Info info;
      info.header.biBitCount = static_cast<uint16_t>(asked);
      ASSERT_RESULT(JPG_OK, way.toBitmap(reader.handle(), 0, nullptr, info.bmi()));
      Bytes bits = bitsFor(info.header);
      const int32_t width = info.header.biWidth, height = info.header.biHeight;
      const uint32_t r = way.toBitmap(reader.handle(), height, bits.data(), info.bmi());
      if (info.header.biBitCount != 8) {
        EXPECT_RESULT(JPG_E_UNSUPPORTED, r);
        EXPECT_EQ(bits, Bytes(bits.size(), 0xA5));
        continue;
      }
      EXPECT_RESULT(JPG_OK, r);
      EXPECT_EQ(rowsOf(bits, width, height, 1, true) == rectPixels(way, stream, width, height, 1),
                true);
    }
  }
}

TEST(DibProcess, SizesThatAreDescribedAreThoseOfTheScale) {
  const int32_t widths[] = {5, 10, 19, 37}, heights[] = {4, 8, 15, 29};  // rounded up
  const Reader reader = Reader::ofMemory(streamFor(ways()[0], {0x11}));
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    Info info;
    ASSERT_RESULT(JPG_OK,
                  jpgReadScaleOutputToWinDIBits(reader.handle(), 0, nullptr, info.bmi(), scale));
    EXPECT_EQ(info.header.biWidth, widths[scale]);
    EXPECT_EQ(info.header.biHeight, heights[scale]);
  }
}

// Each call with one scan more fills the whole bitmap, until none is left.
TEST(DibProcess, AProgressiveBitmapGrowsScanByScan) {
  const Bytes stream = streamFor(ways().back(), {0x22, 0x11, 0x11});
  const size_t scans = refiningScript(3).size();
  const Reader reader = Reader::ofMemory(stream);
  Info info;
  info.header.biBitCount = 24;
  ASSERT_RESULT(JPG_OK, jpgReadProgressiveToWinDIBits(reader.handle(), 0, nullptr, info.bmi(), 1));
  const int32_t height = info.header.biHeight;
  Bytes bits;
  for (size_t n = 0; n < scans; n++) {
    bits = bitsFor(info.header);
    ASSERT_RESULT(
        JPG_OK, jpgReadProgressiveToWinDIBits(reader.handle(), height, bits.data(), info.bmi(), 1))
        << "scan " << n;
  }
  Bytes after = bitsFor(info.header);
  EXPECT_RESULT(JPG_NO_DATA, jpgReadProgressiveToWinDIBits(reader.handle(), height, after.data(),
                                                           info.bmi(), 1));
  const Way allScans = ways()[ways().size() - 2];
  EXPECT_EQ(rowsOf(bits, 37, 29, 3, true) == rectPixels(allScans, stream, 37, 29, 3), true);
}

TEST(DibProcess, RefusalsComeInTheirOrder) {
  JPGHANDLE writer = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &writer));
  for (const Way &way : ways()) {
    SCOPED_TRACE(way.name);
    const Reader reader = Reader::ofMemory(streamFor(way, {0x22, 0x11, 0x11}));
    JPGHANDLE h = reader.handle();
    Info info;
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, way.toBitmap(nullptr, 0, nullptr, info.bmi()));
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, way.toBitmap(writer, 0, nullptr, info.bmi()));
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, way.toBitmap(h, 0, nullptr, nullptr));
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, way.toBitmap(nullptr, 0, nullptr, nullptr));
    info.header.biBitCount = 24;
    ASSERT_RESULT(JPG_OK, way.toBitmap(h, 0, nullptr, info.bmi()));
    Bytes bits = bitsFor(info.header);
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, way.toBitmap(h, 0, bits.data(), info.bmi()));
    info.header.biWidth--;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                  way.toBitmap(h, info.header.biHeight, bits.data(), info.bmi()));
    EXPECT_EQ(bits, Bytes(bits.size(), 0xA5));
  }
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(writer, &data, &size));
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
}

// No bitmap reader decodes lossless images; each says so, whatever it described.
TEST(DibProcess, ReadersRefuseImagesOfOtherProcesses) {
  const struct {
    uint8_t sof;
    bool sequential, progressive;
  } kCases[] = {{kSof0, true, false}, {kSof2, false, true}, {kSof3, false, false}};
  for (const auto &c : kCases) {
    Way way = ways()[0];
    way.sof = c.sof;
    const Bytes stream = streamFor(way, {0x11});
    Info info;
    const auto decode = [&](int kind) {
      const Reader reader = Reader::ofMemory(stream);
      EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(reader.handle(), 0, nullptr, info.bmi()));
      Bytes bits = bitsFor(info.header);
      const int32_t height = info.header.biHeight;
      JPGHANDLE h = reader.handle();
      if (kind == 0) return jpgReadToWinDIBits(h, height, bits.data(), info.bmi());
      if (kind == 1) return jpgReadProgressiveToWinDIBits(h, height, bits.data(), info.bmi(), 0);
      return jpgReadScaleOutputToWinDIBits(h, (height + 1) / 2, bits.data(), info.bmi(), 2);
    };
    EXPECT_RESULT(c.sequential ? JPG_OK : JPG_E_UNSUPPORTED, decode(0));
    EXPECT_RESULT(c.progressive ? JPG_OK : JPG_E_UNSUPPORTED, decode(1));
    EXPECT_RESULT(c.sequential ? JPG_OK : JPG_E_UNSUPPORTED, decode(2));
  }
}

}  // namespace
