// The library's side of the benchmarks.
#ifndef JPG_BENCH_LIBRARY_H
#define JPG_BENCH_LIBRARY_H

#include "picture.h"

namespace jpgbench {

// Decodes a whole stream of any process at 1/denominator (1, 2, 4, 8; above 1 sequential
// streams only) into `pixels`, which is resized.
bool decodeWithLibrary(const Bytes &stream, uint32_t denominator, Bytes *pixels);

bool encodeWithLibrary(const Picture &picture, const Coding &coding, Bytes *stream);

// Encodes the components without conversion; 8 or 16 bits.
bool encodeLosslesslyWithLibrary(const Picture &picture, int predictor, Bytes *stream);

}  // namespace jpgbench

#endif
