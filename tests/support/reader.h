// SPDX-License-Identifier: MIT
// Opening streams with the library in tests: handles that close themselves, files that vanish.
#ifndef JPG_TESTS_SUPPORT_READER_H
#define JPG_TESTS_SUPPORT_READER_H

#include <jpg.h>

#include <cstdint>
#include <string>
#include <utility>

#include "support/bytes.h"

namespace jpgtest {

// A read handle over a block of memory or a file, and what the prolog returned.
class Reader {
 public:
  static Reader ofMemory(Bytes data, uint32_t flags = 0);
  static Reader ofFile(const std::string &path, int32_t startOffset = 0, int32_t length = 0,
                       uint32_t flags = 0);

  Reader(Reader &&other) noexcept
      : data_(std::move(other.data_)),
        handle_(std::exchange(other.handle_, nullptr)),
        result_(other.result_) {}
  Reader &operator=(Reader &&) = delete;
  ~Reader();

  uint32_t result() const { return result_; }
  JPGHANDLE handle() const { return handle_; }

 private:
  Reader() = default;
  Bytes data_;
  JPGHANDLE handle_ = nullptr;
  uint32_t result_ = 0;
};

// A file that holds the bytes as long as the object lives.
class TempFile {
 public:
  explicit TempFile(const Bytes &content);
  TempFile(const TempFile &) = delete;
  TempFile &operator=(const TempFile &) = delete;
  ~TempFile();
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// A path as the interface takes it; ASCII only.
std::basic_string<JpgWChar> widePath(const std::string &path);

// The name of a result code, for messages.
std::string nameOf(uint32_t result);

}  // namespace jpgtest

// Compares result codes and shows their names.
#define EXPECT_RESULT(expected, actual) \
  EXPECT_EQ(jpgtest::nameOf(expected), jpgtest::nameOf(actual))
#define ASSERT_RESULT(expected, actual) \
  ASSERT_EQ(jpgtest::nameOf(expected), jpgtest::nameOf(actual))

#endif  // JPG_TESTS_SUPPORT_READER_H
