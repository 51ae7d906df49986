// SPDX-License-Identifier: MIT
// Repeatable random numbers for tests.
#ifndef JPG_TESTS_SUPPORT_RANDOM_H
#define JPG_TESTS_SUPPORT_RANDOM_H

#include <cstdint>
#include <random>

namespace jpgtest {

// The same numbers on every platform: the engine is fixed by the language, and the reduction
// to a range is ours (the library's distributions differ between makers).
class Random {
 public:
  // The seed's low 32 bits count.
  explicit Random(uint64_t seed) : engine_(static_cast<uint32_t>(seed)) {}

  uint32_t next() { return static_cast<uint32_t>(engine_()); }
  // A number below n; any at all when n is 0.
  uint32_t below(uint32_t n) { return n == 0 ? next() : next() % n; }
  uint8_t byte() { return static_cast<uint8_t>(below(256)); }
  // A number in low..high, both included.
  int32_t between(int32_t low, int32_t high) {
    const uint32_t span = static_cast<uint32_t>(high) - static_cast<uint32_t>(low) + 1U;
    return static_cast<int32_t>(static_cast<uint32_t>(low) + below(span));
  }
  // True once in `n` times.
  bool oneIn(int32_t n) { return between(1, n) == 1; }

 private:
  std::mt19937 engine_;
};

}  // namespace jpgtest

#endif
