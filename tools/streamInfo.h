// SPDX-License-Identifier: MIT
// What a JPEG stream consists of, found without decoding it and without a decoder that accepts it.
#ifndef JPGTOOL_STREAMINFO_H
#define JPGTOOL_STREAMINFO_H

#include <cstdint>
#include <string>
#include <vector>

#include "input.h"
#include "reader.h"

namespace jpgtool {

struct ScanInfo {
  uint64_t offset = 0;  // of the SOS marker
  std::vector<uint32_t> components;
  uint32_t first = 0, last = 0;  // coefficients
  uint32_t high = 0, low = 0;    // bits of successive approximation
  uint64_t bytes = 0;            // coded, with markers in between
  uint32_t restarts = 0;
};

struct StreamInfo {
  Frame frame;  // process: a JPG_PROCESS_ value, 0 for other frames
  uint16_t frameMarker = 0;
  Headers headers;                // up to the first scan
  std::vector<Segment> segments;  // all of the stream
  std::vector<ScanInfo> scans;
  uint32_t dnlLines = 0;
  uint64_t end = 0;      // offset of the end marker, 0 without one
  uint64_t behind = 0;   // bytes behind it
  uint32_t quality = 0;  // 1 to 100 by the first quantisation table, 0 without one
  bool qualityExact = false;
  std::vector<std::string> remarks;  // what is odd or damaged
};

// JPG_E_NOT_JPEG for what doesn't begin as a JPEG stream, with the reason.
uint32_t describeStream(const Input &input, StreamInfo *info, std::string *why);

// "baseline", "arithmetic progressive" and so on.
std::string frameName(uint16_t marker);

// "4:2:0" and so on; empty where no such name fits.
std::string chromaName(const std::vector<Component> &components);

}  // namespace jpgtool

#endif
