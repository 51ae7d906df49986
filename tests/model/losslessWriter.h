// SPDX-License-Identifier: MIT
// Lossless pictures to encode, by rule, and the streams that they must give.
#ifndef JPG_TESTS_MODEL_LOSSLESSWRITER_H
#define JPG_TESTS_MODEL_LOSSLESSWRITER_H

#include <jpg.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

using Samples = std::vector<int>;

enum class Kind { kNoise, kSmooth, kExtremes };

struct SpatialJob {
  uint32_t width = 13, height = 11;
  uint32_t components = 1;
  uint32_t precision = 8;
  uint32_t predictor = 1;
  uint32_t restart = 0;  // pixels
  Kind kind = Kind::kNoise;
  bool unknownHeight = false;
  std::vector<uint32_t> bands;  // lines of each call; empty: one call
};

std::string describe(const SpatialJob &job);

// Samples by rule, interleaved.
Samples samplesOf(const SpatialJob &job);

// As the interface takes them: bytes, or 16-bit words of the machine.
Bytes packed(const Samples &samples, uint32_t precision);

size_t rowBytes(const SpatialJob &job);

// The job's picture as a call's rectangle.
JpgRect rectOf(const SpatialJob &job, void *bits);

// The stream that the job must give.
Bytes modelSpatial(const SpatialJob &job);

}  // namespace jpgtest

#endif
