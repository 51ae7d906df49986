// SPDX-License-Identifier: MIT
// A walk over the marker segments before the first scan, without a prolog on the file: what the
// frame header claims, before the library allocates memory for it, and which header is invalid,
// which a failed prolog doesn't report.
#ifndef JPGTOOL_HEADERWALK_H
#define JPGTOOL_HEADERWALK_H

#include <cstdint>
#include <string>
#include <vector>

#include "reader.h"

namespace jpgtool {

struct FrameHeader {
  uint16_t marker = 0;  // SOFn
  uint64_t offset = 0;  // of the marker in the file
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<Component> components;
};

struct HeaderWalk {
  std::vector<FrameHeader> frames;  // one in a valid file
  std::string trouble;              // what ended the walk, with its offset; empty: the scan
};

HeaderWalk walkHeader(const Input &input);

// Why a prolog with these flags refused the file, with the offset in the file; empty if the walk
// doesn't show it.
std::string whyRefused(const Input &input, uint32_t flags, uint32_t code);

// Bytes that the library keeps between calls for the frames ahead of the first scan, at most: the
// coefficients of a progressive picture, or of one whose first scan lacks a component; 0 for
// others, which need next to nothing. What stands between segments is passed over, as a lenient
// reader does.
uint64_t openingMemory(const Input &input);

}  // namespace jpgtool

#endif
