// SPDX-License-Identifier: MIT
// Everything that an application may do with a stream, whatever it holds.
#ifndef JPG_TESTS_WHOLE_DAMAGE_EVERYUSE_H
#define JPG_TESTS_WHOLE_DAMAGE_EVERYUSE_H

#include <cstddef>
#include <cstdint>

namespace jpgtest {

// What became of a stream. The first three are what a caller may expect of any.
struct Used {
  bool guardsWhole = true;    // nothing was stored outside of a buffer
  bool handlesClosed = true;  // handles come with success alone and can be closed
  bool decoded = false;       // a decoder delivered rows, without an error
  bool thumbnail = false;     // and so did the thumbnail
  // What the frame header says, 0 where nothing could be opened.
  uint32_t width = 0, height = 0, channels = 0, process = 0;
};

// Opens the stream in every way and reads segments, pixels by every decoder in every scale,
// bitmaps of every depth, Exif and thumbnail. At most kMaxRows rows, kMaxPixels of a
// thumbnail.
constexpr int32_t kMaxRows = 48;
constexpr int32_t kBand = 16;  // rows of a call
constexpr uint64_t kMaxPixels = 1 << 18;
Used useStream(const uint8_t *data, size_t size);
// The same, more briefly, with a handle that reads leniently; it opens streams that others don't.
Used useLeniently(const uint8_t *data, size_t size);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_DAMAGE_EVERYUSE_H
