// SPDX-License-Identifier: MIT
#include "share/jpgSamples.h"

namespace jpg {
namespace {

constexpr SampleLimitTable makeSampleLimit() {
  SampleLimitTable t{};
  for (int32_t i = 0; i < kSampleLimitSize; i++) {
    int32_t v = i - kSampleLimitZero;
    if (v < kMinSample) v = kMinSample;
    if (v > kMaxSample) v = kMaxSample;
    t.entry[i] = static_cast<int16_t>(v);
  }
  return t;
}

// value * numerator / 100000, rounded to nearest, halves away from zero.
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

constexpr SampleLimitTable jpgSampleLimit = makeSampleLimit();
constexpr ColorTable jpgCbTable = makeColorTable(177200, -34414);
constexpr ColorTable jpgCrTable = makeColorTable(-71414, 140200);
constexpr PixelLimitTable jpgPixelLimit = makePixelLimit();

}  // namespace jpg
