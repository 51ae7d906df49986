// SPDX-License-Identifier: MIT
// Locates the damage in a file whose decoding failed.
#ifndef JPGTOOL_DAMAGE_H
#define JPGTOOL_DAMAGE_H

#include <cstdint>
#include <string>

#include "reader.h"

namespace jpgtool {

// A decoding run that failed.
struct FailedDecode {
  const Input *input;
  Frame frame;             // with the height that was decoded for
  uint32_t intervals = 0;  // restart intervals skipped before the first row
  uint32_t code = 0;       // the library's
};

// " near byte N" for sequential and lossless files, by decoding again: the end of the shortest
// start of the file that fails in the same way. For progressive files, the scan and the offset of
// its header; for others of which the byte can't be found (damaged tables, large files), the offset
// of the scan's header. Empty when there is none.
std::string placeOfDamage(const FailedDecode &failed);

// What to say of it: the code's meaning, and where. A handle that reads leniently knows the place.
std::string whyFailed(JPGHANDLE handle, const FailedDecode &failed);

}  // namespace jpgtool

#endif
