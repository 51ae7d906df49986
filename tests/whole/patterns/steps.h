// SPDX-License-Identifier: MIT
// Single calls with fixed arguments, to be put one behind another in any order on one handle.
#ifndef JPG_TESTS_WHOLE_PATTERNS_STEPS_H
#define JPG_TESTS_WHOLE_PATTERNS_STEPS_H

#include <jpg.h>

#include <cstdint>
#include <vector>

#include "support/bytes.h"
#include "whole/golden/suite.h"

namespace jpgtest {

// A handle and all that came of the calls.
struct Session {
  JPGHANDLE handle = nullptr;
  const Bytes *stream = nullptr;  // readers: what is read
  Bytes memory;                   // rows, bitmaps and blocks go there or come from there
  golden::Digest digest;          // results and what they describe

  // Notes a result.
  bool good(uint32_t result) {
    digest.number(result);
    return result == JPG_OK;
  }
};

struct Step {
  const char *name;
  void (*run)(Session &);
};

const std::vector<Step> &readerSteps();
const std::vector<Step> &writerSteps();

// All steps in turn on a new handle; what came of them.
uint64_t readBySteps(const Bytes &stream, uint32_t flags, const std::vector<const Step *> &steps);
uint64_t writeBySteps(const std::vector<const Step *> &steps, uint32_t options = 0);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_PATTERNS_STEPS_H
