// SPDX-License-Identifier: MIT
// Reading into a Windows bitmap.
#include "read/jpgRPicture.h"
#include "share/jpgShare.h"
#include "win/jpgDib.h"

namespace jpg {
namespace {

// A rectangle reader and what it reads from.
struct HandleSource {
  JPGHANDLE handle;
  int32_t argument;  // mode or scale
};

Result readSequential(void *source, const JpgRect *rect, int32_t lines) {
  return jpgReadToRect(static_cast<HandleSource *>(source)->handle, rect, lines);
}

Result readProgressive(void *source, const JpgRect *rect, int32_t lines) {
  const auto *from = static_cast<HandleSource *>(source);
  return jpgReadProgressiveToRect(from->handle, rect, lines, from->argument);
}

Result readScaled(void *source, const JpgRect *rect, int32_t lines) {
  const auto *from = static_cast<HandleSource *>(source);
  return jpgReadScaleOutputToRect(from->handle, rect, lines, from->argument);
}

ImageShape shapeOf(const JpgContext &c) {
  return {c.width, c.height, isLenient(c) ? pictureChannels(c) : c.numComponents};
}

// The caller's bitmap: its description, and its pixels. With null pixels only the description is
// filled in.
struct Dib {
  void *bmi;
  void *bits;
  int32_t lines;
};

Result decodeToDib(const Dib &dib, const ImageShape &shape, const RectSource &source) {
  if (dib.lines == 0) return JPG_E_INVALID_PARAMETER;
  const BITMAPINFOHEADER header = loadDibHeader(dib.bmi);
  JpgRect rect;
  const Result r = makeDibRect(header, shape, dib.lines, dib.bits, &rect);
  if (r != JPG_OK) return r;
  const bool odd = shape.components % 2 != 0;
  if (odd && shape.components == header.biBitCount / 8U) {
    return source.read(source.source, &rect, dib.lines);
  }
  if (shape.components != 3) return JPG_E_UNSUPPORTED;
  rect.channels = 1;
  return readReduced(header, rect, source, dib.lines);
}

Result readToDib(const JpgContext &c, const Dib &dib, const ImageShape &shape,
                 const RectSource &source) {
  if (dib.bits != nullptr) return decodeToDib(dib, shape, source);
  fillDibHeader(dib.bmi, shape);
  setDibResolution(c, dib.bmi);
  return JPG_OK;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits, BITMAPINFO *bmi) {
  const JpgContext *c = validReader(handle);
  if (c == nullptr || bmi == nullptr) return JPG_E_INVALID_HANDLE;
  HandleSource from = {handle, 0};
  return readToDib(*c, {bmi, bits, lines}, shapeOf(*c), {readSequential, &from});
}

uint32_t JPG_CALL jpgReadProgressiveToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits,
                                                BITMAPINFO *bmi, int32_t mode) {
  const JpgContext *c = validReader(handle);
  if (c == nullptr || bmi == nullptr) return JPG_E_INVALID_HANDLE;
  HandleSource from = {handle, mode};
  return readToDib(*c, {bmi, bits, lines}, shapeOf(*c), {readProgressive, &from});
}

uint32_t JPG_CALL jpgReadScaleOutputToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits,
                                                BITMAPINFO *bmi, int32_t scale) {
  if (scale == JPG_SCALE_FULL) return jpgReadToWinDIBits(handle, lines, bits, bmi);
  const JpgContext *c = validReader(handle);
  if (c == nullptr || bmi == nullptr) return JPG_E_INVALID_HANDLE;
  ImageShape shape = shapeOf(*c);
  const Result r = jpgReadScaleOutputGetImageSize(handle, &shape.width, &shape.height, scale);
  if (r != JPG_OK) return r;
  HandleSource from = {handle, scale};
  return readToDib(*c, {bmi, bits, lines}, shape, {readScaled, &from});
}
