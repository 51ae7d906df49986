// SPDX-License-Identifier: MIT
// The law of work: how many basic blocks of code a call may run, from the numbers in the headers
// and from the stream's bytes. docs/robustness.md states it; the tests hold the library to it.
//
// A basic block is a few instructions. Filling and copying memory by the C library aren't
// counted: they go over what the law of the heap bounds.
#ifndef JPG_TESTS_WHOLE_WORK_WORKLAW_H
#define JPG_TESTS_WHOLE_WORK_WORKLAW_H

#include <cstdint>

#include "support/bytes.h"

namespace jpgtest {

// Basic blocks run since the last call of this.
uint64_t takeWork();

// What the bytes of a stream can bring, at most.
struct Burden {
  uint64_t bytes;
  uint64_t tables;  // Huffman tables that its DHT segments could define
  uint64_t scans;   // headers of scans, and markers that count as one
};

Burden burdenOf(const Bytes &stream);

// What the frame header says.
struct Extent {
  uint64_t width, height;  // pixels
  uint64_t components;
};

uint64_t openingWork(const Burden &burden);
// Rows of a sequential picture, scaled or not. `height`: the rows asked for.
uint64_t rowsWork(const Extent &rows, const Burden &burden);
// All scans of a progressive picture and its rows.
uint64_t progressiveWork(const Extent &frame, const Burden &burden);
uint64_t losslessWork(const Extent &rows, const Burden &burden);
// Segments, the attribute handle, its thumbnail excepted.
uint64_t segmentWork(const Burden &burden);
uint64_t encodingWork(const Extent &rows, bool lossless);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_WORK_WORKLAW_H
