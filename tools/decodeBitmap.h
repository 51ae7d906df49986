// SPDX-License-Identifier: MIT
// Decoding with the library's bitmap functions.
#ifndef JPGTOOL_DECODEBITMAP_H
#define JPGTOOL_DECODEBITMAP_H

#include <cstdint>
#include <string>

#include "rowSource.h"

namespace jpgtool {

// Decodes a whole picture into a .bmp file of 8, 16 or 24 bits a pixel. Uses the scale, the scan
// limit and the prolog's flags of the settings. Returns an exit status.
int decodeBitmap(const Input &in, const std::string &out, uint16_t bits,
                 const ReadSettings &settings);

}  // namespace jpgtool

#endif
