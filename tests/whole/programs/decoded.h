// SPDX-License-Identifier: MIT
// A lossless stream as the library decodes it, in one call.
#ifndef JPG_TESTS_WHOLE_PROGRAMS_DECODED_H
#define JPG_TESTS_WHOLE_PROGRAMS_DECODED_H

#include "jpg.h"
#include "model/losslessWriter.h"

namespace jpgtest {

struct Decoded {
  uint32_t result = JPG_OK;  // JPG_E_INVALID_PARAMETER for a stream that isn't lossless
  uint32_t width = 0, height = 0, channels = 0, precision = 0;
  Bytes samples;
};

Decoded decodeStream(const Bytes &stream);

}  // namespace jpgtest

#endif
