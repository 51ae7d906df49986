// Byte strings and repeatable random numbers for tests.
#ifndef JPG_TESTS_SUPPORT_BYTES_H
#define JPG_TESTS_SUPPORT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace jpgtest {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

void append(Bytes &to, const Bytes &more);
Bytes operator+(Bytes first, const Bytes &second);

// The same numbers on every platform: the engine is fixed by the language, and the reduction
// to a range is ours (the library's distributions differ between makers).
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}

  // A number in low..high, both included.
  int32_t between(int32_t low, int32_t high) {
    const uint32_t span = static_cast<uint32_t>(high) - static_cast<uint32_t>(low) + 1U;
    const auto number = static_cast<uint32_t>(engine_());
    const uint32_t step = span == 0 ? number : number % span;
    return static_cast<int32_t>(static_cast<uint32_t>(low) + step);
  }
  // True once in `n` times.
  bool oneIn(int32_t n) { return between(1, n) == 1; }

 private:
  std::mt19937 engine_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_BYTES_H
