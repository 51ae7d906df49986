// SPDX-License-Identifier: MIT
// Byte strings for tests.
#ifndef JPG_TESTS_SUPPORT_BYTES_H
#define JPG_TESTS_SUPPORT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace jpgtest {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

void append(Bytes &to, const Bytes &more);
Bytes operator+(Bytes first, const Bytes &second);

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_BYTES_H
