// SPDX-License-Identifier: MIT
// Separate handles on separate threads: no state is shared, and what comes out is what one
// thread alone gets.
#include <gtest/gtest.h>
#include <jpg.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/picture.h"
#include "support/random.h"
#include "support/reader.h"
#include "whole/damage/everyUse.h"
#include "whole/damage/smallStreams.h"

namespace jpgtest {
namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kRounds = 6;
constexpr int32_t kSide = 40;  // pixels

// Runs the job on several threads at once, all of which begin together.
void onThreads(const std::function<void(unsigned)> &job) {
  std::atomic<unsigned> ready{0};
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; i++) {
    threads.emplace_back([&, i] {
      ready++;
      while (ready.load() < kThreads) std::this_thread::yield();
      job(i);
    });
  }
  for (std::thread &thread : threads) thread.join();
}

// Samples by rule, different for every seed.
Bytes samplesOf(unsigned seed) {
  Bytes samples(size_t{3} * kSide * kSide);
  Random random(seed + 1);
  for (uint8_t &sample : samples) sample = static_cast<uint8_t>(random.between(0, 255));
  return samples;
}

JpgRect rectOf(Bytes &samples) { return {kSide, kSide, 3 * kSide, 24, 3, 8, samples.data(), 0, 0}; }

uint32_t fill(JPGHANDLE h, Bytes samples, bool lossless) {
  const JpgRect rect = rectOf(samples);
  return lossless ? jpgWriteSpatialFromRect(h, &rect, kSide) : jpgWriteFromRect(h, &rect, kSide);
}

Bytes written(unsigned seed, bool lossless) {
  JPGHANDLE h = nullptr;
  void *data = nullptr;
  uint32_t size = 0;
  if (jpgWritePrologToMemory(0, &h) != JPG_OK) return {};
  if (fill(h, samplesOf(seed), lossless) != JPG_OK) return {};
  if (jpgWriteEpilogToMemory(h, &data, &size) != JPG_OK) return {};
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes stream(bytes, bytes + size);
  return jpgWriteFreeBitstream(data) == JPG_OK ? stream : Bytes();
}

Bytes decoded(const Bytes &stream, bool lossless) {
  Bytes samples(size_t{3} * kSide * (kSide + 1));
  const JpgRect rect = rectOf(samples);
  const Reader reader = Reader::ofMemory(stream);
  const uint32_t r = lossless ? jpgReadSpatialToRect(reader.handle(), &rect, kSide)
                              : jpgReadToRect(reader.handle(), &rect, kSide);
  return r == JPG_OK ? samples : Bytes();
}

TEST(Threads, WriteTheSameStreamsAsOneThreadAlone) {
  for (const bool lossless : {false, true}) {
    std::vector<Bytes> expected;
    for (unsigned i = 0; i < kThreads; i++) expected.push_back(written(i, lossless));
    std::atomic<unsigned> equal{0};
    onThreads([&](unsigned i) {
      for (unsigned round = 0; round < kRounds; round++) {
        const Bytes stream = written(i, lossless);
        if (!stream.empty() && stream == expected[i]) equal++;
      }
    });
    EXPECT_EQ(kThreads * kRounds, equal.load());
  }
}

TEST(Threads, DecodeTheSamePixelsAsOneThreadAlone) {
  for (const bool lossless : {false, true}) {
    std::vector<Bytes> streams;
    std::vector<Bytes> expected;
    for (unsigned i = 0; i < kThreads; i++) {
      streams.push_back(written(i, lossless));
      expected.push_back(decoded(streams[i], lossless));
    }
    std::atomic<unsigned> equal{0};
    onThreads([&](unsigned i) {
      for (unsigned round = 0; round < kRounds; round++) {
        const Bytes pixels = decoded(streams[i], lossless);
        if (!pixels.empty() && pixels == expected[i]) equal++;
      }
    });
    EXPECT_EQ(kThreads * kRounds, equal.load());
  }
}

// One block of data may be read by several handles at once.
TEST(Threads, ReadTheSameBytesThroughHandlesOfTheirOwn) {
  const std::vector<SmallStream> &streams = smallStreams();
  std::atomic<unsigned> fine{0};
  onThreads([&](unsigned) {
    for (const SmallStream &stream : streams) {
      const Used used = useStream(stream.bytes.data(), stream.bytes.size());
      if (used.decoded && used.guardsWhole && used.handlesClosed) fine++;
    }
  });
  EXPECT_EQ(kThreads * streams.size(), fine.load());
}

TEST(Threads, OpenCloseAndReadFilesAtOnce) {
  const TempFile file(written(5, false));
  const std::basic_string<JpgWChar> input = widePath(file.path());
  std::atomic<unsigned> fine{0};
  onThreads([&](unsigned i) {
    const std::string name =
        testing::TempDir() + "jpg_threads_" + std::to_string(getpid()) + std::to_string(i);
    for (unsigned round = 0; round < kRounds; round++) {
      JPGHANDLE reader = nullptr;
      JPGHANDLE writer = nullptr;
      Bytes samples(size_t{3} * kSide * kSide);
      const JpgRect rect = rectOf(samples);
      bool good = jpgReadPrologFromFile(input.c_str(), 0, 0, 0, &reader) == JPG_OK;
      good = jpgWritePrologToFile(widePath(name).c_str(), 0, &writer) == JPG_OK && good;
      good = jpgReadToRect(reader, &rect, kSide) == JPG_OK && good;
      good = jpgWriteFromRect(writer, &rect, kSide) == JPG_OK && good;
      good = jpgReadEpilog(reader) == JPG_OK && good;
      good = jpgWriteEpilogToFile(writer) == JPG_OK && good;
      if (good) fine++;
    }
    std::remove(name.c_str());
  });
  EXPECT_EQ(kThreads * kRounds, fine.load());
}

// A handle may wander from one thread to another, one at a time.
TEST(Threads, HandOneHandleOnFromThreadToThread) {
  const Bytes stream = written(9, false);
  const Bytes expected = decoded(stream, false);
  const Reader reader = Reader::ofMemory(stream);
  Bytes samples(size_t{3} * kSide * (kSide + 1));
  for (int32_t y = 0; y < kSide; y += 16) {
    std::thread([&] {
      JpgRect rect = rectOf(samples);
      rect.bits = samples.data() + static_cast<ptrdiff_t>(y) * rect.stride;
      EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 16));
    }).join();
  }
  EXPECT_EQ(expected, samples);
}

}  // namespace
}  // namespace jpgtest
