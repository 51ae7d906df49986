// SPDX-License-Identifier: MIT
// A stream taken apart for the structure-aware mutator, and put together again.
#ifndef JPG_FUZZ_STREAMPARTS_H
#define JPG_FUZZ_STREAMPARTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/streamBuilder.h"

namespace jpgfuzz {

using jpgtest::Bytes;

enum class Kind {
  kMarker,   // a marker without a segment: SOI, EOI, RSTn, TEM
  kSegment,  // a marker with its segment
  kCoded,    // the coded data of a restart interval
  kStray     // bytes that are none of these
};

struct Part {
  Kind kind;
  uint8_t code;     // of the marker, without FF
  uint16_t length;  // of a segment, as it is written
  Bytes data;       // of a segment, behind its length; coded data without the stuffed zeros
};

inline bool isRestart(uint8_t code) { return code >= jpgtest::kRst0 && code < jpgtest::kSoi; }
// SOF0 to SOF15 without DHT, JPG and DAC, which have codes among them.
inline bool isFrame(uint8_t code) {
  return code >= jpgtest::kSof0 && code < jpgtest::kRst0 && code != jpgtest::kDht &&
         code != jpgtest::kJpg && code != jpgtest::kDac;
}

// Takes any bytes apart; bytesOf() gives exactly the same bytes again.
std::vector<Part> partsOf(const uint8_t *data, size_t size);
Bytes bytesOf(const std::vector<Part> &parts);

// A segment whose length is right.
Part segmentOf(uint8_t code, const Bytes &data);
// Sets the length after a change of the data.
void fit(Part *segment);

}  // namespace jpgfuzz

#endif
