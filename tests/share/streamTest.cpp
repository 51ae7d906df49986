// SPDX-License-Identifier: MIT
// The byte stream: files and memory, both ways.
#include "share/jpgStream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "faulty.h"
#include "share/jpgHeap.h"

namespace {

using namespace jpg;

using StreamPointer = std::unique_ptr<JpgStream>;

class Streams : public testing::Test {
 protected:
  void SetUp() override {
    faulty::reset();
    name_ = testing::TempDir() + "jpg_stream_" + std::to_string(getpid());
  }
  void TearDown() override { std::remove(name_.c_str()); }

  // A file of bytes 0, 1, 2, ...
  void makeFile(size_t size) const {
    std::FILE *file = std::fopen(name_.c_str(), "wb");
    for (size_t i = 0; i < size; i++) std::fputc(static_cast<int>(i & 0xFF), file);
    std::fclose(file);
  }

  StreamPointer newStream() const {
    auto s = std::make_unique<JpgStream>();
    for (size_t i = 0; i <= name_.size(); i++) s->fileName[i] = static_cast<JpgWChar>(name_[i]);
    return s;
  }

  StreamPointer memoryOf(const std::vector<uint8_t> &data) const {
    StreamPointer s = newStream();
    s->mode = kModeMemory;
    s->base = data.data();
    s->current = const_cast<uint8_t *>(data.data());
    s->size = static_cast<uint32_t>(data.size());
    EXPECT_EQ(streamOpenRead(s.get()), JPG_OK);
    return s;
  }

  std::string name_;
};

TEST_F(Streams, ReadingAFileOpensItSharedForReading) {
  makeFile(10);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  EXPECT_EQ(faulty::lastOpen().access, 0x80000000u);
  EXPECT_EQ(faulty::lastOpen().share, 1u);
  EXPECT_EQ(faulty::lastOpen().creation, 3u);
  EXPECT_EQ(faulty::lastOpen().attributes, 128u);
  EXPECT_EQ(s->endOffset, 10u);
  EXPECT_EQ(s->bitCount, 0u);
  EXPECT_EQ(streamClose(s.get()), JPG_OK);
  EXPECT_EQ(s->fileHandle, nullptr);
  EXPECT_EQ(faulty::openFiles(), 0u);
}

TEST_F(Streams, WritingAFileCreatesIt) {
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenWrite(s.get()), JPG_OK);
  EXPECT_EQ(faulty::lastOpen().access, 0x40000000u);
  EXPECT_EQ(faulty::lastOpen().share, 0u);
  EXPECT_EQ(faulty::lastOpen().creation, 2u);
  EXPECT_EQ(s->bitCount, 32u);
  EXPECT_EQ(streamWrite(s.get(), "abc", 3), 3);
  faulty::arm(faulty::Operation::kWrite, faulty::Fault::kCutShort, 2);
  EXPECT_EQ(streamWrite(s.get(), "defg", 4), -1);
  EXPECT_EQ(streamClose(s.get()), JPG_OK);
}

TEST_F(Streams, AFileThatCannotBeOpenedIsNeverClosed) {
  StreamPointer reading = newStream();
  EXPECT_EQ(streamOpenRead(reading.get()), JPG_E_OPEN_FAILED);
  EXPECT_EQ(reading->endState, kEndNotOpened);
  EXPECT_EQ(streamClose(reading.get()), JPG_OK);
  StreamPointer writing = newStream();
  writing->fileName[0] = 0;
  EXPECT_EQ(streamOpenWrite(writing.get()), JPG_E_OPEN_FAILED);
  EXPECT_EQ(streamClose(writing.get()), JPG_OK);
  EXPECT_EQ(faulty::calls(faulty::Operation::kClose), 0u);
}

TEST_F(Streams, AFailedSeekToTheStartOffsetClosesTheFile) {
  makeFile(10);
  StreamPointer s = newStream();
  s->startOffset = 4;
  faulty::arm(faulty::Operation::kSeek, faulty::Fault::kFail, 1);
  EXPECT_EQ(streamOpenRead(s.get()), JPG_E_SEEK);
  EXPECT_EQ(faulty::openFiles(), 0u);
}

TEST_F(Streams, PositionsInAFileCountFromTheStartOffset) {
  makeFile(100);
  StreamPointer s = newStream();
  s->startOffset = 40;
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  uint8_t byte = 0;
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 40);
  EXPECT_EQ(streamSeek(s.get(), 5, kSeekBegin), 5u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 45);
  EXPECT_EQ(streamSeek(s.get(), 10, kSeekEnd), 50u);  // backwards from the end
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 90);
  EXPECT_EQ(streamSeek(s.get(), 101, kSeekEnd), kSeekFailed);
  EXPECT_EQ(streamSeek(s.get(), 0x7FFFFFFF, kSeekBegin), kSeekFailed);  // beyond 31 bits
  streamClose(s.get());
}

TEST_F(Streams, WithoutAStartOffsetTheFilesOwnOriginsHold) {
  makeFile(100);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  EXPECT_EQ(faulty::calls(faulty::Operation::kSeek), 0u);  // nowhere to go at first
  uint8_t byte = 0;
  EXPECT_EQ(streamSeek(s.get(), 70, kSeekBegin), 70u);
  EXPECT_EQ(streamSeek(s.get(), 5, kSeekCurrent), 75u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 75);
  EXPECT_EQ(streamSeek(s.get(), static_cast<uint32_t>(-10), kSeekEnd), 90u);  // forwards
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 90);
  EXPECT_EQ(streamSeek(s.get(), static_cast<uint32_t>(-1), kSeekBegin), kSeekFailed);
  streamClose(s.get());
}

TEST_F(Streams, TheEndOfARangeIsWhereItsLengthSays) {
  makeFile(100);
  StreamPointer s = newStream();
  s->startOffset = 40;
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  EXPECT_EQ(s->endOffset, 100u);  // the file's size until a length is known
  s->endOffset = 60;
  uint8_t byte = 0;
  EXPECT_EQ(streamSeek(s.get(), 1, kSeekEnd), 19u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 59);
  streamClose(s.get());
}

TEST_F(Streams, AResetForgetsBytesBitsAndTheEnd) {
  for (const uint32_t mode : {kModeRead, kModeWrite}) {
    StreamPointer s = newStream();
    s->mode = mode | kModeMemory;
    s->bytesFetched = s->bitBuffer = s->bufIndex = s->position = 9;
    s->bufFill = s->bitCount = 9;
    s->endState = kEndPassed;
    s->startOffset = s->endOffset = s->size = 9;
    streamReset(s.get());
    EXPECT_EQ(s->bytesFetched | s->bitBuffer | s->bufIndex | s->position | s->endState, 0u);
    EXPECT_EQ(s->bufFill, mode == kModeRead ? 0u : 9u);
    EXPECT_EQ(s->bitCount, mode == kModeRead ? 0u : 32u);
    EXPECT_EQ(s->startOffset & s->endOffset & s->size, 9u);  // where the data are stays
  }
}

TEST_F(Streams, AReadThatFailsIsTheEndToTheFetch) {
  makeFile(5000);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  faulty::arm(faulty::Operation::kRead, faulty::Fault::kFail, 2);
  for (uint32_t i = 0; i < 4096; i++) ASSERT_EQ(fetchByte(s.get()), i & 0xFF);
  EXPECT_EQ(fetchByte(s.get()), 0xFF);
  EXPECT_EQ(s->endState, kEndReadFailed);
  EXPECT_EQ(fetchByte(s.get()), 0xFF);  // not tried again
  EXPECT_EQ(s->endState, kEndPassed);
  EXPECT_EQ(faulty::calls(faulty::Operation::kRead), 2u);
  EXPECT_EQ(s->bytesFetched, 4096u);
  streamClose(s.get());
}

TEST_F(Streams, TheEndOfAFileReadsAsMinusOne) {
  makeFile(3);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  uint8_t bytes[8];
  EXPECT_EQ(streamRead(s.get(), bytes, 8), 3);
  EXPECT_EQ(streamRead(s.get(), bytes, 8), -1);
  streamClose(s.get());
}

TEST_F(Streams, TheEndOfMemoryReadsAsZero) {
  const std::vector<uint8_t> data = {1, 2, 3};
  StreamPointer s = memoryOf(data);
  uint8_t bytes[8];
  EXPECT_EQ(streamRead(s.get(), bytes, 2), 2);
  EXPECT_EQ(s->position, 2u);
  EXPECT_EQ(streamRead(s.get(), bytes, 8), 1);
  EXPECT_EQ(streamRead(s.get(), bytes, 8), 0);
}

TEST_F(Streams, PositionsInMemoryCountFromAllOrigins) {
  const std::vector<uint8_t> data = {10, 11, 12, 13, 14};
  StreamPointer s = memoryOf(data);
  uint8_t byte = 0;
  EXPECT_EQ(streamSeek(s.get(), 3, kSeekBegin), 3u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 13);
  EXPECT_EQ(streamSeek(s.get(), static_cast<uint32_t>(-3), kSeekCurrent), 1u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 11);
  EXPECT_EQ(streamSeek(s.get(), static_cast<uint32_t>(-1), kSeekEnd), 4u);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 14);
  EXPECT_EQ(streamSeek(s.get(), 1000, kSeekBegin), 1000u);  // beyond the end: nothing there
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 0);
}

TEST_F(Streams, TheFetchRunsOnWithFillBehindTheEnd) {
  const std::vector<uint8_t> data = {7, 8};
  makeFile(2);
  StreamPointer file = newStream();
  ASSERT_EQ(streamOpenRead(file.get()), JPG_OK);
  StreamPointer memory = memoryOf(data);
  for (JpgStream *s : {file.get(), memory.get()}) {
    EXPECT_EQ(fetchByte(s), s == memory.get() ? 7 : 0);
    EXPECT_EQ(fetchByte(s), s == memory.get() ? 8 : 1);
    EXPECT_EQ(s->endState, kEndNone);
    EXPECT_EQ(fetchByte(s), 0xFF);
    EXPECT_EQ(s->endState, kEndReadFailed);
    EXPECT_EQ(fetchByte(s), 0xFF);
    EXPECT_EQ(s->endState, kEndPassed);
    EXPECT_EQ(s->bytesFetched, 2u);
  }
  streamClose(file.get());
}

TEST_F(Streams, TheFetchTakesBlocksOf4096Bytes) {
  makeFile(10000);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  for (uint32_t i = 0; i < 10000; i++) ASSERT_EQ(fetchByte(s.get()), i & 0xFF);
  EXPECT_EQ(faulty::calls(faulty::Operation::kRead), 3u);
  streamClose(s.get());
}

TEST_F(Streams, AMemorySinkGrowsInStepsOf4096Bytes) {
  StreamPointer s = newStream();
  s->mode = kModeMemory;
  ASSERT_EQ(streamOpenWrite(s.get()), JPG_OK);
  EXPECT_EQ(s->capacity, 0u);
  const std::vector<uint8_t> data(4096, 0x5A);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 1), 1);
  EXPECT_EQ(s->capacity, 4096u);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 4096), 4096);
  EXPECT_EQ(s->capacity, 8192u);
  EXPECT_EQ(s->size, 4097u);
  EXPECT_EQ(s->current[4096], 0x5A);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter, 1);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 4096), -1);
  EXPECT_EQ(s->size, 4097u);  // the block is as it was
  heapFree(s->current);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
}

TEST_F(Streams, AMemorySinkTakesNothingBeyondTheLargestBlock) {
  // A step more would be a block of 2^31 bytes; the heap isn't asked for it.
  constexpr uint32_t kFull = 0x7FFFF000;
  const uint8_t byte = 0x5A;
  StreamPointer s = newStream();
  s->mode = kModeMemory;
  ASSERT_EQ(streamOpenWrite(s.get()), JPG_OK);
  s->capacity = s->position = s->size = kFull;
  EXPECT_EQ(streamWrite(s.get(), &byte, 1), -1);
  EXPECT_EQ(s->capacity, kFull);
  EXPECT_EQ(s->size, kFull);
  EXPECT_EQ(faulty::calls(faulty::Operation::kAlloc), 0u);
}

TEST_F(Streams, ACloseThatFailsIsTold) {
  makeFile(1);
  StreamPointer s = newStream();
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  faulty::arm(faulty::Operation::kClose, faulty::Fault::kFail,
              faulty::calls(faulty::Operation::kClose) + 1);
  EXPECT_EQ(streamClose(s.get()), JPG_E_FAIL);
}

TEST_F(Streams, BehindAStartOffsetNothingIsSoughtFromTheCurrentPosition) {
  makeFile(100);
  StreamPointer s = newStream();
  s->startOffset = 40;
  ASSERT_EQ(streamOpenRead(s.get()), JPG_OK);
  uint8_t byte = 0;
  EXPECT_EQ(streamSeek(s.get(), 5, kSeekBegin), 5u);
  EXPECT_EQ(streamSeek(s.get(), 5, kSeekCurrent), kSeekFailed);
  EXPECT_EQ(streamRead(s.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 45);  // where it was
  streamClose(s.get());
}

TEST_F(Streams, AMemorySinkFillsTheRoomThatItHasFirst) {
  StreamPointer s = newStream();
  s->mode = kModeMemory;
  ASSERT_EQ(streamOpenWrite(s.get()), JPG_OK);
  const std::vector<uint8_t> data(4096, 0x5A);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 0), 0);  // nothing needs no block
  EXPECT_EQ(s->current, nullptr);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 1), 1);
  const uint8_t *block = s->current;
  EXPECT_EQ(streamWrite(s.get(), data.data(), 4095), 4095);
  EXPECT_EQ(streamWrite(s.get(), data.data(), 0), 0);
  EXPECT_EQ(s->current, block);
  EXPECT_EQ(s->size, 4096u);
  EXPECT_EQ(faulty::calls(faulty::Operation::kAlloc), 1u);
  heapFree(s->current);
}

// Sizes have 31 bits.
TEST_F(Streams, AMemorySinkGrowsNoFurtherThanBlocksMay) {
  StreamPointer s = newStream();
  s->mode = kModeMemory;
  ASSERT_EQ(streamOpenWrite(s.get()), JPG_OK);
  const std::vector<uint8_t> data(200, 0x5A);
  for (const uint32_t position : {0x7FFFF000u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
    s->position = position;
    EXPECT_EQ(streamWrite(s.get(), data.data(), 200), -1) << position;
    EXPECT_EQ(s->position, position);
    EXPECT_EQ(s->current, nullptr);
  }
  EXPECT_EQ(faulty::calls(faulty::Operation::kAlloc), 0u);
}

}  // namespace
