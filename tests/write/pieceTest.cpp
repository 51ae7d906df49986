// SPDX-License-Identifier: MIT
// Our own pieces read back: pictures of every process and layout, handed out after every row of
// MCUs, or every line of lossless ones, and read piece by piece.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "libraryEncode.h"
#include "support/random.h"

namespace {

using namespace jpgtest;

struct Layout {
  bool lossless;
  int32_t channels;
  int32_t precision;
  uint32_t sampling;
  bool raw;
};

constexpr Layout kLayouts[] = {
    {false, 1, 8, 0x11, false},       {false, 3, 8, 0x00111111, false},
    {false, 3, 8, 0x00211111, false}, {false, 3, 8, 0x00121111, false},
    {false, 3, 8, 0x00221111, false}, {false, 3, 8, 0x00222112, false},
    {false, 3, 8, 0x00221111, true},  {false, 4, 8, 0x11111111, true},
    {true, 1, 8, 0, false},           {true, 2, 8, 0, false},
    {true, 3, 8, 0, false},           {true, 4, 8, 0, false},
    {true, 1, 16, 0, false},          {true, 3, 12, 0, false},
};

constexpr int32_t kWidth = 37, kHeight = 45;

int32_t mcuSide(const Layout &layout, uint32_t shift) {
  if (layout.lossless) return 1;
  if (layout.channels == 1) return 8;
  const uint32_t first = layout.sampling >> (8 * (layout.channels - 1));
  return static_cast<int32_t>(8 * (first >> shift & 15));
}

int32_t mcusPerRow(const Layout &layout) {
  const int32_t side = mcuSide(layout, 4);
  return layout.lossless ? kWidth : (kWidth + side - 1) / side;
}

int32_t sampleBytes(const Layout &layout) { return layout.precision > 8 ? 2 : 1; }

Bytes pixelsOf(const Layout &layout) {
  Bytes pixels;
  jpgtest::Random random(static_cast<uint32_t>(layout.channels) * 7 + layout.sampling);
  const int32_t bytes = kWidth * kHeight * layout.channels * sampleBytes(layout);
  for (int32_t i = 0; i < bytes; i++) {
    const bool high = sampleBytes(layout) == 2 && i % 2 != 0;
    const uint32_t top = random.byte();
    pixels.push_back(static_cast<uint8_t>(high ? top >> (16 - layout.precision) : top));
  }
  return pixels;
}

JpgRect rectOf(const Layout &layout, Bytes *pixels, int32_t row) {
  JpgRect rect = {};
  rect.width = kWidth;
  rect.height = kHeight;
  rect.channels = layout.channels;
  rect.bitsPerSample = layout.precision;
  rect.bitsPerPixel = layout.channels * layout.precision;
  rect.stride = kWidth * layout.channels * sampleBytes(layout);
  rect.bits = pixels->data() + row * rect.stride;
  return rect;
}

// The stream of calls of `rows` rows each, whole or in a piece a call.
enum class Out { kWhole, kPieces };

std::vector<Bytes> encode(const Layout &layout, int32_t restart, int32_t rows, Out out) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetRestartInterval(h, restart), JPG_OK);
  EXPECT_EQ(jpgWriteSetSpatialPredictor(h, 7), JPG_OK);
  if (!layout.lossless) {
    EXPECT_EQ(jpgWriteSetSubsamplingFactor(h, layout.sampling), JPG_OK);
  }
  if (layout.raw) {
    EXPECT_EQ(jpgWriteSetNoColorConversion(h), JPG_OK);
  }
  std::vector<Bytes> pieces;
  Bytes pixels = pixelsOf(layout);
  void *data = nullptr;
  uint32_t size = 0;
  for (int32_t y = 0; y < kHeight; y += rows) {
    const JpgRect rect = rectOf(layout, &pixels, y);
    const auto lines = static_cast<uint32_t>(rows < kHeight - y ? rows : kHeight - y);
    const auto write = layout.lossless ? jpgWriteSpatialFromRect : jpgWriteFromRect;
    EXPECT_EQ(write(h, &rect, lines), JPG_OK);
    if (out == Out::kWhole || y + rows >= kHeight) continue;
    EXPECT_EQ(jpgWriteGetPartialBitstream(h, &data, &size), JPG_OK);
    pieces.push_back(take(data, size));
  }
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  pieces.push_back(take(data, size));
  return pieces;
}

// Rows piece by piece.
Bytes decode(const Layout &layout, const std::vector<Bytes> &pieces, int32_t rows) {
  Bytes pixels(pixelsOf(layout).size() + size_t{2} * kWidth * 4, 0xEE);
  JPGHANDLE h = nullptr;
  const uint32_t opened = jpgReadPrologFromMemory(
      pieces[0].data(), static_cast<int32_t>(pieces[0].size()), JPG_READ_PARTIAL_BITSTREAM, &h);
  EXPECT_EQ(opened, JPG_OK);
  if (opened != JPG_OK) return {};
  if (layout.raw) {
    EXPECT_EQ(jpgReadSetNoColorConversion(h), JPG_OK);
  }
  for (size_t i = 0; i < pieces.size(); i++) {
    if (i != 0) {
      const auto size = static_cast<uint32_t>(pieces[i].size());
      EXPECT_EQ(jpgReadSetPartialBitstream(h, pieces[i].data(), size), JPG_OK);
    }
    const int32_t y = static_cast<int32_t>(i) * rows;
    JpgRect rect = rectOf(layout, &pixels, y);
    if (layout.raw) rect.bitsPerPixel = 8 * layout.channels;
    const int32_t lines = rows < kHeight - y ? rows : kHeight - y;
    const auto read = layout.lossless ? jpgReadSpatialToRect : jpgReadToRect;
    EXPECT_EQ(read(h, &rect, lines), JPG_OK) << "piece " << i;
  }
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  pixels.resize(pixelsOf(layout).size());
  return pixels;
}

void expectPiecesReadBack(const Layout &layout, int32_t restart) {
  const int32_t rows = mcuSide(layout, 0);
  const std::vector<Bytes> pieces = encode(layout, restart, rows, Out::kPieces);
  ASSERT_EQ(pieces.size(), static_cast<size_t>((kHeight + rows - 1) / rows));
  const Bytes whole = decode(layout, encode(layout, restart, rows, Out::kWhole), kHeight);
  if (layout.lossless) {
    EXPECT_TRUE(whole == pixelsOf(layout));
  }
  EXPECT_TRUE(decode(layout, pieces, rows) == whole);
}

std::string describe(const Layout &layout, int32_t restart) {
  return std::to_string(layout.channels) + " channels of " + std::to_string(layout.precision) +
         " bits, sampling " + std::to_string(layout.sampling) + ", restarts " +
         std::to_string(restart);
}

TEST(Pieces, OfEveryLayoutReadBackExactly) {
  for (const Layout &layout : kLayouts) {
    const int32_t row = mcusPerRow(layout);
    // None; every row; every other; in the middle of rows (of which lossless pictures take none).
    for (const int32_t restart : {0, row, 2 * row, row + 1, 1, 3}) {
      SCOPED_TRACE(describe(layout, restart));
      expectPiecesReadBack(layout, restart);
    }
  }
}

// A walk that came before the piece doesn't lead its decoding back to where the first piece's
// data began.
TEST(Pieces, AreReadFromTheirBeginningWhateverMarkersWereSoughtBefore) {
  const Layout layout = kLayouts[4];
  const std::vector<Bytes> pieces = encode(layout, 0, 16, Out::kPieces);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(pieces[0].data(), static_cast<int32_t>(pieces[0].size()),
                                    JPG_READ_PARTIAL_BITSTREAM, &h),
            JPG_OK);
  uint16_t marker = 0;
  uint32_t length = 0;
  EXPECT_EQ(jpgReadSeekMarkerSegment(h, 0, &marker, &length), JPG_OK);
  EXPECT_EQ(
      jpgReadSetPartialBitstream(h, pieces[1].data(), static_cast<uint32_t>(pieces[1].size())),
      JPG_OK);
  Bytes pixels(size_t{kWidth} * kHeight * 3, 0xEE);
  JpgRect rect = rectOf(layout, &pixels, 0);
  EXPECT_EQ(jpgReadToRect(h, &rect, 16), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  const Bytes whole = decode(layout, encode(layout, 0, 16, Out::kWhole), kHeight);
  const size_t band = size_t{kWidth} * 3 * 16;
  EXPECT_TRUE(std::equal(pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(band),
                         whole.begin() + static_cast<std::ptrdiff_t>(band)));
}

}  // namespace
