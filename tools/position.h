// Where in its stream a reader stands.
#ifndef JPGTOOL_POSITION_H
#define JPGTOOL_POSITION_H

#include <cstdint>

#include "jpg.h"

namespace jpgtool {

// Offset in the file of the byte that holds the next bit to be read, for a file opened by
// jpgReadPrologFromFile() from its start.
uint64_t streamPosition(JPGHANDLE handle);

}  // namespace jpgtool

#endif
