// SPDX-License-Identifier: MIT
// The provider that fails on demand: every kind of fault, and its counts.
#include "faulty.h"

#include <gtest/gtest.h>

#include "folder.h"
#include "platform.h"
#include "support/stored.h"

namespace {

using jpg::DWORD;
using jpg::HANDLE;
using jpg::faulty::Fault;
using jpg::faulty::Operation;

class Faulty : public testing::Test {
 protected:
  Faulty() {
    jpg::faulty::reset();
    folder_.write("file", "0123456789");
  }
  ~Faulty() override { jpg::faulty::reset(); }

  HANDLE open(DWORD access = jpg::GENERIC_READ, DWORD creation = jpg::OPEN_EXISTING) const {
    return jpg::CreateFileW(folder_.wide(u"file").c_str(), access, jpg::FILE_SHARE_READ, nullptr,
                            creation, jpg::FILE_ATTRIBUTE_NORMAL, nullptr);
  }

  HANDLE create() const { return open(jpg::GENERIC_WRITE, jpg::CREATE_ALWAYS); }

  static std::string read(HANDLE file, DWORD bytes) {
    std::string buffer(bytes, '?');
    DWORD count = 99;
    if (jpg::ReadFile(file, buffer.data(), bytes, &count, nullptr) == 0) {
      return count == 0 ? "failed" : "failed with a count";
    }
    buffer.resize(count);
    return buffer;
  }

  static void *allocate(size_t bytes) { return jpg::HeapAlloc(jpg::GetProcessHeap(), 0, bytes); }
  static bool release(void *block) { return jpg::HeapFree(jpg::GetProcessHeap(), 0, block) != 0; }
  static void *resize(void *block, size_t bytes) {
    return jpg::HeapReAlloc(jpg::GetProcessHeap(), 0, block, bytes);
  }

  Folder folder_;
};

TEST_F(Faulty, WithoutAFaultItDoesWhatPosixDoes) {
  const HANDLE file = open();
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(jpg::GetFileSize(file, nullptr), 10u);
  EXPECT_EQ(jpg::SetFilePointer(file, -3, nullptr, jpg::FILE_END), 7u);
  EXPECT_EQ(read(file, 100), "789");
  EXPECT_NE(jpg::CloseHandle(file), 0);
  const HANDLE output = create();
  DWORD count = 0;
  EXPECT_NE(jpg::WriteFile(output, "abc", 3, &count, nullptr), 0);
  EXPECT_EQ(count, 3u);
  EXPECT_NE(jpg::CloseHandle(output), 0);
  EXPECT_EQ(folder_.read("file"), "abc");
  EXPECT_FALSE(jpg::faulty::faultHappened());
  EXPECT_EQ(jpg::faulty::faults(Operation::kClose), 0u);
}

TEST_F(Faulty, TheNthAllocationFailsAndTheOthersDoNot) {
  jpg::faulty::arm(Operation::kAlloc, Fault::kFail, 2);
  void *first = allocate(10);
  EXPECT_NE(first, nullptr);
  EXPECT_FALSE(jpg::faulty::faultHappened());
  EXPECT_EQ(allocate(10), nullptr);
  EXPECT_TRUE(jpg::faulty::faultHappened());
  void *third = allocate(10);
  EXPECT_NE(third, nullptr);
  EXPECT_EQ(jpg::faulty::liveBlocks(), 2u);
  EXPECT_EQ(jpg::faulty::calls(Operation::kAlloc), 3u);
  EXPECT_TRUE(release(first));
  EXPECT_TRUE(release(third));
}

TEST_F(Faulty, AFailedReallocationLeavesTheBlock) {
  auto *block = static_cast<char *>(allocate(4));
  ASSERT_NE(block, nullptr);
  block[0] = 'x';
  jpg::faulty::arm(Operation::kAlloc, Fault::kFail, 2);
  EXPECT_EQ(resize(block, 1000), nullptr);
  EXPECT_EQ(block[0], 'x');
  EXPECT_EQ(jpg::faulty::liveBytes(), 4u);
  EXPECT_TRUE(release(block));
}

TEST_F(Faulty, EveryCallFromTheNthOnFails) {
  jpg::faulty::arm(Operation::kAlloc, Fault::kFailAfter, 2);
  void *first = allocate(1);
  EXPECT_NE(first, nullptr);
  for (int i = 0; i < 3; i++) EXPECT_EQ(allocate(1), nullptr) << i;
  EXPECT_EQ(resize(first, 2), nullptr);
  EXPECT_TRUE(release(first));
}

TEST_F(Faulty, AFailedFreeReportsFailureButReleases) {
  jpg::faulty::arm(Operation::kFree, Fault::kFail, 1);
  void *block = allocate(10);
  EXPECT_FALSE(release(block));
  EXPECT_EQ(jpg::faulty::liveBlocks(), 0u);
  EXPECT_EQ(jpg::faulty::wrongFrees(), 0u);
}

// The byte `at`, which nobody has stored to.
uint8_t unstored(uint8_t *block, size_t at) {
  jpgtest::markStored(block + at, 1);
  return block[at];
}

TEST_F(Faulty, NewBlocksAndWhatTheyGrowByHoldNoZeros) {
  auto *block = static_cast<uint8_t *>(allocate(10));
  EXPECT_EQ(unstored(block, 0), 0xA5);
  EXPECT_EQ(unstored(block, 9), 0xA5);
  block[9] = 1;
  block = static_cast<uint8_t *>(resize(block, 20));
  EXPECT_EQ(block[9], 1);
  EXPECT_EQ(unstored(block, 10), 0xA5);
  EXPECT_EQ(unstored(block, 19), 0xA5);
  EXPECT_TRUE(release(block));
}

TEST_F(Faulty, NewBlocksAndWhatTheyGrowByHoldTheByteThatATestChooses) {
  for (const uint8_t byte : {uint8_t{0}, uint8_t{0x3C}, uint8_t{0xA5}}) {
    jpg::faulty::fillWith(byte);
    jpg::faulty::reset();
    constexpr size_t kLarge = 3 << 20;
    auto *block = static_cast<uint8_t *>(allocate(kLarge));
    EXPECT_EQ(unstored(block, 0), byte);
    EXPECT_EQ(unstored(block, kLarge - 1), byte);
    block = static_cast<uint8_t *>(resize(block, kLarge + 7));
    EXPECT_EQ(unstored(block, kLarge), byte);
    EXPECT_EQ(unstored(block, kLarge + 6), byte);
    EXPECT_TRUE(release(block));
  }
}

TEST_F(Faulty, HeapCallsWithFlagsFail) {
  const HANDLE heap = jpg::GetProcessHeap();
  EXPECT_EQ(jpg::HeapAlloc(heap, 1, 10), nullptr);
  void *block = allocate(10);
  EXPECT_EQ(jpg::HeapReAlloc(heap, 1, block, 20), nullptr);
  EXPECT_EQ(jpg::HeapFree(heap, 1, block), 0);
  EXPECT_EQ(jpg::faulty::liveBlocks(), 0u);
}

TEST_F(Faulty, BytesAreCountedNowAndAtThePeak) {
  void *a = allocate(100);
  void *b = allocate(50);
  EXPECT_EQ(jpg::faulty::liveBytes(), 150u);
  EXPECT_TRUE(release(a));
  EXPECT_EQ(jpg::faulty::liveBytes(), 50u);
  EXPECT_EQ(jpg::faulty::peakBytes(), 150u);
  b = resize(b, 400);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(jpg::faulty::liveBytes(), 400u);
  EXPECT_EQ(jpg::faulty::peakBytes(), 400u);
  b = resize(b, 20);
  EXPECT_EQ(jpg::faulty::liveBytes(), 20u);
  EXPECT_EQ(jpg::faulty::peakBytes(), 400u);
  EXPECT_EQ(jpg::faulty::liveBlocks(), 1u);
  EXPECT_TRUE(release(b));
  EXPECT_EQ(jpg::faulty::liveBytes(), 0u);
}

TEST_F(Faulty, WrongFreesAreCountedAndDoNoHarm) {
  char foreign = 0;
  void *block = allocate(10);
  EXPECT_FALSE(release(&foreign));
  EXPECT_EQ(jpg::faulty::wrongFrees(), 1u);
  EXPECT_TRUE(release(block));
  EXPECT_FALSE(release(block));
  EXPECT_EQ(jpg::faulty::wrongFrees(), 2u);
  EXPECT_EQ(resize(&foreign, 10), nullptr);
  EXPECT_EQ(jpg::faulty::wrongFrees(), 3u);
}

TEST_F(Faulty, AFailedOpenOpensNothing) {
  jpg::faulty::arm(Operation::kOpen, Fault::kFail, 1);
  EXPECT_EQ(open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(jpg::faulty::openFiles(), 0u);
  const HANDLE file = open();
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(jpg::faulty::openFiles(), 1u);
  EXPECT_EQ(jpg::faulty::calls(Operation::kOpen), 2u);
  jpg::CloseHandle(file);
  EXPECT_EQ(jpg::faulty::openFiles(), 0u);
}

TEST_F(Faulty, TheArgumentsOfTheLastOpenAreKept) {
  jpg::CloseHandle(create());
  EXPECT_EQ(jpg::faulty::lastOpen().access, jpg::GENERIC_WRITE);
  EXPECT_EQ(jpg::faulty::lastOpen().share, jpg::FILE_SHARE_READ);
  EXPECT_EQ(jpg::faulty::lastOpen().creation, jpg::CREATE_ALWAYS);
  EXPECT_EQ(jpg::faulty::lastOpen().attributes, jpg::FILE_ATTRIBUTE_NORMAL);
}

TEST_F(Faulty, AFailedReadMovesNothing) {
  const HANDLE file = open();
  jpg::faulty::arm(Operation::kRead, Fault::kFail, 2);
  EXPECT_EQ(read(file, 3), "012");
  EXPECT_EQ(read(file, 3), "failed");
  EXPECT_EQ(read(file, 3), "345");
  jpg::CloseHandle(file);
}

TEST_F(Faulty, AReadCutShortGivesHalfOfWhatWasAskedFor) {
  const HANDLE file = open();
  jpg::faulty::arm(Operation::kRead, Fault::kCutShort, 1);
  EXPECT_EQ(read(file, 6), "012");
  EXPECT_TRUE(jpg::faulty::faultHappened());
  EXPECT_EQ(read(file, 6), "345678");
  jpg::CloseHandle(file);
}

TEST_F(Faulty, AFullDiskTakesWhatThereIsRoomForAndThenNothing) {
  for (const bool once : {false, true}) {
    jpg::faulty::reset();
    const HANDLE file = create();
    jpg::faulty::limitOutput(5, once);
    DWORD counts[3] = {};
    for (DWORD &count : counts) EXPECT_NE(jpg::WriteFile(file, "abc", 3, &count, nullptr), 0);
    EXPECT_EQ(counts[0], 3u);
    EXPECT_EQ(counts[1], 2u);
    EXPECT_EQ(counts[2], once ? 3u : 0u);
    EXPECT_TRUE(jpg::faulty::faultHappened());
    EXPECT_NE(jpg::CloseHandle(file), 0);
    EXPECT_EQ(folder_.read("file"), once ? "abcababc" : "abcab");
  }
}

TEST_F(Faulty, AFileThatShrinksEndsThereFromThatReadOn) {
  const HANDLE file = open();
  jpg::faulty::shrinkFiles(2, 5);
  EXPECT_EQ(read(file, 7), "0123456");
  EXPECT_FALSE(jpg::faulty::faultHappened());
  EXPECT_EQ(read(file, 7), "");
  EXPECT_TRUE(jpg::faulty::faultHappened());
  EXPECT_EQ(jpg::SetFilePointer(file, 3, nullptr, jpg::FILE_BEGIN), 3u);
  EXPECT_EQ(read(file, 7), "34");
  EXPECT_NE(jpg::CloseHandle(file), 0);
}

TEST_F(Faulty, AFailedWriteWritesNothingAndOneCutShortHalf) {
  const HANDLE file = create();
  DWORD count = 99;
  jpg::faulty::arm(Operation::kWrite, Fault::kFail, 1);
  EXPECT_EQ(jpg::WriteFile(file, "abcd", 4, &count, nullptr), 0);
  EXPECT_EQ(count, 0u);
  jpg::faulty::arm(Operation::kWrite, Fault::kCutShort, 2);
  EXPECT_NE(jpg::WriteFile(file, "efgh", 4, &count, nullptr), 0);
  EXPECT_EQ(count, 2u);
  jpg::CloseHandle(file);
  EXPECT_EQ(folder_.read("file"), "ef");
}

TEST_F(Faulty, AFailedSeekDoesNotMove) {
  const HANDLE file = open();
  jpg::faulty::arm(Operation::kSeek, Fault::kFail, 1);
  EXPECT_EQ(jpg::SetFilePointer(file, 5, nullptr, jpg::FILE_BEGIN), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(read(file, 1), "0");
  EXPECT_EQ(jpg::SetFilePointer(file, 5, nullptr, jpg::FILE_BEGIN), 5u);
  EXPECT_EQ(jpg::faulty::calls(Operation::kSeek), 2u);
  jpg::CloseHandle(file);
}

TEST_F(Faulty, AFailedSizeQueryIsToldAsSuch) {
  const HANDLE file = open();
  jpg::faulty::arm(Operation::kGetSize, Fault::kFail, 1);
  EXPECT_EQ(jpg::GetFileSize(file, nullptr), jpg::INVALID_FILE_SIZE);
  EXPECT_EQ(jpg::GetFileSize(file, nullptr), 10u);
  jpg::CloseHandle(file);
}

TEST_F(Faulty, AFailedCloseReportsFailureButCloses) {
  const HANDLE file = open();
  jpg::faulty::arm(Operation::kClose, Fault::kFail, 1);
  EXPECT_EQ(jpg::CloseHandle(file), 0);
  EXPECT_EQ(jpg::faulty::openFiles(), 0u);
  EXPECT_EQ(jpg::faulty::faults(Operation::kClose), 1u);
  EXPECT_EQ(read(file, 1), "failed");
  EXPECT_EQ(jpg::CloseHandle(file), 0) << "closed twice";
}

TEST_F(Faulty, FaultsAndCountsAreForgottenByReset) {
  jpg::faulty::arm(Operation::kAlloc, Fault::kFail, 1);
  EXPECT_EQ(allocate(1), nullptr);
  jpg::faulty::arm(Operation::kAlloc, Fault::kFailAfter, 1);
  jpg::faulty::reset();
  EXPECT_FALSE(jpg::faulty::faultHappened());
  EXPECT_EQ(jpg::faulty::calls(Operation::kAlloc), 0u);
  void *block = allocate(1);
  EXPECT_NE(block, nullptr);
  EXPECT_TRUE(release(block));
}

}  // namespace
