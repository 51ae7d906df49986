// SPDX-License-Identifier: MIT
// Samples: their range, their saturation, and what chroma adds to colours.
//
// Inside the codec samples are level-shifted to -128..127; 128 is added where a byte is stored.
#ifndef JPG_SHARE_SAMPLES_H
#define JPG_SHARE_SAMPLES_H

#include <stdint.h>

#include "share/jpgAssert.h"

namespace jpg {

constexpr int32_t kLevelShift = 128;
constexpr int32_t kMinSample = -128;
constexpr int32_t kMaxSample = 127;
constexpr int32_t kMaxWideSample = 2047;  // of 12 bits
constexpr int32_t kWideLevelShift = 2048;

constexpr uint32_t kRowLength = 8;  // samples from a block's row to the next
constexpr uint32_t kFullCell = 8;   // samples of a block at full size, both ways

inline uint8_t toByte(int16_t sample) {
  JPG_ASSERT(sample >= kMinSample && sample <= kMaxSample);
  return static_cast<uint8_t>(sample + kLevelShift);
}

// Sample limit: entry i is i - kSampleLimitZero, saturated to -128..127.
constexpr int32_t kSampleLimitZero = 384;
constexpr int32_t kSampleLimitSize = 768;

struct SampleLimitTable {
  int16_t entry[kSampleLimitSize];
};
extern const SampleLimitTable jpgSampleLimit;

// Saturates a sample by the table. Samples outside the table, which only extreme coefficients
// give, take the entry at its nearer end.
inline int16_t limitSample(int32_t sample) {
  int32_t i = sample + kSampleLimitZero;
  if (i < 0) i = 0;
  if (i >= kSampleLimitSize) i = kSampleLimitSize - 1;
  return jpgSampleLimit.entry[i];
}

// Offsets that a chroma sample adds to two of the colours, indexed by sample + 128.
struct ColorPair {
  int32_t first;
  int32_t second;
};
struct ColorTable {
  ColorPair entry[256];
};
extern const ColorTable jpgCbTable;  // to blue, to green
extern const ColorTable jpgCrTable;  // to green, to red

// Pixel limit: entry i is i - 512, saturated to 0..255. The byte of a level-shifted value v,
// -640..639, is entry kPixelLimitZero + v.
constexpr int32_t kPixelLimitZero = 640;
struct PixelLimitTable {
  uint8_t entry[1280];
};
extern const PixelLimitTable jpgPixelLimit;

}  // namespace jpg

#endif
