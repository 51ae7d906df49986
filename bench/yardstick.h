// Debian's libjpeg, set up for the same work as the library: accurate integer transform,
// replicated chroma, pixels with blue first.
#ifndef JPG_BENCH_YARDSTICK_H
#define JPG_BENCH_YARDSTICK_H

#include "picture.h"

namespace jpgbench {

// Decodes a grey or three-component stream at 1/denominator into `pixels`, which is resized.
// False when libjpeg refuses or warns.
bool decodeWithLibjpeg(const Bytes &stream, uint32_t denominator, Bytes *pixels);

// Encodes with standard tables (progressive: the default script) into `stream`.
bool encodeWithLibjpeg(const Picture &picture, const Coding &coding, Bytes *stream);

}  // namespace jpgbench

#endif
