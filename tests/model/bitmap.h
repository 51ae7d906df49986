// SPDX-License-Identifier: MIT
// Plain models of what the bitmap readers do to pixels.
#ifndef JPG_TESTS_MODEL_BITMAP_H
#define JPG_TESTS_MODEL_BITMAP_H

#include <cstdint>

#include "support/bytes.h"

namespace jpgtest {

// Reductions of rows of blue, green, red, without padding: Floyd and Steinberg's diffusion to the
// indices of the colour cube, and 5-6-5 words.
Bytes paletteModel(const Bytes &bgr, int width, int height);
Bytes wordModel(const Bytes &bgr, int width, int height);

// Rows of a bitmap from the image's top, without padding. `bytes` a pixel.
Bytes rowsOf(const Bytes &bits, int32_t width, int32_t height, int32_t bytes, bool bottomUp);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_BITMAP_H
