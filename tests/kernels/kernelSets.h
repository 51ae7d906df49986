// What the tests of the kernels share: the sets of this processor, what defines
// their results, and memory that ends at a page
// which can't be touched.
#ifndef JPG_TESTS_KERNELS_KERNELSETS_H
#define JPG_TESTS_KERNELS_KERNELSETS_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/jpgKernels.h"
#include "read/jpgRIdct.h"
#include "read/jpgRScal.h"
#include "share/jpgTables.h"
#include "support/random.h"
#include "write/jpgWFdct.h"

namespace jpgtest {

// The routines that define the results, as a set; src/read and src/write have them.
namespace definition {

inline void inverseTransform(int16_t *block, uint32_t /*last*/) {
  jpg::jpgIdct8x8(block);
  jpg::limitBlock(block);
}

inline void inverseTransformHalf(int16_t *block, uint32_t /*last*/) {
  jpg::jpgIdct4x4(block);
  jpg::limitCorner(block, 4);
}

inline uint64_t present(const int16_t *block) {
  uint64_t mask = 0;
  for (uint32_t k = 0; k < 64; k++) {
    if (block[jpg::kZigZag.natural[k]] != 0) mask |= uint64_t{1} << k;
  }
  return mask;
}

// Products to 16 bits.
inline uint32_t dequantise(const int16_t *in, const int16_t *steps, int16_t *out) {
  uint32_t last = 0;
  for (uint32_t k = 0; k < 64; k++) {
    const uint32_t n = jpg::kZigZag.natural[k];
    out[n] = static_cast<int16_t>(static_cast<uint32_t>(in[n] * steps[n]) & 0xFFFF);
    if (out[n] != 0) last = k;
  }
  return last;
}

// The transform, and of each coefficient the nearest multiple of the step, halves away from zero.
inline void makeLevels(int16_t *blocks, uint32_t count, const jpg::QuantSteps &steps,
                       uint64_t *present) {
  for (uint32_t i = 0; i < count; i++, blocks += 64) {
    int16_t levels[64];
    jpg::jpgFdct8x8(blocks);
    present[i] = 0;
    for (uint32_t k = 0; k < 64; k++) {
      const int32_t c = blocks[jpg::kZigZag.natural[k]];
      const auto step = static_cast<int32_t>(steps.step[k]);
      const int32_t magnitude = ((c < 0 ? -c : c) + step / 2) / step;
      levels[k] = static_cast<int16_t>(c < 0 ? -magnitude : magnitude);
      if (magnitude != 0) present[i] |= uint64_t{1} << k;
    }
    memcpy(blocks, levels, sizeof(levels));
  }
}

// Pixels have the routines of src/read and src/write themselves.
constexpr jpg::Kernels kSet = {inverseTransform, inverseTransformHalf, present, dequantise, nullptr,
                               {},          makeLevels,      nullptr, nullptr};

}  // namespace definition

// Runs with each set of this processor. Where it has none of its own, the plain one is the best.
class KernelTest : public ::testing::TestWithParam<const jpg::Kernels *> {
 protected:
  const jpg::Kernels *tested_ = GetParam();
  const jpg::Kernels *defined_ = &definition::kSet;
};

inline std::vector<const jpg::Kernels *> kernelSets() {
  std::vector<const jpg::Kernels *> sets = {&jpg::jpgPortableKernels};
  if (jpg::bestKernels() != sets[0]) sets.push_back(jpg::bestKernels());
  return sets;
}

inline std::string nameOfSet(const ::testing::TestParamInfo<const jpg::Kernels *> &info) {
  return info.param == &jpg::jpgPortableKernels ? "Plain" : "Best";
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
