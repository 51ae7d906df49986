// Scaled output: decoding at 1/2, 1/4 and 1/8 of the size.
#include "read/jpgRScal.h"

#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRCell.h"
#include "read/jpgRIdct.h"
#include "read/jpgRRect.h"
#include "read/jpgRWide.h"
#include "share/jpgArith.h"
#include "share/jpgMarkers.h"

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

int32_t cellOf(const JpgContext &c) { return 1 << c.scanState; }

// ---- Blocks ---------------------------------------------------------------

Result decodeHalf(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component,
                  uint32_t * /*last*/) {
  memset(block, 0, 4 * kRowLength * sizeof(int16_t));
  return decodeCornerWide(w, &c->stream, block, component, kCornerOf4);
}

void transformHalf(const JpgContext &c, int16_t *block, uint32_t /*last*/) {
  c.kernels->makeHalfSamples(block, kCornerOf4);
}

Result decodeQuarter(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component,
                     uint32_t * /*last*/) {
  block[1] = 0;
  block[kRowLength] = 0;
  block[kRowLength + 1] = 0;
  return decodeCornerWide(w, &c->stream, block, component, kCornerOf2);
}

void transformQuarter(const JpgContext & /*c*/, int16_t *block, uint32_t /*last*/) {
  jpgIdct2x2(block);
  limitCorner(block, 2);
}

Result decodeEighth(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component,
                    uint32_t * /*last*/) {
  return decodeCornerWide(w, &c->stream, block, component, 0);
}

void transformEighth(const JpgContext & /*c*/, int16_t *block, uint32_t /*last*/) {
  block[0] = limitSample(asr(block[0] + 4, 3));
}

constexpr BlockSteps kHalfSteps = {decodeHalf, transformHalf};
constexpr BlockSteps kQuarterSteps = {decodeQuarter, transformQuarter};
constexpr BlockSteps kEighthSteps = {decodeEighth, transformEighth};

const BlockSteps *chooseSteps(int32_t scale) {
  switch (scale) {
    case kScaleHalf:
      return &kHalfSteps;
    case kScaleQuarter:
      return &kQuarterSteps;
    case kScaleEighth:
      return &kEighthSteps;
    default:
      return nullptr;
  }
}

// ---- Expansion and pixel output -------------------------------------------

void jpgExpandScaled1x1(JpgContext *c, uint32_t /*sampling*/) { expandSingle(c); }

void jpgExpandScaled2x1(JpgContext *c, uint32_t sampling) {
  expandPair(c, sampling, true, static_cast<uint32_t>(cellOf(*c)));
}

void jpgExpandScaled1x2(JpgContext *c, uint32_t sampling) {
  expandPair(c, sampling, false, static_cast<uint32_t>(cellOf(*c)));
}

void jpgExpandScaled2x2(JpgContext *c, uint32_t sampling) {
  expandQuad(c, sampling, static_cast<uint32_t>(cellOf(*c)));
}

ExpandRoutine chooseScaledExpand(const JpgContext &c) {
  switch (c.hvMax) {
    case 1:
      return jpgExpandScaled1x1;
    case 2:
      return c.hMax == 2 ? jpgExpandScaled2x1 : jpgExpandScaled1x2;
    case 4:
      return jpgExpandScaled2x2;
    default:
      return nullptr;
  }
}

void putScaledGray(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0>>(*c, *rect, x, w, cellOf(*c));
}

void putScaledReversed(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<2, 1, 0>>(*c, *rect, x, w, cellOf(*c));
}

void putScaledYccToBgr(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutYccToBgr>(*c, *rect, x, w, cellOf(*c));
}

// The writer, and the full-size one whose colours it gives.
struct ScaledWriter {
  PixelWriter write;
  PixelWriter fullSize;
};

ScaledWriter chooseScaledWriter(const JpgContext &c) {
  if (c.numComponents < 3) return {putScaledGray, jpgPutGray};
  const bool reversed = c.numComponents == 3 && (c.flags & kFlagYcbcrToRgb) == 0;
  if (reversed) return {putScaledReversed, jpgPutThreeReversed};
  return {putScaledYccToBgr, jpgPutYccToBgr};
}

// ---- Driver ---------------------------------------------------------------

// Another scale than the one under way starts the picture again.
Result changeScale(JpgContext *c, int32_t scale) {
  const auto code = static_cast<uint32_t>(scale);
  if (c->scanState == code) return JPG_OK;
  if (c->scanState != kScanStateNone) {
    const Result r = reposition(c, c->scanDataOffset, Reposition::kFull);
    if (r != JPG_OK) return r;
  }
  c->scanState = code;
  return JPG_OK;
}

// The bands of a call. Rows are counted once all of them are there.
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

// Blocks for which it pays to make skips, for the scales that drop most coefficients.
constexpr uint32_t kWorthSkipping = 2000;

void prepareSkips(JpgContext *c, int32_t scale) {
  if (scale > kScaleQuarter || c->mcuCount * c->blocksPerMcu < kWorthSkipping) return;
  for (uint32_t i = 0; i < c->scanNs; i++) {
    const JpgScanComponent &k = c->scanComponents[i];
    if (k.acLookup != nullptr) makeSkips(k.acLookup, k.acMaxLength);
  }
}

// The call behind its checks; 0 at once for an MCU layout that isn't served.
Result readScaled(JpgContext *c, const JpgRect &rect, int32_t lines, int32_t scale) {
  const uint32_t shift = shiftOf(scale);
  const int32_t remaining = asSigned(scaleLength(c->height, shift) - c->rowPosition);
  if (remaining < 1) return JPG_E_INVALID_PARAMETER;
  if (lines > remaining) lines = remaining;
  const ScaledWriter writer = chooseScaledWriter(*c);
  const McuPipeline pipeline = {chooseSteps(scale),
                                chooseMcuKernel(*c, writer.fullSize, static_cast<uint32_t>(scale)),
                                chooseScaledExpand(*c),
                                writer.write,
                                c->numComponents,
                                samplingWord(*c),
                                static_cast<int32_t>(c->mcuWidth >> shift),
                                static_cast<int32_t>(scaleLength(c->width, shift))};
  if (pipeline.expand == nullptr) return JPG_OK;
  if ((c->flags & kFlagNoColorConversion) != 0) return JPG_E_INVALID_PARAMETER;
  if (c->read.scanHoldsFrame == 0) return JPG_E_UNSUPPORTED;
  if (const Result r = returnToScanData(c); r != JPG_OK) return r;
  prepareSkips(c, scale);
  return decodeScaledRows(c, pipeline, rect, lines, static_cast<int32_t>(c->mcuHeight >> shift));
}

// Rounding shift of a 12-bit product sum down to `shift` places.
constexpr int32_t roundShift(int32_t v, uint32_t shift) {
  return asr(wrapAdd(v, 1 << (shift - 1)), shift);
}

// Four values of a line ahead of descaling, scaled by 4096.
struct Line4 {
  int32_t y[4];
};

Line4 transformLine4(int32_t x0, int32_t x1, int32_t x2, int32_t x3) {
  constexpr int32_t kC = 5352;  // 4096 sqrt(2) cos(pi/8)
  constexpr int32_t kS = 2217;  // 4096 sqrt(2) sin(pi/8)
  const int32_t e0 = wrapShl(wrapAdd(x0, x2), 12);
  const int32_t e1 = wrapShl(wrapSub(x0, x2), 12);
  const int32_t u = wrapAdd(wrapMul(x1, kC), wrapMul(x3, kS));
  const int32_t t = wrapSub(wrapMul(x1, kS), wrapMul(x3, kC));
  return {{wrapAdd(e0, u), wrapAdd(e1, t), wrapSub(e1, t), wrapSub(e0, u)}};
}

}  // namespace

void limitCorner(int16_t *block, uint32_t n) {
  for (uint32_t y = 0; y < n; y++) {
    for (uint32_t x = 0; x < n; x++) {
      int16_t *sample = &block[kRowLength * y + x];
      *sample = limitSample(*sample);
    }
  }
}

void jpgIdct4x4(int16_t *block) {
  int32_t work[4][4];
  for (uint32_t j = 0; j < 4; j++) {
    const Line4 line = transformLine4(block[j], block[kRowLength + j], block[2 * kRowLength + j],
                                      block[3 * kRowLength + j]);
    for (uint32_t k = 0; k < 4; k++) work[k][j] = roundShift(line.y[k], 12);
  }
  for (uint32_t r = 0; r < 4; r++) {
    const Line4 line = transformLine4(work[r][0], work[r][1], work[r][2], work[r][3]);
    for (uint32_t k = 0; k < 4; k++) block[kRowLength * r + k] = low16(roundShift(line.y[k], 15));
  }
}

void jpgIdct2x2(int16_t *block) {
  const int32_t a = block[0], m = block[1];
  const int32_t b = block[kRowLength], n = block[kRowLength + 1];
  block[0] = low16(roundShift(a + b + m + n, 3));
  block[1] = low16(roundShift((a + b) - (m + n), 3));
  block[kRowLength] = low16(roundShift((a - b) + (m - n), 3));
  block[kRowLength + 1] = low16(roundShift((a - b) - (m - n), 3));
}

}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadScaleOutputGetImageSize(JPGHANDLE handle, uint32_t *width,
                                                 uint32_t *height, int32_t scale) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (scale < kScaleEighth || scale > kScaleFullCode) return JPG_E_INVALID_PARAMETER;
  if (width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker > kMarkerSof1) return JPG_E_UNSUPPORTED;
  *width = scaleLength(c->width, shiftOf(scale));
  *height = scaleLength(c->height, shiftOf(scale));
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadScaleOutputToRect(JPGHANDLE handle, const JpgRect *rect, int32_t lines,
                                           int32_t scale) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker > kMarkerSof1) return JPG_E_UNSUPPORTED;
  if (const Result r = changeScale(c, scale); r != JPG_OK) return r;
  if (scale == kScaleFullCode) return jpgReadToRect(handle, rect, lines);
  if (chooseSteps(scale) == nullptr) return JPG_E_INVALID_PARAMETER;
  return readScaled(c, *rect, lines, scale);
}
