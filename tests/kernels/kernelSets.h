// What the tests of the kernels share: the set of this processor, and memory that ends at a page
// which can't be touched.
#ifndef JPG_TESTS_KERNELS_KERNELSETS_H
#define JPG_TESTS_KERNELS_KERNELSETS_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "kernels/jpgKernels.h"
#include "support/random.h"

namespace jpgtest {

// Skips where the processor has no set of its own: then there is nothing to compare.
class KernelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (best_ == &jpg::jpgPlainKernels) {
      GTEST_SKIP() << "this processor, or this target, has no kernels beside the plain ones";
    }
  }
  const jpg::Kernels *best_ = jpg::bestKernels();
  const jpg::Kernels *plain_ = &jpg::jpgPlainKernels;
};

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
