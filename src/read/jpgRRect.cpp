// SPDX-License-Identifier: MIT
// The sequential decode driver.
#include "read/jpgRRect.h"

#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRFastBlock.h"
#include "read/jpgRMark.h"
#include "read/jpgRPicture.h"
#include "read/jpgRSmooth.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

// A decoded MCU that isn't stored yet.
struct Mcu {
  int16_t *blocks;
  uint32_t count;  // of blocks
  int32_t x;       // pixel column in the output
  int32_t columns;
  uint8_t last[kMaxComponents * kMaxComponents];
};

// Decodes one MCU of an interleaved scan, block by block.
Result decodeMcu(JpgContext *c, BitWindow *w, const McuPipeline &pipeline, Mcu *mcu) {
  int16_t *block = mcu->blocks;
  mcu->count = 0;
  if (pipeline.clearsBlocks) memset(block, 0, c->blocksPerMcu * kBlockSize * sizeof(int16_t));
  for (uint32_t k = 0; k < c->scanNs; k++) {
    JpgScanComponent *component = &c->scanComponents[k];
    for (uint32_t i = 0; i < component->blocksPerMcu; i++, block += kBlockSize) {
      uint32_t last = 0;
      JPG_ASSERT(mcu->count < c->blocksPerMcu && c->blocksPerMcu <= c->lumaBlockSlots);
      const Result r = pipeline.decode(w, &c->stream, block, component, &last);
      if (r != JPG_OK) return r;
      mcu->last[mcu->count++] = static_cast<uint8_t>(last);
    }
  }
  countMcu(c, w, false);
  return JPG_OK;
}

void finishMcu(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band, const Mcu &mcu) {
  for (uint32_t i = 0; i < mcu.count; i++) {
    pipeline.transform(mcu.blocks + kBlockSize * i, mcu.last[i]);
  }
  storeMcu(c, pipeline, band, mcu.blocks, mcu.x, mcu.columns);
}

Result decodeNextMcu(JpgContext *c, BitWindow *w, const McuPipeline &pipeline, Mcu *mcu) {
  if (c->lastMarker == kMarkerEoi) return JPG_E_END_OF_IMAGE;
  if (c->read.scanHoldsFrame == 0) return JPG_E_UNSUPPORTED;
  return decodeMcu(c, w, pipeline, mcu);
}

// With a put kernel or planes the scratch blocks are free and hold a second MCU: each MCU is
// transformed only after the next one is decoded, so that the transform doesn't wait for
// coefficients just stored.
Result decodeMcusOfRow(JpgContext *c, BitWindow *w, const McuPipeline &pipeline,
                       const JpgRect &band) {
  const bool lags = pipeline.put != nullptr || pipeline.planes != nullptr;
  Mcu mcus[2];
  mcus[0].blocks = c->coefBuffer;
  mcus[1].blocks = lags ? c->scratchBlocks : c->coefBuffer;
  int32_t x = 0;
  int32_t left = pipeline.width > 0 ? pipeline.width : 0;
  const Mcu *before = nullptr;
  Result r = JPG_OK;
  for (uint32_t i = 0; i < c->mcusPerRow && r == JPG_OK; i++, x += pipeline.mcuWidth) {
    Mcu *mcu = &mcus[i % 2];
    mcu->x = x;
    mcu->columns = left < pipeline.mcuWidth ? left : pipeline.mcuWidth;
    left -= mcu->columns;
    r = decodeNextMcu(c, w, pipeline, mcu);
    if (before != nullptr) finishMcu(c, pipeline, band, *before);
    before = r == JPG_OK ? mcu : nullptr;
    if (!lags && before != nullptr) {
      finishMcu(c, pipeline, band, *before);
      before = nullptr;
    }
  }
  if (before != nullptr) finishMcu(c, pipeline, band, *before);
  return r;
}

// Decodes the bands of a call. At least one MCU row is decoded, also for lines <= 0, which
// store nothing and lower the row count by as much.
Result decodeRows(JpgContext *c, const McuPipeline &pipeline, const JpgRect &target,
                  int32_t lines) {
  const auto mcuHeight = static_cast<int32_t>(c->mcuHeight);
  JpgRect rect = target;
  int32_t band = lines < mcuHeight ? lines : mcuHeight;
  for (;;) {
    // While the height is unknown the band stays a whole MCU row; rows that the
    // caller didn't ask for are counted, not stored.
    rect.height = band < lines ? band : lines;
    if (const Result r = decodeMcuRow(c, pipeline, rect); r != JPG_OK) return r;
    c->rowPosition += asUnsigned(band);
    if (lines <= mcuHeight) return JPG_OK;
    lines -= mcuHeight;
    if (lines < mcuHeight && c->height != 0) band = lines;
    rect.bits = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(mcuHeight) * rect.stride;
  }
}

// Limits `lines` to the rows that remain. 0, or JPG_E_FAIL when none remain.
Result limitLines(const JpgContext &c, int32_t *lines) {
  if (c.height == 0) return JPG_OK;
  const int32_t remaining = asSigned(c.height - c.rowPosition);
  if (remaining < 1) return JPG_E_FAIL;
  if (*lines > remaining) *lines = remaining;
  return JPG_OK;
}

// The kernel that stores a whole MCU of this frame; null if there is none.
McuKernel chooseMcuKernel(const JpgContext &c, PixelFormat format) {
  const uint32_t luma = c.scanComponents[0].sampling;
  if (format == PixelFormat::kGray && c.numComponents == 1) return c.kernels->putGray;
  if (format != PixelFormat::kYccToBgr || c.numComponents != 3) return nullptr;
  for (uint32_t i = 1; i < 3; i++) {
    if (c.scanComponents[i].sampling != 0x11) return nullptr;
  }
  const bool served = luma == (c.hMax << 4 | c.vMax);
  return served ? (*c.kernels->putYcc[c.scanState])[c.hMax - 1][c.vMax - 1] : nullptr;
}

}  // namespace

Result returnToScanData(JpgContext *c) {
  if (c->rowPosition != 0 || (c->flags & kFlagMarkerAccessUsed) == 0) return JPG_OK;
  c->flags &= ~kFlagMarkerAccessUsed;
  return goToScanData(c, Reposition::kStreamOnly);
}

Result decodeMcuRow(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band) {
  BitWindow w;
  initWindow(&w);
  const Result r = decodeMcusOfRow(c, &w, pipeline, band);
  if (isOpen(w)) closeWindow(&w, &c->stream);
  return r;
}

void storeMcu(JpgContext *c, const McuPipeline &pipeline, const JpgRect &band,
              const int16_t *blocks, int32_t x, int32_t columns) {
  if (pipeline.put == nullptr) {
    if (pipeline.planes != nullptr) {
      const uint32_t column = asUnsigned(x) / asUnsigned(pipeline.mcuWidth);
      putMcu(pipeline.planes, pipeline.planeRow, column, blocks);
      return;
    }
    pipeline.expand(c, pipeline.sampling);
    pipeline.write(c, &band, x, columns);
  } else if (columns > 0 && band.height > 0) {
    const auto pixelBytes = static_cast<ptrdiff_t>(pipeline.pixelBytes);
    uint8_t *out = static_cast<uint8_t *>(band.bits) + x * pixelBytes;
    pipeline.put(blocks, out, band.stride, asUnsigned(band.height), asUnsigned(columns));
  }
}

McuPipeline makePipeline(const JpgContext &c, PixelFormat format, int32_t width) {
  McuPipeline p = {};
  const bool accurate = (c.options & kOptionAccurate) != 0;
  const Transform transform = accurate ? Transform::kAccurate : Transform::kUsual;
  p.transform = c.kernels->inverseTransform[static_cast<uint32_t>(transform)][c.scanState];
  p.put = chooseMcuKernel(c, format);
  p.expand = chooseExpand(c);
  p.write = writerOf(format);
  p.pixelBytes = c.numComponents;
  p.sampling = samplingWord(c);
  p.mcuWidth = static_cast<int32_t>(c.mcuWidth >> (kScaleFull - c.scanState));
  p.width = width;
  return p;
}

}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadToRect(JPGHANDLE handle, const JpgRect *rect, int32_t lines) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (isLenient(*c)) return readPicture(c, *rect, lines, kScaleFull);
  if (c->sofMarker > kMarkerSof1) return JPG_E_UNSUPPORTED;
  if (const Result r = limitLines(*c, &lines); r != JPG_OK) return r;
  if (const Result r = returnToScanData(c); r != JPG_OK) return r;
  c->scanState = kScaleFull;
  const bool raw = (c->flags & kFlagNoColorConversion) != 0;
  const PixelFormat format = raw ? chooseRawFormat(*c, *rect) : chooseFormat(*c);
  McuPipeline pipeline = makePipeline(*c, format, rect->width);
  pipeline.decode = decodeBlockFast;
  pipeline.clearsBlocks = true;
  if (pipeline.expand == nullptr || pipeline.write == nullptr) return JPG_E_UNSUPPORTED;
  if (c->read.scanHoldsFrame == 0) return JPG_E_UNSUPPORTED;
  if (readsSmoothly(*c)) return putSmoothRows(c, &pipeline, format, *rect, lines);
  return decodeRows(c, pipeline, *rect, lines);
}
