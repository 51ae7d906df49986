// SPDX-License-Identifier: MIT
// Lenient reading as a state machine: calls in any order give the rows of the whole picture from
// where the calls before have led, and the codes that go with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "model/losslessWriter.h"
#include "read/lenient.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

constexpr int32_t kScales = 4;

// A stream with its whole picture at each scale, by a fresh handle and a single call.
struct Reference {
  std::string name;
  Bytes stream;
  uint32_t flags;
  bool lossless;
  uint32_t process = 0, width[kScales] = {}, height[kScales] = {};
  uint32_t intervalRows = 0;  // MCU rows of a restart interval, 0 for none
  uint32_t mcuHeight = 0;
  uint32_t result[kScales] = {};
  Bytes pixels[kScales];
};

Bytes readWhole(const Reference &r, int32_t scale, uint32_t *result) {
  const Reader reader = Reader::ofMemory(r.stream, r.flags);
  Bytes pixels(size_t{3} * r.width[scale] * r.height[scale]);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(r.width[scale]);
  rect.stride = 3 * rect.width;
  rect.bitsPerPixel = 24;
  rect.bits = pixels.data();
  const auto rows = static_cast<int32_t>(r.height[scale]);
  *result = jpgReadScaleOutputToRect(reader.handle(), &rect, rows, scale);
  return pixels;
}

Reference makeReference(const std::string &name, const Bytes &stream, uint32_t flags,
                        uint32_t mcuHeight, uint32_t intervalRows) {
  Reference r = {};
  r.name = name;
  r.stream = stream;
  r.flags = flags;
  r.mcuHeight = mcuHeight;
  r.intervalRows = intervalRows;
  const Reader reader = Reader::ofMemory(stream, flags);
  EXPECT_RESULT(JPG_OK, reader.result());
  jpgReadGetCodingProcess(reader.handle(), &r.process);
  r.lossless = r.process == JPG_PROCESS_LOSSLESS;
  for (int32_t scale = r.lossless ? 3 : 0; scale < kScales; scale++) {
    if (r.lossless) {
      jpgReadGetImageSize(reader.handle(), &r.width[scale], &r.height[scale]);
    } else {
      jpgReadScaleOutputGetImageSize(reader.handle(), &r.width[scale], &r.height[scale], scale);
    }
    r.pixels[scale] = readWhole(r, scale, &r.result[scale]);
    EXPECT_TRUE(r.result[scale] == JPG_OK || r.result[scale] == JPG_E_DAMAGED);
  }
  return r;
}

// What a byte in the middle of the coded data becomes.
Bytes damaged(Bytes stream, Random &random) {
  for (int i = 0; i < 3; i++) {
    const auto at = static_cast<size_t>(random.between(static_cast<int32_t>(stream.size() / 2),
                                                       static_cast<int32_t>(stream.size()) - 1));
    stream[at] = static_cast<uint8_t>(random.between(0, 255));
  }
  return stream;
}

std::vector<Reference> makeReferences() {
  std::vector<Reference> all;
  Random random(77);
  for (const uint32_t flags : {JPG_READ_LENIENT, JPG_READ_LENIENT | JPG_READ_SMOOTH}) {
    for (const uint16_t interval : Words{0, 5, 10, 3}) {
      Picture p = makePicture(75, 59, {0x22, 0x11, 0x11}, Fill::kSmooth, interval + 1U);
      p.restartInterval = interval;
      const uint32_t rows = interval % 5 == 0 ? interval / 5U : 0;
      const std::string name = "interval " + std::to_string(interval);
      const Bytes streams[] = {encode(p), encodeInScans(p, {{2}, {0, 1}}),
                               encodeProgressive(p, partedScript(3))};
      for (const Bytes &stream : streams) {
        all.push_back(makeReference(name, stream, flags, 16, rows));
        all.push_back(makeReference(name + ", damaged", damaged(stream, random), flags, 16, rows));
      }
    }
  }
  SpatialJob job;
  job.components = 3;
  all.push_back(makeReference("lossless", modelSpatial(job), JPG_READ_LENIENT, 1, 0));
  return all;
}

class Machine {
 public:
  explicit Machine(const Reference &reference)
      : r_(reference), reader_(Reader::ofMemory(reference.stream, reference.flags)) {}

  void step(Random &random) {
    switch (random.between(0, 7)) {
      case 0:
        return walk(random.between(0, 9));
      case 1:
        return seek(random.between(0, 5), random.between(0, 1));
      case 2:
        return r_.lossless ? read(random.between(-1, 9), 3) : grow(random.between(-1, 30));
      default:
        return read(random.between(-2, 40), random.oneIn(6) ? random.between(0, 3) : scale_);
    }
  }

 private:
  void walk(int32_t steps) {
    uint16_t marker = 0;
    uint32_t length = 0;
    for (int32_t i = 0; i < steps; i++) {
      jpgReadSeekMarkerSegment(reader_.handle(), i == 0 ? 0 : 1, &marker, &length);
      uint8_t data[3];
      jpgReadReadMarkerData(reader_.handle(), data, sizeof data, nullptr);
    }
    const uint32_t told =
        jpgReadSeekMarkerSegment(reader_.handle(), JPG_SEGMENT_DAMAGE, &marker, &length);
    EXPECT_RESULT(damaged_ ? JPG_OK : JPG_NO_DATA, told);
  }

  void seek(int32_t intervals, int32_t mode) {
    if (r_.lossless) return;
    const uint32_t r =
        jpgReadSeekRestartMarker(reader_.handle(), intervals, static_cast<uint32_t>(mode));
    if (r_.intervalRows == 0) {
      EXPECT_TRUE(r == JPG_NO_DATA || r == JPG_E_UNSUPPORTED);
      return;
    }
    const uint32_t rowsOfMcu = r_.mcuHeight >> (3 - scale_);
    uint32_t row = row_ / rowsOfMcu;
    row = mode == 1 ? row - row % r_.intervalRows : 0;
    row += static_cast<uint32_t>(intervals) * r_.intervalRows;
    const bool there = row * r_.mcuHeight < r_.height[3];
    EXPECT_RESULT(there ? JPG_OK : JPG_NO_DATA, r);
    if (there) row_ = row * rowsOfMcu;
  }

  void expectRows(const Bytes &got, uint32_t from, uint32_t rows, const Bytes &whole) {
    const size_t bytes = size_t{3} * r_.width[scale_];
    const auto begin = whole.begin() + static_cast<ptrdiff_t>(from * bytes);
    EXPECT_TRUE(std::equal(begin, begin + static_cast<ptrdiff_t>(rows * bytes), got.begin()));
    const auto rest = got.begin() + static_cast<ptrdiff_t>(rows * bytes);
    EXPECT_TRUE(std::all_of(rest, got.end(), [](uint8_t b) { return b == 0xA5; }));
  }

  void expectCode(uint32_t r) {
    if (r == JPG_E_DAMAGED) damaged_ = true;
    EXPECT_RESULT(damaged_ ? JPG_E_DAMAGED : JPG_OK, r);
    EXPECT_TRUE(!damaged_ || r_.result[scale_] == JPG_E_DAMAGED);
  }

  void read(int32_t lines, int32_t scale) {
    if (r_.lossless) scale = 3;
    if (scale != scale_ && begun_) row_ = 0;
    if (scale != scale_ && !begun_)
      row_ = row_ / (r_.mcuHeight >> (3 - scale_)) * (r_.mcuHeight >> (3 - scale));
    scale_ = scale;
    begun_ = true;
    Bytes pixels(size_t{3} * r_.width[scale] * 48, 0xA5);
    JpgRect rect = {};
    rect.width = static_cast<int32_t>(r_.width[scale]);
    rect.stride = 3 * rect.width;
    rect.bitsPerPixel = 24;
    rect.bits = pixels.data();
    const uint32_t r = scale == 3 ? jpgReadToRect(reader_.handle(), &rect, lines)
                                  : jpgReadScaleOutputToRect(reader_.handle(), &rect, lines, scale);
    if (row_ >= r_.height[scale]) {
      EXPECT_RESULT(scale == 3 ? JPG_E_FAIL : JPG_E_INVALID_PARAMETER, r);
      return;
    }
    const uint32_t wanted = lines < 0 ? 0 : static_cast<uint32_t>(lines);
    const uint32_t rows = std::min(wanted, r_.height[scale] - row_);
    expectCode(r);
    expectRows(pixels, row_, rows, r_.pixels[scale]);
    row_ += rows;
  }

  // All scans, by the progressive decoder's call.
  void grow(int32_t lines) {
    if (r_.process != JPG_PROCESS_PROGRESSIVE) return;
    if (scale_ != 3 && begun_) row_ = 0;
    if (!begun_) row_ = row_ / (r_.mcuHeight >> (3 - scale_)) * r_.mcuHeight;
    scale_ = 3;
    begun_ = true;
    Bytes pixels(size_t{3} * r_.width[3] * 48, 0xA5);
    JpgRect rect = {};
    rect.width = static_cast<int32_t>(r_.width[3]);
    rect.stride = 3 * rect.width;
    rect.bits = pixels.data();
    const uint32_t r = jpgReadProgressiveToRect(reader_.handle(), &rect, lines, 0);
    if (row_ >= r_.height[3]) {
      EXPECT_RESULT(JPG_E_FAIL, r);
      return;
    }
    const uint32_t wanted = lines < 0 ? 0 : static_cast<uint32_t>(lines);
    const uint32_t rows = std::min(wanted, r_.height[3] - row_);
    expectCode(r);
    expectRows(pixels, row_, rows, r_.pixels[3]);
    row_ += rows;
  }

  const Reference &r_;
  Reader reader_;
  int32_t scale_ = 3;
  uint32_t row_ = 0;
  bool begun_ = false, damaged_ = false;
};

TEST(LenientState, CallsInAnyOrderGiveTheRowsOfTheWholePicture) {
  const std::vector<Reference> references = makeReferences();
  Random random(5);
  const int rounds = std::getenv("JPG_TEST_LENGTH") != nullptr ? 20000 : 1500;
  for (int round = 0; round < rounds && !HasFailure(); round++) {
    const size_t choice =
        static_cast<size_t>(random.between(0, static_cast<int32_t>(references.size()) - 1));
    SCOPED_TRACE(references[choice].name + ", stream " + std::to_string(choice) + ", round " +
                 std::to_string(round));
    Machine machine(references[choice]);
    for (int i = random.between(1, 25); i > 0; i--) machine.step(random);
  }
}

}  // namespace
}  // namespace jpgtest
