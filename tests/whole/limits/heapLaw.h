// SPDX-License-Identifier: MIT
// The resource law: how much heap a call may have taken at its peak, from the numbers in the
// headers alone. docs/robustness.md states it; the tests hold the library to it.
#ifndef JPG_TESTS_WHOLE_LIMITS_HEAPLAW_H
#define JPG_TESTS_WHOLE_LIMITS_HEAPLAW_H

#include <cstddef>
#include <cstdint>

namespace jpgtest {

// What the frame header says.
struct Frame {
  uint32_t width, height;  // pixels
  uint32_t components;
  bool progressive, lossless;
};

// An open read handle, whatever is decoded into rectangles of the caller's.
uint64_t readerBytes(const Frame &frame);
// What interpolated chroma takes besides.
uint64_t planeBytes(const Frame &frame);
// A handle that reads leniently, instead; store: all scans don't hold all components, or the
// picture is progressive.
uint64_t lenientBytes(const Frame &frame, bool store);
// What a colour image read into a bitmap of 8 or 16 bits takes besides, during the call.
uint64_t reductionBytes(uint32_t width, uint32_t lines);
// An attribute handle over a segment of this length; the handle of a JPEG thumbnail comes
// on top of it.
uint64_t attributeBytes(uint32_t segmentBytes);
// A write handle that has written so many bytes; to a file, 0.
uint64_t writerBytes(const Frame &frame, uint64_t memoryBytes);
// What one takes besides that holds so many lines until its epilog.
uint64_t heldBytes(const Frame &frame, uint32_t lines);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_LIMITS_HEAPLAW_H
