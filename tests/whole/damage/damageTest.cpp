// SPDX-License-Identifier: MIT
// Damage: every stream cut short at every byte, and with other values of every byte, through
// everything that an application may do with it. A few values of each byte in the everyday
// form; all 255 with JPG_TEST_LENGTH=long.
#include <gtest/gtest.h>
#include <jpg.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "faulty.h"
#include "whole/damage/everyUse.h"
#include "whole/damage/smallStreams.h"
#include "whole/limits/heapLaw.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

constexpr double kMaxSeconds = 1.0;  // of a case

bool longForm() {
  const char *form = std::getenv("JPG_TEST_LENGTH");
  return form != nullptr && std::strcmp(form, "long") == 0;
}

// The other values that a byte takes.
std::vector<uint8_t> otherValues(uint8_t value) {
  std::vector<uint8_t> values;
  if (longForm()) {
    for (unsigned v = 0; v < 256; v++) values.push_back(static_cast<uint8_t>(v));
  } else {
    const unsigned few[] = {0, 0xFF, value + 1U, value ^ 0x80U};
    for (const unsigned v : few) values.push_back(static_cast<uint8_t>(v));
  }
  values.erase(std::remove(values.begin(), values.end(), value), values.end());
  return values;
}

// The most heap that all of it may have taken. A thumbnail's own frame isn't known here.
uint64_t heapBound(const Used &used, size_t size) {
  const Frame frame = {used.width, used.height, used.channels,
                       (used.process & JPG_PROCESS_PROGRESSIVE) != 0,
                       (used.process & JPG_PROCESS_LOSSLESS) != 0};
  return readerBytes(frame) + planeBytes(frame) + reductionBytes(used.width, kBand) +
         attributeBytes(static_cast<uint32_t>(size));
}

uint64_t lenientHeapBound(const Used &used, size_t size) {
  const Frame frame = {used.width, used.height, used.channels, true,
                       used.process == JPG_PROCESS_LOSSLESS};
  return lenientBytes(frame, true) + reductionBytes(used.width, kBand) +
         attributeBytes(static_cast<uint32_t>(size));
}

class Damage : public testing::TestWithParam<SmallStream> {
 protected:
  // One case: a copy of exactly this size, so that a read behind its end is seen.
  Used run(const Bytes &bytes, size_t size, const char *kind, size_t at) {
    std::unique_ptr<uint8_t[]> data(new uint8_t[size]);
    std::memcpy(data.get(), bytes.data(), size);
    runOne(data.get(), size, useLeniently, lenientHeapBound, kind, at);
    return runOne(data.get(), size, useStream, heapBound, kind, at);
  }

  using UseRoutine = Used (*)(const uint8_t *data, size_t size);
  using HeapBound = uint64_t (*)(const Used &used, size_t size);
  Used runOne(const uint8_t *data, size_t size, UseRoutine use, HeapBound bound, const char *kind,
              size_t at) {
    faulty::reset();
    const auto begin = std::chrono::steady_clock::now();
    const Used used = use(data, size);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    if (use == useStream) cases_++;
    slowest_ = std::max(slowest_, took.count());
    // Once the first has failed, a million others needn't be reported.
    const bool fine = used.guardsWhole && used.handlesClosed && faulty::liveBlocks() == 0 &&
                      faulty::wrongFrees() == 0 && took.count() < kMaxSeconds &&
                      (hasThumbnail() || faulty::peakBytes() <= bound(used, size));
    if (!fine && !HasFailure()) {
      ADD_FAILURE() << kind << " " << at << ": guards " << used.guardsWhole << ", handles "
                    << used.handlesClosed << ", blocks left " << faulty::liveBlocks()
                    << ", wrong frees " << faulty::wrongFrees() << ", heap peak "
                    << faulty::peakBytes() << ", " << took.count() << " s";
    }
    return used;
  }
  static bool hasThumbnail() { return GetParam().name.find("Thumbnail") != std::string::npos; }
  void TearDown() override {
    std::printf("damage %s: %zu bytes, %zu cases, slowest %.1f ms\n", GetParam().name.c_str(),
                GetParam().bytes.size(), cases_, slowest_ * 1e3);
  }

  size_t cases_ = 0;
  double slowest_ = 0;  // seconds
};

TEST_P(Damage, TheStreamItselfIsDecoded) {
  const SmallStream &stream = GetParam();
  const Used used = run(stream.bytes, stream.bytes.size(), "whole", 0);
  EXPECT_TRUE(used.decoded);
  EXPECT_EQ(hasThumbnail(), used.thumbnail);
}

TEST_P(Damage, CutShortAtEveryByte) {
  const Bytes &bytes = GetParam().bytes;
  for (size_t size = 0; size < bytes.size(); size++) run(bytes, size, "cut at", size);
  EXPECT_EQ(bytes.size(), cases_);
}

TEST_P(Damage, WithOtherValuesOfEveryByte) {
  Bytes bytes = GetParam().bytes;
  for (size_t at = 0; at < bytes.size(); at++) {
    const uint8_t kept = bytes[at];
    for (const uint8_t value : otherValues(kept)) {
      bytes[at] = value;
      run(bytes, bytes.size(), "changed at", at);
    }
    bytes[at] = kept;
  }
  EXPECT_GE(cases_, (longForm() ? 255 : 2) * bytes.size());
}

std::string nameOfParam(const testing::TestParamInfo<SmallStream> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(SmallStreams, Damage, testing::ValuesIn(smallStreams()), nameOfParam);

}  // namespace

void PrintTo(const SmallStream &stream, std::ostream *os) { *os << stream.name; }

}  // namespace jpgtest
