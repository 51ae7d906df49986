// SPDX-License-Identifier: MIT
// Writing from a Windows bitmap.
#include <string.h>

#include "share/jpgHeap.h"
#include "win/jpgDib.h"
#include "win/jpgDibRows.h"
#include "win/jpgRle.h"

namespace jpg {
namespace {

// The caller's bitmap and how many of its rows to encode.
struct DibLines {
  BITMAPINFOHEADER header;
  const RGBQUAD *colors;
  const uint8_t *bits;
  int32_t lines;
};

int64_t rowsOf(const BITMAPINFOHEADER &header) {
  const int64_t rows = header.biHeight;
  return rows < 0 ? -rows : rows;
}

// Before the first line: sets the size of a bitmap that is passed in pieces, and the number of
// components by its depth.
void suggestFrame(JpgContext *c, const DibLines &dib) {
  const BITMAPINFOHEADER &header = dib.header;
  if (dib.lines != header.biHeight) {
    c->width = static_cast<uint32_t>(header.biWidth);
    c->height = static_cast<uint32_t>(rowsOf(header));
  }
  if (c->numComponents == 0) c->numComponents = header.biBitCount == 8 ? 1 : 3;
}

// Components and width of the rows: those of the frame once it has begun, else those set.
uint32_t componentsOf(const JpgContext &c) {
  const bool framed = c.write.frameOut != 0 && c.write.frameComponents != 0;
  return framed ? c.write.frameComponents : c.numComponents;
}

bool continuesFrame(const JpgContext &c, const BITMAPINFOHEADER &header) {
  return c.rowPosition == 0 || static_cast<uint32_t>(header.biWidth) == c.write.frameWidth;
}

// A rectangle of the right shape, without bits yet.
JpgRect describeLines(const JpgContext &c, const DibLines &dib) {
  JpgRect rect = {};
  rect.width = dib.header.biWidth;
  rect.height = dib.lines;
  rect.channels = static_cast<int32_t>(componentsOf(c));
  rect.bitsPerSample = 8;
  rect.bitsPerPixel = 8 * rect.channels;
  rect.stride = static_cast<int32_t>(dibRowBytes(rect.width, 8 * componentsOf(c)));
  return rect;
}

// Encodes 24-bit colour in place. A height of 0 counts as bottom-up here.
Result encodeInPlace(JpgContext *c, const DibLines &dib, JpgRect rect) {
  rect.bits = const_cast<uint8_t *>(dib.bits);
  if (dib.header.biHeight >= 0) {
    rect.bits =
        static_cast<uint8_t *>(rect.bits) + (static_cast<ptrdiff_t>(dib.lines) - 1) * rect.stride;
    rect.stride = -rect.stride;
  }
  return jpgWriteFromRect(c, &rect, static_cast<uint32_t>(dib.lines));
}

// Expands run-length coded rows and converts them.
Result convertRle(const DibLines &dib, const JpgRect &target) {
  const BITMAPINFOHEADER &header = dib.header;
  if (header.biHeight < 1) return JPG_E_FAIL;  // coded bitmaps are bottom-up
  const uint32_t bits = header.biBitCount == 4 ? 4 : 8;
  RlePlane plane = {nullptr, dibRowBytes(header.biWidth, bits),
                    static_cast<uint32_t>(header.biHeight), bits};
  const uint64_t planeBytes = uint64_t{plane.rowBytes} * plane.rows;
  plane.bits = static_cast<uint8_t *>(heapAllocChecked(planeBytes));
  if (plane.bits == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(plane.bits, 0, static_cast<size_t>(planeBytes));
  Result r = expandRle(dib.bits, header.biSizeImage, plane);
  if (r == JPG_OK) r = convertDibRows({header, dib.colors, plane.bits, bits, BI_RGB}, target);
  const Result freed = heapFree(plane.bits);
  return r != JPG_OK ? r : freed;
}

Result convertLines(const DibLines &dib, const JpgRect &target) {
  const BITMAPINFOHEADER &header = dib.header;
  const uint32_t compression = header.biCompression;
  if (compression == BI_RLE8 || compression == BI_RLE4) return convertRle(dib, target);
  return convertDibRows({header, dib.colors, dib.bits, header.biBitCount, compression}, target);
}

// Encodes any other bitmap from a top-down copy.
Result encodeConverted(JpgContext *c, const DibLines &dib, JpgRect rect) {
  if (const Result r = allocateDibBuffer(&rect); r != JPG_OK) return r;
  Result r = convertLines(dib, rect);
  if (r == JPG_OK) r = jpgWriteFromRect(c, &rect, static_cast<uint32_t>(dib.lines));
  const Result freed = freeDibBuffer(&rect);
  return r != JPG_OK ? r : freed;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgWriteFromWinDIBits(JPGHANDLE handle, int32_t lines, const void *bits,
                                        const BITMAPINFO *bmi) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || bits == nullptr || bmi == nullptr) return JPG_E_INVALID_HANDLE;
  const BITMAPINFOHEADER header = loadDibHeader(bmi);
  if (lines < 1 || lines > rowsOf(header)) return JPG_E_INVALID_PARAMETER;
  constexpr uint32_t kWidestPixel = 32;  // bits
  if (dibRowBytes(header.biWidth, kWidestPixel) == 0) return JPG_E_INVALID_PARAMETER;
  if (!continuesFrame(*c, header)) return JPG_E_INVALID_PARAMETER;
  const DibLines dib = {header, colorTable(bmi), static_cast<const uint8_t *>(bits), lines};
  if (c->rowPosition == 0) suggestFrame(c, dib);
  const uint32_t components = componentsOf(*c);
  if (components != 1 && components != 3) return JPG_E_INVALID_FUNCTION;
  const JpgRect rect = describeLines(*c, dib);
  const bool inPlace = components == 3 && header.biBitCount == 24;
  return inPlace ? encodeInPlace(c, dib, rect) : encodeConverted(c, dib, rect);
}
