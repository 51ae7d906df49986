// SPDX-License-Identifier: MIT
// Reading into bitmaps: descriptions, rectangles, reduced colours.
#include "whole/state/bitmap.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "model/bitmap.h"

namespace jpgtest {
namespace {

using RowsReader = std::function<uint32_t(const JpgRect &)>;

RGBQUAD gray(uint32_t v) {
  const auto b = static_cast<uint8_t>(v);
  return {b, b, b, 0};
}

// The twenty static colours of the platform's default palette: 0 to 9 and 246 to 255, as red,
// green, blue.
constexpr uint32_t kStatic[20] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080,
                                  0x800080, 0x008080, 0xC0C0C0, 0xC0DCC0, 0xA6CAF0,
                                  0xFFFBF0, 0xA0A0A4, 0x808080, 0xFF0000, 0x00FF00,
                                  0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

RGBQUAD paletteEntry(uint32_t i) {
  if (i >= 10 && i < 226) {
    const uint32_t cube = i - 10;
    return {static_cast<uint8_t>(cube % 6 * 51), static_cast<uint8_t>(cube / 6 % 6 * 51),
            static_cast<uint8_t>(cube / 36 * 51), 0};
  }
  if (i >= 226 && i < 246) return {0, 0, 0, 0};
  const uint32_t rgb = kStatic[i < 10 ? i : i - 236];
  return {static_cast<uint8_t>(rgb), static_cast<uint8_t>(rgb >> 8),
          static_cast<uint8_t>(rgb >> 16), 0};
}

void describe(BITMAPINFO *bmi, uint32_t width, uint32_t height, uint32_t channels) {
  BITMAPINFOHEADER &h = bmi->bmiHeader;
  uint16_t depth = h.biBitCount;
  if (depth != 8 && depth != 16 && depth != 24) depth = 8;
  h = {};
  h.biSize = 40;
  h.biWidth = static_cast<int32_t>(width);
  h.biHeight = static_cast<int32_t>(height);
  h.biPlanes = 1;
  h.biBitCount = depth;
  auto *table = reinterpret_cast<uint8_t *>(bmi) + 40;
  if (depth == 16) {
    h.biCompression = BI_BITFIELDS;
    constexpr uint32_t kMasks[3] = {0xF800, 0x07E0, 0x001F};
    std::memcpy(table, kMasks, sizeof(kMasks));
  }
  if (depth != 8 || (channels != 1 && channels != 3)) return;
  for (uint32_t i = 0; i < 256; i++) {
    const RGBQUAD entry = channels == 1 ? gray(i) : paletteEntry(i);
    std::memcpy(table + 4 * i, &entry, 4);
  }
}

int32_t pixelsPerMetre(uint32_t units, uint32_t density) {
  const uint32_t value = units == 1 ? (density * 10000 + 127) / 254 : density * 100;
  return static_cast<int32_t>(value);
}

uint32_t rectOf(const BITMAPINFO *bmi, uint32_t width, int32_t lines, uint8_t *bits,
                JpgRect *rect) {
  const BITMAPINFOHEADER &h = bmi->bmiHeader;
  if (h.biWidth < 1 || static_cast<int32_t>(width) > h.biWidth) return JPG_E_INVALID_PARAMETER;
  const int32_t row = (h.biBitCount / 8 * h.biWidth + 3) / 4 * 4;
  *rect = {static_cast<int32_t>(width), lines, row, h.biBitCount, 0, 8, bits, 0, 0};
  if (h.biHeight < 1) return JPG_OK;
  rect->stride = -row;
  rect->bits = bits + int64_t{lines - 1} * row;
  return JPG_OK;
}

// What isn't written has another value in two buffers filled unlike.
int32_t knownRows(const Bytes &a, const Bytes &b, int32_t row, int32_t lines) {
  int32_t y = 0;
  const auto at = [row](const Bytes &m, int32_t n) {
    return m.begin() + static_cast<std::ptrdiff_t>(n) * row;
  };
  while (y < lines && std::equal(at(a, y), at(a, y + 1), at(b, y))) y++;
  return y;
}

// Three components by way of 24 bits, of which so many rows are known.
uint32_t reduced(const BITMAPINFO *bmi, const JpgRect &dib, const Bytes &bgr, int32_t known) {
  const uint32_t depth = bmi->bmiHeader.biBitCount;
  if (depth != 8 && depth != 16) return JPG_E_INVALID_PARAMETER;
  // Nothing flows upwards, so the rows that aren't known change none above them; but the row
  // ahead of them is spread like the others.
  const Bytes rows =
      depth == 8 ? paletteModel(bgr, dib.width, dib.height) : wordModel(bgr, dib.width, dib.height);
  const auto bytes = static_cast<size_t>(dib.width) * depth / 8;
  for (int32_t y = 0; y < known; y++) {
    std::memcpy(static_cast<uint8_t *>(dib.bits) + int64_t{dib.stride} * y,
                rows.data() + static_cast<size_t>(y) * bytes, bytes);
  }
  return JPG_OK;
}

// Calls a reader twice, the first time with a copy of what it reads from.
uint32_t throughBuffer(const BITMAPINFO *bmi, const JpgRect &dib, const RowsReader &tried,
                       const RowsReader &read, int32_t *unknownRows) {
  JpgRect rect = dib;
  rect.bitsPerPixel = 24;
  rect.stride = 3 * dib.width;
  const auto size = static_cast<size_t>(rect.stride) * static_cast<size_t>(dib.height);
  Bytes first(size + 1, 0), second(size + 1, 0xFF);
  rect.bits = first.data();
  tried(rect);
  rect.bits = second.data();
  const uint32_t r = read(rect);
  if (r != JPG_OK) return r;
  const int32_t known = knownRows(first, second, rect.stride, dib.height);
  *unknownRows = dib.height - known;
  first.pop_back();
  return reduced(bmi, dib, first, known);
}

}  // namespace

uint32_t readBitmap(ReaderState *reader, BitmapSource source, int32_t extra, int32_t lines,
                    uint8_t *bits, BITMAPINFO *bmi, int32_t *unknownRows) {
  if (source == BitmapSource::kScaled && extra == JPG_SCALE_FULL) {
    source = BitmapSource::kSequential;
  }
  uint32_t width = reader->width(), height = reader->height();
  if (source == BitmapSource::kScaled) {
    const uint32_t r = reader->getScaledSize(&width, &height, extra);
    if (r != JPG_OK) return r;
  }
  const uint32_t channels = reader->components();
  if (bits == nullptr) {
    describe(bmi, width, height, channels);
    if (reader->jfifUnits() == 1 || reader->jfifUnits() == 2) {
      bmi->bmiHeader.biXPelsPerMeter = pixelsPerMetre(reader->jfifUnits(), reader->xDensity());
      bmi->bmiHeader.biYPelsPerMeter = pixelsPerMetre(reader->jfifUnits(), reader->yDensity());
    }
    return JPG_OK;
  }
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  JpgRect dib;
  if (const uint32_t r = rectOf(bmi, width, lines, bits, &dib); r != JPG_OK) return r;
  const auto readRows = [&](ReaderState *from, const JpgRect &rect) {
    if (source == BitmapSource::kSequential) return from->readToRect(rect, lines);
    return source == BitmapSource::kProgressive ? from->progressiveToRect(rect, lines, extra)
                                                : from->scaledToRect(rect, lines, extra);
  };
  const bool direct = channels % 2 == 1 && channels == bmi->bmiHeader.biBitCount / 8U;
  if (direct) return readRows(reader, dib);
  if (channels != 3) return JPG_E_UNSUPPORTED;
  ReaderState copy = *reader;
  return throughBuffer(
      bmi, dib, [&](const JpgRect &rect) { return readRows(&copy, rect); },
      [&](const JpgRect &rect) { return readRows(reader, rect); }, unknownRows);
}

uint32_t readThumbnail(ExifState *exif, uint8_t *bits, BITMAPINFO *bmi) {
  if (const uint32_t r = exif->parse(); r != JPG_OK) return r;
  const uint32_t channels = exif->channels();
  const auto lines = static_cast<int32_t>(exif->height());
  if (bits == nullptr) {
    describe(bmi, exif->width(), exif->height(), channels);
    return JPG_OK;
  }
  JpgRect dib;
  if (const uint32_t r = rectOf(bmi, exif->width(), lines, bits, &dib); r != JPG_OK) return r;
  const auto readRows = [&](const JpgRect &rect) {
    if (!exif->compressed()) return exif->rgbRows(rect, lines);
    exif->rewind();
    return exif->nested()->readToRect(rect, lines);
  };
  if (channels == bmi->bmiHeader.biBitCount / 8U) return readRows(dib);
  if (channels != 3) return JPG_E_UNSUPPORTED;
  int32_t unknownRows = 0;
  return throughBuffer(bmi, dib, readRows, readRows, &unknownRows);
}

}  // namespace jpgtest
