// SPDX-License-Identifier: MIT
// The search for EOI, beside a plain search pair by pair.
#include "read/jpgRFindEoi.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "faulty.h"
#include "share/jpgShare.h"

namespace {

using namespace jpg;

class EoiSearch : public testing::Test {
 protected:
  void SetUp() override {
    faulty::reset();
    name_ = testing::TempDir() + "jpg_eoi_" + std::to_string(getpid());
  }
  void TearDown() override { std::remove(name_.c_str()); }

  void makeFile(const std::vector<uint8_t> &data) const {
    std::FILE *file = std::fopen(name_.c_str(), "wb");
    std::fwrite(data.data(), 1, data.size(), file);
    std::fclose(file);
  }

  // Searches in a stream whose buffer has guard bytes behind it.
  bool search(uint32_t start, uint32_t end) const {
    constexpr size_t kBehind = offsetof(JpgStream, inputBuffer) + kStreamBuffer;
    std::vector<JpgStream> streams(2);
    JpgStream *s = streams.data();
    auto *bytes = reinterpret_cast<uint8_t *>(s);
    std::fill(bytes + kBehind, bytes + 2 * sizeof(JpgStream), uint8_t{0xEE});
    for (size_t i = 0; i <= name_.size(); i++) s->fileName[i] = static_cast<JpgWChar>(name_[i]);
    s->startOffset = start;
    EXPECT_EQ(streamOpenRead(s), JPG_OK);
    if (end != 0) s->endOffset = end;
    const bool found = fileHasEoi(s);
    streamClose(s);
    EXPECT_EQ(std::count(bytes + kBehind, bytes + 2 * sizeof(JpgStream), 0xEE),
              static_cast<ptrdiff_t>(2 * sizeof(JpgStream) - kBehind));
    return found;
  }

  // Pairs at p = end - 2 down to start + 1, each read at start + p.
  static bool plainSearch(const std::vector<uint8_t> &data, int64_t start, int64_t end) {
    if (end == 0) end = static_cast<int64_t>(data.size());
    for (int64_t p = end - 2; p >= start + 1; p--) {
      const auto at = static_cast<size_t>(start + p);
      if (at + 1 < data.size() && data[at] == 0xFF && data[at + 1] == 0xD9) return true;
    }
    return false;
  }

  std::string name_;
};

TEST_F(EoiSearch, FindsAPairAtEveryPlaceRoundTheBlocksBoundaries) {
  constexpr size_t kSize = 9000;
  for (const size_t place :
       {0u, 1u, 2u, 800u, 809u, 810u, 811u, 4903u, 4904u, 4905u, 4906u, 8997u, 8998u, 8999u}) {
    std::vector<uint8_t> data(kSize, 0x11);
    data[place] = 0xFF;
    if (place + 1 < kSize) data[place + 1] = 0xD9;
    makeFile(data);
    EXPECT_EQ(search(0, 0), plainSearch(data, 0, 0)) << place;
  }
}

TEST_F(EoiSearch, AgreesWithThePlainSearchForOffsetsAndLengths) {
  std::vector<uint8_t> data(600, 0x22);
  for (const size_t place : {1u, 50u, 101u, 150u, 299u, 300u, 301u, 598u}) {
    std::fill(data.begin(), data.end(), uint8_t{0x22});
    data[place] = 0xFF;
    data[place + 1] = 0xD9;
    makeFile(data);
    for (const uint32_t start : {0u, 1u, 50u, 100u, 149u, 299u}) {
      for (const uint32_t length : {0u, 2u, 10u, 100u, 300u, 590u}) {
        const uint32_t end = length == 0 ? 0 : start + length;
        EXPECT_EQ(search(start, end), plainSearch(data, start, end))
            << "EOI at " << place << ", start " << start << ", length " << length;
      }
    }
  }
}

TEST_F(EoiSearch, GoesOnAfterAShortRead) {
  std::vector<uint8_t> data(5000, 0x33);
  data[4990] = 0xFF;
  data[4991] = 0xD9;
  makeFile(data);
  faulty::arm(faulty::Operation::kRead, faulty::Fault::kCutShort, 1);
  EXPECT_TRUE(search(0, 0));
}

TEST_F(EoiSearch, FindsAPairAtEveryPlaceOfFilesRoundWholeBlocks) {
  for (const size_t size : {2u, 3u, 4u, 4094u, 4095u, 4096u, 4097u, 8190u, 8191u, 8192u, 8193u}) {
    for (size_t place = 0; place + 1 < size; place++) {
      // Away from block boundaries, counted from either end, a sample is enough.
      const size_t back = (size - place) % 4095;
      const bool near = place < 8 || back < 8 || back > 4087 || place % 4096 > 4088;
      if (!near && place % 97 != 0) continue;
      std::vector<uint8_t> data(size, 0x44);
      data[place] = 0xFF;
      data[place + 1] = 0xD9;
      makeFile(data);
      // The pair at 0 is where SOI stands: the search ends at 1.
      ASSERT_EQ(search(0, 0), place >= 1) << "size " << size << ", EOI at " << place;
    }
  }
}

TEST_F(EoiSearch, IsNotTakenInByHalvesOfAPair) {
  // FF and D9 everywhere, but never in this order side by side.
  std::vector<uint8_t> data(9000, 0xD9);
  for (size_t i = 4500; i < data.size(); i++) data[i] = 0xFF;
  makeFile(data);
  EXPECT_FALSE(search(0, 0));
  // The other way round there is one pair, in the middle.
  std::reverse(data.begin(), data.end());
  makeFile(data);
  EXPECT_TRUE(search(0, 0));
}

TEST_F(EoiSearch, MeetsEveryShortRead) {
  std::vector<uint8_t> data(13000, 0x55);
  data[10] = 0xFF;
  data[11] = 0xD9;
  makeFile(data);
  faulty::reset();
  ASSERT_TRUE(search(0, 0));
  const uint32_t reads = faulty::calls(faulty::Operation::kRead);
  ASSERT_GE(reads, 4u);
  for (uint32_t n = 1; n <= reads; n++) {
    faulty::reset();
    faulty::arm(faulty::Operation::kRead, faulty::Fault::kCutShort, n);
    EXPECT_TRUE(search(0, 0)) << n;
    EXPECT_TRUE(faulty::faultHappened());
  }
}

TEST_F(EoiSearch, FindsNothingWhereTheSizeIsUnknown) {
  makeFile({0xFF, 0xD8, 0xFF, 0xD9});
  EXPECT_FALSE(search(0, 0xFFFFFFFF));
}

TEST_F(EoiSearch, InMemoryBeginsBehindTheFirstByte) {
  const std::vector<uint8_t> behind = {0xFF, 0xFF, 0xD9};
  const std::vector<uint8_t> first = {0xFF, 0xD9, 0x00};
  JpgStream s = {};
  s.base = behind.data();
  s.size = 3;
  EXPECT_TRUE(memoryHasEoi(&s));
  s.base = first.data();
  EXPECT_FALSE(memoryHasEoi(&s));
  s.size = 1;
  EXPECT_FALSE(memoryHasEoi(&s));
}

// A seek reaches 31 bits. With this start, which counts twice in what is read, there are 511 pairs
// up to the last place that it reaches; the file goes on for another 4096 bytes.
TEST_F(EoiSearch, BeginsAtTheLastPlaceThatASeekReaches) {
  constexpr uint32_t kStart = 0x3FFFFF00;
  constexpr int64_t kLastPlace = 0x7FFFFFFF;
  for (const int64_t place : {kLastPlace - 510, kLastPlace - 1, kLastPlace, kLastPlace + 1}) {
    std::ofstream file(name_, std::ios::binary);
    file.seekp(place);
    file.write("\xFF\xD9", 2);
    file.seekp(kLastPlace + 4096);
    file.put('\0');
    file.close();
    if (!file) GTEST_SKIP() << "no files of 2 GB here";
    EXPECT_EQ(search(kStart, 0), place <= kLastPlace) << place;
  }
}

}  // namespace
