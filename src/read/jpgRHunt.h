// SPDX-License-Identifier: MIT
// The hunt for marker segments in files where something else stands in their place: stray bytes
// between them, or a segment whose length is wrong. For JPG_READ_LENIENT.
#ifndef JPG_READ_RHUNT_H
#define JPG_READ_RHUNT_H

#include "read/jpgRHead.h"
#include "share/jpgShare.h"

namespace jpg {

// As openSegment, but hunts for a segment if none begins at the stream's position, passes over fill
// bytes, and takes a length field below 2 for that of an empty segment. 0, JPG_E_NOT_JPEG if there
// is none up to the end of the data, or JPG_E_SEEK.
Result openHuntedSegment(JpgContext *c, Segment *segment);

// The number of lines that the DNL segment behind the first scan tells; 0 if there is none. The
// scan's data begin at `offset`. Moves the stream.
uint32_t huntLines(JpgContext *c, uint32_t offset);

}  // namespace jpg

#endif
