// SPDX-License-Identifier: MIT
// Progressive streams of a picture's coefficients, by a script of scans.
#ifndef JPG_TESTS_SUPPORT_PROGRESSIVESTREAM_H
#define JPG_TESTS_SUPPORT_PROGRESSIVESTREAM_H

#include <cstdint>
#include <vector>

#include "support/picture.h"

namespace jpgtest {

// One scan. Components by their place in the frame; several only for DC scans and for scans of
// all coefficients (0 to 63), which are those of sequential pictures.
struct ScanScript {
  std::vector<unsigned> components;
  uint8_t ss, se, ah, al;
};

using Script = std::vector<ScanScript>;

// Scripts for a count of components: spectral selection alone; with successive approximation
// in two steps; and with DC scans of one component or two and refinements in three steps.
Script spectralScript(size_t components);
Script refiningScript(size_t components);
Script partedScript(size_t components);

// SOI up to and including the frame header, the tables and DRI.
StreamBuilder progressiveHeaders(const Picture &picture);
StreamBuilder headersOfScans(const Picture &picture, uint8_t sof);

// The header of a scan.
void putScanHeader(StreamBuilder &stream, const Picture &picture, const ScanScript &scan);

// The coded data of a scan, restart markers included.
Bytes progressiveScan(const Picture &picture, const ScanScript &scan);

// The whole stream.
Bytes encodeProgressive(const Picture &picture, const Script &script);

// A sequential stream of several scans, each of some components in any order.
Bytes encodeInScans(const Picture &picture, const std::vector<std::vector<unsigned>> &scans);

}  // namespace jpgtest

#endif
