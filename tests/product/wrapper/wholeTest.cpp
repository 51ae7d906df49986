// SPDX-License-Identifier: MIT
// Who owns what in the C++ interface: nothing stays alive, nothing is closed twice.
#include <gtest/gtest.h>

#include <type_traits>

#include "jpg.hpp"
#include "platform/faulty/faulty.h"
#include "support/bytes.h"
#include "support/picture.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using jpgtest::Bytes;

Bytes stream() { return encode(jpgtest::makePicture(24, 24, {0x11, 0x11, 0x11})); }

void fillWithNoise(jpg::Picture *picture) {
  jpgtest::Random random(1);
  for (uint8_t &sample : picture->samples()) sample = static_cast<uint8_t>(random.between(0, 255));
}

class Ownership : public testing::Test {
 protected:
  void SetUp() override { jpg::faulty::reset(); }
  void TearDown() override {
    EXPECT_EQ(jpg::faulty::liveBlocks(), 0U);
    EXPECT_EQ(jpg::faulty::openFiles(), 0U);
    EXPECT_EQ(jpg::faulty::wrongFrees(), 0U);
  }
};

TEST_F(Ownership, HandlesCanBeMovedButNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::Reader>);
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::FileWriter>);
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::MemoryWriter>);
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::Exif>);
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::Bytes>);
  EXPECT_FALSE(std::is_copy_constructible_v<jpg::Picture>);
  EXPECT_TRUE(std::is_move_assignable_v<jpg::Reader>);
  EXPECT_TRUE(std::is_move_assignable_v<jpg::FileWriter>);
  EXPECT_TRUE(std::is_move_assignable_v<jpg::MemoryWriter>);
}

TEST_F(Ownership, AReaderClosesWhatItHolds) {
  const Bytes data = stream();
  const jpgtest::TempFile file(data);
  auto first = jpg::Reader::memory(data, jpg::kStrict);
  ASSERT_TRUE(first.ok());
  EXPECT_GT(jpg::faulty::liveBlocks(), 0U);
  jpg::Reader second = std::move(*first);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, first->decode().code());
  EXPECT_RESULT(JPG_OK, second.decode().code());
  second = std::move(*jpg::Reader::file(file.path().c_str(), jpg::kStrict));
  EXPECT_EQ(jpg::faulty::openFiles(), 1U);
  EXPECT_RESULT(JPG_OK, second.decode().code());
}

TEST_F(Ownership, AWriterThrowsAwayWhatNobodyTook) {
  jpg::Result<jpg::Picture> picture = jpg::Picture::make({16, 16, 1, 8});
  auto first = jpg::MemoryWriter::create();
  ASSERT_TRUE(first.ok());
  EXPECT_RESULT(JPG_OK, first->encode(*picture).code());
  jpg::MemoryWriter second = std::move(*first);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, first->encode(*picture).code());
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, first->finish().code());
  EXPECT_RESULT(JPG_OK, second.encode(*picture).code());
  second = jpg::MemoryWriter();
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, second.piece().code());
}

TEST_F(Ownership, AFailedFinishLeavesNothing) {
  auto picture = jpg::Picture::make({64, 64, 1, 8});
  ASSERT_TRUE(picture.ok());
  fillWithNoise(&*picture);
  jpg::Result<jpg::MemoryWriter> writer = jpg::MemoryWriter::create();
  ASSERT_TRUE(writer.ok());
  EXPECT_RESULT(JPG_OK, writer->encode(*picture).code());
  jpg::faulty::arm(jpg::faulty::Operation::kAlloc, jpg::faulty::Fault::kFailAfter, 1);
  const auto bytes = writer->finish();
  EXPECT_RESULT(JPG_E_WRITE_FAULT, bytes.code());
  EXPECT_EQ(bytes->size(), 0U);
}

TEST_F(Ownership, AnOpenThatFailsGivesItsCode) {
  const Bytes data = stream();
  for (uint32_t n = 1; n < 10; n++) {
    jpg::faulty::reset();
    jpg::faulty::arm(jpg::faulty::Operation::kAlloc, jpg::faulty::Fault::kFail, n);
    const auto reader = jpg::Reader::memory(data, jpg::kStrict);
    EXPECT_EQ(reader.ok(), !jpg::faulty::faultHappened()) << n;
    EXPECT_EQ(reader->handle() != nullptr, reader.ok());
    if (reader.ok()) return;
    EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, reader.code());
  }
}

}  // namespace
