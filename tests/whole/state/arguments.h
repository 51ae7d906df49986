// SPDX-License-Identifier: MIT
// Arguments of calls: null pointers by a mask, and outputs that show whether they were written.
#ifndef JPG_TESTS_WHOLE_STATE_ARGUMENTS_H
#define JPG_TESTS_WHOLE_STATE_ARGUMENTS_H

#include <cstdint>

namespace jpgtest {

constexpr uint32_t kPattern = 0xDEADBEEF;  // of outputs before a call

inline bool bit(int32_t mask, int n) { return (mask >> n & 1) != 0; }

template <typename T>
T *orNull(T *pointer, int32_t nulls, int n) {
  return bit(nulls, n) ? nullptr : pointer;
}

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_ARGUMENTS_H
