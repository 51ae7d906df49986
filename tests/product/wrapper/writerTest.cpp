// SPDX-License-Identifier: MIT
// Writing through the C++ interface.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "jpg.hpp"
#include "platform/folder.h"
#include "support/bytes.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using jpgtest::Bytes;
using jpgtest::operator+;

jpg::Picture noise(const jpg::Layout &layout, uint32_t seed) {
  auto picture = jpg::Picture::make(layout);
  EXPECT_TRUE(picture.ok());
  jpgtest::Random random(seed);
  const int32_t top = (1 << layout.bitsPerSample) - 1;
  for (uint32_t y = 0; y < layout.height; y++) {
    if (layout.sampleBytes() == 2) {
      for (uint16_t &v : picture->row16(y)) v = static_cast<uint16_t>(random.between(0, top));
    } else {
      for (uint8_t &v : picture->row(y)) v = static_cast<uint8_t>(random.between(0, top));
    }
  }
  return std::move(*picture);
}

Bytes bytesOf(jpg::Span<const uint8_t> span) { return {span.begin(), span.end()}; }

jpg::MemoryWriter writer(uint32_t flags = 0) {
  auto made = jpg::MemoryWriter::create(flags);
  EXPECT_RESULT(JPG_OK, made.code());
  return std::move(*made);
}

Bytes finished(jpg::MemoryWriter w) {
  const auto bytes = w.finish();
  EXPECT_RESULT(JPG_OK, bytes.code());
  return bytesOf(*bytes);
}

// Where a segment's marker stands.
size_t find(const Bytes &stream, uint8_t marker) {
  const uint8_t bytes[] = {0xFF, marker};
  const auto at = std::search(stream.begin(), stream.end(), bytes, bytes + 2);
  return static_cast<size_t>(at - stream.begin());
}

// The marker of the first frame header.
uint8_t frameOf(const Bytes &stream) {
  for (const uint8_t marker : {uint8_t{0xC0}, uint8_t{0xC2}, uint8_t{0xC3}}) {
    if (find(stream, marker) < stream.size()) return marker;
  }
  return 0;
}

TEST(Writer, TakesTheOptionsOfTheLibrary) {
  using jpg::WriteOptions;
  const jpg::Picture source = noise({40, 30, 3, 8}, 9);
  const struct {
    WriteOptions options;
    uint32_t flags;
    uint8_t frame;
  } kCases[] = {
      {WriteOptions::kNone, 0, 0xC0},
      {WriteOptions::kAverage, JPG_WRITE_AVERAGE, 0xC0},
      {WriteOptions::kAverage | WriteOptions::kOptimize, JPG_WRITE_AVERAGE | JPG_WRITE_OPTIMIZE,
       0xC0},
      {WriteOptions::kSmallest, JPG_WRITE_AVERAGE | JPG_WRITE_PROGRESSIVE, 0xC2},
  };
  const Folder folder;
  for (const auto &c : kCases) {
    auto byOptions = jpg::MemoryWriter::create(c.options);
    ASSERT_RESULT(JPG_OK, byOptions.code());
    EXPECT_RESULT(JPG_OK, byOptions->encode(source).code());
    const Bytes stream = finished(std::move(*byOptions));
    EXPECT_EQ(frameOf(stream), c.frame);
    jpg::MemoryWriter byFlags = writer(c.flags);
    EXPECT_RESULT(JPG_OK, byFlags.encode(source).code());
    EXPECT_TRUE(finished(std::move(byFlags)) == stream);
    const std::string path = folder.file("options.jpg");
    auto file = jpg::FileWriter::create(path.c_str(), c.options);
    ASSERT_RESULT(JPG_OK, file.code());
    EXPECT_RESULT(JPG_OK, file->encode(source).code());
    EXPECT_RESULT(JPG_OK, file->finish().code());
    EXPECT_EQ(std::filesystem::file_size(path), stream.size());
  }
}

TEST(Writer, LosslessSamplesComeBack) {
  for (uint32_t bits = 2; bits <= 16; bits++) {
    for (uint32_t channels = 1; channels <= 4; channels++) {
      const jpg::Picture source = noise({13, 37, channels, bits}, bits);
      jpg::MemoryWriter w = writer();
      EXPECT_RESULT(JPG_OK, w.setPredictor(static_cast<int32_t>(bits % 7 + 1)).code());
      ASSERT_RESULT(JPG_OK, w.encodeLossless(source).code());
      const Bytes stream = finished(std::move(w));
      auto reader = jpg::Reader::memory(stream, jpg::kStrict);
      ASSERT_RESULT(JPG_OK, reader.code());
      EXPECT_TRUE(reader->info()->lossless());
      const auto picture = reader->decode();
      ASSERT_RESULT(JPG_OK, picture.code());
      EXPECT_EQ(picture->layout().bitsPerSample, bits);
      EXPECT_EQ(bytesOf(picture->samples()), bytesOf(source.samples()));

      auto again = jpg::Reader::memory(stream, jpg::kStrict);
      auto bands = again->bands(16);
      Bytes rows;
      for (auto band = bands->next(); band.ok(); band = bands->next()) {
        rows = rows + bytesOf(band->pixels);
      }
      EXPECT_EQ(rows, bytesOf(source.samples()));
    }
  }
}

TEST(Writer, FileAndMemoryGetTheSameStream) {
  const Folder folder;
  const jpg::Picture source = noise({21, 33, 3, 8}, 1);
  jpg::MemoryWriter memory = writer();
  ASSERT_RESULT(JPG_OK, memory.encode(source).code());
  const Bytes stream = finished(std::move(memory));

  const std::string name = folder.file("p\xC3\xA9lican.jpg");
  auto file = jpg::FileWriter::create(name.c_str());
  ASSERT_RESULT(JPG_OK, file.code());
  ASSERT_RESULT(JPG_OK, file->encode(source).code());
  EXPECT_RESULT(JPG_OK, file->finish().code());
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, file->finish().code());
  const std::string content = folder.read("p\xC3\xA9lican.jpg");
  EXPECT_EQ(Bytes(content.begin(), content.end()), stream);
}

TEST(Writer, AFileIsCompletedByTheDestructor) {
  const Folder folder;
  {
    auto file = jpg::FileWriter::create(folder.file("a.jpg").c_str());
    ASSERT_RESULT(JPG_OK, file->encode(noise({8, 8, 1, 8}, 1)).code());
  }
  const std::string content = folder.read("a.jpg");
  ASSERT_GE(content.size(), 4U);
  EXPECT_EQ(content.substr(content.size() - 2), "\xFF\xD9");
}

TEST(Writer, BandsMakeTheStreamOfTheWhole) {
  const jpg::Picture source = noise({30, 48, 3, 8}, 7);
  jpg::MemoryWriter whole = writer(), banded = writer();
  ASSERT_RESULT(JPG_OK, whole.encode(source).code());
  for (uint32_t y = 0; y < 48; y += 16) {
    JpgRect rect = *source.rect();
    rect.bits = source.row(y).data();
    ASSERT_RESULT(JPG_OK, banded.encode(rect, 16).code());
  }
  EXPECT_EQ(finished(std::move(banded)), finished(std::move(whole)));
}

TEST(Writer, WritesAJfifSegment) {
  jpg::MemoryWriter w = writer();
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.jfif(jpg::DensityUnit::kPerInch, 0, 1).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.jfif(jpg::DensityUnit::kPerInch, 1, 0).code());
  ASSERT_RESULT(JPG_OK, w.jfif(jpg::DensityUnit::kPerCentimetre, 0x0102, 300).code());
  ASSERT_RESULT(JPG_OK, w.encode(noise({8, 8, 1, 8}, 1)).code());
  const Bytes stream = finished(std::move(w));
  // ITU-T T.871 10.1: length, identifier, version 1.2, unit, densities, no thumbnail.
  const Bytes expected = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F',
                          0,    1,    2,    2,    1, 2,  1,   44,  0,   0};
  ASSERT_GT(stream.size(), expected.size());
  EXPECT_EQ(Bytes(stream.begin(), stream.begin() + 20), expected);
}

TEST(Writer, SettingsReachTheHeaders) {
  const std::pair<jpg::Sampling, uint8_t> samplings[] = {{jpg::Sampling::k444, 0x11},
                                                         {jpg::Sampling::k422, 0x21},
                                                         {jpg::Sampling::k440, 0x12},
                                                         {jpg::Sampling::k420, 0x22}};
  for (const auto &[sampling, factors] : samplings) {
    jpg::MemoryWriter w = writer();
    EXPECT_RESULT(JPG_OK, w.setSampling(sampling).code());
    EXPECT_RESULT(JPG_OK, w.setSize(16, 300).code());
    EXPECT_RESULT(JPG_OK, w.setRestartInterval(5).code());
    EXPECT_RESULT(JPG_OK, w.setQuality(50).code());
    ASSERT_RESULT(JPG_OK, w.encode(noise({16, 16, 3, 8}, 1)).code());
    const Bytes stream = finished(std::move(w));
    const size_t frame = find(stream, 0xC0), dri = find(stream, 0xDD), dqt = find(stream, 0xDB);
    ASSERT_LT(frame + 11, stream.size());
    EXPECT_EQ(stream[frame + 5] << 8 | stream[frame + 6], 300);
    EXPECT_EQ(stream[frame + 11], factors);
    ASSERT_LT(dri + 5, stream.size());
    EXPECT_EQ(stream[dri + 5], 5);
    EXPECT_EQ(stream[dqt + 5], 16);  // T.81 table K.1 as it is
  }
}

TEST(Writer, RefusesWhatIsOutOfRange) {
  jpg::MemoryWriter w = writer();
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.setQuality(0).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.setPredictor(8).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.setComponents(5).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.setSize(0, 1).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, w.segment(0xFFE5, Bytes(65534)).code());
  EXPECT_RESULT(JPG_OK, w.segment(0xFFE5, Bytes(65533)).code());
  EXPECT_RESULT(JPG_E_INVALID_FUNCTION, w.piece().code());
}

TEST(Writer, RgbKeepsItsComponents) {
  jpg::MemoryWriter w = writer();
  ASSERT_RESULT(JPG_OK, w.keepComponents().code());
  ASSERT_RESULT(JPG_OK, w.encode(noise({8, 8, 3, 8}, 1)).code());
  const Bytes stream = finished(std::move(w));
  const size_t frame = find(stream, 0xC0);
  ASSERT_LT(frame + 16, stream.size());
  EXPECT_EQ(stream[frame + 10], 'R');
  EXPECT_EQ(stream[frame + 13], 'G');
  EXPECT_EQ(stream[frame + 16], 'B');
}

TEST(Writer, PiecesMakeThePictureAgain) {
  const jpg::Picture source = noise({16, 32, 1, 8}, 3);
  jpg::MemoryWriter w = writer(JPG_WRITE_PARTIAL_BITSTREAM);
  JpgRect rect = *source.rect();
  ASSERT_RESULT(JPG_OK, w.setSize(16, 32).code());
  ASSERT_RESULT(JPG_OK, w.encode(rect, 16).code());
  const auto first = w.piece();
  ASSERT_RESULT(JPG_OK, first.code());
  rect.bits = source.row(16).data();
  ASSERT_RESULT(JPG_OK, w.encode(rect, 16).code());
  const auto second = w.finish();
  ASSERT_RESULT(JPG_OK, second.code());

  jpg::MemoryWriter whole = writer();
  ASSERT_RESULT(JPG_OK, whole.encode(source).code());
  const Bytes stream = finished(std::move(whole));
  const auto expected = jpg::Reader::memory(stream, jpg::kStrict)->decode();

  auto reader = jpg::Reader::memory(*first, JPG_READ_PARTIAL_BITSTREAM);
  ASSERT_RESULT(JPG_OK, reader.code());
  auto picture = jpg::Picture::make({16, 32, 1, 8});
  rect = *picture->rect();
  ASSERT_RESULT(JPG_OK, reader->read(rect, 16).code());
  ASSERT_RESULT(JPG_OK, reader->setPiece(*second).code());
  rect.bits = picture->row(16).data();
  ASSERT_RESULT(JPG_OK, reader->read(rect, 16).code());
  EXPECT_EQ(bytesOf(picture->samples()), bytesOf(expected->samples()));
}

TEST(Writer, EncodesABitmap) {
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = info.bmiHeader.biHeight = 8;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  const Bytes bits(8 * 24, 200);
  jpg::MemoryWriter w = writer();
  ASSERT_RESULT(JPG_OK, w.encode(info, bits.data(), 8).code());
  const Bytes stream = finished(std::move(w));
  const auto picture = jpg::Reader::memory(stream, jpg::kStrict)->decode();
  ASSERT_RESULT(JPG_OK, picture.code());
  for (const uint8_t v : picture->samples()) EXPECT_NEAR(v, 200, 2);
}

}  // namespace
