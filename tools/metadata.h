// SPDX-License-Identifier: MIT
// What a JPEG file carries beside its picture, for a copy in another: Exif, colour profile,
// comment.
#ifndef JPGTOOL_METADATA_H
#define JPGTOOL_METADATA_H

#include <cstdint>
#include <string>
#include <vector>

#include "input.h"

namespace jpgtool {

using Bytes = std::vector<uint8_t>;

struct MarkerData {
  uint16_t marker = 0;
  Bytes data;
};

// The colour profile in the APP2 segments; empty without a whole one.
Bytes iccProfileOf(const Input &input);

// Puts a profile into as many segments as it takes. False when it is too large.
bool appendIcc(const Bytes &profile, std::vector<MarkerData> *segments);

// The data of the first comment; false without one.
bool commentOf(const Input &input, Bytes *comment);

// The Exif segment's data for a picture of another size. Unless the picture is stored as the other
// one, it is upright: the orientation becomes 1, and a thumbnail that would have to be turned is
// left out. False without a segment.
bool exifFor(const Input &input, uint32_t width, uint32_t height, bool asStored, Bytes *data);

}  // namespace jpgtool

#endif
