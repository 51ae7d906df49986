// SPDX-License-Identifier: MIT
// What the tests of the Windows DLL share: a picture, and the calls that write and read it.
#ifndef JPG_TESTS_PLATFORM_WINDOWS_PICTURE_H
#define JPG_TESTS_PLATFORM_WINDOWS_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "jpg.h"

namespace windows_test {

using Bytes = std::vector<uint8_t>;

constexpr int32_t kWidth = 37, kHeight = 24;

// Blue, green and red change from left to right, but not downwards: for vertical
// frequencies the library's inverse transform has a way of its own.
Bytes gradient();
JpgRect rectOf(Bytes &pixels);

// The gradient as a JPEG stream, in a file or in a block of the DLL's. The first code that
// isn't success.
uint32_t writeFile(const std::wstring &path);
uint32_t writeMemory(Bytes *stream);

// Pixels of a stream. Empty when a call fails.
Bytes readFile(const std::wstring &path);
Bytes readMemory(const Bytes &stream);

// The largest difference of two pictures' samples; 256 when their sizes differ.
int distance(const Bytes &a, const Bytes &b);

}  // namespace windows_test

#endif
