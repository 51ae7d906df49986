// SPDX-License-Identifier: MIT
// Lossless streams that the writer doesn't make: several tables, identifiers, a point transform,
// anything between the restart intervals.
#ifndef JPG_TESTS_MODEL_LOSSLESSSOURCE_H
#define JPG_TESTS_MODEL_LOSSLESSSOURCE_H

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "model/losslessWriter.h"
#include "support/huffman.h"
#include "support/streamBuilder.h"

namespace jpgtest {

// The categories 0 to 16 with the code lengths of T.81 table K.3, continued.
HuffTable wideTable();

struct Source {
  uint16_t width = 9, height = 8;
  uint8_t precision = 8, point = 0, predictor = 1;
  std::vector<FrameComponent> frame = {FrameComponent()};
  std::vector<ScanComponent> scan = {ScanComponent()};
  std::array<HuffTable, 4> tables = {wideTable(), wideTable(), wideTable(), wideTable()};
  uint16_t restart = 0;  // pixels
  // What stands behind the n-th whole restart interval: RSTn unless a test says otherwise.
  std::function<Bytes(unsigned)> between;
  Bytes end = {0xFF, 0xD9};
  Samples samples;  // as decoded, interleaved

  // Components 1, 2, ... with the table that the list names for each.
  void useTables(const std::vector<unsigned> &selectors);
  // Random samples in the range that precision and point transform leave.
  void fill(uint32_t seed);
  uint32_t count() const { return static_cast<uint32_t>(frame.size()); }
};

Bytes headersOf(const Source &source);
Bytes streamOf(const Source &source);

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_LOSSLESSSOURCE_H
