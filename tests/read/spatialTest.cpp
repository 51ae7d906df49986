// SPDX-License-Identifier: MIT
// Lossless decoding: rows in several calls, streams made by hand, the order of checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "jpg.h"
#include "model/losslessWriter.h"

namespace {

using namespace jpgtest;

// ---- The row between calls ------------------------------------------------

struct BandReader {
  SpatialJob job;
  Bytes expected, stream, out;
  JPGHANDLE h = nullptr;

  explicit BandReader(uint32_t predictor) {
    job.predictor = predictor;
    expected = packed(samplesOf(job), 8);
    stream = modelSpatial(job);
    out.assign(rowBytes(job) * (job.height + 1), 0);
    EXPECT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
              JPG_OK);
  }
  ~BandReader() { EXPECT_EQ(jpgReadEpilog(h), JPG_OK); }
  BandReader(const BandReader &) = delete;
  BandReader &operator=(const BandReader &) = delete;
  uint32_t read(uint32_t row, int32_t lines) {
    const JpgRect rect = rectOf(job, out.data() + row * rowBytes(job));
    return jpgReadSpatialToRect(h, &rect, lines);
  }
  bool rowsAgree(uint32_t from, uint32_t to) const {
    const auto at = [&](const Bytes &b, uint32_t y) {
      return b.begin() + static_cast<long>(y * rowBytes(job));
    };
    return std::equal(at(expected, from), at(expected, to), at(out, from));
  }
};

TEST(LosslessBands, ACallWithoutLinesKeepsTheRowThatTheNextIsPredictedFrom) {
  for (uint32_t predictor = 1; predictor <= 7; predictor++) {
    BandReader reader(predictor);
    EXPECT_EQ(reader.read(0, 4), JPG_OK);
    EXPECT_EQ(reader.read(3, 0), JPG_OK);
    EXPECT_EQ(reader.read(4, 7), JPG_OK);
    EXPECT_TRUE(reader.rowsAgree(0, 11));
  }
}

TEST(LosslessBands, WithoutItTheRowBehindTheBandIsKept) {
  BandReader reader(2);  // from above
  EXPECT_EQ(reader.read(0, 4), JPG_OK);
  EXPECT_EQ(reader.read(4, 7), JPG_OK);
  EXPECT_TRUE(reader.rowsAgree(0, 4));
  // Row 4 was zeros when it was kept: its samples are the differences themselves.
  const size_t row = rowBytes(reader.job);
  for (size_t x = 0; x < row; x++) {
    const int difference = reader.expected[4 * row + x] - reader.expected[3 * row + x];
    EXPECT_EQ(reader.out[4 * row + x], static_cast<uint8_t>(difference));
  }
}

TEST(LosslessBands, ABottomUpBufferServesAsWell) {
  BandReader reader(4);
  Bytes out(rowBytes(reader.job) * reader.job.height);
  JpgRect rect = rectOf(reader.job, out.data() + rowBytes(reader.job) * 10);
  rect.stride = -rect.stride;
  EXPECT_EQ(jpgReadSpatialToRect(reader.h, &rect, 11), JPG_OK);
  for (uint32_t y = 0; y < 11; y++) {
    const size_t row = rowBytes(reader.job);
    EXPECT_EQ(std::memcmp(out.data() + (10 - y) * row, reader.expected.data() + y * row, row), 0);
  }
}

// ---- Streams that only a test makes ---------------------------------------

// A grey stream of these entropy-coded bits, with table K.3.
Bytes handMade(uint32_t width, uint32_t height, uint32_t precision, int predictor, int point,
               const Bytes &data) {
  SpatialJob job;
  job.width = width;
  job.height = height;
  job.precision = precision;
  Bytes model = modelSpatial(job);
  const Bytes sos = {0xFF, 0xDA};
  auto at = std::search(model.begin(), model.end(), sos.begin(), sos.end());
  Bytes out(model.begin(), at);
  for (const int b : {0xFF, 0xDA, 0, 8, 1, 1, 0, predictor, 0, point}) {
    out.push_back(static_cast<uint8_t>(b));
  }
  out.insert(out.end(), data.begin(), data.end());
  out.push_back(0xFF);
  out.push_back(0xD9);
  return out;
}

uint32_t readHandMade(const Bytes &stream, Bytes *out, int32_t lines) {
  JPGHANDLE h = nullptr;
  const uint32_t opened =
      jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h);
  if (opened != JPG_OK) return opened;
  out->assign(64, 0xEE);
  JpgRect rect = {};
  rect.stride = 8;
  rect.bits = out->data();
  const uint32_t r = jpgReadSpatialToRect(h, &rect, lines);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return r;
}

TEST(LosslessStreams, TheFirstSampleIsMidScaleLessThePointTransform) {
  Bytes out;
  EXPECT_EQ(readHandMade(handMade(1, 1, 8, 1, 0, {0x3F}), &out, 1), JPG_OK);  // difference 0
  EXPECT_EQ(out[0], 128);
  EXPECT_EQ(readHandMade(handMade(1, 1, 8, 1, 3, {0x3F}), &out, 1), JPG_OK);
  EXPECT_EQ(out[0], 16);
  EXPECT_EQ(readHandMade(handMade(1, 1, 8, 1, 8, {0x3F}), &out, 1), JPG_OK);
  EXPECT_EQ(out[0], 0);
}

TEST(LosslessStreams, ByteSamplesWrapModulo256AndWordsModuloTheirRange) {
  Bytes out;
  // Category 8 is 111110; eight 0-bits are -255: 128 - 255 + 256.
  EXPECT_EQ(readHandMade(handMade(1, 1, 8, 1, 0, {0b11111000, 0b00000011}), &out, 1), JPG_OK);
  EXPECT_EQ(out[0], 129);
  // Category 12 is 1111111110; twelve 0-bits are -4095: 2048 - 4095 + 4096.
  EXPECT_EQ(readHandMade(handMade(1, 1, 12, 1, 0, {0xFF, 0x00, 0x80, 0x03}), &out, 1), JPG_OK);
  uint16_t word = 0;
  std::memcpy(&word, out.data(), 2);
  EXPECT_EQ(word, 2049);
}

TEST(LosslessStreams, SelectionsThatAreNoneShowInTheSecondRow) {
  for (const int predictor : {0, 8, 255}) {
    Bytes out;
    const Bytes stream = handMade(2, 2, 8, predictor, 0, {0x00, 0x3F});
    EXPECT_EQ(readHandMade(stream, &out, 2), JPG_E_INVALID_PARAMETER);
    EXPECT_EQ(out[0], 128);
    EXPECT_EQ(out[8], 128);  // the first pixel is there already
    EXPECT_EQ(out[9], 0xEE);
    EXPECT_EQ(readHandMade(stream, &out, 1), JPG_OK);
    // A first pixel without a code, 16 one-bits, is told ahead of that.
    const Bytes broken =
        handMade(2, 2, 8, predictor, 0, {0x0F, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00});
    EXPECT_EQ(readHandMade(broken, &out, 2), JPG_E_FAIL);
    EXPECT_EQ(out[1], 128);
    EXPECT_EQ(out[8], 0xEE);
  }
}

TEST(LosslessStreams, PrecisionsOutsideTheRangeAreNoJpeg) {
  for (const uint8_t precision : {uint8_t{0}, uint8_t{1}, uint8_t{17}, uint8_t{255}}) {
    Bytes stream = handMade(1, 1, 8, 1, 0, {0x3F});
    const Bytes sof = {0xFF, 0xC3};
    *(std::search(stream.begin(), stream.end(), sof.begin(), sof.end()) + 4) = precision;
    Bytes out;
    EXPECT_EQ(readHandMade(stream, &out, 1), JPG_E_NOT_JPEG) << int{precision};
  }
}

TEST(LosslessStreams, CodesThatAreNotThereFail) {
  Bytes out;
  EXPECT_EQ(readHandMade(handMade(2, 1, 8, 1, 0, {0x3F, 0xFF, 0x00, 0xFF, 0x00}), &out, 1),
            JPG_E_FAIL);
}

TEST(LosslessStreams, AMissingRestartMarkerEndsRestartingAndTakesNothing) {
  SpatialJob job;
  job.restart = job.width;
  SpatialJob plain = job;
  plain.restart = 0;
  // The intervals' DRI in front of data without markers: rows 2.. use the first-row rule once.
  const Bytes dri = {0xFF, 0xDD, 0, 4, 0, 13};
  const Bytes data = modelSpatial(plain);
  const Bytes sos = {0xFF, 0xDA};
  const auto at = std::search(data.begin(), data.end(), sos.begin(), sos.end());
  Bytes stream(data.begin(), at);
  stream.insert(stream.end(), dri.begin(), dri.end());
  stream.insert(stream.end(), at, data.end());
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  Bytes out(rowBytes(job) * job.height);
  const JpgRect rect = rectOf(job, out.data());
  EXPECT_EQ(jpgReadSpatialToRect(h, &rect, static_cast<int32_t>(job.height)), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  const Bytes expected = packed(samplesOf(job), 8);
  const size_t row = rowBytes(job);
  EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + static_cast<long>(row), out.begin()));
  // Row 1 was coded from above, and read with the first-row rule: off by what row 0's first
  // sample is off mid-scale. Every later row is read from above again.
  const auto off = static_cast<uint8_t>(128 - expected[0]);
  EXPECT_EQ(out[row], static_cast<uint8_t>(expected[row] + off));
  EXPECT_EQ(out[2 * row], static_cast<uint8_t>(expected[2 * row] + off));
}

// ---- Checks ---------------------------------------------------------------

TEST(LosslessChecks, OfTheReaderComeInTheirOrder) {
  SpatialJob job;
  const Bytes stream = modelSpatial(job);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  Bytes out(rowBytes(job) * (job.height + 1));
  JpgRect rect = rectOf(job, out.data());
  EXPECT_EQ(jpgReadSpatialToRect(nullptr, &rect, 1), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadSpatialToRect(h, nullptr, 1), JPG_E_INVALID_HANDLE);
  JpgRect empty = rectOf(job, nullptr);
  EXPECT_EQ(jpgReadSpatialToRect(h, &empty, 1), JPG_E_INVALID_HANDLE);
  EXPECT_EQ(jpgReadToRect(h, &rect, 1), JPG_E_UNSUPPORTED);
  EXPECT_EQ(jpgReadProgressiveToRect(h, &rect, 1, 0), JPG_E_UNSUPPORTED);
  uint32_t process = 0;
  EXPECT_EQ(jpgReadGetCodingProcess(h, &process), JPG_OK);
  EXPECT_EQ(process, JPG_PROCESS_LOSSLESS);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
}

}  // namespace
