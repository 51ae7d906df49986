// SPDX-License-Identifier: MIT
#include "whole/work/workLaw.h"

namespace {

uint64_t work;

}  // namespace

// The instrumented library calls it ahead of every basic block.
extern "C" void __sanitizer_cov_trace_pc() { work++; }

namespace jpgtest {
namespace {

// Basic blocks, twice or more what the costliest of them takes.
constexpr uint64_t kCall = 5000;
constexpr uint64_t kByte = 20;      // of headers or of coded data
constexpr uint64_t kTable = 40000;  // its list of codes, its lookup array, its shortcuts
constexpr uint64_t kBlock = 1500;   // decoded, transformed, expanded and stored
constexpr uint64_t kVisit = 60;     // of a block by a scan that finds nothing in it
constexpr uint64_t kSample = 50;    // lossless
// A segment at the end of a stream may say that it is so much longer; behind the end there are
// bytes of FF, in which nothing else begins.
constexpr uint64_t kPastEnd = 65535;

uint64_t ofStream(const Burden &b) {
  return kCall * (b.scans + 1) + kByte * (b.bytes + kPastEnd) + kTable * b.tables;
}

// Blocks of whole MCUs of 2 x 2 blocks, which every sampling divides.
uint64_t blocksOf(const Extent &e) {
  return 4 * e.components * ((e.width + 15) / 16) * ((e.height + 15) / 16);
}

}  // namespace

uint64_t takeWork() {
  const uint64_t taken = work;
  work = 0;
  return taken;
}

Burden burdenOf(const Bytes &stream) {
  Burden b = {stream.size(), 0, 0};
  for (size_t i = 0; i + 1 < stream.size(); i++) {
    if (stream[i] != 0xFF || stream[i + 1] < 0xC0) continue;
    b.scans++;
    if (stream[i + 1] != 0xC4 || i + 3 >= stream.size()) continue;
    // A table has 17 bytes at least; not more than 8 wait for a scan.
    const uint64_t length = stream[i + 2] * 256U + stream[i + 3];
    b.tables += length / 17 < 8 ? length / 17 : 8;
  }
  return b;
}

uint64_t openingWork(const Burden &burden) { return ofStream(burden); }

uint64_t rowsWork(const Extent &rows, const Burden &burden) {
  return ofStream(burden) + kBlock * blocksOf(rows);
}

uint64_t progressiveWork(const Extent &frame, const Burden &burden) {
  return ofStream(burden) + (kBlock + kVisit * (burden.scans + 1)) * blocksOf(frame);
}

uint64_t losslessWork(const Extent &rows, const Burden &burden) {
  return ofStream(burden) + kSample * rows.width * rows.height * rows.components;
}

uint64_t segmentWork(const Burden &burden) { return ofStream(burden); }

uint64_t encodingWork(const Extent &rows, bool lossless) {
  return 3 * kCall + 4 * kTable +
         (lossless ? kSample * rows.width * rows.height * rows.components
                   : kBlock * blocksOf(rows));
}

}  // namespace jpgtest
