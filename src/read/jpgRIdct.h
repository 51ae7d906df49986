// The inverse DCT of the read side and the limit on its samples.
//
// In: a block of dequantised coefficients in natural order. Out: its 64 samples,
// level-shifted, in place. Called block by block by the MCU decoders.
#ifndef JPG_READ_RIDCT_H
#define JPG_READ_RIDCT_H

#include <stdint.h>

namespace jpg {

constexpr int32_t kMinSample = -128;
constexpr int32_t kMaxSample = 127;

// Sample limit: entry i is i - kSampleLimitZero limited to -128..127.
constexpr int32_t kSampleLimitZero = 384;
constexpr int32_t kSampleLimitSize = 768;

struct SampleLimitTable {
  int16_t entry[kSampleLimitSize];
};
extern const SampleLimitTable jpgSampleLimit;

// The table's entry for a sample; samples beyond the table, which only extreme
// coefficients give, saturate like those at its ends.
inline int16_t limitSample(int32_t sample) {
  int32_t i = sample + kSampleLimitZero;
  if (i < 0) i = 0;
  if (i >= kSampleLimitSize) i = kSampleLimitSize - 1;
  return jpgSampleLimit.entry[i];
}

// Transforms the 64 coefficients at `block` into samples, in place. Samples are
// not limited; sums wrap modulo 2^32.
void jpgIdct8x8(int16_t *block);

// The limited sample that all 64 are when the block has a DC coefficient alone.
int16_t flatSample(int16_t dc);

inline void fillBlock(int16_t *block, int16_t sample) {
  for (uint32_t i = 0; i < 64; i++) block[i] = sample;
}

// Limits the 64 samples at `block` to -128..127.
void limitBlock(int16_t *block);

}  // namespace jpg

#endif
