// SPDX-License-Identifier: MIT
// Baseline pictures to encode, by rule, and the streams that they must give.
#ifndef JPG_TESTS_MODEL_ENCODEJOB_H
#define JPG_TESTS_MODEL_ENCODEJOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

struct EncodeJob {
  uint32_t width = 1, height = 1;
  uint32_t channels = 3;
  uint32_t sampling = 0x00221111;
  uint32_t quality = 90;
  uint32_t restart = 0;
  bool raw = false;             // no colour conversion
  bool unknownHeight = false;   // told by DNL
  std::vector<uint32_t> bands;  // lines of each call; empty: one call
  uint32_t seed = 1;            // of the pixels
};

std::string describe(const EncodeJob &job);

// Pixels by rule: noise, gradients and flat places.
Bytes pixelsOf(const EncodeJob &job);

// The stream that the job must give.
Bytes modelEncode(const EncodeJob &job);

}  // namespace jpgtest

#endif
