// SPDX-License-Identifier: MIT
// Memory: decoding band by band takes one record, its Huffman tables and one MCU,
// whatever the size of the picture; so does encoding.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "faulty.h"
#include "jpg.h"

namespace {

using namespace jpg;

constexpr uint32_t kSide = 10000;        // pixels: 100 megapixels
constexpr uint32_t kBand = 16;           // rows
constexpr size_t kMaxHeap = 300 * 1024;  // bytes beyond the caller's band

// A picture by rule: blocks of 16 x 16 pixels of one grey, so that coding is exact
// within a level.
uint8_t levelAt(uint32_t x, uint32_t y) {
  return static_cast<uint8_t>(((x / 16) * 7 + (y / 16) * 13) % 200 + 20);
}

std::string tempName() {
  return testing::TempDir() + "jpg_constant_memory_" + std::to_string(getpid()) + ".jpg";
}
std::u16string wide(const std::string &name) { return {name.begin(), name.end()}; }

JpgRect bandRect(std::vector<uint8_t> *band) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(kSide);
  rect.height = static_cast<int32_t>(kSide);
  rect.stride = static_cast<int32_t>(3 * kSide);
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.bits = band->data();
  return rect;
}

void fillBand(uint32_t y, std::vector<uint8_t> *band) {
  for (uint32_t row = 0; row < kBand; row++) {
    for (uint32_t x = 0; x < kSide; x++) {
      std::fill_n(band->data() + 3 * (size_t{row} * kSide + x), 3, levelAt(x, y + row));
    }
  }
}

// Writes the picture row by row; the heap's peak in bytes.
size_t encodePicture(const std::string &name) {
  std::vector<uint8_t> band(size_t{3} * kSide * kBand);
  faulty::reset();
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToFile(wide(name).c_str(), 0, &h), JPG_OK);
  const JpgRect rect = bandRect(&band);
  for (uint32_t y = 0; y < kSide; y += kBand) {
    fillBand(y, &band);
    EXPECT_EQ(jpgWriteFromRect(h, &rect, kBand), JPG_OK);
  }
  EXPECT_EQ(jpgWriteEpilogToFile(h), JPG_OK);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
  return faulty::peakBytes();
}

// Reads it back and compares every row; the heap's peak in bytes.
size_t decodePicture(const std::string &name) {
  std::vector<uint8_t> band(size_t{3} * kSide * kBand);
  std::vector<uint8_t> expected(band.size());
  faulty::reset();
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgReadPrologFromFile(wide(name).c_str(), 0, 0, 0, &h), JPG_OK);
  const JpgRect rect = bandRect(&band);
  int worst = 0;
  for (uint32_t y = 0; y < kSide; y += kBand) {
    EXPECT_EQ(jpgReadToRect(h, &rect, static_cast<int32_t>(kBand)), JPG_OK);
    fillBand(y, &expected);
    for (size_t i = 0; i < band.size(); i++) {
      worst = std::max(worst, std::abs(int{band[i]} - int{expected[i]}));
    }
  }
  EXPECT_LE(worst, 2);  // quantisation of the DC coefficients at quality 90, and rounding
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
  return faulty::peakBytes();
}

static_assert(kSide % kBand == 0, "bands must divide the picture");

TEST(ConstantMemory, AHundredMegapixelsPassThroughLessThan300KiB) {
  const std::string name = tempName();
  const size_t writing = encodePicture(name);
  const size_t reading = decodePicture(name);
  std::remove(name.c_str());
  std::printf("heap peak: writing %zu bytes, reading %zu bytes\n", writing, reading);
  EXPECT_LT(writing, kMaxHeap);
  EXPECT_LT(reading, kMaxHeap);
}

}  // namespace
