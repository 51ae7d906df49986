// SPDX-License-Identifier: MIT
#include "read/jpgRSmooth.h"

namespace jpg {
namespace {

Result readMcuRow(JpgContext *c, Planes *p, uint32_t mcuRow, void *state) {
  auto *pipeline = static_cast<McuPipeline *>(state);
  pipeline->planes = p;
  pipeline->planeRow = mcuRow;
  return decodeMcuRow(c, *pipeline, {});
}

}  // namespace

bool readsSmoothly(const JpgContext &c) {
  if ((c.options & kOptionSmooth) == 0 || (c.flags & kFlagPartialBitstream) != 0) return false;
  if (c.mcusPerRow == 0) return false;
  bool subsampled = false;
  for (uint32_t i = 0; i < c.numComponents; i++) {
    const uint32_t h = c.scanComponents[i].sampling >> 4, v = c.scanComponents[i].sampling & 15;
    if (h == 0 || v == 0) return false;
    subsampled = subsampled || h != c.hMax || v != c.vMax;
  }
  return subsampled;
}

PlaneOutput planeOutputOf(PixelFormat format) {
  switch (format) {
    case PixelFormat::kGray:
      return {PlaneFormat::kGray, false, false};
    case PixelFormat::kThreeReversed:
      return {PlaneFormat::kRgbToBgr, false, false};
    case PixelFormat::kYccToBgr:
      return {PlaneFormat::kYccToBgr, false, false};
    default:
      return {PlaneFormat::kComponents, false, false};
  }
}

Result putSmoothRows(JpgContext *c, McuPipeline *pipeline, PixelFormat format, const JpgRect &rect,
                     int32_t lines) {
  if (const Result r = makePlanes(c, false); r != JPG_OK) return r;
  pipeline->put = nullptr;
  return putPlaneRows(c, c->planes, {readMcuRow, pipeline}, planeOutputOf(format), rect, lines,
                      pipeline->width);
}

}  // namespace jpg
