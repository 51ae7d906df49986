// SPDX-License-Identifier: MIT
// Bitmaps to rows of grey or of blue, green, red.
#include <cstdlib>
#include <cstring>

#include "whole/state/bitmap.h"
#include "whole/state/writerState.h"

namespace jpgtest {
namespace {

struct Bgr {
  uint32_t b, g, r;
};

// The colour of an entry; black behind the entries in use.
Bgr entryOf(const BITMAPINFO *bmi, uint32_t index) {
  const uint32_t used = bmi->bmiHeader.biClrUsed;
  if (used != 0 && index >= used) return {0, 0, 0};
  RGBQUAD q;
  std::memcpy(&q, reinterpret_cast<const uint8_t *>(bmi) + sizeof(BITMAPINFOHEADER) + 4 * index, 4);
  return {q.rgbBlue, q.rgbGreen, q.rgbRed};
}

Bgr wordOf(const BITMAPINFO *bmi, uint32_t p) {
  const bool six =
      bmi->bmiHeader.biCompression != 0 && (wordAt(bmi, 0) & 0x8000) != 0;  // the first mask
  const uint32_t green = six ? p >> 3 & 0xFC : p >> 2 & 0xF8;
  return {p << 3 & 0xFF, green, six ? p >> 8 & 0xF8 : p >> 7 & 0xF8};
}

Bgr pixelOf(const BITMAPINFO *bmi, const uint8_t *row, uint32_t x) {
  switch (bmi->bmiHeader.biBitCount) {
    case 1:
      return entryOf(bmi, row[x / 8] >> (7 - x % 8) & 1U);
    case 4:
      return entryOf(bmi, x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15U);
    case 8:
      return entryOf(bmi, row[x]);
    case 16:
      return wordOf(bmi, row[2 * x] + row[2 * x + 1] * 256U);
    default: {
      const uint8_t *p = row + size_t{x} * (bmi->bmiHeader.biBitCount / 8U);
      return {p[0], p[1], p[2]};
    }
  }
}

// Run-length codes of bytes, up to the end of the bitmap or of the codes. False for a run that
// leaves its row, the padding included.
bool expand(const BITMAPINFO *bmi, const uint8_t *codes, Bytes *plain) {
  const BITMAPINFOHEADER &h = bmi->bmiHeader;
  const auto width = static_cast<size_t>(h.biWidth), rows = static_cast<size_t>(h.biHeight);
  const size_t row = (width + 3) / 4 * 4, size = h.biSizeImage != 0 ? h.biSizeImage : SIZE_MAX;
  plain->assign(row * rows, 0);
  size_t x = 0, y = 0;
  for (size_t at = 0; y < rows && at <= size - 2; at += 2) {
    const size_t count = codes[at], code = codes[at + 1];
    if (count == 0 && code == 1) return true;
    if (count == 0 && code == 0) {
      x = 0;
      y++;
      continue;
    }
    const size_t n = count != 0 ? count : code;
    if (count == 0 && size - at - 2 < n) return true;
    if (n > row - x) return false;
    for (size_t i = 0; i < n; i++) {
      (*plain)[y * row + x++] = count != 0 ? codes[at + 1] : codes[at + 2 + i];
    }
    if (count == 0) at += n + n % 2;  // padded
  }
  return true;
}

bool servedDepth(uint32_t depth) {
  return depth == 1 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
}

}  // namespace

uint32_t wordAt(const BITMAPINFO *bmi, size_t i) {
  uint32_t word = 0;
  std::memcpy(&word, reinterpret_cast<const uint8_t *>(bmi) + sizeof(BITMAPINFOHEADER) + 4 * i, 4);
  return word;
}

uint32_t WriterState::fromBitmap(int32_t lines, const uint8_t *bits, const BITMAPINFO *bmi) {
  const BITMAPINFOHEADER &header = bmi->bmiHeader;
  const int32_t rows = std::abs(header.biHeight), width = header.biWidth;
  if (lines < 1 || lines > rows || width < 1) return JPG_E_INVALID_PARAMETER;
  if (lines_ != 0 && static_cast<uint32_t>(width) != encoder_.frame().width)
    return JPG_E_INVALID_PARAMETER;
  if (lines_ == 0) {
    if (lines != header.biHeight) {
      setImageSize(static_cast<uint32_t>(width), static_cast<uint32_t>(rows));
    }
    if (components_ == 0) components_ = header.biBitCount == 8 ? 1 : 3;
  }
  const auto channels = static_cast<int32_t>(componentsOfFrame());
  if (channels != 1 && channels != 3) return JPG_E_INVALID_FUNCTION;
  const int32_t stride = (channels * width + 3) / 4 * 4;
  JpgRect rect = {width, lines, stride, 8 * channels, channels, 8, nullptr, 0, 0};
  if (channels == 3 && header.biBitCount == 24) {
    const bool bottomUp = header.biHeight >= 0;
    const uint8_t *top = bits + (bottomUp ? (lines - 1) * int64_t{stride} : 0);
    rect.bits = const_cast<uint8_t *>(top);
    if (bottomUp) rect.stride = -stride;
    return fromRect(rect, static_cast<uint32_t>(lines));
  }
  if (!servedDepth(header.biBitCount)) return JPG_E_FAIL;
  const bool coded = header.biCompression == BI_RLE8 && header.biBitCount == 8;
  Bytes plain;
  if (coded && !expand(bmi, bits, &plain)) return JPG_E_FAIL;
  if (coded) bits = plain.data();
  if (!coded && (header.biBitCount == 4 || header.biBitCount == 8) && header.biCompression != 0) {
    return JPG_E_INVALID_PARAMETER;
  }
  const size_t source = (size_t{header.biBitCount} * static_cast<uint32_t>(width) + 31) / 32 * 4;
  Bytes pixels(static_cast<size_t>(stride) * static_cast<size_t>(lines));
  for (int32_t y = 0; y < lines; y++) {
    uint8_t *to = &pixels[static_cast<size_t>(lines - 1 - y) * static_cast<size_t>(stride)];
    for (uint32_t x = 0; x < static_cast<uint32_t>(width); x++) {
      const Bgr p = pixelOf(bmi, bits + static_cast<size_t>(y) * source, x);
      if (channels == 3) *to++ = static_cast<uint8_t>(p.b);
      *to++ = static_cast<uint8_t>(p.g);
      if (channels == 3) *to++ = static_cast<uint8_t>(p.r);
    }
  }
  rect.bits = pixels.data();
  return fromRect(rect, static_cast<uint32_t>(lines));
}

}  // namespace jpgtest
