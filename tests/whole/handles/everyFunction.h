// SPDX-License-Identifier: MIT
// All functions of the interface in one table, each callable on any handle.
#ifndef JPG_TESTS_WHOLE_HANDLES_EVERYFUNCTION_H
#define JPG_TESTS_WHOLE_HANDLES_EVERYFUNCTION_H

#include <jpg.h>

#include <cstdint>
#include <vector>

namespace jpgtest {

// Which handles a function takes.
enum class Takes {
  kNone,    // makes a handle, or needs none
  kRecord,  // a read or a write handle: looks at the record and nothing else
  kReader,
  kWriter,
  kExif,
};

struct Function {
  const char *name;
  Takes takes;
  bool closes;  // the handle is gone when it succeeds
  // With arguments that are right otherwise. Null for Takes::kNone.
  uint32_t (*call)(void *handle);
};

const std::vector<Function> &everyFunction();

// Fills everything that the calls may store to with a pattern, and tells whether the pattern
// is whole. The attribute prolog's result, which is always set to null first, isn't part of it.
void resetOutputs();
bool outputsUntouched();

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_HANDLES_EVERYFUNCTION_H
