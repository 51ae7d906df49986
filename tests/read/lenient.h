// SPDX-License-Identifier: MIT
// Lenient reading in tests: whole pictures, and what they should be by another way.
#ifndef JPG_TESTS_READ_LENIENT_H
#define JPG_TESTS_READ_LENIENT_H

#include <jpg.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/picture.h"

namespace jpgtest {

// A picture as a call stores it.
struct Shown {
  uint32_t result = 0;  // of the prolog, or of the decode call
  uint32_t width = 0, height = 0;
  Bytes pixels;  // rows without gaps
};

// The whole picture by jpgReadToRect(), in pixels of this many bytes.
Shown show(const Bytes &stream, uint32_t pixelBytes, uint32_t flags = JPG_READ_LENIENT);
Shown showRaw(const Bytes &stream, uint32_t pixelBytes, uint32_t flags = JPG_READ_LENIENT);

// Where the first damage is, by JPG_SEGMENT_DAMAGE; 0 for none.
uint32_t damageOf(const Bytes &stream);

// A component's samples at its own resolution, decoded by the library without options from a grey
// picture of its blocks.
struct SamplePlane {
  uint32_t across = 0, down = 0;  // of samples, whole MCUs
  Bytes samples;
  uint8_t at(uint32_t x, uint32_t y) const { return samples[size_t{y} * across + x]; }
};
SamplePlane planeOf(const Picture &picture, unsigned component);

// The picture's components at full size, each sample repeated: the sample that covers the middle
// of a pixel, or the one to the left of it or above.
Bytes replicated(const Picture &picture);

// Y, Cb, Cr as blue, green, red.
Bytes toBgr(const Bytes &ycc);

}  // namespace jpgtest

#endif
