// SPDX-License-Identifier: MIT
// The marker segments anywhere in a stream, also between scans, and in streams that the library
// refuses to open.
#ifndef JPGTOOL_FILESEGMENTS_H
#define JPGTOOL_FILESEGMENTS_H

#include <cstdint>

#include "input.h"
#include "jpg.h"
#include "jpg/segments.hpp"

namespace jpgtool {

struct FileSegment {
  uint16_t marker = 0;
  uint32_t length = 0;  // data bytes that it says it has
  uint64_t end = 0;     // where it ends, perhaps beyond the stream's end
  const uint8_t *data = nullptr;
  size_t size = 0;  // data bytes that are there
};

class FileSegments {
 public:
  explicit FileSegments(const Input &input) : bytes_(input.data()), size_(input.size()) {}

  uint64_t size() const { return size_; }  // of the stream

  // The segment whose marker is at an offset. JPG_E_NOT_JPEG when there is none or its length is
  // below 2.
  uint32_t at(uint64_t offset, FileSegment *segment) const;

  // Finds the next two bytes that may be a marker: FF with neither 0 nor FF behind it.
  // `marker` receives them. False when there are none.
  bool find(uint64_t *offset, uint16_t *marker) const;

  const uint8_t *bytesAt(uint64_t offset) const { return bytes_ + offset; }
  size_t left(uint64_t offset) const {
    return offset < size_ ? size_ - static_cast<size_t>(offset) : 0;
  }

 private:
  const uint8_t *bytes_;
  size_t size_;
};

}  // namespace jpgtool

#endif
