// SPDX-License-Identifier: MIT
#include "win/jpgDibRows.h"

#include <string.h>

#include "win/jpgDib.h"

namespace jpg {
namespace {

constexpr RGBQUAD kBlack = {0, 0, 0, 0};

// What the conversion of a pixel needs besides its row.
struct PixelSource {
  const RGBQUAD *table;
  uint32_t entries;  // of the table; pixels beyond it are black
};

using PixelReader = RGBQUAD (*)(const PixelSource &source, const uint8_t *row, uint32_t x);

// Entry of a colour table.
RGBQUAD lookUp(const PixelSource &source, uint32_t index) {
  return index < source.entries ? source.table[index] : kBlack;
}

// 1 and 4 bits: the leftmost pixel is in the high bits.
RGBQUAD read1(const PixelSource &source, const uint8_t *row, uint32_t x) {
  const uint32_t byte = row[x / 8];
  return lookUp(source, byte >> (7 - x % 8) & 1);
}

RGBQUAD read4(const PixelSource &source, const uint8_t *row, uint32_t x) {
  const uint32_t byte = row[x / 2];
  return lookUp(source, byte >> (4 - x % 2 * 4) & 15);
}

RGBQUAD read8(const PixelSource &source, const uint8_t *row, uint32_t x) {
  return lookUp(source, row[x]);
}

uint32_t wordAt(const uint8_t *row, uint32_t x) {
  const uint32_t high = row[2 * x + 1];
  return high << 8 | row[2 * x];
}

uint8_t bitsOf(uint32_t value, uint32_t mask) { return static_cast<uint8_t>(value & mask); }

// 5-bit fields go into the upper bits of a byte; the low bits stay 0.
RGBQUAD read555(const PixelSource & /*source*/, const uint8_t *row, uint32_t x) {
  const uint32_t p = wordAt(row, x);
  return {bitsOf(p << 3, 0xF8), bitsOf(p >> 2, 0xF8), bitsOf(p >> 7, 0xF8), 0};
}

RGBQUAD read565(const PixelSource & /*source*/, const uint8_t *row, uint32_t x) {
  const uint32_t p = wordAt(row, x);
  return {bitsOf(p << 3, 0xF8), bitsOf(p >> 3, 0xFC), bitsOf(p >> 8, 0xF8), 0};
}

RGBQUAD read24(const PixelSource & /*source*/, const uint8_t *row, uint32_t x) {
  return {row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
}

// The masks aren't looked at.
RGBQUAD read32(const PixelSource & /*source*/, const uint8_t *row, uint32_t x) {
  return {row[4 * x], row[4 * x + 1], row[4 * x + 2], 0};
}

// 5-6-5 when bit 15 of the first mask is set.
bool is565(const PlainDib &dib) {
  if (dib.compression == BI_RGB) return false;
  uint32_t redMask = 0;
  memcpy(&redMask, dib.colors, sizeof(redMask));
  return (redMask & 0x8000) != 0;
}

PixelReader chooseReader(const PlainDib &dib) {
  switch (dib.bitsPerPixel) {
    case 1:
      return read1;
    case 4:
      return read4;
    case 8:
      return read8;
    case 16:
      return is565(dib) ? read565 : read555;
    case 24:
      return read24;
    case 32:
      return read32;
    default:
      return nullptr;
  }
}

PixelSource pixelSource(const PlainDib &dib) {
  const uint32_t all = dib.bitsPerPixel <= 8 ? 1U << dib.bitsPerPixel : 0;
  const uint32_t used = dib.header.biClrUsed;
  return {dib.colors, used != 0 && used < all ? used : all};
}

// Grey is the green byte alone, not a weighted luminance.
void storeRow(PixelReader read, const PixelSource &source, const uint8_t *in, const JpgRect &target,
              uint8_t *out) {
  const bool color = target.bitsPerPixel == 24;
  for (uint32_t x = 0; x < static_cast<uint32_t>(target.width); x++) {
    const RGBQUAD pixel = read(source, in, x);
    if (color) *out++ = pixel.rgbBlue;
    *out++ = pixel.rgbGreen;
    if (color) *out++ = pixel.rgbRed;
  }
}

}  // namespace

Result convertDibRows(const PlainDib &dib, const JpgRect &target) {
  const PixelReader read = chooseReader(dib);
  if (read == nullptr) return JPG_E_FAIL;
  const bool indexed = dib.bitsPerPixel == 4 || dib.bitsPerPixel == 8;
  if (indexed && dib.compression != BI_RGB) return JPG_E_INVALID_PARAMETER;
  const PixelSource source = pixelSource(dib);
  const uint32_t rowBytes = dibRowBytes(dib.header.biWidth, dib.bitsPerPixel);
  const uint8_t *in = dib.bits;
  for (int32_t y = target.height - 1; y >= 0; y--, in += rowBytes) {
    auto *out = static_cast<uint8_t *>(target.bits) + static_cast<ptrdiff_t>(y) * target.stride;
    storeRow(read, source, in, target, out);
  }
  return JPG_OK;
}

}  // namespace jpg
