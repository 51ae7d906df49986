// SPDX-License-Identifier: MIT
// The segments of a stream, for tests of what a writer puts where.
#ifndef JPG_TESTS_WRITE_SEGMENTS_H
#define JPG_TESTS_WRITE_SEGMENTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

struct Segment {
  uint32_t marker;  // 0xFFC0 to 0xFFFE
  Bytes data;       // without the length
  Bytes coded;      // SOS: the entropy-coded data behind it, with restart markers
};

// All segments of a whole stream, SOI and EOI included. Ends where something else stands.
inline std::vector<Segment> segmentsOf(const Bytes &s) {
  std::vector<Segment> all;
  for (size_t i = 0; i + 1 < s.size() && s[i] == 0xFF;) {
    Segment segment = {0xFF00U | s[i + 1], {}, {}};
    i += 2;
    if (segment.marker != 0xFFD8 && segment.marker != 0xFFD9) {
      const size_t length = size_t{s[i]} * 256 + s[i + 1];
      segment.data.assign(s.begin() + static_cast<std::ptrdiff_t>(i + 2),
                          s.begin() + static_cast<std::ptrdiff_t>(i + length));
      i += length;
    }
    if (segment.marker == 0xFFDA) {
      while (i + 1 < s.size()) {
        const bool data = s[i] != 0xFF || s[i + 1] == 0 || (s[i + 1] & 0xF8) == 0xD0;
        if (!data) break;
        segment.coded.push_back(s[i++]);
      }
    }
    all.push_back(segment);
  }
  return all;
}

inline std::vector<uint32_t> markersOf(const Bytes &stream) {
  std::vector<uint32_t> markers;
  for (const Segment &segment : segmentsOf(stream)) markers.push_back(segment.marker);
  return markers;
}

// Restart markers in coded data, as numbers 0 to 7.
inline std::vector<uint32_t> restartsIn(const Bytes &coded) {
  std::vector<uint32_t> found;
  for (size_t i = 0; i + 1 < coded.size(); i++) {
    if (coded[i] == 0xFF && coded[i + 1] != 0) found.push_back(coded[i + 1] & 7U);
  }
  return found;
}

}  // namespace jpgtest

#endif
