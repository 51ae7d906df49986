// SPDX-License-Identifier: MIT
// What lossless coding and decoding share: the predictors, and samples in rows of
// bytes or of 16-bit words.
#ifndef JPG_SHARE_SPATIAL_H
#define JPG_SHARE_SPATIAL_H

#include <stdint.h>
#include <string.h>

#include "share/jpgArith.h"

namespace jpg {

constexpr uint32_t kMinLosslessPrecision = 2;   // bits
constexpr uint32_t kMaxLosslessPrecision = 16;  // bits
constexpr uint32_t kMaxBytePrecision = 8;       // samples above it are 16-bit words
constexpr uint32_t kPredictors = 7;             // selection values 1 to 7

// T.81 Table H.1: a is the sample to the left, b the one above, c above a.
template <uint32_t kSelection>
constexpr int32_t predict(int32_t a, int32_t b, int32_t c) {
  static_assert(kSelection >= 1 && kSelection <= kPredictors, "no such predictor");
  if constexpr (kSelection == 1) return a;
  if constexpr (kSelection == 2) return b;
  if constexpr (kSelection == 3) return c;
  if constexpr (kSelection == 4) return a + b - c;
  if constexpr (kSelection == 5) return a + asr(b - c, 1);
  if constexpr (kSelection == 6) return b + asr(a - c, 1);
  return asr(a + b, 1);
}

// Access to the i-th sample of a row.
struct ByteSamples {
  static constexpr uint32_t kBytes = 1;
  static int32_t load(const uint8_t *row, uint32_t i) { return row[i]; }
  static void store(uint8_t *row, uint32_t i, int32_t v) { row[i] = static_cast<uint8_t>(v); }
};

// Words in the machine's byte order; rows needn't be aligned.
struct WordSamples {
  static constexpr uint32_t kBytes = 2;
  static int32_t load(const uint8_t *row, uint32_t i) {
    uint16_t v;
    memcpy(&v, row + kBytes * i, kBytes);
    return v;
  }
  static void store(uint8_t *row, uint32_t i, int32_t v) {
    const auto word = static_cast<uint16_t>(v);
    memcpy(row + kBytes * i, &word, kBytes);
  }
};

constexpr uint32_t sampleBytes(uint32_t precision) {
  return precision <= kMaxBytePrecision ? ByteSamples::kBytes : WordSamples::kBytes;
}

}  // namespace jpg

#endif
