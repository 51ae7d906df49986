// SPDX-License-Identifier: MIT
// How much stack a call takes, all that it calls included: what it has written over a pattern.
#ifndef JPG_TESTS_WHOLE_FAULTS_STACK_H
#define JPG_TESTS_WHOLE_FAULTS_STACK_H

#include <cstddef>

namespace faults {

// Fills the stack below the caller with a pattern.
void paintStack();

// Bytes of the pattern that are gone, from the top to the lowest. 0 in instrumented builds, whose
// frames are of the instrument's making.
size_t usedStack();

}  // namespace faults

#endif
