#include "position.h"

// The library doesn't tell where it stands; like the cursor over Exif directories this is taken
// from an internal header of the static library.
#include "read/jpgRBits.h"

namespace jpgtool {

uint64_t streamPosition(JPGHANDLE handle) {
  const JpgStream &s = handle->stream;
  const uint32_t bytes = (s.bitCount + 7) / 8;  // fetched, not used up
  uint64_t pending = bytes;
  for (uint32_t i = 0; i < bytes; i++) pending += s.stuffHistory >> i & 1;
  const uint64_t fetched = jpg::tellOffset(&s);
  return fetched > pending ? fetched - pending : 0;
}

}  // namespace jpgtool
