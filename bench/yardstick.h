// Debian's libjpeg, set to do the library's work: accurate integer transform, replicated
// chroma, pixels with blue first.
#ifndef JPG_BENCH_YARDSTICK_H
#define JPG_BENCH_YARDSTICK_H

#include "picture.h"

namespace jpgbench {

// Decodes a grey or three-component stream into `pixels`, which must have the picture's
// size. False when libjpeg refuses or warns.
bool decodeWithLibjpeg(const Bytes &stream, Bytes *pixels);

}  // namespace jpgbench

#endif
