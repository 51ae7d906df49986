// SPDX-License-Identifier: MIT
// Lossless coding: streams byte by byte beside the model's, samples back bit by bit, and the
// order of the writer's checks.
#include <gtest/gtest.h>

#include <algorithm>

#include "jpg.h"
#include "model/losslessWriter.h"

namespace {

using namespace jpgtest;

Bytes finish(JPGHANDLE h) {
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes out(bytes, bytes + size);
  EXPECT_EQ(jpgWriteFreeBitstream(data), JPG_OK);
  return out;
}

Bytes encode(const SpatialJob &job) {
  Bytes data = packed(samplesOf(job), job.precision);
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetSpatialPredictor(h, static_cast<int32_t>(job.predictor)), JPG_OK);
  EXPECT_EQ(jpgWriteSetRestartInterval(h, static_cast<int32_t>(job.restart)), JPG_OK);
  std::vector<uint32_t> bands = job.bands;
  if (bands.empty()) bands.push_back(job.height);
  size_t first = 0;
  for (const uint32_t lines : bands) {
    const JpgRect rect = rectOf(job, data.data() + first * rowBytes(job));
    EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, lines), JPG_OK);
    first += lines;
  }
  return finish(h);
}

Bytes decode(const Bytes &stream, const SpatialJob &job) {
  Bytes out(rowBytes(job) * job.height, 0xEE);
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  const JpgRect rect = rectOf(job, out.data());
  EXPECT_EQ(jpgReadSpatialToRect(h, &rect, static_cast<int32_t>(job.height)), JPG_OK);
  EXPECT_EQ(jpgReadSpatialToRect(h, &rect, 1), JPG_E_FAIL);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return out;
}

// Every predictor, precision, component count, restart interval and kind of picture.
template <typename Check>
void forEveryJob(Check check) {
  for (uint32_t precision = 2; precision <= 16; precision++) {
    for (uint32_t components = 1; components <= 4; components++) {
      for (uint32_t predictor = 1; predictor <= 7; predictor++) {
        for (const uint32_t lines : {0u, 1u, 2u}) {
          for (const Kind kind : {Kind::kNoise, Kind::kSmooth, Kind::kExtremes}) {
            SpatialJob job;
            job.components = components;
            job.precision = precision;
            job.predictor = predictor;
            job.restart = lines * job.width;
            job.kind = kind;
            if ((precision + predictor) % 2 == 0) job.bands = std::vector<uint32_t>{1, 4, 6};
            check(job);
          }
        }
      }
    }
  }
}

TEST(Lossless, StreamsAreTheModelsByteForByte) {
  forEveryJob([](const SpatialJob &job) {
    ASSERT_EQ(encode(job) == modelSpatial(job), true) << describe(job);
  });
}

TEST(Lossless, SamplesComeBackBitForBit) {
  forEveryJob([](const SpatialJob &job) {
    const Bytes expected = packed(samplesOf(job), job.precision);
    ASSERT_EQ(decode(modelSpatial(job), job) == expected, true) << describe(job);
  });
}

TEST(Lossless, RestartIntervalsTakeEffectAtLineEndsOnly) {
  SpatialJob job;
  for (const uint32_t restart : {1u, 12u, 14u, 39u, 143u, 144u}) {
    job.restart = restart;
    const Bytes stream = encode(job);
    EXPECT_EQ(stream == modelSpatial(job), true) << restart;
    EXPECT_EQ(decode(stream, job) == packed(samplesOf(job), 8), true) << restart;
  }
}

TEST(Lossless, AOnePixelWideImageIsPredictedFromAboveAlone) {
  for (uint32_t predictor = 1; predictor <= 7; predictor++) {
    SpatialJob job;
    job.width = 1;
    job.precision = 12;
    job.predictor = predictor;
    EXPECT_EQ(encode(job) == modelSpatial(job), true);
    EXPECT_EQ(decode(encode(job), job) == packed(samplesOf(job), 12), true);
  }
}

TEST(Lossless, AnUntoldHeightIsToldByDnlAndReadRowByRow) {
  SpatialJob job;
  job.unknownHeight = true;
  job.precision = 10;
  job.bands = std::vector<uint32_t>{3, 8};
  const Bytes stream = encode(job);
  EXPECT_EQ(stream == modelSpatial(job), true);
  const Bytes expected = packed(samplesOf(job), 10);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  Bytes out(rowBytes(job) * 2);
  for (uint32_t y = 0; y < job.height; y++) {
    std::fill(out.begin(), out.end(), uint8_t{0xEE});
    const JpgRect rect = rectOf(job, out.data());
    ASSERT_EQ(jpgReadSpatialToRect(h, &rect, 5), JPG_OK);
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + 26,
                           expected.begin() + static_cast<long>(rowBytes(job) * y)));
    EXPECT_EQ(out[26], 0xEE);  // one row a call, whatever was asked for
  }
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
}

// ---- Checks ---------------------------------------------------------------

TEST(LosslessChecks, OfTheWriterComeInTheirOrder) {
  SpatialJob job;
  Bytes data = packed(samplesOf(job), 8);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  JpgRect rect = rectOf(job, data.data());
  EXPECT_EQ(jpgWriteSpatialFromRect(h, nullptr, 0), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, 0), JPG_E_INVALID_PARAMETER);
  for (const int32_t bad : {0, 1, 17, -8}) {
    JpgRect other = rect;
    other.bitsPerSample = bad;
    EXPECT_EQ(jpgWriteSpatialFromRect(h, &other, 1), JPG_E_INVALID_PARAMETER) << bad;
  }
  for (const int32_t bad : {0, -1, 65536}) {
    JpgRect other = rect;
    other.width = bad;
    EXPECT_EQ(jpgWriteSpatialFromRect(h, &other, 1), JPG_E_INVALID_PARAMETER) << bad;
  }
  for (const int32_t bad : {0, 5, -1}) {
    JpgRect other = rect;
    other.channels = bad;
    EXPECT_EQ(jpgWriteSpatialFromRect(h, &other, 1), JPG_E_UNSUPPORTED) << bad;
  }
  EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, 5), JPG_OK);
  EXPECT_EQ(jpgWriteFromRect(h, &rect, 8), JPG_E_UNSUPPORTED);  // a lossless image is under way
  EXPECT_EQ(jpgWriteSetSpatialPredictor(h, 7), JPG_OK);         // too late to change anything
  rect.bits = data.data() + 5 * rowBytes(job);
  EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, 100), JPG_OK);  // what exceeds the height isn't coded
  EXPECT_EQ(finish(h) == modelSpatial(job), true);
}

TEST(LosslessChecks, ABaselineImageUnderWayIsNotContinuedLosslessly) {
  SpatialJob job;
  Bytes data(64 * 64, 1);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  const JpgRect rect = rectOf(job, data.data());
  EXPECT_EQ(jpgWriteFromRect(h, &rect, 8), JPG_OK);
  EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, 1), JPG_E_UNSUPPORTED);
  finish(h);
}

}  // namespace
