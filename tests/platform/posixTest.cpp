// SPDX-License-Identifier: MIT
// The platform's operations over POSIX, called as the core calls them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include "folder.h"
#include "platform.h"
#include "posixFile.h"

namespace {

using jpg::DWORD;
using jpg::HANDLE;

HANDLE openToRead(const std::u16string &path) {
  return jpg::CreateFileW(path.c_str(), jpg::GENERIC_READ, jpg::FILE_SHARE_READ, nullptr,
                          jpg::OPEN_EXISTING, jpg::FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE openToWrite(const std::u16string &path) {
  return jpg::CreateFileW(path.c_str(), jpg::GENERIC_WRITE, 0, nullptr, jpg::CREATE_ALWAYS,
                          jpg::FILE_ATTRIBUTE_NORMAL, nullptr);
}

DWORD seek(HANDLE file, int32_t distance, DWORD origin) {
  return jpg::SetFilePointer(file, distance, nullptr, origin);
}

// What one read of up to `bytes` bytes gives; "failed" when it fails.
std::string readSome(HANDLE file, DWORD bytes) {
  std::string buffer(bytes, '?');
  DWORD count = 99;
  if (jpg::ReadFile(file, buffer.data(), bytes, &count, nullptr) == 0) return "failed";
  buffer.resize(count);
  return buffer;
}

// --- UTF-16 to UTF-8 ---

struct Conversion {
  const char *what;
  std::u16string name;
  std::string bytes;
};

// The bytes are worked out with the table of Unicode 3.9 (Table 3-6).
const Conversion kConversions[] = {
    {"nothing", u"", ""},
    {"ASCII", u"a/b.jpg", "a/b.jpg"},
    {"last of one byte", u"\u007F", "\x7F"},
    {"first of two bytes", u"\u0080", "\xC2\x80"},
    {"a letter of Latin-1", u"\u00E9", "\xC3\xA9"},
    {"last of two bytes", u"\u07FF", "\xDF\xBF"},
    {"first of three bytes", u"\u0800", "\xE0\xA0\x80"},
    {"ideographs", u"\u5199\u771F", "\xE5\x86\x99\xE7\x9C\x9F"},
    {"last ahead of the surrogates", u"\uD7FF", "\xED\x9F\xBF"},
    {"first behind the surrogates", u"\uE000", "\xEE\x80\x80"},
    {"last of three bytes", u"\uFFFF", "\xEF\xBF\xBF"},
    {"first of four bytes", u"\U00010000", "\xF0\x90\x80\x80"},
    {"a pair between letters", u"x\U0001F4F7y", "x\xF0\x9F\x93\xB7y"},
    {"last code point", u"\U0010FFFF", "\xF4\x8F\xBF\xBF"}};

TEST(PosixPath, EveryCodePointBecomesItsUtf8Bytes) {
  for (const Conversion &c : kConversions) {
    char out[64];
    ASSERT_TRUE(jpg::posix::toUtf8(c.name.c_str(), out, sizeof(out))) << c.what;
    EXPECT_EQ(out, c.bytes) << c.what;
  }
}

TEST(PosixPath, ALoneSurrogateIsRefused) {
  const std::u16string names[] = {{0xD800},           {0xDBFF, u'a'},   {0xDC00},
                                  {u'a', 0xDFFF},     {0xD83D, 0xD83D}, {0xDCF7, 0xD83D},
                                  {u'a', 0xD83D, 'b'}};
  for (const std::u16string &name : names) {
    char out[64];
    EXPECT_FALSE(jpg::posix::toUtf8(name.c_str(), out, sizeof(out))) << name.size();
  }
}

TEST(PosixPath, ANameThatDoesNotFitIsRefusedAndNothingIsWrittenBehindTheBuffer) {
  const std::u16string name(40, u'\u5199');
  std::string out(64, '#');
  EXPECT_FALSE(jpg::posix::toUtf8(name.c_str(), out.data(), 32));
  EXPECT_EQ(out.substr(32), std::string(32, '#'));
}

TEST(PosixPath, TheTerminatorHasItsPlaceBehindTheLongestName) {
  // Seven and eight characters of four bytes, with room for 32.
  const std::u16string seven =
      u"\U0001F4F7\U0001F4F7\U0001F4F7\U0001F4F7\U0001F4F7\U0001F4F7\U0001F4F7";
  std::string out(64, '#');
  EXPECT_TRUE(jpg::posix::toUtf8(seven.c_str(), out.data(), 32));
  EXPECT_EQ(out.substr(28), '\0' + std::string(35, '#'));
  EXPECT_FALSE(jpg::posix::toUtf8((seven + u"\U0001F4F7").c_str(), out.data(), 32));
  EXPECT_EQ(out.substr(32), std::string(32, '#'));
}

TEST(PosixPath, FilesOpenByTheirUtf8Name) {
  const Folder folder;
  folder.write("\xE5\x86\x99 \xF0\x9F\x93\xB7.jpg", "picture");
  const HANDLE file = openToRead(folder.wide(u"\u5199 \U0001F4F7.jpg"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(readSome(file, 100), "picture");
  EXPECT_NE(jpg::CloseHandle(file), 0);
}

TEST(PosixPath, APathLongerThanFourHundredUnitsOpens) {
  const Folder folder;
  const std::string deep = std::string(200, 'a') + "/" + std::string(200, 'b');
  std::filesystem::create_directories(folder.file(deep));
  folder.write(deep + "/x", "deep");
  const HANDLE file = openToRead(folder.wide(std::u16string(deep.begin(), deep.end()) + u"/x"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(readSome(file, 100), "deep");
  EXPECT_NE(jpg::CloseHandle(file), 0);
}

// --- opening ---

// 4095 bytes, by a name that says "this folder" over and over.
TEST(PosixFiles, MayHaveTheLongestPathOfTheSystem) {
  const Folder folder;
  std::u16string path = folder.wide(u"");
  while (path.size() < 4092) path += u"./";
  path.resize(4095, u'f');
  const HANDLE file = openToWrite(path);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_NE(jpg::CloseHandle(file), 0);
  EXPECT_EQ(openToWrite(path + u"f"), INVALID_HANDLE_VALUE);
}

TEST(PosixOpen, WhatIsNotAFileToReadIsRefused) {
  const Folder folder;
  std::filesystem::create_directory(folder.file("folder"));
  const std::u16string lone = folder.wide(std::u16string(1, 0xD83D));
  EXPECT_EQ(openToRead(folder.wide(u"missing")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(openToRead(folder.wide(u"folder")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(openToWrite(folder.wide(u"folder")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(openToWrite(folder.wide(u"missing/file")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(openToRead(lone), INVALID_HANDLE_VALUE);
  EXPECT_EQ(openToRead(u""), INVALID_HANDLE_VALUE);
}

// Takes what the heap has left, in blocks of as many bytes as a path needs, and gives it back.
class EmptyHeap {
 public:
  EmptyHeap() {
    getrlimit(RLIMIT_AS, &before_);
    rlimit none = before_;
    none.rlim_cur = 1;
    setrlimit(RLIMIT_AS, &none);
    constexpr int kMost = 100000;  // an emulator's heap has no limit
    for (int i = 0; i < kMost; i++) {
      auto *block = static_cast<Block *>(std::malloc(jpg::posix::kMaxPath));
      if (block == nullptr) {
        empty_ = true;
        return;
      }
      block->next = taken_;
      taken_ = block;
    }
  }
  ~EmptyHeap() {
    while (taken_ != nullptr) {
      Block *next = taken_->next;
      std::free(taken_);
      taken_ = next;
    }
    setrlimit(RLIMIT_AS, &before_);
  }
  bool empty() const { return empty_; }

 private:
  struct Block {
    Block *next;
  };
  rlimit before_ = {};
  Block *taken_ = nullptr;
  bool empty_ = false;
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define JPG_SANITIZERS_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || \
    __has_feature(thread_sanitizer)
#define JPG_SANITIZERS_HEAP 1
#endif
#endif

// A sanitizer's heap ends the program where memory can't be had.
#ifdef JPG_SANITIZERS_HEAP
constexpr bool kSanitizersHeap = true;
#else
constexpr bool kSanitizersHeap = false;
#endif

TEST(PosixOpen, WithoutMemoryForThePathIsRefused) {
  if (kSanitizersHeap) GTEST_SKIP() << "a sanitizer's heap";
  const Folder folder;
  folder.write("file", "x");
  const std::u16string name = folder.wide(u"file");
  bool empty = false, refused = false;
  {
    const EmptyHeap heap;
    empty = heap.empty();
    refused = openToRead(name) == INVALID_HANDLE_VALUE;
  }
  if (!empty) GTEST_SKIP() << "the heap has no limit here";
  EXPECT_TRUE(refused);
  const HANDLE file = openToRead(name);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  jpg::CloseHandle(file);
}

// A refused folder must not leave its descriptor open: the next file gets the same one.
TEST(PosixOpen, ARefusedFolderLeavesNoDescriptorOpen) {
  const Folder folder;
  std::filesystem::create_directory(folder.file("folder"));
  folder.write("file", "x");
  const HANDLE first = openToRead(folder.wide(u"file"));
  ASSERT_NE(first, INVALID_HANDLE_VALUE);
  jpg::CloseHandle(first);
  for (int i = 0; i < 5; i++) openToRead(folder.wide(u"folder"));
  const HANDLE second = openToRead(folder.wide(u"file"));
  EXPECT_EQ(second, first);
  jpg::CloseHandle(second);
}

TEST(PosixOpen, CreatingEmptiesAnExistingFile) {
  const Folder folder;
  folder.write("file", "something longer");
  const HANDLE file = openToWrite(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD count = 0;
  EXPECT_NE(jpg::WriteFile(file, "new", 3, &count, nullptr), 0);
  EXPECT_EQ(count, 3u);
  EXPECT_NE(jpg::CloseHandle(file), 0);
  EXPECT_EQ(folder.read("file"), "new");
}

TEST(PosixOpen, AProgramStartedLaterDoesNotInheritTheFile) {
  const Folder folder;
  const int next = open("/dev/null", O_RDONLY);  // the descriptor that the next open gets
  ASSERT_GE(next, 0);
  close(next);
  const HANDLE file = openToWrite(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  jpg::CloseHandle(file);
}

TEST(PosixOpen, AHandleIsNeverNull) {
  const Folder folder;
  folder.write("file", "x");
  const int kept = dup(0);
  close(0);  // descriptor 0 is the next
  const HANDLE file = openToRead(folder.wide(u"file"));
  const std::string content = readSome(file, 10);
  const jpg::BOOL closed = jpg::CloseHandle(file);
  dup2(kept, 0);
  close(kept);
  EXPECT_NE(file, nullptr);
  EXPECT_EQ(content, "x");
  EXPECT_NE(closed, 0);
}

// --- reading and writing ---

TEST(PosixRead, GivesWhatIsLeftAndNothingAtTheEnd) {
  const Folder folder;
  folder.write("file", "0123456789");
  const HANDLE file = openToRead(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(readSome(file, 0), "");
  EXPECT_EQ(readSome(file, 4), "0123");
  EXPECT_EQ(readSome(file, 100), "456789");
  EXPECT_EQ(readSome(file, 100), "");
  jpg::CloseHandle(file);
}

TEST(PosixRead, FailsOnAFileOpenToWriteAndOnAClosedHandle) {
  const Folder folder;
  const HANDLE file = openToWrite(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  char byte;
  DWORD count = 99;
  EXPECT_EQ(jpg::ReadFile(file, &byte, 1, &count, nullptr), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_NE(jpg::CloseHandle(file), 0);
  EXPECT_EQ(readSome(file, 1), "failed");
  EXPECT_EQ(jpg::CloseHandle(file), 0);
  EXPECT_EQ(jpg::CloseHandle(INVALID_HANDLE_VALUE), 0);
}

TEST(PosixWrite, FailsOnAFullDeviceAndOnAFileOpenToRead) {
  const Folder folder;
  folder.write("file", "kept");
  DWORD count = 99;
  const HANDLE file = openToRead(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(jpg::WriteFile(file, "x", 1, &count, nullptr), 0);
  EXPECT_EQ(count, 0u);
  jpg::CloseHandle(file);
  EXPECT_EQ(folder.read("file"), "kept");

  if (access("/dev/full", W_OK) != 0) return;
  const HANDLE full = openToWrite(u"/dev/full");
  ASSERT_NE(full, INVALID_HANDLE_VALUE);
  EXPECT_EQ(jpg::WriteFile(full, "x", 1, &count, nullptr), 0);
  EXPECT_EQ(count, 0u);
  jpg::CloseHandle(full);
}

// --- positions and sizes ---

TEST(PosixSeek, CountsFromTheStartTheCurrentPositionAndTheEnd) {
  const Folder folder;
  folder.write("file", "0123456789");
  const HANDLE file = openToRead(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(seek(file, 4, jpg::FILE_BEGIN), 4u);
  EXPECT_EQ(seek(file, 3, jpg::FILE_CURRENT), 7u);
  EXPECT_EQ(readSome(file, 1), "7");
  EXPECT_EQ(seek(file, -6, jpg::FILE_CURRENT), 2u);
  EXPECT_EQ(readSome(file, 1), "2");
  EXPECT_EQ(seek(file, -1, jpg::FILE_END), 9u);
  EXPECT_EQ(readSome(file, 9), "9");
  EXPECT_EQ(seek(file, 5, jpg::FILE_END), 15u);
  EXPECT_EQ(readSome(file, 1), "");
  jpg::CloseHandle(file);
}

TEST(PosixSeek, ANegativeTargetIsRefusedAndThePositionKept) {
  const Folder folder;
  folder.write("file", "0123456789");
  const HANDLE file = openToRead(folder.wide(u"file"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  ASSERT_EQ(seek(file, 4, jpg::FILE_BEGIN), 4u);
  EXPECT_EQ(seek(file, -1, jpg::FILE_BEGIN), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(seek(file, -5, jpg::FILE_CURRENT), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(seek(file, -11, jpg::FILE_END), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(seek(file, INT32_MIN, jpg::FILE_END), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(readSome(file, 1), "4");
  jpg::CloseHandle(file);
}

// A file of `size` bytes that takes no room on the disk; null where that can't be had.
HANDLE openSparse(const Folder &folder, uint64_t size) {
  folder.write("sparse", "start");
  if (truncate(folder.file("sparse").c_str(), static_cast<off_t>(size)) != 0) return nullptr;
  return openToRead(folder.wide(u"sparse"));
}

constexpr uint64_t kGib = uint64_t{1} << 30;

TEST(PosixSeek, PositionsReachAsFarAsTheyFitThirtyTwoBits) {
  const Folder folder;
  const HANDLE file = openSparse(folder, 3 * kGib);
  if (file == nullptr) GTEST_SKIP() << "no file of 3 GiB here";
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(seek(file, -1, jpg::FILE_END), 0xBFFFFFFFu);
  EXPECT_EQ(readSome(file, 2), std::string(1, '\0'));
  EXPECT_EQ(seek(file, INT32_MAX, jpg::FILE_BEGIN), 0x7FFFFFFFu);
  EXPECT_EQ(seek(file, INT32_MAX, jpg::FILE_CURRENT), 0xFFFFFFFEu);
  EXPECT_EQ(seek(file, 1, jpg::FILE_CURRENT), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(seek(file, 0, jpg::FILE_CURRENT), 0xFFFFFFFEu) << "the refused seek moved";
  EXPECT_EQ(seek(file, INT32_MAX, jpg::FILE_END), jpg::INVALID_SET_FILE_POINTER);
  EXPECT_EQ(seek(file, 0, jpg::FILE_CURRENT), 0xFFFFFFFEu) << "the refused seek moved";
  jpg::CloseHandle(file);
}

struct Size {
  uint64_t bytes;
  DWORD alone;  // with a null high pointer
  DWORD low, high;
};

constexpr Size kSizes[] = {{5, 5, 5, 0},
                           {0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0},
                           {3 * kGib, 0xC0000000, 0xC0000000, 0},
                           {0xFFFFFFFE, 0xFFFFFFFE, 0xFFFFFFFE, 0},
                           {0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF, 0},
                           {4 * kGib, 0xFFFFFFFE, 0, 1},
                           {9 * kGib + 7, 0xFFFFFFFE, 0x40000007, 2}};

TEST(PosixSize, SizesThatDoNotFitSaturateUnlessTheHighPartIsAskedFor) {
  for (const Size &size : kSizes) {
    const Folder folder;
    const HANDLE file = openSparse(folder, size.bytes);
    if (file == nullptr) GTEST_SKIP() << "no file of " << size.bytes << " bytes here";
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << size.bytes;
    DWORD high = 99;
    EXPECT_EQ(jpg::GetFileSize(file, nullptr), size.alone) << size.bytes;
    EXPECT_EQ(jpg::GetFileSize(file, &high), size.low) << size.bytes;
    EXPECT_EQ(high, size.high) << size.bytes;
    jpg::CloseHandle(file);
  }
}

TEST(PosixSize, AHandleThatIsNoFileHasNoSizeAndNoPosition) {
  EXPECT_EQ(jpg::GetFileSize(INVALID_HANDLE_VALUE, nullptr), jpg::INVALID_FILE_SIZE);
  EXPECT_EQ(seek(INVALID_HANDLE_VALUE, 0, jpg::FILE_BEGIN), jpg::INVALID_SET_FILE_POINTER);
}

// --- heap ---

TEST(PosixHeap, BlocksKeepTheirContentWhenTheyGrow) {
  const HANDLE heap = jpg::GetProcessHeap();
  auto *block = static_cast<char *>(jpg::HeapAlloc(heap, 0, 3));
  ASSERT_NE(block, nullptr);
  block[0] = 'a';
  block[1] = 'b';
  block[2] = 'c';
  auto *grown = static_cast<char *>(jpg::HeapReAlloc(heap, 0, block, 100000));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(std::string(grown, 3), "abc");
  EXPECT_NE(jpg::HeapFree(heap, 0, grown), 0);
}

uint8_t patternAt(size_t i) { return static_cast<uint8_t>(i / 4096 * 7 + i); }

TEST(PosixHeap, ABlockThatGrowsByStepsToMegabytesKeepsItsBytes) {
  constexpr size_t kStep = 4096, kMost = size_t{3} << 20;
  uint8_t *block = nullptr;
  for (size_t size = kStep; size <= kMost; size += kStep) {
    block = static_cast<uint8_t *>(jpg::HeapReAlloc(jpg::GetProcessHeap(), 0, block, size));
    ASSERT_NE(block, nullptr);
    for (size_t i = size - kStep; i < size; i++) block[i] = patternAt(i);
  }
  for (size_t i = 0; i < kMost; i++) ASSERT_EQ(block[i], patternAt(i)) << i;
  block = static_cast<uint8_t *>(jpg::HeapReAlloc(jpg::GetProcessHeap(), 0, block, kMost / 2));
  ASSERT_NE(block, nullptr);
  for (size_t i = 0; i < kMost / 2; i++) ASSERT_EQ(block[i], patternAt(i)) << i;
  jpg::HeapFree(jpg::GetProcessHeap(), 0, block);
}

TEST(PosixHeap, ALargeBlockThatCannotGrowStaysAsItIs) {
  if (kSanitizersHeap) GTEST_SKIP() << "a sanitizer's heap";
  constexpr size_t kSize = size_t{2} << 20, kNever = PTRDIFF_MAX - 4096;
  auto *block = static_cast<uint8_t *>(jpg::HeapAlloc(jpg::GetProcessHeap(), 0, kSize));
  ASSERT_NE(block, nullptr);
  block[kSize - 1] = 7;
  EXPECT_EQ(jpg::HeapReAlloc(jpg::GetProcessHeap(), 0, block, kNever), nullptr);
  EXPECT_EQ(block[kSize - 1], 7);
  jpg::HeapFree(jpg::GetProcessHeap(), 0, block);
}

TEST(PosixHeap, ABlockOfNoBytesIsABlock) {
  const HANDLE heap = jpg::GetProcessHeap();
  void *first = jpg::HeapAlloc(heap, 0, 0);
  void *second = jpg::HeapAlloc(heap, 0, 0);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  second = jpg::HeapReAlloc(heap, 0, second, 0);
  EXPECT_NE(second, nullptr);
  EXPECT_NE(jpg::HeapFree(heap, 0, first), 0);
  EXPECT_NE(jpg::HeapFree(heap, 0, second), 0);
}

// --- signals ---

std::atomic<int> signalsTaken;

void takeSignal(int /*signal*/) { signalsTaken++; }

// Interrupts a call of this thread that waits for the other end of a pipe, three times, and then
// has `resume` serve that end. The call must go on as if nothing had been.
class Interruption {
 public:
  explicit Interruption(std::function<void()> resume) {
    struct sigaction action = {};
    action.sa_handler = takeSignal;  // without SA_RESTART: calls return
    sigaction(SIGUSR1, &action, &before_);
    signalsTaken = 0;
    thread_ = std::thread([target = pthread_self(), resume = std::move(resume)] {
      for (int n = 1; n <= 3; n++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pthread_kill(target, SIGUSR1);
        while (signalsTaken < n) std::this_thread::yield();
      }
      resume();
    });
  }
  ~Interruption() {
    thread_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }
  Interruption(const Interruption &) = delete;
  Interruption &operator=(const Interruption &) = delete;

 private:
  struct sigaction before_;
  std::thread thread_;
};

TEST(PosixSignals, OpeningReadingAndWritingGoOnBehindThem) {
  const Folder folder;
  const std::string pipe = folder.file("pipe");
  if (mkfifo(pipe.c_str(), 0600) != 0) GTEST_SKIP() << "no pipes here";
  int other = -1;
  HANDLE file = nullptr;
  {
    const Interruption opening([&] { other = open(pipe.c_str(), O_WRONLY); });
    file = openToRead(folder.wide(u"pipe"));
  }
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  {
    const Interruption reading([&] { EXPECT_EQ(write(other, "abc", 3), 3); });
    EXPECT_EQ(readSome(file, 10), "abc");
  }
  jpg::CloseHandle(file);
  close(other);

  other = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  file = openToWrite(folder.wide(u"pipe"));
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  constexpr size_t kBytes = 300000;  // more than a pipe holds
  std::string sent(kBytes, 'x'), got;
  for (size_t i = 0; i < kBytes; i++) sent[i] = static_cast<char>(i * 7 / 3);
  {
    const Interruption writing([&] {
      char buffer[4096];
      while (got.size() < kBytes) {
        const ssize_t n = read(other, buffer, sizeof(buffer));
        if (n > 0) got.append(buffer, static_cast<size_t>(n));
      }
    });
    DWORD count = 0;
    EXPECT_NE(jpg::WriteFile(file, sent.data(), kBytes, &count, nullptr), 0);
    EXPECT_EQ(count, kBytes);
  }
  EXPECT_TRUE(sent == got);
  jpg::CloseHandle(file);
  close(other);
}

// --- screen ---

TEST(PosixScreen, ThePaletteHas256EntriesAndNoMore) {
  PALETTEENTRY entries[8];
  for (PALETTEENTRY &e : entries) e = {9, 9, 9, 9};
  EXPECT_EQ(jpg::GetSystemPaletteEntries(nullptr, 253, 8, entries), 3u);
  EXPECT_EQ(entries[0].peRed, 0xFF);  // of the last entry, white
  EXPECT_EQ(entries[2].peRed & entries[2].peGreen & entries[2].peBlue, 0xFF);
  EXPECT_EQ(entries[3].peRed, 9);
  EXPECT_EQ(jpg::GetSystemPaletteEntries(nullptr, 256, 1, entries), 0u);
}

}  // namespace
