// SPDX-License-Identifier: MIT
// A job through the library.
#ifndef JPG_TESTS_WRITE_LIBRARYENCODE_H
#define JPG_TESTS_WRITE_LIBRARYENCODE_H

#include <string>

#include "jpg.h"
#include "model/encodeJob.h"

namespace jpgtest {

enum class Rows { kTopDown, kBottomUp };

// Settings and encode calls of a job, on an open handle.
uint32_t feed(JPGHANDLE handle, const EncodeJob &job, Rows rows = Rows::kTopDown);

// The whole stream over memory, with flags of the prolog; empty on failure, which is reported.
Bytes encodeToMemory(const EncodeJob &job, Rows rows = Rows::kTopDown, uint32_t flags = 0);

// The same over a file.
Bytes encodeToFile(const EncodeJob &job);

// The bytes handed over by an epilog or a partial bitstream, which are released.
Bytes take(void *data, uint32_t size);

}  // namespace jpgtest

#endif
