// SPDX-License-Identifier: MIT
// The structure-aware mutator of a fuzz target. With JPG_FUZZ_PLAIN set the engine's own mutations
// are all, for comparison.
#include <cstdlib>

#include "mutator.h"
#include "support/random.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed) {
  static const bool kPlain = std::getenv("JPG_FUZZ_PLAIN") != nullptr;
  if (kPlain) return LLVMFuzzerMutate(data, size, most);
  const size_t at = streamAt(data, size);
  jpgtest::Random random(seed);
  // The engine finds values that comparisons ask for, and words of the dictionary.
  if (at >= size || most <= at || random.oneIn(3)) return LLVMFuzzerMutate(data, size, most);
  if (at > 0 && random.oneIn(6)) {  // what the first bytes choose
    LLVMFuzzerMutate(data, at, at);
    return size;
  }
  const size_t changed =
      jpgfuzz::mutateStream(data + at, size - at, most - at, random.next(), LLVMFuzzerMutate);
  return changed == 0 ? LLVMFuzzerMutate(data, size, most) : at + changed;
}
