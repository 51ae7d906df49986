// SPDX-License-Identifier: MIT
// Lossless streams with damaged data: the reader does what a slow model of it does, down to
// the last sample and the code, and so it does with streams of other makers that are meant to
// hurt.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "model/losslessSource.h"
#include "read/spatialOutcome.h"
#include "support/random.h"

namespace {

using namespace jpgtest;
namespace fs = std::filesystem;

size_t dataOffset(const Bytes &stream) {
  const uint8_t sos[] = {0xFF, 0xDA};
  const auto at = std::search(stream.begin(), stream.end(), std::begin(sos), std::end(sos));
  const auto offset = static_cast<size_t>(at - stream.begin());
  return offset + 2 + stream[offset + 3];
}

// Changes 1 to 3 places of the entropy-coded data: a bit, a byte, a cut, a marker.
Bytes damaged(Bytes stream, size_t from, Random *random) {
  const uint32_t places = 1 + random->below(3);
  for (uint32_t i = 0; i < places && stream.size() > from + 4; i++) {
    const size_t at = from + random->below(static_cast<uint32_t>(stream.size() - from - 1));
    switch (random->below(5)) {
      case 0:
      case 1:
        stream[at] = static_cast<uint8_t>(stream[at] ^ 1U << random->below(8));
        break;
      case 2:
        stream[at] = static_cast<uint8_t>(random->below(256));
        break;
      case 3:
        stream[at] = 0xFF;
        stream[at + 1] = static_cast<uint8_t>(random->below(2) != 0 ? 0xD0 + random->below(8)
                                                                    : random->below(256));
        break;
      default:
        stream.resize(at);
    }
  }
  return stream;
}

SpatialJob randomJob(Random *random) {
  SpatialJob job;
  job.width = 1 + random->below(20);
  job.height = 1 + random->below(12);
  job.components = 1 + random->below(4);
  job.precision = 2 + random->below(15);
  job.predictor = 1 + random->below(7);
  job.restart = random->below(3) * job.width;
  job.kind = random->below(2) != 0 ? Kind::kNoise : Kind::kExtremes;
  return job;
}

TEST(LosslessDamage, IsReadAsTheModelReadsIt) {
  Random random(20);
  int failed = 0, delivered = 0;
  for (int i = 0; i < 6000; i++) {
    const SpatialJob job = randomJob(&random);
    const Bytes whole = modelSpatial(job);
    const Bytes stream = damaged(whole, dataOffset(whole), &random);
    const Outcome o = readAll(stream), model = modelAll(stream);
    ASSERT_EQ(o.opened, JPG_OK);
    ASSERT_EQ(o.result, model.result) << i << ": " << describe(job);
    ASSERT_TRUE(o.samples == model.samples) << i << ": " << describe(job);
    (o.result == JPG_OK ? delivered : failed)++;
  }
  std::printf("%d damaged streams: %d delivered, %d refused\n", failed + delivered, delivered,
              failed);
  EXPECT_GT(failed, 500);
  EXPECT_GT(delivered, 500);
}

// The picture row by row, one call each.
Outcome readByRows(const Bytes &stream) {
  Outcome o = readAll(stream);  // for the size
  JPGHANDLE h = nullptr;
  uint32_t width = 0, height = 0;
  EXPECT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()),
                                    JPG_READ_COMPLETE, &h),
            JPG_OK);
  EXPECT_EQ(jpgReadGetImageSize(h, &width, &height), JPG_OK);
  const size_t row = o.samples.size() / height;
  o.samples.assign(row * (height + 1), 0xEE);
  for (uint32_t y = 0; y < height && o.result == JPG_OK; y++) {
    JpgRect rect = {};
    rect.bits = o.samples.data() + y * row;
    o.result = jpgReadSpatialToRect(h, &rect, 1);
    if (y + 1 < height) {
      EXPECT_EQ(jpgReadSpatialToRect(h, &rect, 0), JPG_OK);  // predicts the next from this one
    }
  }
  o.samples.resize(row * height);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return o;
}

// FF FF 00: the first two are taken as data, and the zero isn't the second one's.
TEST(LosslessDamage, AnFfAheadOfAStuffedOneIsReadAlikeWhereverACallEnds) {
  const Bytes inserted = {0xFF, 0xFF, 0};
  int delivered = 0;
  for (unsigned precision = 2; precision <= 16; precision++) {
    SpatialJob job;
    job.width = 1 + precision % 3;
    job.height = 60;
    job.components = 1;
    job.precision = precision;
    job.kind = Kind::kNoise;
    const Bytes whole = modelSpatial(job);
    for (size_t at = dataOffset(whole); at + 3 < whole.size(); at++) {
      if (whole[at - 1] == 0xFF) continue;
      Bytes stream = whole;
      stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(at), inserted.begin(),
                    inserted.end());
      const Outcome o = readByRows(stream), model = modelAll(stream);
      EXPECT_EQ(o.result, model.result) << at << ": " << describe(job);
      if (o.result != JPG_OK) continue;
      EXPECT_TRUE(o.samples == model.samples) << at << ": " << describe(job);
      delivered++;
    }
  }
  EXPECT_GT(delivered, 50);
}

// A category above 16, in the table that stands behind SOI, ends the picture where its code is
// met, short as the code may be.
TEST(LosslessDamage, CategoriesThatAreNoneEndThePicture) {
  constexpr size_t kCategories = 23, kCount = 17;  // behind marker, length, class and counts
  for (const Kind kind : {Kind::kNoise, Kind::kSmooth}) {
    SpatialJob job;
    job.width = 40;
    job.height = 30;
    job.precision = 10;
    job.kind = kind;
    const Bytes whole = modelSpatial(job);
    for (size_t i = 0; i < kCount; i++) {
      for (const int more : {0x10, 0x20, 0x80}) {
        Bytes stream = whole;
        stream[kCategories + i] = static_cast<uint8_t>(i + static_cast<size_t>(more));
        const Outcome o = readAll(stream), model = modelAll(stream);
        EXPECT_EQ(o.result, model.result) << i << " + " << more;
        EXPECT_TRUE(o.samples == model.samples) << i << " + " << more;
      }
    }
  }
}

// What the prolog and the reader may answer by the header.
constexpr uint32_t kOpenCodes[] = {JPG_OK, JPG_E_NOT_JPEG, JPG_E_UNSUPPORTED,
                                   JPG_E_BAD_SEGMENT_LENGTH, JPG_E_OUT_OF_MEMORY};
constexpr uint32_t kReadCodes[] = {JPG_OK, JPG_E_FAIL, JPG_E_UNSUPPORTED, JPG_E_INVALID_PARAMETER,
                                   JPG_E_NOT_JPEG};

template <size_t kCount>
bool isOneOf(uint32_t code, const uint32_t (&codes)[kCount]) {
  return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

// Every value of every byte between SOI and the data: no crash, no word outside the buffer,
// and the handle closes (readAll looks at both).
TEST(LosslessDamage, OfHeadersGivesACodeAndAHandleThatCloses) {
  SpatialJob job;
  job.width = 5;
  job.height = 4;
  job.precision = 12;
  job.components = 2;
  job.restart = 5;
  const Bytes whole = modelSpatial(job);
  int opened = 0;
  for (size_t at = 2; at < dataOffset(whole); at++) {
    for (int value = 0; value < 256; value++) {
      Bytes stream = whole;
      stream[at] = static_cast<uint8_t>(value);
      const Outcome o = readAll(stream);
      if (o.opened == JPG_OK) opened++;
      EXPECT_TRUE(isOneOf(o.opened, kOpenCodes)) << at << ": " << value << ", " << o.opened;
      EXPECT_TRUE(isOneOf(o.result, kReadCodes)) << at << ": " << value << ", " << o.result;
    }
  }
  EXPECT_GT(opened, 10000);
}

// The samples stand in the file; in files of other makers, the model tells them.
TEST(LosslessDamage, HostileFilesAreReadAsTheModelReadsThem) {
  const char *given = std::getenv("JPG_CORPUS");
  const fs::path root = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / "hostile";
  if (!fs::is_directory(root)) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  int compared = 0;
  for (const auto &entry : fs::directory_iterator(root)) {
    if (entry.path().filename().string().rfind("ll_random", 0) != 0) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const Bytes stream((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const Outcome o = readAll(stream);
    if (o.opened != JPG_OK) continue;
    const Outcome model = modelAll(stream);
    EXPECT_EQ(o.result, model.result) << entry.path();
    EXPECT_TRUE(o.samples == model.samples) << entry.path();
    compared++;
  }
  std::printf("%d files compared\n", compared);
  EXPECT_GT(compared, 0);
}

}  // namespace
