// SPDX-License-Identifier: MIT
// Sequences of calls from a seed.
#ifndef JPG_TESTS_WHOLE_STATE_GENERATOR_H
#define JPG_TESTS_WHOLE_STATE_GENERATOR_H

#include "whole/state/call.h"

namespace jpgtest {

Calls generate(uint32_t seed);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_GENERATOR_H
