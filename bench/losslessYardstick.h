// Independent lossless codecs from Debian: libavcodec, and DCMTK for 16-bit encoding, which
// libavcodec lacks. One thread each.
#ifndef JPG_BENCH_LOSSLESSYARDSTICK_H
#define JPG_BENCH_LOSSLESSYARDSTICK_H

#include "picture.h"

namespace jpgbench {

// Streams of 8 bits x 1 or 3 and of 16 bits x 1.
bool decodeWithAvcodec(const Bytes &stream, Bytes *pixels);

// A picture of 8 bits x 3.
bool encodeWithAvcodec(const Picture &picture, int predictor, Bytes *stream);

// Grey of 16 bits.
bool encodeWithDcmtk(const Picture &picture, int predictor, Bytes *stream);

}  // namespace jpgbench

#endif
