// SPDX-License-Identifier: MIT
// Nothing is stored where the caller's memory has no room for what the file holds: the library
// trusts a rectangle, the C++ interface compares it with the file first.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "jpg.hpp"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using jpgtest::Bytes;

constexpr uint32_t kWidth = 37, kHeight = 35;
constexpr uint8_t kCanary = 0xA5;

jpg::Reader open(const Bytes &stream) {
  jpg::Result<jpg::Reader> reader = jpg::Reader::memory(stream, jpg::kStrict);
  EXPECT_RESULT(JPG_OK, reader.code());
  return std::move(*reader);
}

Bytes sequentialOf(size_t components) {
  return encode(jpgtest::makePicture(kWidth, kHeight, std::vector<uint8_t>(components, 0x11)));
}

Bytes progressiveOf(size_t components) {
  jpgtest::Picture picture =
      jpgtest::makePicture(kWidth, kHeight, std::vector<uint8_t>(components, 0x11));
  picture.sof = jpgtest::kSof2;
  return encodeProgressive(picture, jpgtest::spectralScript(components));
}

Bytes losslessOf(uint32_t components, uint32_t bits) {
  auto picture = jpg::Picture::make({kWidth, kHeight, components, bits});
  jpgtest::Random random(3);
  for (uint8_t &sample : picture->samples()) sample = static_cast<uint8_t>(random.between(0, 3));
  auto writer = jpg::MemoryWriter::create();
  EXPECT_RESULT(JPG_OK, writer->encodeLossless(*picture).code());
  const auto stream = writer->finish();
  return {stream->data(), stream->data() + stream->size()};
}

// A stream and what a pixel of it takes.
struct File {
  const char *name;
  Bytes stream;
  uint32_t channels, bits;
};

std::vector<File> files() {
  std::vector<File> all;
  all.push_back({"sequential, grey", sequentialOf(1), 1, 8});
  all.push_back({"sequential, two components", sequentialOf(2), 1, 8});
  all.push_back({"sequential, colour", sequentialOf(3), 3, 8});
  all.push_back({"sequential, four components", sequentialOf(4), 3, 8});
  all.push_back({"progressive, grey", progressiveOf(1), 1, 8});
  all.push_back({"progressive, colour", progressiveOf(3), 3, 8});
  all.push_back({"lossless, grey", losslessOf(1, 8), 1, 8});
  all.push_back({"lossless, 16 bits", losslessOf(1, 16), 1, 16});
  all.push_back({"lossless, four components of 12 bits", losslessOf(4, 12), 4, 12});
  return all;
}

// Memory whose owner only has a part of it: an overrun shows and does no harm.
class Memory {
 public:
  Memory() : bytes_(size_t{4} * kHeight * kWidth * 8, kCanary) {}
  // The first `size` bytes behind as many as a picture can take.
  jpg::Span<uint8_t> part(size_t size) { return {bytes_.data() + kBefore, size}; }
  // Whether all but the first `size` bytes of the part are as they were.
  bool untouchedBut(size_t size) const {
    const auto isCanary = [](uint8_t byte) { return byte == kCanary; };
    const auto begin = bytes_.begin() + kBefore;
    return std::all_of(bytes_.begin(), begin, isCanary) &&
           std::all_of(begin + static_cast<ptrdiff_t>(size), bytes_.end(), isCanary);
  }

 private:
  static constexpr ptrdiff_t kBefore = ptrdiff_t{kHeight} * kWidth * 8;
  Bytes bytes_;
};

// The file into a rectangle for pictures of another kind, which tells the truth about its memory.
void expectRefused(const File &file, const jpg::Layout &layout, int32_t lines) {
  Memory memory;
  const size_t size = static_cast<size_t>(layout.bytes());
  const auto rect = jpg::rectOver(memory.part(size), layout);
  ASSERT_TRUE(rect.ok());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, open(file.stream).read(*rect, lines).code());
  EXPECT_TRUE(memory.untouchedBut(0));
}

TEST(Room, ARectangleOfOtherChannelsOrSamplesIsRefused) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    for (const uint32_t channels : {1U, 2U, 3U, 4U}) {
      for (const uint32_t bits : {8U, 16U}) {
        const jpg::Layout layout = {kWidth, kHeight, channels, bits};
        if (channels == file.channels && (bits > 8) == (file.bits > 8)) continue;
        expectRefused(file, layout, kHeight);
      }
    }
  }
}

TEST(Room, ARectangleOfTooFewBytesIsRefused) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    const jpg::Layout exact = {kWidth, kHeight, file.channels, file.bits};
    expectRefused(file, {kWidth, kHeight - 1, file.channels, file.bits}, kHeight);
    expectRefused(file, {kWidth, 16, file.channels, file.bits}, 32);
    Memory memory;
    const size_t size = static_cast<size_t>(exact.bytes());
    JpgRect rect = *jpg::rectOver(memory.part(size), exact);
    rect.size--;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, open(file.stream).read(rect, kHeight).code());
    rect.size = 0;  // not told
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, open(file.stream).read(rect, 1).code());
    EXPECT_TRUE(memory.untouchedBut(0));
  }
}

TEST(Room, ARectangleThatJustFitsIsFilledAndNoMore) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    const jpg::Layout exact = {kWidth, kHeight, file.channels, file.bits};
    const size_t size = static_cast<size_t>(exact.bytes());
    const auto expected = open(file.stream).decode();
    for (const int32_t lines : {int32_t{kHeight}, 65535}) {
      Memory memory;
      const auto rect = jpg::rectOver(memory.part(size), exact);
      EXPECT_RESULT(JPG_OK, open(file.stream).read(*rect, lines).code());
      EXPECT_TRUE(memory.untouchedBut(size));
      EXPECT_TRUE(std::equal(expected->samples().begin(), expected->samples().end(),
                             memory.part(size).begin()));
    }
  }
}

TEST(Room, RowsMayLieUpwards) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    const jpg::Layout exact = {kWidth, kHeight, file.channels, file.bits};
    const size_t size = static_cast<size_t>(exact.bytes());
    Memory memory;
    JpgRect rect = *jpg::rectOver(memory.part(size), exact);
    rect.bits = static_cast<uint8_t *>(rect.bits) + ptrdiff_t{rect.stride} * (kHeight - 1);
    rect.stride = -rect.stride;
    EXPECT_RESULT(JPG_OK, open(file.stream).read(rect, kHeight).code());
    EXPECT_TRUE(memory.untouchedBut(size));
    rect.size--;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, open(file.stream).read(rect, kHeight).code());
  }
}

TEST(Room, RowsThatLieInEachOtherAreRefused) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    Memory memory;
    const jpg::Layout exact = {kWidth, kHeight, file.channels, file.bits};
    JpgRect rect = *jpg::rectOver(memory.part(static_cast<size_t>(exact.bytes())), exact);
    rect.stride--;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, open(file.stream).read(rect, kHeight).code());
    EXPECT_TRUE(memory.untouchedBut(0));
  }
}

TEST(Room, ANarrowRectangleServesAllButLosslessFiles) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    const jpg::Layout narrow = {kWidth - 5, kHeight, file.channels, file.bits};
    const size_t size = static_cast<size_t>(narrow.bytes());
    Memory memory;
    const auto rect = jpg::rectOver(memory.part(size), narrow);
    jpg::Reader reader = open(file.stream);
    const bool lossless = reader.info()->lossless();
    EXPECT_RESULT(lossless ? JPG_E_INVALID_PARAMETER : JPG_OK, reader.read(*rect, kHeight).code());
    EXPECT_TRUE(memory.untouchedBut(lossless ? 0 : size));
  }
}

TEST(Room, PartOfALosslessFileTakesOneRowMore) {
  const Bytes stream = losslessOf(3, 8);
  jpg::Reader reader = open(stream);
  const auto whole = open(stream).decode();
  Memory memory;
  const jpg::Layout ten = {kWidth, 10, 3, 8}, eleven = {kWidth, 11, 3, 8};
  const auto tight = jpg::rectOver(memory.part(static_cast<size_t>(ten.bytes())), ten);
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.read(*tight, 10).code());
  EXPECT_TRUE(memory.untouchedBut(0));
  JpgRect roomy = *jpg::rectOver(memory.part(static_cast<size_t>(eleven.bytes())), eleven);
  EXPECT_RESULT(JPG_OK, reader.read(roomy, 10).code());
  const size_t rows = static_cast<size_t>(ten.bytes());
  EXPECT_TRUE(memory.untouchedBut(rows));
  EXPECT_TRUE(
      std::equal(memory.part(rows).begin(), memory.part(rows).end(), whole->samples().begin()));
  // Keeping a row takes that row.
  roomy.size = whole->layout().rowBytes() - 1;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.read(roomy, 0).code());
  roomy.size++;
  EXPECT_RESULT(JPG_OK, reader.read(roomy, 0).code());
}

TEST(Room, APictureOfAnotherKindIsRefused) {
  for (const File &file : files()) {
    SCOPED_TRACE(file.name);
    const jpg::Layout exact = {kWidth, kHeight, file.channels, file.bits};
    std::vector<jpg::Layout> others(5, exact);
    others[0].width--;
    others[1].height--;
    others[2].channels = file.channels == 1 ? 3 : 1;
    others[3].bitsPerSample = file.bits > 8 ? 8 : 16;
    others[4].width++;
    for (const jpg::Layout &layout : others) {
      auto picture = jpg::Picture::make(layout);
      ASSERT_TRUE(picture.ok());
      jpg::Reader reader = open(file.stream);
      EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.decode(*picture).code());
      EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.nextScan(*picture).code());
      for (const uint8_t sample : picture->samples()) ASSERT_EQ(sample, 0);
    }
  }
}

TEST(Room, APictureMadeAheadOfKeepComponentsIsRefused) {
  for (const Bytes &stream : {sequentialOf(2), sequentialOf(4), progressiveOf(4)}) {
    jpg::Reader reader = open(stream);
    auto early = reader.blank();
    ASSERT_RESULT(JPG_OK, reader.keepComponents().code());
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.decode(*early).code());
    auto late = reader.blank();
    EXPECT_RESULT(JPG_OK, reader.decode(*late).code());
  }
}

TEST(Room, BandsEndWhenTheReaderHoldsAnotherImage) {
  for (const jpg::Scale scale : {jpg::Scale::kFull, jpg::Scale::kHalf}) {
    const Bytes grey = sequentialOf(1), colour = sequentialOf(3);
    jpg::Reader reader = open(grey);
    auto bands = reader.bands(16, scale);
    EXPECT_RESULT(JPG_OK, bands->next().code());
    reader = open(colour);
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, bands->next().code());
    reader = jpg::Reader();
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, bands->next().code());
  }
}

// The encoders read rows as the first call describes them: of what lies behind smaller ones, the
// stream would tell.
TEST(Room, LaterRowsOfAPictureAreLikeTheFirst) {
  const jpg::Layout first = {kWidth, 16, 3, 8};
  const jpg::Layout others[] = {{kWidth, 16, 1, 8}, {kWidth - 1, 16, 3, 8}, {kWidth, 16, 4, 8}};
  for (const bool lossless : {false, true}) {
    jpg::MemoryWriter writer = std::move(*jpg::MemoryWriter::create());
    const auto encode = [&](const jpg::Layout &layout) {
      const auto picture = jpg::Picture::make(layout);
      const jpg::Status whole =
          lossless ? writer.encodeLossless(*picture) : writer.encode(*picture);
      if (whole.ok()) return whole;
      const JpgRect rect = *picture->rect();
      EXPECT_RESULT(whole.code(),
                    (lossless ? writer.encodeLossless(rect, 16) : writer.encode(rect, 16)).code());
      return whole;
    };
    EXPECT_RESULT(JPG_E_UNSUPPORTED, encode({kWidth, 16, 5, 8}).code());  // may be repeated
    EXPECT_RESULT(JPG_OK, encode(first).code());
    jpg::MemoryWriter moved = std::move(writer);
    writer = std::move(moved);
    for (const jpg::Layout &layout : others) {
      EXPECT_RESULT(JPG_E_INVALID_PARAMETER, encode(layout).code());
    }
    EXPECT_RESULT(JPG_OK, encode(first).code());
    EXPECT_RESULT(JPG_OK, writer.finish().code());
    writer = std::move(*jpg::MemoryWriter::create());  // another picture
    EXPECT_RESULT(JPG_OK, encode(others[0]).code());
  }
}

TEST(Room, SamplesOfWordsFollowSamplesOfWords) {
  const auto words = jpg::Picture::make({kWidth, 4, 1, 12}),
             bytes = jpg::Picture::make({kWidth, 4, 1, 8});
  jpg::MemoryWriter writer = std::move(*jpg::MemoryWriter::create());
  EXPECT_RESULT(JPG_OK, writer.encodeLossless(*words).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, writer.encodeLossless(*bytes).code());
  EXPECT_RESULT(JPG_OK, writer.encodeLossless(*words).code());
}

TEST(Room, SizesBeyondTheRectanglesNumbersAreRefused) {
  // Products that come to 4 and 8 modulo 2^32, and a height that int32_t doesn't hold.
  const jpg::Layout layouts[] = {
      {0x40000001, 1, 4, 8}, {0x40000001, 1, 4, 16}, {0x80000000, 1, 1, 8}, {1, 0x80000000, 1, 8}};
  uint8_t memory[64];
  for (const jpg::Layout &layout : layouts) {
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpg::Picture::make(layout).code());
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpg::rectOver(memory, layout).code());
  }
}

}  // namespace
