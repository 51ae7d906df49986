// SPDX-License-Identifier: MIT
// A bitmap's description may lie at any address: as in the bytes of a bitmap file, where it
// begins behind a file header of 14.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "jpg.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

constexpr int32_t kWidth = 20, kHeight = 12;

// Room for a description at an odd place.
struct Description {
  explicit Description(size_t at) : at_(at), room_(at + sizeof(BITMAPINFOHEADER) + 4 * 256) {}
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(room_.data() + at_); }
  void set(const BITMAPINFOHEADER &header) {
    std::memcpy(room_.data() + at_, &header, sizeof(header));
  }
  BITMAPINFOHEADER header() const {
    BITMAPINFOHEADER header;
    std::memcpy(&header, room_.data() + at_, sizeof(header));
    return header;
  }
  Bytes bytes() const { return {room_.begin() + static_cast<std::ptrdiff_t>(at_), room_.end()}; }

 private:
  size_t at_;
  alignas(8) Bytes room_;
};

BITMAPINFOHEADER headerOf(uint16_t bits) {
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof(header);
  header.biBitCount = bits;
  return header;
}

enum class Way { kWhole, kProgressive, kHalf };

uint32_t read(JPGHANDLE h, Way way, int32_t lines, void *bits, BITMAPINFO *bmi) {
  if (way == Way::kProgressive) return jpgReadProgressiveToWinDIBits(h, lines, bits, bmi, 0);
  if (way == Way::kHalf) return jpgReadScaleOutputToWinDIBits(h, lines, bits, bmi, JPG_SCALE_HALF);
  return jpgReadToWinDIBits(h, lines, bits, bmi);
}

// The description and the pixels of a picture, read with a description at `at`.
Bytes bitmapOf(Way way, uint16_t bits, size_t at) {
  Picture p = makePicture(kWidth, kHeight, {0x22, 0x11, 0x11});
  const Reader reader = Reader::ofMemory(
      way == Way::kProgressive ? encodeProgressive(p, spectralScript(3)) : encode(p));
  Description d(at);
  d.set(headerOf(bits));
  EXPECT_RESULT(JPG_OK, read(reader.handle(), way, 0, nullptr, d.bmi()));
  Bytes pixels(size_t{4} * kWidth * kHeight, 0xA5);
  EXPECT_RESULT(JPG_OK, read(reader.handle(), way, d.header().biHeight, pixels.data(), d.bmi()));
  return d.bytes() + pixels;
}

TEST(DibAddress, OfADescriptionThatIsReadToMayBeAny) {
  for (const Way way : {Way::kWhole, Way::kProgressive, Way::kHalf}) {
    for (const uint16_t bits : {uint16_t{8}, uint16_t{16}, uint16_t{24}}) {
      const Bytes aligned = bitmapOf(way, bits, 0);
      for (const size_t at : {1u, 2u, 3u, 14u}) {
        EXPECT_EQ(bitmapOf(way, bits, at), aligned) << bits << " bits at " << at;
      }
    }
  }
}

Bytes streamOf(uint16_t bits, uint32_t compression, size_t at) {
  Description d(at);
  BITMAPINFOHEADER header = headerOf(bits);
  header.biWidth = kWidth;
  header.biHeight = kHeight;
  header.biCompression = compression;
  d.set(header);
  auto *table = reinterpret_cast<uint8_t *>(d.bmi()) + sizeof(header);
  for (int i = 0; i < 4 * 256; i++) table[i] = static_cast<uint8_t>(i * 7);
  Bytes pixels;
  for (int i = 0; i < 4 * kWidth * kHeight; i++) pixels.push_back(static_cast<uint8_t>(i * 5));
  if (compression == BI_RLE8) pixels = {20, 9, 0, 0, 20, 4, 0, 1};
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteFromWinDIBits(h, kHeight, pixels.data(), d.bmi()));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const auto *bytes = static_cast<const uint8_t *>(data);
  const Bytes stream(bytes, bytes + size);
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  return stream;
}

TEST(DibAddress, OfADescriptionThatIsWrittenFromMayBeAny) {
  const struct {
    uint16_t bits;
    uint32_t compression;
  } kKinds[] = {{1, BI_RGB},        {4, BI_RGB},  {8, BI_RGB},  {16, BI_RGB},
                {16, BI_BITFIELDS}, {24, BI_RGB}, {32, BI_RGB}, {8, BI_RLE8}};
  for (const auto &kind : kKinds) {
    const Bytes aligned = streamOf(kind.bits, kind.compression, 0);
    for (const size_t at : {1u, 2u, 3u, 14u}) {
      EXPECT_EQ(streamOf(kind.bits, kind.compression, at), aligned)
          << kind.bits << " bits, compression " << kind.compression << " at " << at;
    }
  }
}

}  // namespace
