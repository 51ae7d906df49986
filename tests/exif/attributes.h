// SPDX-License-Identifier: MIT
// Attribute handles and cursors that close themselves.
#ifndef JPG_TESTS_EXIF_ATTRIBUTES_H
#define JPG_TESTS_EXIF_ATTRIBUTES_H

#include <gtest/gtest.h>
#include <jpg.h>

#include "exif/jpgRExif.h"
#include "platform/faulty/faulty.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"

namespace jpgtest {

// The Exif attributes of a stream. The read handle is closed by the time it is made.
class Attributes {
 public:
  explicit Attributes(const Bytes &stream, uint32_t flags = 0) {
    const Reader reader = Reader::ofMemory(stream, flags);
    EXPECT_RESULT(JPG_OK, reader.result());
    result_ = jpgReadExifReadAttributeProlog(reader.handle(), &handle_);
    EXPECT_EQ(result_ == JPG_OK, handle_ != nullptr);
  }
  explicit Attributes(const TiffBuilder &tiff, uint32_t flags = 0)
      : Attributes(streamOf(tiff), flags) {}
  ~Attributes() {
    if (handle_ == nullptr) return;
    EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(handle_));
  }
  Attributes(const Attributes &) = delete;
  Attributes &operator=(const Attributes &) = delete;

  uint32_t result() const { return result_; }
  JPGEXIFHANDLE handle() const { return handle_; }

 private:
  JPGEXIFHANDLE handle_ = nullptr;
  uint32_t result_ = 0;
};

// What a cursor told of an entry.
struct Told {
  uint32_t result = 0;
  uint16_t tag = 0xDEAD;
  uint32_t size = 0xDEADDEAD;
  uint32_t value = 0xDEADDEAD;
};

class Cursor {
 public:
  Cursor(const Attributes &attributes, int32_t number) {
    result_ = jpg::openIfd(attributes.handle(), number, &cursor_);
    EXPECT_EQ(result_ == JPG_OK, cursor_ != nullptr);
  }
  ~Cursor() {
    if (cursor_ == nullptr) return;
    EXPECT_RESULT(JPG_OK, jpg::closeIfd(cursor_));
  }
  Cursor(const Cursor &) = delete;
  Cursor &operator=(const Cursor &) = delete;

  uint32_t result() const { return result_; }
  JpgIfdCursor *get() const { return cursor_; }

  Told next() const {
    Told t;
    t.result = jpg::nextIfdEntry(cursor_, &t.tag, &t.size, &t.value);
    return t;
  }
  Told find(uint16_t tag) const {
    Told t;
    t.result = jpg::findIfdEntry(cursor_, tag, &t.size, &t.value);
    return t;
  }

 private:
  JpgIfdCursor *cursor_ = nullptr;
  uint32_t result_ = 0;
};

// Makes the n-th call of an operation from now on fail. Handles that are open then are those
// made behind the last jpg::faulty::reset().
inline void failFromNow(jpg::faulty::Operation operation, uint32_t n) {
  jpg::faulty::arm(operation, jpg::faulty::Fault::kFail, jpg::faulty::calls(operation) + n);
}

}  // namespace jpgtest

#endif  // JPG_TESTS_EXIF_ATTRIBUTES_H
