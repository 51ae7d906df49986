// SPDX-License-Identifier: MIT
// Streams that ask for far more work or memory than their bytes would make one think.
#ifndef JPG_TESTS_WHOLE_LIMITS_BOMBS_H
#define JPG_TESTS_WHOLE_LIMITS_BOMBS_H

#include <cstdint>
#include <vector>

#include "support/bytes.h"
#include "support/streamBuilder.h"

namespace jpgtest {

// SOI up to and including the tables of a frame of this size. Every bit is a code: for a DC
// difference of 0 and for the end of a block. So there is no end to the data.
StreamBuilder endlessHeaders(uint8_t sof, uint16_t width, uint16_t height, unsigned components);

// A whole stream of such a kind, with one scan.
Bytes endlessStream(uint8_t sof, uint16_t width, uint16_t height, unsigned components);

// A progressive grey picture of up to 32767 blocks with this many scans, each of two bytes
// that say that there is nothing in any block; with tables of their own if told so.
Bytes manyScans(uint16_t side, uint32_t scans, bool tablesEach);

// A sequential picture of 8 x 8 pixels, behind whose block this many scan headers stand.
Bytes manyScanHeaders(uint32_t scans);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_LIMITS_BOMBS_H
