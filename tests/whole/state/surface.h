// SPDX-License-Identifier: MIT
// Memory to decode into, with guard bytes and a spare row around what is described.
#ifndef JPG_TESTS_WHOLE_STATE_SURFACE_H
#define JPG_TESTS_WHOLE_STATE_SURFACE_H

#include <jpg.h>

#include "support/bytes.h"

namespace jpgtest {

struct Surface {
  Bytes memory;
  JpgRect rect = {};
};

// `rows` rows of `pitch` bytes. The fields that no reader looks at hold nonsense.
inline Surface makeSurface(int32_t rows, int32_t pitch, int32_t width, int32_t pixelBytes,
                           bool bottomUp) {
  constexpr size_t kMargin = 64;
  Surface s;
  s.memory.assign(2 * kMargin + static_cast<size_t>(rows + 2) * static_cast<size_t>(pitch), 0xA5);
  const size_t first =
      kMargin + static_cast<size_t>(bottomUp ? rows : 1) * static_cast<size_t>(pitch);
  s.rect = {width,     -7, bottomUp ? -pitch : pitch, 8 * pixelBytes,
            -3,        99, &s.memory[first],          0x12345678,
            0x87654321};
  return s;
}

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_SURFACE_H
