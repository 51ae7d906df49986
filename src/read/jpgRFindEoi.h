// SPDX-License-Identifier: MIT
// The check that a stream has an end marker: FF D9 anywhere behind SOI.
#ifndef JPG_READ_RFINDEOI_H
#define JPG_READ_RFINDEOI_H

#include "share/jpgStream.h"

namespace jpg {

// Searches backwards for FF D9 at a position p of endOffset - 2 down to
// startOffset + 1, each counted from the start offset as every seek is. With a
// start offset the search thus begins beyond the range and ends before its first
// bytes; positions that can't be read hold no EOI. Moves the stream.
bool fileHasEoi(JpgStream *s);

// The same in the memory block, from size - 2 down to 1. Doesn't move the stream.
bool memoryHasEoi(const JpgStream *s);

}  // namespace jpg

#endif
