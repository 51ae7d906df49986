// Where in a file a decoder met damage.
#ifndef JPGTOOL_DAMAGE_H
#define JPGTOOL_DAMAGE_H

#include <cstdint>
#include <string>

#include "reader.h"

namespace jpgtool {

// What was decoded when it failed.
struct FailedDecode {
  std::string file;
  Frame frame;             // with the height that was decoded for
  uint32_t intervals = 0;  // restart intervals passed over ahead of the first row
  uint32_t code = 0;       // the library's
};

// " near byte N" for sequential and lossless files, found out by decoding again: the shortest
// start of the file that fails in the same way, whatever comes behind it. Of progressive files
// the scan and where its header stands; of others where that isn't found out (damaged tables, large
// files) where the header of the scan stands. Empty when there is none.
std::string placeOfDamage(const FailedDecode &failed);

}  // namespace jpgtool

#endif
