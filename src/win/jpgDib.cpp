// SPDX-License-Identifier: MIT
#include "win/jpgDib.h"

#include <string.h>

#include "share/jpgHeap.h"
#include "win/jpgPalette.h"
#include "win/jpgReduce.h"

namespace jpg {
namespace {

constexpr uint16_t kDefaultBits = 8;
constexpr uint8_t kUnitsInch = 1;  // jfifUnits
constexpr uint8_t kUnitsCentimetre = 2;

static_assert(alignof(RGBQUAD) == 1, "a colour table may lie at any address");

// Masks of 5-6-5 pixels: red, green, blue.
void fillMasks(RGBQUAD *table) {
  constexpr uint32_t kMasks[3] = {0xF800, 0x07E0, 0x001F};
  memcpy(static_cast<void *>(table), kMasks, sizeof(kMasks));
}

void fillColors(RGBQUAD *table, uint16_t bits, uint32_t components) {
  if (bits == 16) fillMasks(table);
  if (bits == 8 && components == 1) fillGrayRamp(table);
  if (bits == 8 && components == 3) fillReductionPalette(table);
}

// Dots per inch to pixels per metre, rounded to nearest.
int32_t perMetre(uint16_t dotsPerInch) { return (dotsPerInch * 10000 + 127) / 254; }

}  // namespace

BITMAPINFOHEADER loadDibHeader(const void *bmi) {
  BITMAPINFOHEADER header;
  memcpy(&header, bmi, sizeof(header));
  return header;
}

void storeDibHeader(void *bmi, const BITMAPINFOHEADER &header) {
  memcpy(bmi, &header, sizeof(header));
}

RGBQUAD *colorTable(void *bmi) {
  return reinterpret_cast<RGBQUAD *>(static_cast<uint8_t *>(bmi) + sizeof(BITMAPINFOHEADER));
}

const RGBQUAD *colorTable(const void *bmi) {
  const auto *bytes = static_cast<const uint8_t *>(bmi);
  return reinterpret_cast<const RGBQUAD *>(bytes + sizeof(BITMAPINFOHEADER));
}

void fillDibHeader(void *bmi, const ImageShape &shape) {
  const uint16_t asked = loadDibHeader(bmi).biBitCount;
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof(header);
  header.biWidth = static_cast<int32_t>(shape.width);
  header.biHeight = static_cast<int32_t>(shape.height);
  header.biPlanes = 1;
  header.biBitCount = asked == 8 || asked == 16 || asked == 24 ? asked : kDefaultBits;
  if (header.biBitCount == 16) header.biCompression = BI_BITFIELDS;
  storeDibHeader(bmi, header);
  fillColors(colorTable(bmi), header.biBitCount, shape.components);
}

void setDibResolution(const JpgContext &c, void *bmi) {
  BITMAPINFOHEADER header = loadDibHeader(bmi);
  if (c.jfifUnits == kUnitsInch) {
    header.biXPelsPerMeter = perMetre(c.jfifXDensity);
    header.biYPelsPerMeter = perMetre(c.jfifYDensity);
  } else if (c.jfifUnits == kUnitsCentimetre) {
    header.biXPelsPerMeter = c.jfifXDensity * 100;
    header.biYPelsPerMeter = c.jfifYDensity * 100;
  }
  storeDibHeader(bmi, header);
}

uint32_t dibRowBytes(int32_t width, uint32_t bitsPerPixel) {
  if (width < 1) return 0;
  const uint64_t bytes = (static_cast<uint64_t>(width) * bitsPerPixel + 31) / 32 * 4;
  return bytes <= kMaxHeapBlock ? static_cast<uint32_t>(bytes) : 0;
}

Result makeDibRect(const BITMAPINFOHEADER &header, const ImageShape &shape, int32_t lines,
                   void *bits, JpgRect *rect) {
  // Whole bytes per pixel: the row length is right for 8, 16, 24 and 32 bits only.
  const uint32_t bytesPerPixel = header.biBitCount / 8U;
  const uint32_t rowBytes = dibRowBytes(header.biWidth, 8 * bytesPerPixel);
  if (header.biWidth < 1 || static_cast<int32_t>(shape.width) > header.biWidth) {
    return JPG_E_INVALID_PARAMETER;
  }
  if (rowBytes == 0 && bytesPerPixel != 0) return JPG_E_INVALID_PARAMETER;
  *rect = {};
  rect->width = static_cast<int32_t>(shape.width);
  rect->height = lines;
  rect->bitsPerPixel = header.biBitCount;
  rect->channels = static_cast<int32_t>(shape.components);
  rect->bitsPerSample = 8;
  rect->stride = static_cast<int32_t>(rowBytes);
  rect->bits = bits;
  if (header.biHeight < 1) return JPG_OK;
  const int64_t toLast = (int64_t{lines} - 1) * rowBytes;
  if (toLast > PTRDIFF_MAX || toLast < PTRDIFF_MIN) return JPG_E_INVALID_PARAMETER;
  rect->stride = -rect->stride;
  rect->bits = static_cast<uint8_t *>(bits) + static_cast<ptrdiff_t>(toLast);
  return JPG_OK;
}

Result allocateDibBuffer(JpgRect *rect) {
  constexpr int64_t kSlack = 4;
  if (rect->stride == 0) rect->stride = rect->bitsPerPixel / 8 * rect->width;
  const int64_t size = int64_t{rect->stride} * rect->height + kSlack;
  rect->bits = size > 0 ? heapAllocChecked(static_cast<uint64_t>(size)) : nullptr;
  if (rect->bits == nullptr) return JPG_E_OUT_OF_MEMORY;
  rect->size = static_cast<uint32_t>(size);
  memset(rect->bits, 0, rect->size);
  return JPG_OK;
}

Result freeDibBuffer(JpgRect *rect) {
  if (rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_PARAMETER;
  const Result r = heapFree(rect->bits);
  rect->bits = nullptr;
  return r;
}

Result readReduced(const BITMAPINFOHEADER &header, const JpgRect &dib, const RectSource &source,
                   int32_t lines) {
  JpgRect buffer = dib;
  buffer.bitsPerPixel = 24;
  buffer.channels = 3;
  buffer.stride = 3 * buffer.width;
  if (const Result r = allocateDibBuffer(&buffer); r != JPG_OK) return r;
  Result r = source.read(source.source, &buffer, lines);
  if (r == JPG_OK || r == JPG_E_DAMAGED) {
    const Result reduced = reduceColors(header.biBitCount, buffer, dib);
    if (reduced != JPG_OK) r = reduced;
  }
  const Result freed = freeDibBuffer(&buffer);
  return r != JPG_OK ? r : freed;
}

}  // namespace jpg
