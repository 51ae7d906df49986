// SPDX-License-Identifier: MIT
// Streams byte by byte, beside the model's.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "libraryEncode.h"
#include "model/fdct.h"

namespace {

using namespace jpgtest;

void expectGolden(const EncodeJob &job) {
  SCOPED_TRACE(describe(job));
  const Bytes expected = modelEncode(job);
  EXPECT_EQ(encodeToMemory(job) == expected, true);
}

constexpr uint32_t kFactors[] = {0x11, 0x12, 0x21, 0x22};

TEST(GoldenStreams, OfEveryCombinationOfSamplingFactors) {
  uint32_t seed = 1;
  for (const uint32_t y : kFactors) {
    for (const uint32_t cb : kFactors) {
      for (const uint32_t cr : kFactors) {
        EncodeJob job;
        job.width = 37;
        job.height = 35;
        job.sampling = y << 16 | cb << 8 | cr;
        job.seed = seed++;
        expectGolden(job);
        job.raw = true;
        expectGolden(job);
      }
    }
  }
}

TEST(GoldenStreams, OfEveryComponentCountAndSmallSize) {
  for (const uint32_t channels : {1u, 3u, 4u}) {
    for (const uint32_t width : {1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 33u}) {
      for (const uint32_t height : {1u, 5u, 8u, 16u, 19u}) {
        EncodeJob job;
        job.width = width;
        job.height = height;
        job.channels = channels;
        job.seed = width + height;
        if (channels == 4) job.sampling = 0x11111111;
        expectGolden(job);
      }
    }
  }
}

TEST(GoldenStreams, OfEveryQuality) {
  for (uint32_t quality = 1; quality <= 100; quality++) {
    EncodeJob job;
    job.width = 24;
    job.height = 16;
    job.quality = quality;
    job.seed = quality;
    expectGolden(job);
  }
}

TEST(GoldenStreams, OfRestartIntervals) {
  for (const uint32_t restart : {1u, 2u, 3u, 4u, 5u, 11u, 12u, 13u, 200u, 65535u}) {
    for (const uint32_t sampling : {0x00111111u, 0x00221111u}) {
      EncodeJob job;
      job.width = 61;
      job.height = 45;
      job.restart = restart;
      job.sampling = sampling;
      expectGolden(job);
    }
  }
}

TEST(GoldenStreams, OfBandsThatEndInsideAnMcuRow) {
  const std::vector<std::vector<uint32_t>> kBands = {
      {16, 16, 13}, {8, 8, 8, 8, 8, 5}, {1, 44}, {7, 20, 18}, {45}, {16, 29}};
  for (const auto &bands : kBands) {
    for (const uint32_t channels : {1u, 3u, 4u}) {
      EncodeJob job;
      job.width = 29;
      job.height = 45;
      job.channels = channels;
      job.bands = bands;
      if (channels == 4) job.sampling = 0x11111111;
      expectGolden(job);
    }
  }
}

TEST(GoldenStreams, OfAHeightThatTheEpilogTells) {
  EncodeJob job;
  job.width = 20;
  job.height = 40;
  job.unknownHeight = true;
  job.bands = {16, 16, 8};
  expectGolden(job);
  job.restart = 2;
  expectGolden(job);
}

TEST(GoldenStreams, OverAFileAndFromABottomUpBuffer) {
  EncodeJob job;
  job.width = 300;  // more than one 4096-byte stage
  job.height = 80;
  job.quality = 95;
  const Bytes expected = modelEncode(job);
  EXPECT_GT(expected.size(), 3u * 4096);
  EXPECT_EQ(encodeToFile(job) == expected, true);
  EXPECT_EQ(encodeToMemory(job, Rows::kBottomUp) == expected, true);
}

TEST(ForwardTransform, AFlatBlockHasItsSumAlone) {
  for (int v = -128; v <= 127; v++) {
    int32_t block[8][8];
    for (auto &row : block) std::fill(std::begin(row), std::end(row), v);
    modelForwardDct(block);
    for (int i = 0; i < 64; i++) EXPECT_EQ(block[i / 8][i % 8], i == 0 ? 64 * v : 0);
  }
}

TEST(ForwardTransform, IsEightTimesTheStandardsDefinition) {
  // T.81 A.3.3 in floating point.
  const double pi = std::acos(-1.0);
  int32_t block[8][8];
  for (int i = 0; i < 64; i++) block[i / 8][i % 8] = (i * i * 37) % 256 - 128;
  double samples[64];
  for (int i = 0; i < 64; i++) samples[i] = block[i / 8][i % 8];
  modelForwardDct(block);
  for (int v = 0; v < 8; v++) {
    for (int u = 0; u < 8; u++) {
      double sum = 0;
      for (int y = 0; y < 8; y++) {
        for (int x = 0; x < 8; x++) {
          sum += samples[8 * y + x] * std::cos((2 * x + 1) * u * pi / 16) *
                 std::cos((2 * y + 1) * v * pi / 16);
        }
      }
      const double c = (u == 0 ? std::sqrt(0.5) : 1) * (v == 0 ? std::sqrt(0.5) : 1);
      // Half a level of the finest quantisation step, which is 8 at this scale.
      EXPECT_NEAR(block[v][u], 8 * c * sum / 4, 4);
    }
  }
}

}  // namespace
