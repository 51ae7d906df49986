// SPDX-License-Identifier: MIT
// Scaled output: decoding at 1/2, 1/4 and 1/8 of the size.
#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRFastBlock.h"
#include "read/jpgRPicture.h"
#include "read/jpgRRect.h"
#include "read/jpgRSmooth.h"
#include "share/jpgArith.h"
#include "share/jpgMarkers.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

// Scale codes; a code's cell has 2^code samples both ways.
constexpr int32_t kScaleEighth = 0;
constexpr int32_t kScaleQuarter = 1;
constexpr int32_t kScaleHalf = 2;
constexpr int32_t kScaleFullCode = static_cast<int32_t>(kScaleFull);

// Bits by which lengths shrink at a scale.
uint32_t shiftOf(int32_t scale) { return static_cast<uint32_t>(kScaleFullCode - scale); }

uint32_t scaleLength(uint32_t length, uint32_t shift) {
  return (length + (1U << shift) - 1) >> shift;
}

// ---- Blocks ---------------------------------------------------------------

// Each routine first clears the corner that its transform reads; the DC is always stored.
Result decodeHalf(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                  uint32_t * /*last*/) {
  memset(block, 0, 4 * kRowLength * sizeof(int16_t));
  return decodeCornerFast(w, s, block, component, kCornerOf4);
}

Result decodeQuarter(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                     uint32_t * /*last*/) {
  block[1] = 0;
  block[kRowLength] = 0;
  block[kRowLength + 1] = 0;
  return decodeCornerFast(w, s, block, component, kCornerOf2);
}

Result decodeEighth(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                    uint32_t * /*last*/) {
  return decodeCornerFast(w, s, block, component, 0);
}

// The routine by scale code; null for an invalid code.
BlockRoutine blockRoutineOf(int32_t scale) {
  static constexpr BlockRoutine kRoutines[] = {decodeEighth, decodeQuarter, decodeHalf};
  return scale >= kScaleEighth && scale <= kScaleHalf ? kRoutines[scale] : nullptr;
}

// ---- Driver ---------------------------------------------------------------

// A change of the scale starts the picture again.
Result changeScale(JpgContext *c, int32_t scale) {
  const auto code = static_cast<uint32_t>(scale);
  if (c->scanState == code) return JPG_OK;
  if (c->scanState != kScanStateNone) {
    const Result r = goToScanData(c, Reposition::kFull);
    if (r != JPG_OK) return r;
  }
  c->scanState = code;
  return JPG_OK;
}

// Decodes the bands of a call. rowPosition moves only after all of them are decoded.
Result decodeScaledRows(JpgContext *c, const McuPipeline &pipeline, const JpgRect &target,
                        int32_t lines, int32_t mcuHeight) {
  JpgRect rect = target;
  uint32_t rows = 0;
  for (;;) {
    rect.height = lines < mcuHeight ? lines : mcuHeight;
    if (const Result r = decodeMcuRow(c, pipeline, rect); r != JPG_OK) return r;
    rows += asUnsigned(rect.height);
    if (lines <= mcuHeight) break;
    lines -= mcuHeight;
    rect.bits = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(mcuHeight) * rect.stride;
  }
  c->rowPosition += rows;
  return JPG_OK;
}

// Number of blocks from which on building the skip tables pays, at the scales that drop most
// coefficients.
constexpr uint32_t kWorthSkipping = 2000;

void prepareSkips(JpgContext *c, int32_t scale) {
  if (scale > kScaleQuarter || c->mcuCount * c->blocksPerMcu < kWorthSkipping) return;
  for (uint32_t i = 0; i < c->scanNs; i++) {
    const JpgScanComponent &k = c->scanComponents[i];
    if (k.acLookup != nullptr) makeSkips(k.acLookup);
  }
}

// The call after its checks. Returns 0 at once for an MCU layout that isn't supported.
Result readScaled(JpgContext *c, const JpgRect &rect, int32_t lines, int32_t scale) {
  const uint32_t shift = shiftOf(scale);
  const int32_t remaining = asSigned(scaleLength(c->height, shift) - c->rowPosition);
  if (remaining < 1) return JPG_E_INVALID_PARAMETER;
  if (lines > remaining) lines = remaining;
  McuPipeline pipeline =
      makePipeline(*c, chooseFormat(*c), static_cast<int32_t>(scaleLength(c->width, shift)));
  pipeline.decode = blockRoutineOf(scale);
  if (pipeline.expand == nullptr) return JPG_OK;
  if ((c->flags & kFlagNoColorConversion) != 0) return JPG_E_INVALID_PARAMETER;
  if (c->read.scanHoldsFrame == 0) return JPG_E_UNSUPPORTED;
  if (const Result r = returnToScanData(c); r != JPG_OK) return r;
  prepareSkips(c, scale);
  if (readsSmoothly(*c)) return putSmoothRows(c, &pipeline, chooseFormat(*c), rect, lines);
  return decodeScaledRows(c, pipeline, rect, lines, static_cast<int32_t>(c->mcuHeight >> shift));
}

Result readLeniently(JpgContext *c, const JpgRect &rect, int32_t lines, int32_t scale) {
  if (scale < kScaleEighth || scale > kScaleFullCode) return JPG_E_INVALID_PARAMETER;
  if (c->sofMarker == kMarkerSof3 && scale != kScaleFullCode) return JPG_E_UNSUPPORTED;
  return readPicture(c, rect, lines, asUnsigned(scale));
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadScaleOutputGetImageSize(JPGHANDLE handle, uint32_t *width,
                                                 uint32_t *height, int32_t scale) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (scale < kScaleEighth || scale > kScaleFullCode) return JPG_E_INVALID_PARAMETER;
  if (width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker > (isLenient(*c) ? kMarkerSof2 : kMarkerSof1)) return JPG_E_UNSUPPORTED;
  *width = scaleLength(c->width, shiftOf(scale));
  *height = scaleLength(c->height, shiftOf(scale));
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadScaleOutputToRect(JPGHANDLE handle, const JpgRect *rect, int32_t lines,
                                           int32_t scale) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (isLenient(*c)) return readLeniently(c, *rect, lines, scale);
  if (c->sofMarker > kMarkerSof1) return JPG_E_UNSUPPORTED;
  if (const Result r = changeScale(c, scale); r != JPG_OK) return r;
  if (scale == kScaleFullCode) return jpgReadToRect(handle, rect, lines);
  if (blockRoutineOf(scale) == nullptr) return JPG_E_INVALID_PARAMETER;
  return readScaled(c, *rect, lines, scale);
}
