// SPDX-License-Identifier: MIT
// What the tests of the kernels share: the sets of this processor, what defines their results,
// words for what differs from them, and memory that ends at a page which can't be touched.
#ifndef JPG_TESTS_KERNELS_KERNELSETS_H
#define JPG_TESTS_KERNELS_KERNELSETS_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/definition.h"
#include "kernels/jpgKernels.h"
#include "share/jpgTables.h"
#include "support/random.h"

namespace jpgtest {

// Runs with each set of this processor.
class KernelTest : public ::testing::TestWithParam<const jpg::Kernels *> {
 protected:
  const jpg::Kernels *tested_ = GetParam();
  const jpg::Kernels *defined_ = &kDefinition;
};

// The portable one is the last.
inline std::vector<const jpg::Kernels *> kernelSets() {
  std::vector<const jpg::Kernels *> sets;
  for (const jpg::Kernels *k = jpg::bestKernels(); k != nullptr; k = k->next) sets.push_back(k);
  return sets;
}

// "Vector" is the set for 128 bits, the only other one but on processors with AVX2.
inline std::string nameOf(const jpg::Kernels &set) {
  const std::vector<const jpg::Kernels *> sets = kernelSets();
  if (&set == sets.back()) return "Portable";
  return &set == sets[sets.size() - 2] ? "Vector" : "Avx2";
}
inline std::string nameOfSet(const ::testing::TestParamInfo<const jpg::Kernels *> &info) {
  return nameOf(*info.param);
}

// ---- Words for a failure: the set, its routine, and the first value that is wrong ----

// Sampling bytes, one for each component.
inline std::string nameOfLayout(const std::vector<uint8_t> &sampling) {
  std::string name = "layout";
  for (const uint8_t s : sampling) {
    name += " " + std::to_string(s >> 4) + "x" + std::to_string(s & 15);
  }
  return name;
}

// Cells of 1, 2, 4, 8 samples both ways have the codes 0 to 3.
inline std::string nameOfScale(uint32_t code) {
  return "scale " + (code < 3 ? "1/" + std::to_string(8 >> code) : "1");
}

// Where the value `i` of blocks stands that lie one behind another.
inline std::string placeInBlocks(size_t i) {
  return "block " + std::to_string(i / 64) + ", row " + std::to_string(i / 8 % 8) + ", column " +
         std::to_string(i % 8);
}

// `place` gives the words for the i-th value, `what` those for the routine and what it was given.
template <typename Value, typename Place>
::testing::AssertionResult sameValues(const jpg::Kernels &set, const std::string &what,
                                      const Value *expected, const Value *made, size_t count,
                                      const Place &place) {
  for (size_t i = 0; i < count; i++) {
    if (made[i] == expected[i]) continue;
    return ::testing::AssertionFailure() << nameOf(set) << " set, " << what << ": " << place(i)
                                         << " is " << +made[i] << " instead of " << +expected[i];
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult sameBlocks(const jpg::Kernels &set, const std::string &what,
                                             const int16_t *expected, const int16_t *made,
                                             size_t blocks = 1) {
  return sameValues(set, what, expected, made, 64 * blocks, placeInBlocks);
}

// Masks of coefficients in the coded order.
inline ::testing::AssertionResult sameMasks(const jpg::Kernels &set, const std::string &what,
                                            uint64_t expected, uint64_t made) {
  for (uint32_t k = 0; k < 64; k++) {
    const uint64_t e = expected >> k & 1, m = made >> k & 1;
    if (e == m) continue;
    return ::testing::AssertionFailure() << nameOf(set) << " set, " << what << ": the bit of the "
                                         << "zig-zag position " << k << " is " << m;
  }
  return ::testing::AssertionSuccess();
}

// `size` bytes, filled with a pattern, that lie directly ahead of or directly behind a page
// without access.
class FencedBytes {
 public:
  enum Fence { kBehind, kAhead };
  FencedBytes(size_t size, Fence fence) : size_(size) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t room = (size + page - 1) / page * page;
    mapped_ = room + 2 * page;
    map_ = static_cast<uint8_t *>(
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(map_, page, PROT_NONE);
    mprotect(map_ + page + room, page, PROT_NONE);
    begin_ = map_ + page + (fence == kBehind ? room - size : 0);
    memset(begin_, kPattern, size);
  }
  ~FencedBytes() { munmap(map_, mapped_); }
  FencedBytes(const FencedBytes &) = delete;
  FencedBytes &operator=(const FencedBytes &) = delete;

  uint8_t *begin() { return begin_; }
  size_t size() const { return size_; }
  bool equals(const FencedBytes &other) const {
    return size_ == other.size_ && memcmp(begin_, other.begin_, size_) == 0;
  }
  void clear() { memset(begin_, kPattern, size_); }

 private:
  static constexpr int kPattern = 0xA5;
  uint8_t *map_, *begin_;
  size_t mapped_, size_;
};

}  // namespace jpgtest

#endif
