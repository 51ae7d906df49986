#include "read/jpgRClr.h"

#include "read/jpgRCell.h"

namespace jpg {
namespace {

// value * numerator / 100000, the nearest integer, halves away from zero.
constexpr int32_t scaleRounded(int32_t value, int32_t numerator) {
  constexpr int32_t kDenominator = 100000;
  const int32_t product = value * numerator;
  const int32_t half = product < 0 ? -kDenominator / 2 : kDenominator / 2;
  return (product + half) / kDenominator;
}

constexpr ColorTable makeColorTable(int32_t first, int32_t second) {
  ColorTable t{};
  for (int32_t i = 0; i < 256; i++) {
    t.entry[i] = {scaleRounded(i - kLevelShift, first), scaleRounded(i - kLevelShift, second)};
  }
  return t;
}

constexpr PixelLimitTable makePixelLimit() {
  PixelLimitTable t{};
  for (int32_t i = 0; i < 1280; i++) {
    const int32_t v = i - 512;
    t.entry[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
  }
  return t;
}

}  // namespace

constexpr ColorTable jpgCbTable = makeColorTable(177200, -34414);
constexpr ColorTable jpgCrTable = makeColorTable(-71414, 140200);
constexpr PixelLimitTable jpgPixelLimit = makePixelLimit();

void jpgExpand1x1(JpgContext *c, uint32_t /*sampling*/) { expandSingle(c); }

void jpgExpand2x1(JpgContext *c, uint32_t sampling) { expandPair(c, sampling, true, kFullCell); }

void jpgExpand1x2(JpgContext *c, uint32_t sampling) { expandPair(c, sampling, false, kFullCell); }

void jpgExpand2x2(JpgContext *c, uint32_t sampling) { expandQuad(c, sampling, kFullCell); }

void jpgPutGray(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0>>(*c, *rect, x, w, kFullCell);
}

void jpgPutTwo(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1>>(*c, *rect, x, w, kFullCell);
}

void jpgPutThree(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1, 2>>(*c, *rect, x, w, kFullCell);
}

void jpgPutThreeReversed(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<2, 1, 0>>(*c, *rect, x, w, kFullCell);
}

void jpgPutFour(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1, 2, 3>>(*c, *rect, x, w, kFullCell);
}

void jpgPutYccToBgr(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutYccToBgr>(*c, *rect, x, w, kFullCell);
}

uint32_t samplingWord(const JpgContext &c) {
  const uint32_t shift = 32 - 8 * c.numComponents;
  return shift >= 32 ? 0 : c.samplingPacked << shift;
}

ExpandRoutine chooseExpand(const JpgContext &c) {
  switch (c.hvMax) {
    case 1:
      return jpgExpand1x1;
    case 2:
      return c.hMax == 2 ? jpgExpand2x1 : jpgExpand1x2;
    case 4:
      return jpgExpand2x2;
    default:
      return nullptr;
  }
}

PixelWriter chooseRawWriter(const JpgContext &c, const JpgRect &rect) {
  static constexpr PixelWriter kWriters[kMaxComponents] = {jpgPutGray, jpgPutTwo, jpgPutThree,
                                                           jpgPutFour};
  const uint32_t n = c.numComponents;
  if (n < 1 || n > kMaxComponents || rect.bitsPerPixel / 8 != static_cast<int32_t>(n)) {
    return nullptr;
  }
  return kWriters[n - 1];
}

PixelWriter choosePixelWriter(const JpgContext &c, const JpgRect &rect) {
  if ((c.flags & kFlagNoColorConversion) != 0) return chooseRawWriter(c, rect);
  if (c.numComponents < 3) return jpgPutGray;
  const bool reversed = c.numComponents == 3 && (c.flags & kFlagYcbcrToRgb) == 0;
  return reversed ? jpgPutThreeReversed : jpgPutYccToBgr;
}

}  // namespace jpg
