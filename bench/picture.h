// The streams that the benchmarks decode.
#ifndef JPG_BENCH_PICTURE_H
#define JPG_BENCH_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace jpgbench {

using Bytes = std::vector<uint8_t>;

// The contents of a file; empty when it can't be read.
Bytes readFile(const std::string &name);

// A baseline stream of quality 90 and 4:2:0 with what photographs have: soft gradients,
// edges and fine grain, by rule, so that every machine decodes the same bytes. Empty when
// the library fails.
Bytes makePhotograph(uint32_t width, uint32_t height);

}  // namespace jpgbench

#endif
