// SPDX-License-Identifier: MIT
// Structure-aware mutation of a JPEG stream: changes of markers, of what segments say, and of coded
// data within their intervals, after which most of the stream is still what it was.
#ifndef JPG_FUZZ_MUTATOR_H
#define JPG_FUZZ_MUTATOR_H

#include <cstddef>
#include <cstdint>

namespace jpgfuzz {

// Changes some bytes, of which there may be `most`; gives the new number of bytes.
using Plain = size_t (*)(uint8_t *data, size_t size, size_t most);

// Makes one to four changes to the stream, which may grow to `most` bytes: always the same ones for
// a stream, a seed and a `plain`. That is called for the contents of segments that the mutator
// knows nothing about. Gives the new size; 0 when no change applies, with the stream untouched.
size_t mutateStream(uint8_t *data, size_t size, size_t most, uint32_t seed, Plain plain);

}  // namespace jpgfuzz

// Each fuzz target that reads JPEG says where the stream begins in an input; `size` for none.
size_t streamAt(const uint8_t *data, size_t size);

#endif
