// SPDX-License-Identifier: MIT
// Small streams of every process and layout.
#ifndef JPG_TESTS_WHOLE_DAMAGE_SMALLSTREAMS_H
#define JPG_TESTS_WHOLE_DAMAGE_SMALLSTREAMS_H

#include <string>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

struct SmallStream {
  std::string name;
  Bytes bytes;
};

// Each of some hundred bytes, valid, and decoded without an error.
const std::vector<SmallStream> &smallStreams();

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_DAMAGE_SMALLSTREAMS_H
