// SPDX-License-Identifier: MIT
// The model's colour conversion, by exact fractions.
#ifndef JPG_TESTS_MODEL_COLOUR_H
#define JPG_TESTS_MODEL_COLOUR_H

#include <array>
#include <cstdint>

namespace jpgtest {

// A pixel as it is stored: blue, green, red, 0 to 255 each. The arguments are level-shifted
// samples, -128 to 127.
std::array<uint8_t, 3> modelYccToBgr(int y, int cb, int cr);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_COLOUR_H
