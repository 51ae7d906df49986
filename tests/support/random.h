// Random numbers for tests.
#ifndef JPG_TESTS_SUPPORT_RANDOM_H
#define JPG_TESTS_SUPPORT_RANDOM_H

#include <cstdint>

namespace jpgtest {

// The same numbers on every machine (splitmix64).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return z ^ z >> 31;
  }
  uint32_t below(uint32_t n) { return static_cast<uint32_t>((next() >> 32) * n >> 32); }
  int32_t within(int32_t low, int32_t high) {
    return low + static_cast<int32_t>(below(static_cast<uint32_t>(high - low) + 1));
  }

 private:
  uint64_t state_;
};

}  // namespace jpgtest

#endif
