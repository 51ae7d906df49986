// SPDX-License-Identifier: MIT
// A lossless stream through the library and through the model.
#ifndef JPG_TESTS_READ_SPATIALOUTCOME_H
#define JPG_TESTS_READ_SPATIALOUTCOME_H

#include "jpg.h"
#include "support/bytes.h"

namespace jpgtest {

// What a call of the reader gave.
struct Outcome {
  uint32_t opened = JPG_OK, result = JPG_OK;
  Bytes samples;  // `height` rows without gaps; untouched bytes are EE
};

// Opens a stream and reads all its rows in one call.
Outcome readAll(const Bytes &stream);
// The same with the model. Streams that it can't open aren't for it.
Outcome modelAll(const Bytes &stream);

}  // namespace jpgtest

#endif  // JPG_TESTS_READ_SPATIALOUTCOME_H
