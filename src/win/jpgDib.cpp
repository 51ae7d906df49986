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

// 5-6-5 masks: red, green, blue.
void fillMasks(BITMAPINFO *bmi) {
  constexpr uint32_t kMasks[3] = {0xF800, 0x07E0, 0x001F};
  bmi->bmiHeader.biCompression = BI_BITFIELDS;
  memcpy(colorTable(bmi), kMasks, sizeof(kMasks));
}

void fillColors(BITMAPINFO *bmi, uint32_t components) {
  const uint16_t bits = bmi->bmiHeader.biBitCount;
  if (bits == 16) fillMasks(bmi);
  if (bits == 8 && components == 1) fillGrayRamp(colorTable(bmi));
  if (bits == 8 && components == 3) fillReductionPalette(colorTable(bmi));
}

// Dots per inch to pixels per metre, to the nearest.
int32_t perMetre(uint16_t dotsPerInch) { return (dotsPerInch * 10000 + 127) / 254; }

}  // namespace

void fillDibHeader(BITMAPINFO *bmi, const ImageShape &shape) {
  BITMAPINFOHEADER *header = &bmi->bmiHeader;
  const uint16_t asked = header->biBitCount;
  memset(header, 0, sizeof(*header));
  header->biSize = sizeof(*header);
  header->biWidth = static_cast<int32_t>(shape.width);
  header->biHeight = static_cast<int32_t>(shape.height);
  header->biPlanes = 1;
  header->biBitCount = asked == 8 || asked == 16 || asked == 24 ? asked : kDefaultBits;
  fillColors(bmi, shape.components);
}

void setDibResolution(const JpgContext &c, BITMAPINFO *bmi) {
  if (c.jfifUnits == kUnitsInch) {
    bmi->bmiHeader.biXPelsPerMeter = perMetre(c.jfifXDensity);
    bmi->bmiHeader.biYPelsPerMeter = perMetre(c.jfifYDensity);
  } else if (c.jfifUnits == kUnitsCentimetre) {
    bmi->bmiHeader.biXPelsPerMeter = c.jfifXDensity * 100;
    bmi->bmiHeader.biYPelsPerMeter = c.jfifYDensity * 100;
  }
}

uint32_t dibRowBytes(int32_t width, uint32_t bitsPerPixel) {
  if (width < 1) return 0;
  const uint64_t bytes = (static_cast<uint64_t>(width) * bitsPerPixel + 31) / 32 * 4;
  return bytes <= kMaxHeapBlock ? static_cast<uint32_t>(bytes) : 0;
}

Result makeDibRect(const BITMAPINFO &bmi, const ImageShape &shape, int32_t lines, void *bits,
                   JpgRect *rect) {
  const BITMAPINFOHEADER &header = bmi.bmiHeader;
  // Whole bytes a pixel: rows are right for 8, 16, 24 and 32 bits only.
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

Result readReduced(const BITMAPINFO &bmi, const JpgRect &dib, const RectSource &source,
                   int32_t lines) {
  JpgRect buffer = dib;
  buffer.bitsPerPixel = 24;
  buffer.channels = 3;
  buffer.stride = 3 * buffer.width;
  if (const Result r = allocateDibBuffer(&buffer); r != JPG_OK) return r;
  Result r = source.read(source.source, &buffer, lines);
  if (r == JPG_OK) r = reduceColors(bmi.bmiHeader.biBitCount, buffer, dib);
  const Result freed = freeDibBuffer(&buffer);
  return r != JPG_OK ? r : freed;
}

}  // namespace jpg
