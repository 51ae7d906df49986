// SPDX-License-Identifier: MIT
// Streams of every process to read from, by number.
#ifndef JPG_TESTS_WHOLE_STATE_MATERIAL_H
#define JPG_TESTS_WHOLE_STATE_MATERIAL_H

#include <string>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

struct Material {
  std::string what;  // for messages
  Bytes stream;
  std::vector<Bytes> pieces;  // of the coded data, for handles that read pieces
  uint32_t sof = 0;
  int32_t width = 0, height = 0;  // as coded, whatever the frame header says
  int32_t channels = 0;
};

// The stream of a number, the same at every call. What the last few thousand numbers gave is kept.
const Material &material(int32_t number);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_MATERIAL_H
